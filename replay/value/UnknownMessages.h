/// \file
/// Messages that no definition decodes.
#pragma once

#include "text/Export.h"
#include "value/ValueSink.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace rksignal {

struct UnknownMessage {
    MessageOrigin origin;
    std::uint32_t identifier; ///< as UnknownMessages::count() got it
    std::uint64_t count;
};

/// Counts them by origin and identifier. Takes constant memory: only the first identifiers are told apart.
class RKREPLAY_EXPORT UnknownMessages {
  public:
    static constexpr std::size_t maxIdentifiers = 65536;

    /// `identifier` is what the kind has: that of a frame, with bit 31 set if it is an extended one of CAN,
    /// the number of an input, the code of a key or a system message; 0 of Ethernet frames and GPS messages.
    void count(const MessageOrigin& origin, std::uint32_t identifier);

    /// Adds messages that came after these.
    void add(const UnknownMessages& later);

    /// The identifiers of a kind, the most frequent first.
    std::vector<UnknownMessage> of(SignalKind kind) const;
    /// Messages with other identifiers than the first `maxIdentifiers`.
    std::uint64_t others() const { return beyond; }

  private:
    struct Entry {
        std::uint64_t key = 0;   ///< kind, channel and identifier
        std::uint64_t count = 0; ///< 0: the place is free
        std::size_t order = 0;   ///< how many identifiers came before
    };
    void count(std::uint64_t key, std::uint64_t messages);
    Entry& find(std::uint64_t key);
    void grow();

    std::vector<Entry> table; ///< a power of two, at most half of it in use: an entry is near its hash value
    std::size_t used = 0;
    std::uint64_t beyond = 0;
};

} // namespace rksignal
