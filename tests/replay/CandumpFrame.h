/// \file
/// Frames of CAN as text.
#pragma once

#include "trace/log/CandumpLine.h"

#include <gtest/gtest.h>

#include <string>

namespace rksignal {

/// `123#0102` as candump logs it: with 8 digits for an identifier of 29 bits, `123##00102` for CAN FD.
inline CANExtTraceMessage frameOf(const std::string& text, std::uint64_t time) {
    CandumpLine line;
    EXPECT_EQ(parseCandumpLine("(0.0) can0 " + text, line), nullptr) << text;
    line.frame.timestamp = time;
    return line.frame;
}

} // namespace rksignal
