/// \file
/// Takes the steps of a program out of their packed form.
#pragma once

#include "expression/ExpParser.h"
#include "expression/Operations.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

/// A step is the code of its operation; behind that of `opdouble` follow the 8 bytes of the constant, behind
/// that of `opsignal` the 8 bytes of the pointer, the length of the name, and the name.
class ExpProgram::Reader {
  public:
    // clang-format off
#define EXP_OPERATION(name, result) &ExpParser::name,
    /// By code.
    static constexpr std::array operations{&ExpParser::opdouble, &ExpParser::opsignal,
                                           EXP_UNARY_OPERATIONS(EXP_OPERATION)
                                           EXP_BINARY_OPERATIONS(EXP_OPERATION)};
#undef EXP_OPERATION
    // clang-format on
    static constexpr std::uint8_t doubleCode = 0;
    static constexpr std::uint8_t signalCode = 1;

    explicit Reader(const std::vector<std::uint8_t>& packed)
        : position(packed.data()), end(position + packed.size()) {}

    bool atEnd() const {
        return position == end;
    }

    PackedStep next() {
        const std::uint8_t code = *position++;
        PackedStep step{operations[code], 0.0, nullptr, {}};
        if (code == doubleCode) {
            step.constant = std::bit_cast<double>(takeWord());
        } else if (code == signalCode) {
            step.signal = std::bit_cast<BaseSignal*>(takeWord());
            const std::size_t length = *position++;
            step.name = {reinterpret_cast<const char*>(position), length};
            position += length;
        }
        return step;
    }

  private:
    std::uint64_t takeWord() {
        std::uint64_t word = 0;
        std::memcpy(&word, position, sizeof word);
        position += sizeof word;
        return word;
    }

    const std::uint8_t* position;
    const std::uint8_t* end;
};

template <class Visit>
void ExpProgram::forEach(Visit&& visit) const {
    for (Reader reader(packed); !reader.atEnd();) {
        visit(reader.next());
    }
    for (const auto& [operation, operand] : unpacked) {
        const bool isSignal = !operand.name.empty();
        visit(PackedStep{operation, isSignal ? 0.0 : operand.constant, isSignal ? operand.signal : nullptr,
                         operand.name});
    }
}
