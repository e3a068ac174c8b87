/// \file
/// Which bus channel a network interface of a trace is.
#pragma once

#include "text/Export.h"
#include "text/Remark.h"

#include <bitset>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace rksignal {

/// Maps interface names to channel numbers. The digits at the end of a name are its channel: `can0` is 0,
/// `vcan3` is 3. A name without digits, or with a number above 255, gets the lowest number that no other
/// name has so far, with a remark. Names are never forgotten; there can be 256 of them.
class RKREPLAY_EXPORT ChannelMap {
  public:
    /// Gives `name` a channel of the user's choice. REQUIRES: `name` has none yet.
    void assign(std::string_view name, std::uint8_t channel);

    /// The channel of a name that the user expects in a trace, as channelOf().
    std::optional<std::uint8_t> expect(std::string_view name);

    /// Names that were assigned or expected, and that channelOf() has not been asked for, where nothing
    /// else can be meant: no message came on their channel, or another name that came has it.
    /// `cameWith` are the channels of all messages.
    std::vector<std::string> absent(const std::bitset<256>& cameWith) const;

    bool knows(std::string_view name) const;

    /// The channel of `name`, which a trace has met and which is entered if it is new: that alone allocates.
    /// \return nothing if there is no room for another name
    std::optional<std::uint8_t> channelOf(std::string_view name) {
        return latest < entries.size() && entries[latest].name == name ? entries[latest].channel : meet(name);
    }

    /// The first name that got this channel, or `channel N`.
    std::string nameOf(std::uint8_t channel) const;

    /// What the user may not expect: a number picked (a note), or names that share one (a warning).
    const RemarkList& remarks() const { return notes; }

  private:
    struct Entry {
        std::string name;
        std::uint8_t channel;
        bool isExpected = false;
        bool hasCome = false;
    };

    std::optional<std::uint8_t> meet(std::string_view name);
    std::optional<std::uint8_t> search(std::string_view name);
    std::optional<std::uint8_t> lowestFree() const;
    const Entry* firstOf(std::uint8_t channel) const;

    std::vector<Entry> entries; // few; searched from the front, the latest hit first
    std::size_t latest = 0;     // has come, or is none
    RemarkList notes;
};

/// The number that the digits at the end of `name` form, or nothing: no digits, or above 255.
RKREPLAY_EXPORT std::optional<std::uint8_t> trailingNumber(std::string_view name);

} // namespace rksignal
