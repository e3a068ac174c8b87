/// \file
/// The plain content of a DBC file, the customary text format for the messages and signals of a CAN bus.
///
/// Reading is tolerant: the files found in the field come from many editors and from many hands. A broken
/// line costs only itself, and everything that was assumed or left out is reported as a note. What a DBC file
/// says about nodes, environment variables, signal groups and most attributes is of no use for decoding and
/// is not kept.
///
/// The model owns all its text; nothing refers to the text that was read. All text is UTF-8.
#pragma once

#include "text/Export.h"

#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace rksignal {

/// One remark about the text. `operator<<` writes it as `file:line: message`, without a line end.
struct DbcNote {
    enum class Severity {
        Guess,   ///< something was assumed; the definition is used
        Dropped, ///< a well-formed definition is not used
        Error,   ///< a line could not be understood and is not used
    };
    std::string file; ///< as given to the reader
    unsigned line;    ///< from 1; for a definition of several lines its first one
    Severity severity;
    std::string message;
};

RKREPLAY_EXPORT std::ostream& operator<<(std::ostream& out, const DbcNote& note);

/// When a multiplexed signal is present: while the raw value of `multiplexer` lies in one of `ranges`.
/// The multiplexer may be multiplexed itself; such chains always end.
struct DbcMultiplexing {
    std::string multiplexer;                                     ///< name of a signal of the same message
    std::vector<std::pair<std::uint64_t, std::uint64_t>> ranges; ///< inclusive, first <= second, never empty
};

enum class DbcValueType {
    Unsigned,
    Signed, ///< two's complement
    Float,  ///< IEEE 754, always 32 bits wide
    Double, ///< IEEE 754, always 64 bits wide
};

/// One signal. physical = raw * scale + offset.
struct DbcSignal {
    std::string name;           ///< unique in its message; the long name if the file gives one
    std::uint16_t startbit = 0; ///< 0..511, numbered byte * 8 + bit in byte with bit 0 the byte's least
                                ///< significant: the signal's least significant bit in little-endian
                                ///< order, its most significant bit in big-endian order
    std::uint8_t bits = 0;      ///< 1..64; the signal ends within 64 bytes, but may reach past the
                                ///< message's length (then a note says so)
    bool bigEndian = false;     ///< "Motorola" order, `@0`
    DbcValueType type = DbcValueType::Unsigned;
    double scale = 1;   ///< finite; may be 0 (then a note says so)
    double offset = 0;  ///< finite
    double minimum = 0; ///< finite; minimum = maximum = 0 usually means "not given"
    double maximum = 0; ///< finite
    std::string unit;
    std::vector<std::string> receivers; ///< node names, without the placeholder Vector__XXX
    bool multiplexer = false;           ///< its value selects other signals
    std::optional<DbcMultiplexing> multiplexing;
    /// Texts by raw value, the value as a 64-bit two's complement word: -1 is 0xFFFFFFFFFFFFFFFF.
    std::map<std::uint64_t, std::string> valueDescriptions;
    std::string comment; ///< may have several lines, separated by \n
    unsigned line = 0;   ///< where the signal is defined, from 1
};

/// One message. No other message of the file has the same `id` and `extended`.
struct DbcMessage {
    std::uint32_t id = 0;           ///< 11 bits, or 29 if `extended`; the flag is not part of it
    bool extended = false;          ///< as the identifier says, whatever the frame format attribute says
    bool canFd = false;             ///< by the frame format attribute, or by a length above 8
    std::uint8_t length = 0;        ///< bytes, 0..64
    std::string name;               ///< the long name if the file gives one; not checked for being unique
    std::string sender;             ///< node name; empty for the placeholder Vector__XXX
    std::string comment;            ///< may have several lines, separated by \n
    std::vector<DbcSignal> signals; ///< in the order of the file
    unsigned line = 0;              ///< where the message is defined, from 1
};

struct DbcFile {
    std::string path;                 ///< as given to the reader
    std::vector<DbcMessage> messages; ///< in the order of the file
    std::vector<DbcNote> notes;       ///< by line
};

/// Reads DBC text. Never throws because of the content: what is wrong with it is in the notes. `path` only
/// names the text in the notes. Text that is not UTF-8 throughout is taken as Windows-1252 (one note). Takes
/// time in proportion to the text, about 5 ms per MB.
RKREPLAY_EXPORT DbcFile parseDbc(std::string text, std::string path);

/// Reads the file `path` with parseDbc().
/// \throws Error if it cannot be opened or read; the text names the file.
RKREPLAY_EXPORT DbcFile readDbc(const std::filesystem::path& path);

} // namespace rksignal
