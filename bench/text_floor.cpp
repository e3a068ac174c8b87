// The floor under rksignal decode: the least scalar code that reads a candump log and gives the last value of
// each signal, or the rows of all signals as CSV. One file, one thread, no damage, no options, classic
// frames, and messages without multiplexers that are bound to no channel. For such a log `csv` writes what
// the program writes, byte for byte:
//
//     text_floor last drive.log drive.dbc
//     text_floor csv drive.log drive.dbc | cmp - rows.csv

#include "definition/dbc/DbcFile.h"
#include "text/NumberText.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <unordered_map>
#include <vector>

namespace {

using namespace rksignal;

struct Field {
    std::string head, unit;
    std::vector<std::pair<std::uint64_t, std::string>> texts;
    double scale, offset;
    unsigned word, end, left, right;
    bool bigEndian, isSigned;
    std::uint64_t raw = 0, time = 0, count = 0;
};

using Message = std::vector<Field>;

struct Frame {
    std::uint64_t time;
    std::uint32_t id; ///< bit 31: extended
    unsigned channel, length;
    std::array<std::uint8_t, 8> data;
};

std::array<std::uint8_t, 256> digitOf = [] {
    std::array<std::uint8_t, 256> values{};
    for (unsigned i = 0; i < 16; ++i) {
        values[static_cast<unsigned char>("0123456789ABCDEF"[i])] = static_cast<std::uint8_t>(i);
    }
    return values;
}();

std::unordered_map<std::uint32_t, Message> load(const char* path) {
    std::unordered_map<std::uint32_t, Message> messages;
    for (const MessageDefinition& message : readDbc(path).messages) {
        Message& fields = messages[message.id | (message.extended ? 1U << 31 : 0)];
        for (const SignalDefinition& signal : message.signals) {
            const canSignalDef_t& def = signal.can();
            const auto bits = static_cast<unsigned>(def.bits);
            const auto start = static_cast<unsigned>(def.startbit);
            // The word of 8 bytes is the first one; bits are counted from its least significant end.
            const unsigned low = def.endian ? 8 * (7 - start / 8) + start % 8 + 1 - bits : start;
            const unsigned end = def.endian ? (63 - low) / 8 + 1 : (low + bits - 1) / 8 + 1;
            Field field{"," + def.instance + ",",
                        "," + def.unit + ",",
                        {},
                        def.scale,
                        def.offset,
                        0,
                        end,
                        64 - bits - low,
                        64 - bits,
                        def.endian,
                        def.type == signalValue_t::Signed};
            for (const auto& [raw, text] : def.valueDescriptions) {
                const bool isQuoted = text.find_first_of(",\"") != text.npos;
                field.texts.emplace_back(raw, isQuoted ? '"' + text + '"' : text);
            }
            fields.push_back(std::move(field));
        }
    }
    return messages;
}

/// `(SECONDS.MICROSECONDS) canN ID#DATA`
Frame parse(const char* at, const char* end) {
    Frame frame{};
    std::uint64_t micros = 0;
    for (++at; *at != ')'; ++at) {
        micros = *at == '.' ? micros : 10 * micros + static_cast<unsigned>(*at - '0');
    }
    frame.time = micros * 1000;
    for (at += 2; *at != ' '; ++at) {
        frame.channel = static_cast<unsigned>(*at - '0');
    }
    const char* const id = ++at;
    for (; *at != '#'; ++at) {
        frame.id = frame.id << 4 | digitOf[static_cast<unsigned char>(*at)];
    }
    frame.id |= at - id > 3 ? 1U << 31 : 0;
    for (++at; at < end; at += 2) {
        frame.data[frame.length++] = static_cast<std::uint8_t>(
            digitOf[static_cast<unsigned char>(at[0])] << 4 | digitOf[static_cast<unsigned char>(at[1])]);
    }
    return frame;
}

std::uint64_t cut(const Field& field, const Frame& frame) {
    std::uint64_t word = 0;
    std::memcpy(&word, frame.data.data(), sizeof word);
    const std::uint64_t top = (field.bigEndian ? __builtin_bswap64(word) : word) << field.left;
    return field.isSigned ? static_cast<std::uint64_t>(static_cast<std::int64_t>(top) >> field.right)
                          : top >> field.right;
}

struct Last {
    void operator()(const Frame& frame, Message& message) const {
        for (Field& field : message) {
            if (field.end <= frame.length) {
                field.raw = cut(field, frame);
                field.time = frame.time;
                ++field.count;
            }
        }
    }
};

class Csv {
  public:
    Csv() { put("time,channel,bus,instance,value,unit,raw,text\n"); }
    ~Csv() { flush(); }

