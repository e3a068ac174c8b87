#include "live/LogPipeSource.h"

#include "file/Descriptor.h"
#include "trace/log/CandumpLine.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <string_view>
#include <unistd.h>
#include <utility>
#include <vector>

namespace rksignal {
namespace {

constexpr std::size_t blockBytes = 65536;

/// \throws Error
int openPipe(const std::string& path) {
    const int handle = path == "-" ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)
                                   : open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (handle < 0) {
        throw Error("cannot open " + path, errno);
    }
    return handle;
}

} // namespace

struct LogPipeSource::State {
    State(int descriptor, ChannelMap& channels) : input(descriptor), channels(channels), buffer(blockBytes) {}

    /// Reads what is there behind the bytes of an unfinished line. The descriptor may be one that waits, and
    /// be shared with other processes, so it is left as it is and asked before.
    void fill(const std::string& name) {
        std::memmove(buffer.data(), buffer.data() + at, end - at);
        end -= std::exchange(at, 0);
        pollfd asked{input.get(), POLLIN, 0};
        if (poll(&asked, 1, 0) <= 0) {
            return;
        }
        const ssize_t count = ::read(input.get(), buffer.data() + end, buffer.size() - end);
        if (count < 0 && errno != EAGAIN && errno != EINTR) {
            throw SourceError("cannot read " + name, errno);
        }
        isAtEnd = count == 0;
        end += count > 0 ? static_cast<std::size_t>(count) : 0;
    }

    /// \return the next whole line, with its line end; empty if there is none
    std::string_view nextLine() {
        const std::string_view rest(buffer.data() + at, end - at);
        const std::size_t lineEnd = rest.find('\n');
        const bool isWhole = lineEnd != rest.npos;
        const std::string_view line = rest.substr(0, isWhole ? lineEnd + 1 : rest.npos);
        if (isWhole || isAtEnd || line.size() > mostLineBytes) {
            at += line.size();
            return line;
        }
        return {};
    }

    /// \return null, or why the line cannot be used
    const char* read(std::string_view text) {
        while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) {
            text.remove_suffix(1);
        }
        if (const char* const reason = parseCandumpLine(text, line);
            reason != nullptr || line.kind == CandumpLine::Kind::DropCount) {
            return reason;
        }
        const auto channel = channels.channelOf(line.interfaceName);
        line.frame.channel = channel.value_or(0);
        return channel ? nullptr : "too many different interface names";
    }

    Descriptor input;
    ChannelMap& channels;
    std::vector<char> buffer;
    std::size_t at = 0; ///< first byte not taken
    std::size_t end = 0;
    bool isOverlong = false; ///< the line goes on, and is damaged
    bool isAtEnd = false;
    bool hasMore = false; ///< lines that the sink did not take, perhaps
    CandumpLine line;
};

LogPipeSource::LogPipeSource(const std::string& path, ChannelMap& channels)
    : LogPipeSource(path, openPipe(path), channels) {}
LogPipeSource::LogPipeSource(std::string name, int descriptor, ChannelMap& channels)
    : LiveSource(std::move(name)), state(std::make_unique<State>(descriptor, channels)) {}
LogPipeSource::~LogPipeSource() = default;

int LogPipeSource::descriptor() const {
    return state->input.get();
}

std::optional<std::uint64_t> LogPipeSource::due() const {
    return state->hasMore ? std::optional<std::uint64_t>(0) : std::nullopt;
}

bool LogPipeSource::ended() const {
    return state->isAtEnd && !state->hasMore;
}

void LogPipeSource::read(MessageSink& sink) {
    if (!std::exchange(state->hasMore, false)) {
        state->fill(name());
    }
    while (true) {
        if (sink.closed()) {
            state->hasMore = true;
            return;
        }
        const std::string_view text = state->nextLine();
        if (text.empty()) {
            return;
        }
        const bool isRest = state->isOverlong;
        state->isOverlong = text.back() != '\n' && !state->isAtEnd;
        if (isRest || text.find_first_not_of("\r\n") == text.npos) {
            continue;
        }
        if (text.size() > mostLineBytes) {
            countDamage("line is too long");
        } else if (const char* const reason = state->read(text)) {
            countDamage(reason);
        } else if (state->line.kind == CandumpLine::Kind::DropCount) {
            counted.lost += state->line.dropped;
        } else {
            ++counted.messages;
            deliverLine(state->line, sink, state->line.frame.timestamp);
        }
    }
}

} // namespace rksignal
