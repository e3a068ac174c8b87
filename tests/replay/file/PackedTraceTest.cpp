/// \file
/// Traces in compressed files and archives that other programs have made, whole and damaged.
#include "file/ContentKind.h"
#include "tools/ProgramRun.h"
#include "trace/Trace.h"

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <thread>

namespace rksignal {
namespace {

using namespace std::string_view_literals;

/// Counts frames; each must have the time behind that of the one before, in seconds.
struct Counting : MessageSink {
    using MessageSink::receive;
    void receive(const CANExtTraceMessage& frame) override {
        ++frames;
        lastSecond = frame.timestamp / 1'000'000'000;
    }

    std::uint64_t frames = 0;
    std::uint64_t lastSecond = 0;
};

/// `FRAMES frames up to LAST SECOND: TRACE TRACE`, and what there was to say; or the error.
std::string summary(Trace& trace) {
    Counting sink;
    trace.run(sink);
    std::ostringstream text;
    text << sink.frames << " frames up to " << sink.lastSecond << ':';
    for (std::size_t i = 0; i < trace.count(); ++i) {
        text << ' ' << std::filesystem::path(trace.name(i)).lexically_relative("/tmp").string();
    }
    for (std::size_t i = 0; i < trace.count(); ++i) {
        for (const Remark& remark : trace.report(i).remarks) {
            text << '\n' << remark;
        }
    }
    return text.str();
}

class PackedTraces : public testing::Test {
  protected:
    PackedTraces() {
        folder.run("seq -f '(%.0f.5) can0 001#05' 1 2 9 > a; seq -f '(%.0f.5) can0 001#06' 2 2 10 > b;"
                   "echo hello > readme; seq -f '(%.0f.5) can0 001#05' 1 200000 > long");
    }

    /// The folder's name is left out.
    std::string read(const std::string& name) {
        std::string text;
        try {
            Trace trace;
            trace.addFile(folder.path(name));
            text = summary(trace);
        } catch (const Error& error) {
            text = error.what();
        }
        const std::string own = folder.path("");
        for (const std::string& each :
             {own, std::filesystem::path(own).lexically_relative("/tmp").string()}) {
            for (std::size_t at = 0; (at = text.find(each)) != text.npos;) {
                text.erase(at, each.size());
            }
        }
        return text;
    }

