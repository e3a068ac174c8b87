#include "file/Inflater.h"

#include <algorithm>
#include <isa-l/igzip_lib.h>

namespace rksignal {

Inflater::Inflater(Format format) : state(std::make_unique<inflate_state>()) {
    isal_inflate_init(state.get());
    state->crc_flag = format == Format::Gzip ? ISAL_GZIP : ISAL_ZLIB;
}

Inflater::~Inflater() = default;

void Inflater::reset() {
    isal_inflate_reset(state.get());
    result = ISAL_DECOMP_OK;
}

Inflater::Progress Inflater::inflate(std::span<const std::uint8_t> from, std::span<std::uint8_t> to) {
    constexpr std::size_t most = std::size_t{1} << 30; // the library counts with 32 bits
    const auto offered = static_cast<std::uint32_t>(std::min(from.size(), most));
    const auto room = static_cast<std::uint32_t>(std::min(to.size(), most));
    state->next_in = const_cast<std::uint8_t*>(from.data()); // only read
    state->avail_in = offered;
    state->next_out = to.data();
    state->avail_out = room;
    result = isal_inflate(state.get());
    // Behind the end, bytes that were taken too many are given back, which may have come with an earlier
    // input.
    const std::size_t taken = offered - std::min(offered, state->avail_in);
    const std::size_t given = room - state->avail_out;
    if (result != ISAL_DECOMP_OK) {
        return {taken, given, Status::Damaged};
    }
    if (state->block_state == ISAL_BLOCK_FINISH) {
        return {taken, given, Status::End};
    }
    const bool isStuck = taken == 0 && given == 0 && offered > 0 && room > 0;
    return {taken, given, isStuck ? Status::Damaged : Status::More};
}

const char* Inflater::damage() const {
    switch (result) {
    case ISAL_INVALID_BLOCK:
        return "invalid block";
    case ISAL_INVALID_SYMBOL:
        return "invalid code";
    case ISAL_INVALID_LOOKBACK:
        return "invalid distance too far back";
    case ISAL_UNSUPPORTED_METHOD:
        return "unknown compression method";
    case ISAL_INCORRECT_CHECKSUM:
        return "incorrect data check";
    case ISAL_NEED_DICT:
        return "dictionary is missing";
    default:
        return "incorrect head";
    }
}

} // namespace rksignal
