/// \file
/// In which form and size a plot is written.
#pragma once

#include "plot/Figure.h"
#include "plot/PlotCommand.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace rksignal {

class PlotForm {
  public:
    /// Of the options and the descriptor that a result without a file goes to. \throws UsageError
    PlotForm(const PlotOptions& options, int standardOutput);

    /// What the drawing can tell apart.
    std::size_t columns() const;
    /// The file. \throws std::runtime_error if it cannot be made
    std::string draw(const Figure& figure) const;
    /// Whether it can be shown on a terminal.
    bool isText() const { return form != Form::Png && form != Form::Pdf; }

  private:
    enum class Form : std::uint8_t { Text, Svg, Png, Pdf };

    static Form formOf(const PlotOptions& options);
    void checkSize() const;
    std::string drawText(const Figure& figure) const;

    Form form;
    unsigned width;
    unsigned height; ///< 0: as the panels need
    bool dark;
    int output;
    bool isStandard; ///< `output` is where the text goes
};

} // namespace rksignal