    TemporaryFolder folder;
};

TEST_F(PackedTraces, AreReadAsTheirContent) {
    const std::string both = "10 frames up to 10:";
    const std::string note = "\nt/readme: is plain text, not a trace";
    const struct {
        std::string command, expected;
    } rows[] = {
        {"gzip -c a > t; gzip -c b >> t; head -c 700 /dev/zero >> t", both + " t"},
        {"zstd -qc a > t; zstd -qc b >> t", both + " t"},
        {"xz -c a > t; xz -c b >> t", both + " t"},
        {"bzip2 -c a > t; bzip2 -c b >> t", both + " t"},
        {"lz4 -qc a > t; lz4 -qc b >> t", both + " t"},
        {"xz -c a > t; echo what is behind the end >> t",
         "5 frames up to 9: t\nt: damaged; what stands before is "
         "used"},
        {"xz -c --lzma2=preset=6,dict=256MiB a > t",
         "0 frames up to 0: t\nt: takes 257 MB to decompress, at most 136 MB are allowed: compress it with "
         "xz -9 or less"},
        {"gzip -c a | xz -c > t", "5 frames up to 9: t"},
        {"tar -cf t b a", both + " t/b t/a"},
        {"tar -czf t b a", both + " t/b t/a"},
        {"tar -cJf t readme a", "5 frames up to 9: t/a" + note},
        {"zip -qr t.zip a b; mv t.zip t", both + " t/a t/b"},
        {"gzip -k a; tar -cf t a.gz b", both + " t/a.gz t/b"},
        {"tar -cf t readme", "t holds no trace: t/readme is plain text, not a trace"},
        {"mkdir w; for i in $(seq 257); do cp a w/$i; done; tar -cf t w", "t holds more than 256 files"},
        {"cp long $(printf 'n%.0s' $(seq 200)); tar -cf t nn*; head -c 99999 t > u; mv u t",
         "4741 frames up to 4741: t/" + std::string(200, 'n')},
    };
    for (const auto& [command, expected] : rows) {
        folder.run("rm -f t; " + command);
        EXPECT_TRUE(read("t").starts_with(expected)) << command << '\n' << read("t");
    }
}

TEST_F(PackedTraces, AnArchiveIsReadFromAPipe) {
    folder.run("tar -czf t a b");
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const std::string bytes = folder.read("t");
    ASSERT_EQ(write(ends[1], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    close(ends[1]);
    Trace trace;
    trace.addDescriptor(ends[0], "t");
    close(ends[0]);
    EXPECT_EQ(trace.count(), 2U);
    EXPECT_TRUE(summary(trace).starts_with("10 frames up to 10:"));
}

/// What stands before the cut is used; a frame that the cut goes through is not.
TEST_F(PackedTraces, AreUsedUpToACut) {
    const struct {
        std::string command, remark;
    } rows[] = {
        {"gzip -c long > w", "t: cut off; what stands before is used"},
        {"zstd -qc long > w", "t: cut off; what stands before is used"},
        {"xz -c long > w", "t: cut off; what stands before is used"},
        {"bzip2 -c long > w", "t: cut off; what stands before is used"},
        {"lz4 -B4 -qc long > w", "t: cut off; what stands before is used"},
        {"tar -cf w long", "t/long: cut off; what stands before is used"},
        {"tar -czf w long", "t/long: cut off; what stands before is used"},
        {"zip -q w.zip long; mv w.zip w",
         "t/long: ZIP decompression failed (-5); what stands before is used"},
    };
    for (const auto& [command, remark] : rows) {
        folder.run(command + "; head -c $(($(stat -c %s w) * 3 / 4)) w > t");
        const std::string text = read("t");
        unsigned long long frames = 0, last = 0;
        ASSERT_EQ(std::sscanf(text.c_str(), "%llu frames up to %llu", &frames, &last), 2) << command << text;
        EXPECT_TRUE(frames > 20'000 && frames < 200'000 && frames == last) << command << text;
        EXPECT_NE(text.find(remark), text.npos) << command << '\n' << text;
        EXPECT_EQ(text.find("t:1"), text.npos) << command << text;
    }
    folder.run("gzip -c long > t; printf 'XXXX' | dd of=t bs=1 seek=$(($(stat -c %s t) - 8)) conv=notrunc");
    EXPECT_EQ(read("t"),
              "200000 frames up to 200000: t\nt: damaged: incorrect data check; what stands before is used");
}

TEST_F(PackedTraces, ABombTakesNoMemory) {
    for (const char* const packer : {"gzip -c", "zstd -qc", "xz -c", "bzip2 -c", "lz4 -qc"}) {
        folder.run("(cat a; head -c 150000000 /dev/zero; cat b) | " + std::string(packer) + " > t");
        rusage before{}, after{};
        getrusage(RUSAGE_SELF, &before);
        const std::string text = read("t");
        getrusage(RUSAGE_SELF, &after);
        EXPECT_TRUE(text.starts_with("9 frames up to 10: t\nt:6: line is too long")) << packer << text;
        EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 100'000) << packer << ", in kilobytes";
    }
}

TEST(ContentKind, NamesWhatAFileIs) {
    const struct {
        std::string_view head, kind;
    } rows[] = {
        {"", "an empty file"},
        {"\x89PNG\r\n\x1A\n", "a PNG picture"},
        {"SQLite format 3\0"sv, "an SQLite database"},
        {"\n VERSION \"\"\n\nNS_ :\n", "a DBC file"},
        {"BO_ 291 Engine: 8 X\r\n", "a DBC file"},
        {" {\"can\": []}", "a JSON file"},
        {"\xEF\xBB\xBF<?xml version=\"1.0\"?>\n<!-- x -->\n<AUTOSAR>", "an ARXML file"},
        {"<note/>", "an XML file"},
        {"/* body */\nLIN_description_file;\n", "an LDF file"},
        {"\xFF\xFE"
         "B\0O\0"sv,
         "UTF-16 text"},
        {"B\0O\0_\0 \0001\0002\0003\0 \0"sv, "UTF-16 text"},
        {"PK\x03\x04..........................[Content_Types].xml", "an Office document"},
        {"\x01\x02\x03\x04\x05\x06\x07\x08", "binary data of no known kind"},
        {"once upon a time\n", "plain text"},
    };
    for (const auto& [head, kind] : rows) {
        EXPECT_EQ(contentKind(head), kind);
    }
}

} // namespace
} // namespace rksignal
