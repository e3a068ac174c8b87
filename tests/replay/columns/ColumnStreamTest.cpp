/// \file
/// The columns of traces, read as the Arrow format has them: formats, bits of validity, indices of
/// dictionaries, and who releases what.
#include "columns/ColumnStream.h"
#include "text/NumberText.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <future>
#include <span>
#include <vector>

namespace rksignal {
namespace {

constexpr const char* columnDefinitions = R"(BO_ 256 Engine: 8 X
 SG_ Gear : 0|4@1+ (1,0) [0|9] "" X
 SG_ Torque : 8|12@1- (1,0) [0|0] "Nm" X
 SG_ Speed : 24|16@1+ (0.5,-10) [0|0] "km/h" X
BO_ 257 Mixed: 12 X
 SG_ Mode M : 0|8@1+ (1,0) [0|0] "" X
 SG_ Ratio m1 : 8|32@1- (1,0) [0|0] "" X
 SG_ time m2 : 8|64@1+ (1,0) [0|0] "" X
CM_ BO_ 256 "of the
engine";
CM_ SG_ 256 Gear "chosen";
BA_DEF_ BO_ "GenMsgCycleTime" INT 0 1000;
BA_ "GenMsgCycleTime" BO_ 256 20;
VAL_ 256 Gear 0 "Neutral" 1 "First" 15 "Neutral" ;
SIG_VALTYPE_ 257 Ratio : 1;
)";

constexpr const char* columnGroup =
    R"(BA_DEF_ BO_ "VFrameFormat" ENUM "StandardCAN","ExtendedCAN","reserved","J1939PG";
BA_DEF_DEF_ "VFrameFormat" "J1939PG";
BO_ 2364540158 EEC: 8 X
 SG_ S : 0|8@1+ (1,0) [0|0] ""
 SG_ T : 8|8@1+ (1,0) [0|0] ""
)";

template <class Cell>
Cell cellAt(const ArrowArray& array, std::int64_t row) {
    Cell cell;
    std::memcpy(&cell, static_cast<const Cell*>(array.buffers[1]) + row, sizeof cell);
    return cell;
}

std::int64_t integerAt(char format, const ArrowArray& array, std::int64_t row) {
    switch (format) {
    case 'c':
        return cellAt<std::int8_t>(array, row);
    case 'C':
        return cellAt<std::uint8_t>(array, row);
    case 's':
        return cellAt<std::int16_t>(array, row);
    case 'S':
        return cellAt<std::uint16_t>(array, row);
    case 'i':
        return cellAt<std::int32_t>(array, row);
    default:
        return cellAt<std::int64_t>(array, row);
    }
}

std::string cellText(const ArrowSchema& schema, const ArrowArray& array, std::int64_t row) {
    const auto* const validity = static_cast<const std::uint8_t*>(array.buffers[0]);
    if (validity != nullptr && (validity[row / 8] >> row % 8 & 1) == 0) {
        return "-";
    }
    if (schema.dictionary != nullptr) {
        const auto* const ends = static_cast<const std::int32_t*>(array.dictionary->buffers[1]);
        const auto text = integerAt(*schema.format, array, row);
        return {static_cast<const char*>(array.dictionary->buffers[2]) + ends[text],
                static_cast<std::size_t>(ends[text + 1] - ends[text])};
    }
    if (*schema.format == 'g' || *schema.format == 'f') {
        return doubleText(*schema.format == 'g' ? cellAt<double>(array, row) : cellAt<float>(array, row));
    }
    return std::to_string(integerAt(*schema.format, array, row));
}

/// `NAME:FORMAT NAME:FORMAT ...`, in brackets where it is one of a dictionary.
std::string headOf(const ArrowSchema& schema) {
    std::string text;
    for (std::int64_t i = 0; i < schema.n_children; ++i) {
        const ArrowSchema& child = *schema.children[i];
        const std::string format =
            child.dictionary != nullptr ? "[" + std::string(child.format) + "]" : child.format;
        text += std::string(i == 0 ? "" : " ") + child.name + ":" + format;
    }
    return text;
}

std::string rowsOf(const ArrowSchema& schema, const ArrowArray& batch) {
    std::string text;
    for (std::int64_t row = 0; row < batch.length; ++row) {
        for (std::int64_t i = 0; i < batch.n_children; ++i) {
            text += (i == 0 ? "\n" : " ") + cellText(*schema.children[i], *batch.children[i], row);
        }
    }
    return text;
}

