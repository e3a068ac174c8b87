/// \file
/// Values from the bytes that a fuzzer gives.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

/// Takes values from the front of the input; zeros when it has run out.
class Input {
  public:
    Input(const std::uint8_t* data, std::size_t size) : data(data), size(size) {}

    template <class Value>
    Value take() {
        Value value{};
        const std::size_t count = std::min(size, sizeof value);
        std::memcpy(&value, data, count);
        data += count;
        size -= count;
        return value;
    }
    bool empty() const { return size == 0; }

  private:
    const std::uint8_t* data;
    std::size_t size;
};
