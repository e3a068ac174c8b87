#include "trace/PacketFile.h"

#include "trace/UsageError.h"

#include <cerrno>
#include <cstdio>
#include <limits>
#include <pcap/pcap.h>
#include <stdio_ext.h>
#include <system_error>
#include <utility>

namespace rksignal {
namespace {

constexpr std::size_t blockSize = std::size_t{1} << 18; // one call of read() for thousands of packets

std::optional<std::uint64_t> nanoseconds(const timeval& time) {
    constexpr std::uint64_t second = 1'000'000'000;
    constexpr std::uint64_t maxSeconds = std::numeric_limits<std::uint64_t>::max() / second - 1;
    const auto seconds = static_cast<std::uint64_t>(time.tv_sec); // before 1970 they are more than fit
    const auto rest = static_cast<std::uint64_t>(time.tv_usec);   // nanoseconds, as the file is opened
    if (seconds > maxSeconds || rest >= second) {
        return std::nullopt;
    }
    return seconds * second + rest;
}

} // namespace

void PacketFile::Close::operator()(pcap* capture) const {
    pcap_close(capture); // the stream too
}

PacketFile::PacketFile(InputFile& file) : file(file) {
    std::FILE* const stream = fopencookie(this, "r", {give, nullptr, nullptr, nullptr});
    if (stream == nullptr) {
        throw std::system_error(errno, std::generic_category(), "cannot read " + file.path());
    }
    std::setvbuf(stream, nullptr, _IOFBF, blockSize);
    __fsetlocking(stream, FSETLOCKING_BYCALLER); // one thread
    char text[PCAP_ERRBUF_SIZE] = "";
    capture.reset(pcap_fopen_offline_with_tstamp_precision(stream, PCAP_TSTAMP_PRECISION_NANO, text));
    if (capture == nullptr) {
        std::fclose(stream); // NOLINT(cppcoreguidelines-owning-memory): libpcap has not taken it
        rethrow();
        throw UsageError(file.path() + ": " + text);
    }
}

PacketFile::~PacketFile() = default;

/// Exceptions must not pass through libpcap.
ssize_t PacketFile::give(void* self, char* to, std::size_t size) {
    auto& packets = *static_cast<PacketFile*>(self);
    try {
        return static_cast<ssize_t>(packets.file.read(to, size));
    } catch (...) {
        packets.error = std::current_exception();
        return -1;
    }
}

void PacketFile::rethrow() {
    if (error) {
        std::rethrow_exception(std::exchange(error, nullptr));
    }
}

int PacketFile::linkType() const {
    return pcap_datalink(capture.get());
}

void PacketFile::conclude(int result) {
    try {
        rethrow();
        reason = result == PCAP_ERROR_BREAK ? "" : pcap_geterr(capture.get());
    } catch (const InputStopped&) {
        reason.clear();
    }
}

bool PacketFile::next() {
    pcap_pkthdr* head = nullptr;
    const unsigned char* data = nullptr;
    const int result = pcap_next_ex(capture.get(), &head, &data);
    if (result != 1) {
        conclude(result);
        return false;
    }
    ++count;
    time = nanoseconds(head->ts);
    packet = {data, head->caplen};
    whole = head->caplen >= head->len;
    return true;
}

} // namespace rksignal
