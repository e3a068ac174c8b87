/// \file
/// Looking at slots without a part in them, and who is permitted to.
#include "signal/SlotView.h"
#include "signal/SharedMemoryTest.h"

#include <cstring>
#include <grp.h>
#include <map>
#include <memory>
#include <sys/stat.h>

namespace {

using Attachment = SlotView::Attachment;

class SlotViews : public SharedMemoryTest {
  protected:
    void SetUp() override {
        SharedMemoryTest::SetUp();
        BaseSignal::detachOnly = true;
    }

    static std::string textOf(const SlotView& view) {
        std::uint64_t raw = 7, timestamp = 7;
        const auto state = static_cast<unsigned>(view.read(raw, timestamp));
        const char* const names[] = {"value", "no value", "uninitialised", "held"};
        return names[state] + (" " + std::to_string(raw)) + " at " + std::to_string(timestamp);
    }
};

TEST_F(SlotViews, NamesLeadToTheSlotOrToTheReasonWhyNot) {
    const baseSignalDef_t def = definition("S"), small = definition("small"), link = definition("link"),
                          unused = definition("unused"), alias = definition("alias");
    const BaseSignal signal(def, true);
    { BaseSignal(unused, true), shmctl(segmentOf(unused.instance), IPC_RMID, nullptr); }
    makeKeyFile(small.instance);
    EXPECT_GE(shmget(keyOf(small.instance), 50, IPC_CREAT | 0666), 0);
    std::filesystem::create_symlink("/tmp/" + def.instance, "/tmp/" + link.instance);
    std::filesystem::create_hard_link("/tmp/" + def.instance, "/tmp/" + alias.instance);
    const struct {
        std::string instance;
        Attachment attachment;
        int error;
    } rows[] = {
        {def.instance, Attachment::Attached, 0},
        {"../tmp/" + def.instance, Attachment::NoName, ENOENT},
        {definition("missing").instance, Attachment::NoKeyFile, ENOENT},
        {link.instance, Attachment::NoKeyFile, ELOOP},
        {unused.instance, Attachment::NoSegment, ENOENT},
        {small.instance, Attachment::WrongSize, EINVAL},
        {alias.instance, Attachment::OtherSignal, 0},
    };
    const auto trace = [&] {
        std::string text;
        for (const auto& row : rows)
            text += std::to_string(std::filesystem::exists("/tmp/" + row.instance)) + claimOf(row.instance);
        return text;
    };
    const std::string before = trace();
    for (const auto& row : rows) {
        const SlotView view(row.instance);
        EXPECT_EQ(view.attachment(), row.attachment) << row.instance;
        EXPECT_EQ(view.error(), row.error) << row.instance;
    }
    EXPECT_EQ(trace(), before);
    EXPECT_EQ(SlotView().attachment(), Attachment::NoName);
    EXPECT_EQ(SlotView::ofSegment(signal.shmId).name(), "Signal");
    EXPECT_EQ(SlotView::ofSegment(segmentOf(small.instance)).attachment(), Attachment::WrongSize);
    EXPECT_EQ(SlotView::ofSegment(-1).attachment(), Attachment::NoSegment);
}

TEST_F(SlotViews, ReadsWhatIsThereUntilTheNameLeadsElsewhere) {
    const baseSignalDef_t def = definition("S");
    BaseSignal signal(def, true);
    const SlotView view(def.instance);
    EXPECT_EQ(textOf(SlotView()), "uninitialised 7 at 7");
    EXPECT_EQ(textOf(view), "no value 2863311530 at 1431655765");
    signal.writeRaw(5, 6);
    EXPECT_EQ(textOf(view), "value 5 at 6");
    signal.writeRaw(5, 0);
    EXPECT_EQ(textOf(view), "value 5 at 0");
    signal.slot->mutex.__data.__lock = 1;
    EXPECT_EQ(textOf(view), "held 7 at 7");
    EXPECT_EQ(view.lockWord(), 1U);
    signal.slot->mutex.__data.__lock = 0;
    signal.invalidate();
    EXPECT_EQ(textOf(view), "no value 0 at 0");
    signal.slot->size = 0;
    EXPECT_EQ(textOf(view), "uninitialised 0 at 0");
    signal.slot->size = 104;

    EXPECT_TRUE(view.isCurrent());
    std::filesystem::rename("/tmp/" + def.instance, "/tmp/" + definition("kept").instance);
    EXPECT_FALSE(view.isCurrent());
    makeKeyFile(def.instance);
    EXPECT_FALSE(view.isCurrent());
    const SlotView bare = SlotView::ofSegment(signal.shmId);
    EXPECT_TRUE(bare.isCurrent());
    shmctl(signal.shmId, IPC_RMID, nullptr);
    EXPECT_FALSE(bare.isCurrent());
    signal.writeRaw(8, 9);
    EXPECT_EQ(textOf(bare), "value 8 at 9");
}

/// The slot is written and cleared all the time, so that it has a time stamp of 0 before and after a value.
TEST_F(SlotViews, WhatLiesBetweenTwoClearsHasItsOwnTimestamp) {
    const baseSignalDef_t def = definition("S");
    BaseSignal signal(def, true);
    const Peer writer({[&] {
        BaseSignal written(def, true);
        for (unsigned long round = 1; SlotView(def.instance).name() != "end"; ++round)
            for (int i = 0; i < 1'000; ++i, ++round) {
                written.writeRaw(round, round);
                written.invalidate();
            }
        return std::string();
    }});
    signal.invalidate();
    writer.begin();
    const SlotView view(def.instance);
    std::map<std::string, unsigned> seen;
    for (int reads = 0; reads < 200'000 || seen["value"] < 20 || seen["none"] < 20; ++reads) {
        std::uint64_t raw = 0, timestamp = 0;
        const auto state = view.read(raw, timestamp);
        if (state == SlotView::State::Held)
            continue;
        const bool isValue = state == SlotView::State::Value && raw != 0;
        ++seen[raw != timestamp ? "torn" : isValue || timestamp != 0 ? "value" : "none"];
    }
    std::strcpy(signal.slot->name, "end");
    writer.answer();
    EXPECT_EQ(seen["torn"], 0U);
}

TEST_F(SlotViews, NewSegmentsGiveTheAccessThatTheSiteWants) {
    constexpr uid_t user = 40'001;
    constexpr gid_t group = 40'002, other = 40'003;
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can become another user";
    umask(0);
    const struct {
        SegmentAccess access;
        gid_t readerGroup;
        bool isReadable, isWritable;
    } rows[] = {
        {{}, other, true, true},
        {{.mode = 0644, .group = {}}, other, true, false},
        {{.mode = 0640, .group = group}, group, true, false},
        {{.mode = 0660, .group = group}, group, true, true},
        {{.mode = 0660, .group = group}, other, false, false},
    };
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        const auto& row = rows[i];
        SCOPED_TRACE(i);
        const baseSignalDef_t def = definition(std::to_string(i));
        const Peer reader({[&] {
            EXPECT_EQ(setgroups(0, nullptr) + setgid(row.readerGroup) + setuid(user), 0);
            BaseSignal signal(def, true);
            const bool writes = signal.slot != &signal.privateSlot;
            return std::string(SlotView(def.instance).isAttached() ? "r" : "-") + (writes ? "w" : "-");
        }});
        BaseSignal::segmentAccess = row.access;
        const BaseSignal signal(def, true);
        BaseSignal::segmentAccess = {};
        EXPECT_EQ(reader.step(), std::string(row.isReadable ? "r" : "-") + (row.isWritable ? "w" : "-"));
        struct stat file {};
        EXPECT_EQ(stat(("/tmp/" + def.instance).c_str(), &file), 0);
        EXPECT_EQ(file.st_mode & 0777, row.access.mode);
        EXPECT_EQ(file.st_gid, row.access.group.value_or(getegid()));
    }
}

} // namespace
