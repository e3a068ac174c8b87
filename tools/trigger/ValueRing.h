/// \file
/// The latest values of a replay, as far as they may still be wanted.
#pragma once

#include "value/ValueSink.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace rksignal {

/// One value as it was decoded.
struct PastValue {
    std::uint64_t timestamp;
    std::uint64_t raw;
    double value;
    std::uint32_t signal; ///< index in Catalog::signals()
    MessageOrigin origin;
};

/// A queue that grows to what is needed, up to a limit; then the oldest values make room. Allocates only
/// while it grows.
class ValueRing {
  public:
    explicit ValueRing(std::size_t limit) : limit(limit) {}

    bool empty() const { return count == 0; }
    std::size_t size() const { return count; }
    /// From the oldest one on.
    const PastValue& operator[](std::size_t i) const { return values[(first + i) % values.size()]; }
    const PastValue& front() const { return values[first]; }

    void push(const PastValue& value) {
        if (count == values.size()) {
            makeRoom();
        }
        values[(first + count++) % values.size()] = value;
    }
    void pop() {
        first = (first + 1) % values.size();
        --count;
    }
    void clear() { first = count = 0; }

    /// The time of the newest value that had to make room; 0 if none had.
    std::uint64_t lostUntil() const { return lost; }

  private:
    void makeRoom() {
        if (values.size() >= limit) {
            lost = front().timestamp;
            pop();
            return;
        }
        std::rotate(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(first), values.end());
        first = 0;
        values.resize(std::min(limit, std::max<std::size_t>(1024, 2 * values.size())));
    }

    std::size_t limit;
    std::vector<PastValue> values;
    std::size_t first = 0;
    std::size_t count = 0;
    std::uint64_t lost = 0;
};

} // namespace rksignal
