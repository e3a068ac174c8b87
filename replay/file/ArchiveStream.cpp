#include "file/ArchiveStream.h"

#include "text/Error.h"

#include <algorithm>
#include <archive.h>
#include <archive_entry.h>
#include <cerrno>
#include <cstdio>
#include <utility>

namespace rksignal {
namespace {

constexpr std::size_t archiveBlock = 65536;
constexpr std::size_t longestName = 255;

/// Only what is asked for: what an archive begins with has told it already.
void support(archive* reader, Packing packing, bool canSeek) {
    switch (packing) {
    case Packing::Tar:
        archive_read_support_format_tar(reader);
        return;
    case Packing::Zip:
        canSeek ? archive_read_support_format_zip(reader)
                : archive_read_support_format_zip_streamable(reader);
        return;
    case Packing::Zstd:
        archive_read_support_filter_zstd(reader);
        break;
    case Packing::Bzip2:
        archive_read_support_filter_bzip2(reader);
        break;
    default:
        archive_read_support_filter_lz4(reader);
    }
    archive_read_support_format_raw(reader);
    archive_read_support_format_empty(reader);
}

} // namespace

ArchiveStream::ArchiveStream(std::unique_ptr<InputFile> input, Packing packing)
    : file(std::move(input)), packing(packing), reader(archive_read_new()), buffer(archiveBlock) {
    if (reader == nullptr) {
        throw Error("cannot read " + file->path(), ENOMEM);
    }
    support(reader.get(), packing, file->canReadAt());
    archive_read_set_read_callback(reader.get(), give);
    archive_read_set_callback_data(reader.get(), this);
    if (file->canReadAt()) {
        archive_read_set_seek_callback(reader.get(), seek);
    }
    if (archive_read_open1(reader.get()) != ARCHIVE_OK) {
        fail();
    }
}

void ArchiveStream::Close::operator()(archive* reader) const {
    archive_read_free(reader);
}

ssize_t ArchiveStream::give(archive* reader, void* self, const void** block) {
    auto& stream = *static_cast<ArchiveStream*>(self);
    try {
        *block = stream.buffer.data();
        return static_cast<ssize_t>(stream.refill());
    } catch (...) {
        stream.error = std::current_exception();
        archive_set_error(reader, ECANCELED, "reading failed");
        return -1;
    }
}

std::size_t ArchiveStream::refill() {
    const bool canReadAt = file->canReadAt();
    const std::size_t count = canReadAt ? file->readAt(offset, buffer.data(), buffer.size())
                                        : file->read(buffer.data(), buffer.size());
    offset += count;
    isExhausted = count == 0;
    return count;
}

std::int64_t ArchiveStream::seek(archive* /*reader*/, void* self, std::int64_t offset, int whence) {
    auto& stream = *static_cast<ArchiveStream*>(self);
    const auto size = static_cast<std::int64_t>(stream.file->size());
    const std::int64_t target = whence == SEEK_END ? size + offset : offset; // libarchive uses no SEEK_CUR
    if (whence == SEEK_CUR || target < 0 || target > size) {
        return ARCHIVE_FATAL;
    }
    stream.offset = static_cast<std::uint64_t>(target);
    return target;
}

bool ArchiveStream::nextMember() {
    while (!isAtEnd) {
        const int status = archive_read_next_header(reader.get(), &entry);
        if (status == ARCHIVE_EOF) {
            end();
        } else if (status == ARCHIVE_FATAL) {
            fail();
        } else if (status != ARCHIVE_RETRY && archive_entry_filetype(entry) == AE_IFREG &&
                   archive_entry_hardlink(entry) == nullptr) {
            ++member;
            left = 0;
            blockStart = given = 0;
            return true;
        }
    }
    return false;
}

void ArchiveStream::skipMembers(std::size_t count) {
    while (count > 0 && nextMember()) {
        --count;
    }
}

std::string ArchiveStream::memberName() const {
    const char* const utf8 = archive_entry_pathname_utf8(entry);
    const char* const name = utf8 != nullptr ? utf8 : archive_entry_pathname(entry);
    return name != nullptr ? std::string(name).substr(0, longestName) : "member " + std::to_string(member);
}

std::unique_ptr<ContentStream> ArchiveStream::reopen() const {
    auto again = std::make_unique<ArchiveStream>(file->reopen(), packing);
    again->skipMembers(member);
    return again;
}

std::size_t ArchiveStream::read(char* to, std::size_t size) {
    if (isAtEnd || (left == 0 && !nextBlock())) {
        return 0;
    }
    const bool isHole = given < blockStart; // in a sparse file
    const std::size_t room =
        isHole ? static_cast<std::size_t>(std::min<std::uint64_t>(size, blockStart - given)) : size;
    const std::size_t count = isHole ? room : std::min(room, left);
    if (isHole) {
        std::fill_n(to, count, '\0');
    } else {
        std::copy_n(block, count, to);
        block += count;
        left -= count;
    }
    given += count;
    return count;
}

/// Goes on in the member. \return false at its end
bool ArchiveStream::nextBlock() {
    const void* data = nullptr;
    std::int64_t offset = 0;
    int status = ARCHIVE_OK;
    do {
        status = archive_read_data_block(reader.get(), &data, &left, &offset);
    } while (status == ARCHIVE_RETRY || (status == ARCHIVE_OK && left == 0));
    if (status == ARCHIVE_OK || status == ARCHIVE_WARN) {
        block = static_cast<const char*>(data);
        blockStart = std::max(given, static_cast<std::uint64_t>(offset));
        return left > 0;
    }
    left = 0;
    if (status != ARCHIVE_EOF) {
        return fail();
    }
    end();
    return false;
}

void ArchiveStream::end() {
    isAtEnd = true;
    if (reason.empty()) {
        reason = file->damage();
    }
}

/// \return false \throws whatever the file has thrown
bool ArchiveStream::fail() {
    isAtEnd = true;
    rethrow();
    const char* const text = archive_error_string(reader.get());
    const bool isCut = isExhausted && packing != Packing::Zip; // whose directory stands at the end
    reason = isCut || text == nullptr ? "cut off" : text;
    reason = file->damage().empty() ? reason : file->damage();
    return false;
}

void ArchiveStream::rethrow() {
    if (error) {
        std::rethrow_exception(std::exchange(error, nullptr));
    }
}

} // namespace rksignal
