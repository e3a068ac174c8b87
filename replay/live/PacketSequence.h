/// \file
/// Which packets of a sender are lost, by numbers from 0 to 255 that begin again.
#pragma once

#include <cstdint>

namespace rksignal {

/// Packets may overtake each other by up to 32 places. A number further back, or one that has come already,
/// is that of a sender that was started anew.
class PacketSequence {
  public:
    /// \return by how much the number of lost packets changes: less than 0 if a missing one comes late
    int meet(std::uint8_t number) {
        const std::uint8_t ahead = static_cast<std::uint8_t>(number - expected);
        const unsigned behind = 256U - ahead;
        const bool isLate = ahead > half && behind <= remembered;
        if (isStarted && isLate && (missing >> (behind - 1) & 1) != 0) {
            missing &= ~(std::uint32_t{1} << (behind - 1));
            return -1;
        }
        int change = 0;
        if (!isStarted || ahead > half) {
            missing = 0;
        } else {
            change = ahead;
            missing = ahead < remembered - 1 ? (missing << (ahead + 1U)) | ((1U << (ahead + 1U)) - 2)
                                             : ~std::uint32_t{1};
        }
        isStarted = true;
        expected = static_cast<std::uint8_t>(number + 1);
        return change;
    }

  private:
    static constexpr std::uint8_t half = 127;
    static constexpr unsigned remembered = 32;

    bool isStarted = false;
    std::uint8_t expected = 0;
    std::uint32_t missing = 0; ///< of the latest numbers, bit 0 being the one before the expected
};

} // namespace rksignal
