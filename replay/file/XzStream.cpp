#include "file/XzStream.h"

#include <algorithm>
#include <new>
#include <utility>

namespace rksignal {
namespace {

constexpr std::size_t xzBlock = 65536;
constexpr std::uint64_t mebibyte = std::uint64_t{1} << 20;
constexpr std::uint64_t xzMemory = 136 * mebibyte; // a dictionary of 128 MiB; that of `xz -9` has 64 MiB

} // namespace

XzStream::XzStream(std::unique_ptr<InputFile> file) : file(std::move(file)), block(xzBlock) {
    if (lzma_stream_decoder(&stream, xzMemory, LZMA_CONCATENATED) != LZMA_OK) {
        throw std::bad_alloc();
    }
}

XzStream::~XzStream() {
    lzma_end(&stream);
}

std::unique_ptr<ContentStream> XzStream::reopen() const {
    return std::make_unique<XzStream>(file->reopen());
}

std::size_t XzStream::read(char* to, std::size_t size) {
    stream.next_out = reinterpret_cast<std::uint8_t*>(to);
    stream.avail_out = size;
    while (stream.avail_out == size && !isAtEnd) {
        if (stream.avail_in == 0 && !isExhausted) {
            stream.next_in = block.data();
            stream.avail_in = file->read(reinterpret_cast<char*>(block.data()), block.size());
            isExhausted = stream.avail_in == 0;
        }
        const lzma_ret status = lzma_code(&stream, isExhausted ? LZMA_FINISH : LZMA_RUN);
        if (status != LZMA_OK) {
            end(status);
        }
    }
    return size - stream.avail_out;
}

void XzStream::end(lzma_ret status) {
    isAtEnd = true;
    if (!file->damage().empty()) {
        reason = file->damage();
    } else if (status == LZMA_MEMLIMIT_ERROR) {
        reason = tooMuch();
    } else if (status == LZMA_BUF_ERROR) {
        reason = "cut off";
    } else if (status == LZMA_OPTIONS_ERROR) {
        reason = "compressed by a method of xz that is not supported";
    } else if (status == LZMA_MEM_ERROR) {
        throw std::bad_alloc();
    } else if (status != LZMA_STREAM_END) {
        reason = "damaged";
    }
}

std::string XzStream::tooMuch() const {
    const auto inMebibytes = [](std::uint64_t bytes) {
        return std::to_string((bytes + mebibyte - 1) / mebibyte);
    };
    return "takes " + inMebibytes(lzma_memusage(&stream)) + " MB to decompress, at most " +
           inMebibytes(xzMemory) + " MB are allowed: compress it with xz -9 or less";
}

} // namespace rksignal
