/// \file
/// Inflates compressed data as they come.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

struct inflate_state;

namespace rksignal {

/// Inflates one stream after the other: zlib (RFC 1950) or a member of a gzip file (RFC 1952), whose head and
/// check sum are checked. Takes 90 KB, and for each call the time to copy up to 32 KB: large outputs pay.
class Inflater {
  public:
    enum class Format : std::uint8_t { Zlib, Gzip };
    enum class Status : std::uint8_t {
        More,    ///< there is more to come once there is more input or room
        End,     ///< of the stream, with its check sum
        Damaged, ///< what was given before is right as far as can be told
    };
    struct Progress {
        std::size_t taken; ///< bytes of the input
        std::size_t given; ///< bytes of the output
        Status status;
    };

    explicit Inflater(Format format);
    ~Inflater();
    Inflater(const Inflater&) = delete;
    Inflater& operator=(const Inflater&) = delete;

    /// Begins a stream.
    void reset();
    /// Takes and gives what it can: call it again, with no input if there is none, until it gives nothing.
    Progress inflate(std::span<const std::uint8_t> from, std::span<std::uint8_t> to);
    /// What is wrong with the stream; a text with static lifetime. REQUIRES: it was Damaged
    const char* damage() const;

  private:
    std::unique_ptr<inflate_state> state;
    int result = 0; ///< of the last call
};

} // namespace rksignal