    void operator()(const Frame& frame, const Message& message) {
        char common[64];
        const std::string_view start(common, static_cast<std::size_t>(writeCommon(common, frame) - common));
        for (const Field& field : message) {
            if (field.end > frame.length) {
                continue;
            }
            const std::uint64_t raw = cut(field, frame);
            const auto number = field.isSigned ? static_cast<double>(static_cast<std::int64_t>(raw))
                                               : static_cast<double>(raw);
            put(start);
            put(field.head);
            at = writeValue(at, number * field.scale + field.offset);
            put(field.unit);
            at = field.isSigned ? std::to_chars(at, at + 32, static_cast<std::int64_t>(raw)).ptr
                                : std::to_chars(at, at + 32, raw).ptr;
            put(",");
            for (const auto& [value, text] : field.texts) {
                if (value == raw) {
                    put(text);
                    break;
                }
            }
            put("\n");
            if (at > buffer.data() + buffer.size() / 2) {
                flush();
            }
        }
    }

  private:
    static char* writeCommon(char* to, const Frame& frame) {
        to = std::to_chars(to, to + 24, frame.time / 1'000'000'000).ptr;
        *to++ = '.';
        std::uint64_t micros = frame.time / 1000 % 1'000'000;
        for (int i = 5; i >= 0; --i, micros /= 10) {
            to[i] = static_cast<char>('0' + micros % 10);
        }
        to[6] = ',';
        to[7] = static_cast<char>('0' + frame.channel);
        std::memcpy(to + 8, ",can", 4);
        return to + 12;
    }
    static char* writeValue(char* to, double value) {
        const auto whole = static_cast<std::int64_t>(value);
        return static_cast<double>(whole) == value && (whole != 0 || !std::signbit(value))
                   ? std::to_chars(to, to + 32, whole).ptr
                   : std::to_chars(to, to + 32, value, std::chars_format::fixed).ptr;
    }
    void put(std::string_view text) {
        std::memcpy(at, text.data(), text.size());
        at += text.size();
    }
    void flush() {
        [[maybe_unused]] const auto ignored =
            ::write(STDOUT_FILENO, buffer.data(), static_cast<std::size_t>(at - buffer.data()));
        at = buffer.data();
    }

    std::vector<char> buffer = std::vector<char>(std::size_t{128} << 10);
    char* at = buffer.data();
};

template <class Use>
void decode(std::string_view log, std::unordered_map<std::uint32_t, Message>& messages, Use&& use) {
    const char* const end = log.data() + log.size();
    for (const char* at = log.data(); at < end;) {
        const auto* const lineEnd =
            static_cast<const char*>(std::memchr(at, '\n', static_cast<std::size_t>(end - at)));
        const Frame frame = parse(at, lineEnd);
        at = lineEnd + 1;
        if (const auto message = messages.find(frame.id); message != messages.end()) {
            use(frame, message->second);
        }
    }
}

std::string_view mapped(const char* path) {
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    struct stat status {};
    if (file < 0 || fstat(file, &status) != 0 || status.st_size == 0) {
        return {};
    }
    const auto size = static_cast<std::size_t>(status.st_size);
    void* const memory = mmap(nullptr, size, PROT_READ, MAP_PRIVATE | MAP_POPULATE, file, 0);
    close(file);
    return memory == MAP_FAILED ? std::string_view() : std::string_view(static_cast<char*>(memory), size);
}

std::uint64_t countValues(const std::unordered_map<std::uint32_t, Message>& messages) {
    std::uint64_t values = 0;
    for (const auto& [id, message] : messages) {
        for (const Field& field : message) {
            values += field.count;
        }
    }
    return values;
}

} // namespace

int main(int argc, char** argv) {
    const std::string_view work = argc == 4 ? argv[1] : "";
    const std::string_view log = argc == 4 ? mapped(argv[2]) : std::string_view();
    if (log.empty() || log.back() != '\n' || (work != "last" && work != "csv")) {
        std::fputs("usage: text_floor last|csv LOG DBC\n", stderr);
        return 2;
    }
    auto messages = load(argv[3]);
    if (work == "csv") {
        decode(log, messages, Csv());
        return 0;
    }
    decode(log, messages, Last());
    std::printf("%llu values\n", static_cast<unsigned long long>(countValues(messages)));
    return 0;
}
