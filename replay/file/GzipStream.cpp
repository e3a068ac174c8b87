#include "file/GzipStream.h"

#include <algorithm>
#include <new>
#include <utility>

namespace rksignal {
namespace {

constexpr std::size_t gzipBlock = 65536;
constexpr int gzipOnly = 16 + MAX_WBITS; // inflate checks head and check sum of each member

} // namespace

GzipStream::GzipStream(std::unique_ptr<InputFile> file) : file(std::move(file)), block(gzipBlock) {
    if (inflateInit2(&stream, gzipOnly) != Z_OK) {
        throw std::bad_alloc();
    }
}

GzipStream::~GzipStream() {
    inflateEnd(&stream);
}

std::unique_ptr<ContentStream> GzipStream::reopen() const {
    return std::make_unique<GzipStream>(file->reopen());
}

std::size_t GzipStream::read(char* to, std::size_t size) {
    stream.next_out = reinterpret_cast<Bytef*>(to);
    stream.avail_out = static_cast<uInt>(std::min<std::size_t>(size, gzipBlock * 16));
    const uInt room = stream.avail_out;
    while (stream.avail_out == room && !isAtEnd) {
        if (!isInside && !nextMember()) {
            break;
        }
        if (stream.avail_in == 0 && !refill()) {
            end("cut off");
            break;
        }
        const int status = inflate(&stream, Z_NO_FLUSH);
        isInside = status != Z_STREAM_END;
        if (status != Z_OK && status != Z_STREAM_END && status != Z_BUF_ERROR) {
            end(std::string("damaged: ") + (stream.msg != nullptr ? stream.msg : zError(status)));
        }
    }
    return room - stream.avail_out;
}

/// \return whether there was something to read
bool GzipStream::refill() {
    stream.next_in = block.data();
    stream.avail_in = static_cast<uInt>(file->read(reinterpret_cast<char*>(block.data()), block.size()));
    return stream.avail_in > 0;
}

/// Goes on behind a member. \return whether another one follows
bool GzipStream::nextMember() {
    constexpr Bytef firstByte = 0x1F;
    do {
        while (stream.avail_in > 0 && *stream.next_in == 0) {
            ++stream.next_in;
            --stream.avail_in;
        }
    } while (stream.avail_in == 0 && refill());
    if (stream.avail_in == 0) {
        return end(file->damage());
    }
    if (*stream.next_in != firstByte) {
        return end("what stands behind the compressed data is not gzip");
    }
    isInside = true;
    return inflateReset(&stream) == Z_OK;
}

/// \return false
bool GzipStream::end(std::string why) {
    isAtEnd = true;
    reason = file->damage().empty() ? std::move(why) : file->damage();
    return false;
}

} // namespace rksignal
