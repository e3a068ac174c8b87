/// \file
/// A fuzzer's input as a sequence of values.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

/// Takes values from the front of the input; zeros when it has run out.
class FuzzInput {
  public:
    FuzzInput(const std::uint8_t* data, std::size_t size) : data(data), size(size) {}

    template <class Value>
    Value take() {
        Value value{};
        const std::size_t count = std::min(size, sizeof value);
        std::copy_n(data, count, reinterpret_cast<std::uint8_t*>(&value)); // `data` may be null, of no bytes
        data += count;
        size -= count;
        return value;
    }
    /// The next `count` bytes, or those that are left.
    std::vector<std::uint8_t> takeBytes(std::size_t count) {
        const std::size_t taken = std::min(size, count);
        std::vector<std::uint8_t> bytes(data, data + taken);
        data += taken;
        size -= taken;
        return bytes;
    }
    bool empty() const { return size == 0; }

  private:
    const std::uint8_t* data;
    std::size_t size;
};
