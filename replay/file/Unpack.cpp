#include "file/Unpack.h"

#include "file/ArchiveStream.h"
#include "file/ContentKind.h"
#include "file/GzipStream.h"
#include "file/Packing.h"
#include "file/TemporaryCopy.h"
#include "file/XzStream.h"
#include "text/Error.h"

#include <utility>

namespace rksignal {
namespace {

constexpr int maxDepth = 4; // of compressed files in each other

using File = std::unique_ptr<InputFile>;

std::unique_ptr<ContentStream> decompress(File file, Packing packing) {
    if (packing == Packing::Gzip) {
        return std::make_unique<GzipStream>(std::move(file));
    }
    if (packing == Packing::Xz) {
        return std::make_unique<XzStream>(std::move(file));
    }
    auto stream = std::make_unique<ArchiveStream>(std::move(file), packing);
    stream->nextMember(); // the only one
    return stream;
}

/// Undoes compression. \param packing becomes that of the content, None or an archive
File decompressed(File file, Packing& packing) {
    packing = detectPacking(*file);
    for (int depth = 0; packing != Packing::None && !isArchive(packing) && depth < maxDepth; ++depth) {
        const std::string name = file->path();
        ReadControl* const control = file->readControl();
        file = std::make_unique<InputFile>(decompress(std::move(file), packing), name, control);
        packing = detectPacking(*file);
    }
    return file;
}

/// \param stream stands at the member
File memberFile(std::unique_ptr<ArchiveStream> stream, const InputFile& archive) {
    const std::string name = archive.path() + "/" + stream->memberName();
    Packing packing = Packing::None;
    return decompressed(std::make_unique<InputFile>(std::move(stream), name, archive.readControl()), packing);
}

Unpacked membersOf(const InputFile& file, Packing packing) {
    Unpacked result;
    result.isArchive = true;
    ArchiveStream list(file.reopen(), packing);
    std::size_t count = 0;
    while (list.nextMember()) {
        if (++count > Unpacked::maxMembers) {
            throw Error(file.path() + " holds more than " + std::to_string(Unpacked::maxMembers) + " files");
        }
    }
    result.damage = list.damage();
    for (std::size_t member = 1; member <= count; ++member) {
        auto stream = std::make_unique<ArchiveStream>(file.reopen(), packing);
        stream->skipMembers(member);
        result.files.push_back(memberFile(std::move(stream), file));
    }
    return result;
}

} // namespace

Unpacked unpack(File file) {
    Packing packing = Packing::None;
    file = decompressed(std::move(file), packing);
    if (isArchive(packing) && contentKind(file->peeked()) != officeDocument) {
        return membersOf(*(file->canReopen() ? std::move(file) : withRandomAccess(std::move(file))), packing);
    }
    Unpacked result;
    result.files.push_back(std::move(file));
    return result;
}

File uncompressed(File file) {
    Packing packing = Packing::None;
    return decompressed(std::move(file), packing);
}

} // namespace rksignal