/// `KEY=VALUE KEY=VALUE`, as the Arrow format lays it out.
std::string metadataOf(const ArrowSchema& schema) {
    const char* at = schema.metadata;
    const auto number = [&at] {
        std::int32_t value = 0;
        std::memcpy(&value, at, sizeof value);
        at += sizeof value;
        return static_cast<std::size_t>(value);
    };
    std::string text;
    for (std::size_t left = number(); left > 0; --left) {
        for (const char end : {'=', ' '}) {
            const std::size_t length = number();
            text += std::string(at, length) + end;
            at += length;
        }
    }
    return text;
}

class Columns : public testing::Test {
  protected:
    /// Lines of a candump log, each without its time, which is the number of the line in nanoseconds unless
    /// it stands before the frame.
    void open(const std::string& frames, const ColumnSettings& settings,
              const char* text = columnDefinitions) {
        log = frames;
        catalog.addDbcText(text, "test.dbc");
        trace.addMemory({reinterpret_cast<const std::uint8_t*>(log.data()), log.size()}, "test.log");
        stream = std::make_shared<ColumnStream>(catalog, trace, settings);
    }

    /// All batches: the name and head of its table, the first time that it comes, and rows.
    std::string all() {
        std::string text;
        std::vector<bool> known;
        ArrowArray batch;
        while (const auto table = stream->next(batch)) {
            ArrowSchema schema;
            stream->schema(*table, schema);
            known.resize(std::max(known.size(), *table + 1));
            text += known[*table] ? "\n+" : "\n" + stream->tables()[*table].name + " " + headOf(schema);
            known[*table] = true;
            text += rowsOf(schema, batch);
            batch.release(&batch);
            schema.release(&schema);
        }
        EXPECT_EQ(batch.release, nullptr);
        return text;
    }

    std::string log;
    Catalog catalog;
    Trace trace;
    std::shared_ptr<ColumnStream> stream;
};

constexpr const char* columnFrames = "(0.000000001) can3 100#01FF0F1400000000\n"
                                     "(0.000000002) can4 101##0010000C03F\n" // 1.5
                                     "(0.000000003) can3 100#0001\n"         // too short for the torque
                                     "(0.000000004) can4 101##002FFFFFFFFFFFFFFFF\n" // 2^64 - 1
                                     "(0.000000005) can4 101##007\n"                 // no branch
                                     "(0.000000006) can3 100#0F00080000000000\n";    // the least torque

/// By hand from the definitions.
TEST_F(Columns, EachMessageHasATableOfTheNarrowestTypes) {
    open(columnFrames, {.layout = ColumnLayout::Message, .batchRows = 2});
    EXPECT_EQ(all(), R"(
Engine time:tsn:UTC channel:C Gear:C Gear.text:[c] Torque:s Speed:g
1 3 1 First -1 0
3 3 0 Neutral - -
Mixed time:tsn:UTC channel:C Mode:C Ratio:f Mixed.time:L
2 4 1 1.5 -
4 4 2 - -1
+
6 3 15 Neutral -2048 -10
+
5 4 7 - -)");
}

TEST_F(Columns, MetadataSaysWhatTheDefinitionsSay) {
    open("", {.layout = ColumnLayout::Message});
    ArrowSchema schema;
    stream->schema(0, schema);
    EXPECT_EQ(metadataOf(schema),
              "message=Engine bus=can id=100 format=standard sender=X comment=of the\nengine "
              "cycle_time_ms=20 ");
    EXPECT_EQ(metadataOf(*schema.children[2]),
              "instance=Engine.Gear comment=chosen factor=1 offset=0 minimum=0 maximum=9 "
              R"(values={"0":"Neutral","1":"First","15":"Neutral"} )");
    EXPECT_EQ(metadataOf(*schema.children[5]), "instance=Engine.Speed unit=km/h factor=0.5 offset=-10 ");
    schema.release(&schema);
}

TEST_F(Columns, LongRowsOfWantedSignals) {
    open(columnFrames, {.signals = std::vector<std::size_t>{0, 1, 4}, .batchRows = 3});
    EXPECT_EQ(all(), R"(
 time:tsn:UTC channel:C bus:[c] instance:[i] value:g raw:l text:[i]
1 3 can Engine.Gear 1 1 First
1 3 can Engine.Torque -1 -1 -
2 4 can Mixed.Ratio 1.5 1069547520 -
+
3 3 can Engine.Gear 0 0 Neutral
6 3 can Engine.Gear 15 15 Neutral
6 3 can Engine.Torque -2048 -2048 -)");
    EXPECT_EQ(stream->statistics().decoded[0], 6U) << "frames";
}

