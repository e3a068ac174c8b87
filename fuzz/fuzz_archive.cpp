// Compressed files and archives of any content, and sound ones that are damaged afterwards.

#include "FuzzInput.h"
#include "trace/Trace.h"

#include <archive.h>
#include <archive_entry.h>
#include <cstdint>
#include <string>
#include <vector>

namespace {

/// An archive of one of the kinds that are understood, with up to four members from the input.
std::vector<std::uint8_t> soundArchive(FuzzInput& input) {
    constexpr int filters[] = {ARCHIVE_FILTER_NONE, ARCHIVE_FILTER_GZIP,  ARCHIVE_FILTER_ZSTD,
                               ARCHIVE_FILTER_XZ,   ARCHIVE_FILTER_BZIP2, ARCHIVE_FILTER_LZ4};
    std::vector<std::uint8_t> bytes(std::size_t{1} << 20);
    std::size_t used = 0;
    archive* const writer = archive_write_new();
    const auto kind = input.take<std::uint8_t>();
    kind < 128 ? archive_write_set_format_zip(writer) : archive_write_set_format_pax_restricted(writer);
    archive_write_add_filter(writer, filters[kind % std::size(filters)]);
    archive_write_open_memory(writer, bytes.data(), bytes.size(), &used);
    for (int member = 0; member < 4 && !input.empty(); ++member) {
        const auto content = input.takeBytes(input.take<std::uint16_t>() % 2048);
        archive_entry* const entry = archive_entry_new();
        archive_entry_set_pathname(entry, std::to_string(member).c_str());
        archive_entry_set_filetype(entry, AE_IFREG);
        archive_entry_set_perm(entry, 0644);
        archive_entry_set_size(entry, static_cast<la_int64_t>(content.size()));
        archive_write_header(writer, entry);
        archive_write_data(writer, content.data(), content.size());
        archive_entry_free(entry);
    }
    archive_write_free(writer);
    bytes.resize(used);
    return bytes;
}

void damage(std::vector<std::uint8_t>& bytes, FuzzInput& input) {
    for (int place = 0; place < 4 && !bytes.empty(); ++place) {
        bytes[input.take<std::uint32_t>() % bytes.size()] ^= input.take<std::uint8_t>();
    }
    if (input.take<std::uint8_t>() % 2 == 0 && !bytes.empty()) {
        bytes.resize(input.take<std::uint32_t>() % bytes.size());
    }
}

void readAll(std::span<const std::uint8_t> bytes) {
    rksignal::Trace trace;
    rksignal::MessageSink ignoring;
    try {
        trace.addMemory(bytes, "input");
        trace.run(ignoring);
    } catch (const rksignal::Error&) { // no trace
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    if (input.take<std::uint8_t>() % 2 == 0) {
        readAll(input.takeBytes(size));
        return 0;
    }
    const auto harm = input.takeBytes(32);
    std::vector<std::uint8_t> bytes = soundArchive(input);
    FuzzInput places(harm.data(), harm.size());
    damage(bytes, places);
    readAll(bytes);
    return 0;
}
