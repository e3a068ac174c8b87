#include "file/GzipStream.h"

#include <utility>

namespace rksignal {
namespace {

constexpr std::size_t gzipBlock = 65536;

} // namespace

GzipStream::GzipStream(std::unique_ptr<InputFile> file)
    : file(std::move(file)), block(gzipBlock), inflater(Inflater::Format::Gzip) {}

std::unique_ptr<ContentStream> GzipStream::reopen() const {
    return std::make_unique<GzipStream>(file->reopen());
}

std::size_t GzipStream::read(char* to, std::size_t size) {
    const std::span<std::uint8_t> room(reinterpret_cast<std::uint8_t*>(to), size);
    std::size_t given = 0;
    while (given == 0 && size > 0 && !isAtEnd && (isInside || nextMember())) {
        const auto progress = inflater.inflate(compressed, room);
        compressed = compressed.subspan(progress.taken);
        given = progress.given;
        isInside = progress.status != Inflater::Status::End;
        if (progress.status == Inflater::Status::Damaged) {
            end(std::string("damaged: ") + inflater.damage());
        } else if (isInside && given == 0 && compressed.empty() && !refill()) {
            end("cut off");
        }
    }
    return given;
}

/// \return whether there was something to read
bool GzipStream::refill() {
    const std::size_t count = file->read(reinterpret_cast<char*>(block.data()), block.size());
    compressed = {block.data(), count};
    return count > 0;
}

/// Goes on behind a member. \return whether another one follows
bool GzipStream::nextMember() {
    constexpr std::uint8_t firstByte = 0x1F;
    do {
        while (!compressed.empty() && compressed.front() == 0) {
            compressed = compressed.subspan(1);
        }
    } while (compressed.empty() && refill());
    if (compressed.empty()) {
        return end(file->damage());
    }
    if (compressed.front() != firstByte) {
        return end("what stands behind the compressed data is not gzip");
    }
    isInside = true;
    inflater.reset();
    return true;
}

/// \return false
bool GzipStream::end(const std::string& why) {
    isAtEnd = true;
    reason = file->damage().empty() ? why : file->damage();
    return false;
}

} // namespace rksignal
