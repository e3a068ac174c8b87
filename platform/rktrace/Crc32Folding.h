/// \file
/// CRC-32 by carry-less multiplication, where the processor has it. Not installed.
#pragma once

#include <cstdint>
#include <span>

/// Whether crcByFolding() can be called: on x86-64 with PCLMULQDQ and SSSE3, which all since 2011 have. Not
/// with `RKSIGNAL_PLAIN=1` in the environment.
bool canFoldCrc();

/// The state behind `bytes`, of which there are at least 16. REQUIRES: canFoldCrc().
std::uint32_t crcByFolding(std::uint32_t state, std::span<const std::uint8_t> bytes);
