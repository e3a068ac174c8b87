#include "expression/ExpProgram.h"

#include "expression/ExpProgramReader.h"

#include <algorithm>
#include <bit>
#include <iterator>
#include <limits>

namespace {

void putWord(std::vector<std::uint8_t>& packed, std::uint64_t word) {
    std::uint8_t bytes[sizeof word];
    std::memcpy(bytes, &word, sizeof word);
    packed.insert(packed.end(), std::begin(bytes), std::end(bytes));
}

} // namespace

void ExpProgram::append(const Step& step) {
    if (isUnpacked || !pack(step)) {
        steps().push_back(step);
    }
}

/// \return false, with nothing done, if it is a step that no parser makes
bool ExpProgram::pack(const Step& step) {
    const auto& [operation, operand] = step;
    const auto found = std::find(Reader::operations.begin(), Reader::operations.end(), operation);
    const bool isSignal = operation == &ExpParser::opsignal;
    if (found == Reader::operations.end() || isSignal == operand.name.empty() ||
        operand.name.size() > std::numeric_limits<std::uint8_t>::max()) {
        return false;
    }
    packed.push_back(static_cast<std::uint8_t>(found - Reader::operations.begin()));
    if (isSignal) {
        putWord(packed, std::bit_cast<std::uint64_t>(operand.signal));
        packed.push_back(static_cast<std::uint8_t>(operand.name.size()));
        packed.insert(packed.end(), operand.name.begin(), operand.name.end());
    } else if (operation == &ExpParser::opdouble) {
        putWord(packed, std::bit_cast<std::uint64_t>(operand.constant));
    } else if (operand.signal != nullptr) { // an operand that the operation does not look at
        packed.pop_back();
        return false;
    }
    ++count;
    return true;
}

ExpProgram::Steps ExpProgram::copy() const {
    Steps all;
    all.reserve(size());
    forEach([&all](const PackedStep& step) {
        Step& made = all.emplace_back(step.operation, value_t());
        if (step.signal != nullptr) {
            made.second.signal = step.signal;
        } else {
            made.second.constant = step.constant;
        }
        made.second.name = step.name;
    });
    return all;
}

void ExpProgram::unpack() const {
    unpacked = copy();
    unpackedAt = unpacked.data();
    isUnpacked = true;
    packed = {};
}
