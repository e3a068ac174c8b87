/// \file
/// The objects of a BLF file as one stream of bytes, out of their containers.
#pragma once

#include "file/Inflater.h"
#include "file/InputFile.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace rksignal {

/// Reads a file from its beginning to its end, in constant memory (128 KB and 90 KB to inflate)
/// whatever sizes it claims. Damaged bytes are passed over up to the next object; there the stream has a
/// break.
class BlfStream {
  public:
    /// Objects and containers that claim to be longer are taken for damage.
    static constexpr std::uint32_t maxLength = 128U << 20;

    /// `file` must outlive the stream. \throws Error if the head of the file is not whole
    explicit BlfStream(InputFile& file);
    BlfStream(const BlfStream&) = delete;
    BlfStream& operator=(const BlfStream&) = delete;

    std::uint64_t start() const { return startTime; } ///< of the recording, nanoseconds since 1970 UTC; or 0

    /// Gives up to `size` bytes, at least one. \return their number; 0 at a break and at the end
    std::size_t read(std::uint8_t* to, std::size_t size);
    /// Goes on behind a break, what came before being incomplete. \return false at the end
    bool resume();

    /// There are no objects in so many bytes of the stream.
    void countDamage(std::uint64_t bytes);
    std::uint64_t damagedBytes() const { return damaged; }
    std::string damage() const; ///< a text, here and below; empty if there is none
    std::string cut() const;    ///< where the file is cut off

    /// Where the object, mostly a container, begins in the file that bytes were read from last.
    std::uint64_t objectOffset() const { return outermost; }

  private:
    enum class Part { Between, Plain, Deflated, Broken, End };
    void readHead();
    bool has(std::size_t count);
    void take(std::size_t count);
    void openNext();
    void openContainer(std::size_t headLength, std::uint32_t length);
    bool findMark();
    std::size_t copy(std::uint8_t* to, std::size_t size);
    std::size_t inflateTo(std::uint8_t* to, std::size_t size);
    void breakHere(std::uint64_t bytes);
    void endInside();

    InputFile& file;
    std::vector<std::uint8_t> buffer;
    std::size_t at = 0;
    std::size_t end = 0;
    std::uint64_t position = 0; ///< of `at` in the file
    Inflater inflater;

    Part part = Part::Between;
    std::uint64_t left = 0;      ///< bytes of the part that are still to come
    std::uint64_t padding = 0;   ///< bytes that may stand before the next object
    std::uint64_t outermost = 0; ///< where the part begins
    std::uint64_t startTime = 0;
    std::uint64_t announced = 0; ///< length of the file
    bool isCut = false;
    bool isDamaged = false;
    std::uint64_t damaged = 0;
    std::uint64_t damagedFrom = 0;
};

} // namespace rksignal
