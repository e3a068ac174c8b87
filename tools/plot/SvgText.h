/// \file
/// Texts and numbers of an SVG picture. Each function appends to `out`.
#pragma once

#include <string>
#include <string_view>

namespace rksignal {

/// Text as the content of an element or as an attribute between double quotes. What XML 1.0 cannot hold is
/// replaced by U+FFFD; `text` is UTF-8.
void appendXml(std::string& out, std::string_view text);

/// A length in pixels, rounded to a tenth: `12`, `-.4`, `7.5`. Those beyond a million are cut off there.
void appendPixels(std::string& out, double length);

/// The data of a path of straight lines: tenths of a pixel, each relative to the one before, so that rounding
/// adds up to nothing. Points that lie on the line between their neighbours are left out.
class SvgPath {
  public:
    void moveTo(double x, double y);
    void lineTo(double x, double y);
    bool isEmpty() const { return data.empty() && !hasWaiting; }
    /// The value of the attribute `d`; the path is empty then.
    std::string finish();

  private:
    struct Place {
        long x;
        long y;
        friend bool operator==(const Place&, const Place&) = default;
    };

    static Place rounded(double x, double y);
    void drawTo(const Place& place);
    void append(long number, bool isFirst);

    std::string data;
    Place drawn{0, 0};   ///< where the data has come to
    Place waiting{0, 0}; ///< where it goes next, unless the line goes straight on
    bool hasWaiting = false;
    bool isMove = false; ///< `waiting` begins a line
    bool endsInDecimal = false;
    char command = 0; ///< the last one in the data
};

} // namespace rksignal
