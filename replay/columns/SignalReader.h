/// \file
/// What a signal holds while it is replayed, without a call a value.
#pragma once

#include "columns/TextDictionary.h"
#include "signal/BaseSignal.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace rksignal {

/// Reads the signals of a catalog, whose values are private.
class SignalReader {
  public:
    static constexpr std::int32_t noText = -1;

    /// The texts of the signal are added to `texts`, those that it computes from its values when they come.
    /// The signal must outlive the reader.
    SignalReader(BaseSignal& signal, std::shared_ptr<TextDictionary> texts);

    /// Whether its texts come from its values, and have no end.
    bool makesTexts() const { return computesTexts; }
    std::uint64_t raw() const { return signal->slot->raw; }
    /// As BaseSignal::physical() has it.
    double physical(std::uint64_t raw) const { return number(raw) * scale + offset; }
    /// The number of its text in the dictionary, or `noText`.
    std::int32_t text(std::uint64_t raw) {
        if (raw < direct.size()) {
            return direct[raw];
        }
        return hasMore ? otherText(raw) : noText;
    }

  private:
    double number(std::uint64_t raw) const {
        switch (type) {
        case signalValue_t::Signed:
            return static_cast<double>(static_cast<std::int64_t>(raw));
        case signalValue_t::Float:
            return std::bit_cast<float>(static_cast<std::uint32_t>(raw));
        case signalValue_t::Double:
            return std::bit_cast<double>(raw);
        default:
            return static_cast<double>(raw);
        }
    }
    std::int32_t otherText(std::uint64_t raw);

    BaseSignal* signal;
    double scale, offset;
    signalValue_t type;
    bool computesTexts;
    bool hasMore;                     ///< texts than `direct`
    std::vector<std::int32_t> direct; ///< by small raw values: their texts, or `noText`
    std::vector<std::pair<std::uint64_t, std::int32_t>> others; ///< of greater ones, in their order
    std::shared_ptr<TextDictionary> texts;
};

} // namespace rksignal