/// Intervals end with another value, where time goes back, after a gap and with the trace; each channel has
/// its own.
TEST_F(Columns, IntervalsLastAsLongAsTheRawValue) {
    open("(0.000000010) can0 100#01\n(0.000000020) can0 100#11\n(0.000000021) can1 100#01\n"
         "(0.000000030) can0 100#00\n(0.000000025) can0 100#00\n(0.000000125) can0 100#00\n"
         "(0.000000226) can0 100#00\n",
         {.layout = ColumnLayout::Intervals, .raw = false, .gap = 100});
    EXPECT_EQ(all(), R"(
 instance:[i] channel:C bus:[c] from:tsn:UTC to:tsn:UTC count:L value:g text:[i]
Engine.Gear 0 can 10 20 2 1 First
Engine.Gear 0 can 30 30 1 0 Neutral
Engine.Gear 0 can 25 125 2 0 Neutral
Engine.Gear 0 can 226 226 1 0 Neutral
Engine.Gear 1 can 21 21 1 1 First)");
}

/// A further sender has instances of its own, and so a table of its own.
TEST_F(Columns, FurtherSendersAreAdded) {
    const std::string senders = "(0.000000001) can0 0CF00400#0102\n(0.000000002) can0 0CF00421#0304\n";
    open(senders, {.layout = ColumnLayout::Message, .signals = std::vector<std::size_t>{1}}, columnGroup);
    EXPECT_EQ(all(), "\nEEC time:tsn:UTC channel:C T:C\n1 0 2\nEEC@SA21 time:tsn:UTC channel:C T:C\n2 0 4");
}

/// As consumers do: a child is moved out of its parent, which is released first, as the stream was before.
TEST_F(Columns, WhatWasGivenOutBelongsToTheConsumer) {
    open(columnFrames, {.batchRows = 2});
    ArrowArrayStream exported;
    exportStream(std::move(stream), exported);
    ArrowSchema schema;
    ArrowArray batch;
    ASSERT_EQ(exported.get_schema(&exported, &schema), 0);
    ASSERT_EQ(exported.get_next(&exported, &batch), 0);
    exported.release(&exported);
    EXPECT_EQ(exported.release, nullptr);
    ArrowSchema instanceSchema = std::exchange(*schema.children[3], {});
    ArrowArray instance = std::exchange(*batch.children[3], {});
    schema.release(&schema);
    batch.release(&batch);
    EXPECT_EQ(batch.release, nullptr);
    EXPECT_EQ(cellText(instanceSchema, instance, 1), "Engine.Torque");
    instanceSchema.release(&instanceSchema);
    instance.release(&instance);
}

TEST_F(Columns, AStreamThatWasStoppedDoesNotEndAsIfItWereWhole) {
    open(columnFrames, {});
    trace.stop();
    ArrowArrayStream exported;
    exportStream(stream, exported);
    ArrowArray batch;
    EXPECT_EQ(exported.get_next(&exported, &batch), ECANCELED);
    EXPECT_STREQ(exported.get_last_error(&exported), "reading was stopped");
    exported.release(&exported);
}

/// The rows before come first, then the error.
TEST_F(Columns, AStreamOfOneTableEndsWhereAnotherSenderBegins) {
    open("(0.000000001) can0 0CF00400#01\n(0.000000002) can0 0CF00421#02\n",
         {.layout = ColumnLayout::Message, .batchRows = 1}, columnGroup);
    ArrowArrayStream exported;
    exportStream(stream, exported);
    ArrowArray batch;
    ASSERT_EQ(exported.get_next(&exported, &batch), 0);
    EXPECT_EQ(batch.length, 1);
    batch.release(&batch);
    EXPECT_EQ(exported.get_next(&exported, &batch), EIO);
    EXPECT_STREQ(exported.get_last_error(&exported), "a further sender of EEC has a table of its own");
    exported.release(&exported);
}

TEST(ColumnThreads, ReadStreamsOfTheirOwn) {
    std::string frames;
    for (int i = 0; i < 200; ++i) {
        frames += columnFrames;
    }
    const std::span<const std::uint8_t> bytes(reinterpret_cast<const std::uint8_t*>(frames.data()),
                                              frames.size());
    std::vector<std::future<std::int64_t>> rows;
    for (int i = 0; i < 4; ++i) {
        rows.push_back(std::async(std::launch::async, [bytes] {
            Catalog catalog;
            catalog.addDbcText(columnDefinitions, "test.dbc");
            Trace trace;
            trace.addMemory(bytes, "test.log");
            ColumnStream stream(catalog, trace, {.batchRows = 7});
            std::int64_t found = 0;
            for (ArrowArray batch; stream.next(batch); batch.release(&batch)) {
                found += batch.length;
            }
            return found;
        }));
    }
    for (std::future<std::int64_t>& each : rows) {
        EXPECT_EQ(each.get(), 200 * 12);
    }
}

} // namespace
} // namespace rksignal
