// Frame keys, the table of frames in use, and what building and destroying a signal does to the tables.

#include "bus/CANTest.h"
#include "support/CapturedOutput.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

struct Identity {
    const char* name;
    std::uint8_t tslId;
    std::uint8_t channel;
    std::uint32_t msgId;
    std::uint32_t format;
    std::uint64_t key;
};

// Terms are added: what does not fit into its field carries into the next one.
const Identity identities[] = {
    {"Standard", 0, 2, 0x123, 0, 0x8000000200000123},
    {"Extended", 0, 2, 0x123, 1, 0x8000000280000123},
    {"FdStandard", 0, 2, 0x123, 2, 0x8000000240000123},
    {"FdExtended", 0, 2, 0x123, 3, 0x80000002C0000123},
    {"OtherChannel", 0, 1, 0x123, 0, 0x8000000100000123},
    {"HighestChannel", 0, 255, 0x1FFFFFFF, 1, 0x800000FF9FFFFFFF},
    {"TraceSource", 1, 2, 0x123, 0, 0x8100000200000123},
    {"LastTraceSourceWithoutCarry", 127, 2, 0x123, 0, 0xFF00000200000123},
    {"TraceSourceCarries", 128, 3, 0x123, 0, 0x0000000300000123},
    {"HighestTraceSource", 255, 2, 0x123, 0, 0x7F00000200000123},
    {"IdentifierBit30CarriesIntoExtended", 0, 4, 0x40000123, 2, 0x8000000480000123},
    {"IdentifierBit31CarriesIntoChannel", 0, 5, 0x80000123, 1, 0x8000000600000123},
    {"AllOnes", 255, 255, 0xFFFFFFFF, 3, 0x7F000100BFFFFFFF},
};

canSignalDef_t definitionOf(const Identity& identity) {
    canSignalDef_t def = classicSignal(identity.name);
    def.tslId = identity.tslId;
    def.channel = identity.channel;
    def.msgId = identity.msgId;
    def.extended = identity.format == 1 || identity.format == 3;
    def.canFD = identity.format >= 2;
    return def;
}

/// Like a raw trace record, no longer than it must be.
std::vector<std::uint8_t> recordOf(std::uint8_t channel, std::uint32_t identifierWord) {
    std::vector<std::uint8_t> record(22, 0xEE);
    record[14] = channel;
    for (std::size_t i = 0; i < 4; ++i) {
        record[18 + i] = static_cast<std::uint8_t>(identifierWord >> (24 - 8 * i));
    }
    return record;
}

} // namespace

class CANKey : public CANTest {};
class CANContainer : public CANTest {};

TEST_F(CANKey, SumsTheIdentityOfTheFrame) {
    std::vector<std::unique_ptr<CANSignal>> signals;
    for (const Identity& identity : identities) {
        signals.push_back(std::make_unique<CANSignal>(definitionOf(identity)));
        EXPECT_THAT(CANSignal::canContainer[identity.key], ElementsAre(signals.back().get()))
            << identity.name;
    }
    for (std::size_t i = 0; i < signals.size(); ++i) { // each is reached by its own frame alone
        SCOPED_TRACE(identities[i].name);
        const auto message = frame({1}, identities[i].format, identities[i].msgId);
        message->channel = identities[i].channel;
        EXPECT_THAT(decode(*message, identities[i].tslId), ElementsAre(signals[i]->id));
        message->channel = 77;
        EXPECT_THAT(decode(*message, identities[i].tslId), IsEmpty());
    }
}

TEST_F(CANKey, FrameFormatsAboveThreeCountAsStandardClassic) {
    const CANSignal signal(classicSignal("Standard"));
    for (const std::uint32_t format : {4U, 5U, 6U, 7U, 0x80000001U}) {
        EXPECT_THAT(decode(*frame({1}, format)), ElementsAre(signal.id)) << format;
    }
}

TEST_F(CANContainer, BuildingEntersTheStorage) {
    SignalStorage own;
    BaseSignal::instanceCounter = 7;
    const CANSignal inDefault(classicSignal("Default"));
    const CANSignal inOwn(classicSignal("Own"), false, &own);
    EXPECT_EQ(inDefault.id, firstId + 7);
    EXPECT_EQ(inOwn.id, firstId + 8);
    EXPECT_EQ(BaseSignal::instanceCounter, 9U);
    EXPECT_THAT(own.canSignals, ElementsAre(Pair(firstId + 8, ElementsAre(&inOwn))));
    EXPECT_THAT(own.instancesById, ElementsAre(Pair(firstId + 8, &inOwn)));
    EXPECT_EQ(BaseSignal::getInstance("Own", &own), &inOwn);
    EXPECT_EQ(BaseSignal::getInstance("Own"), nullptr);
    EXPECT_THAT(BaseSignal::defSignalStorage.canSignals,
                ElementsAre(Pair(firstId + 7, ElementsAre(&inDefault))));
    // The table of frames is the process's: either storage's decoder reaches both.
    EXPECT_THAT(decode(*frame({5}), 0, &own), ElementsAre(inDefault.id, inOwn.id));
    EXPECT_EQ(inDefault.slot->raw, 5U);
    SignalStorage empty;
    EXPECT_THAT(decode(*frame({6}), 0, &empty), IsEmpty());
    EXPECT_EQ(inDefault.slot->raw, 5U);
}

TEST_F(CANContainer, DestroyingLeavesEveryTable) {
    auto first = std::make_unique<CANSignal>(classicSignal("First"));
    auto second = std::make_unique<CANSignal>(classicSignal("Second"));
    first.reset();
    EXPECT_THAT(CANSignal::canContainer, ElementsAre(Pair(frameKey, ElementsAre(second.get()))));
    EXPECT_THAT(BaseSignal::defSignalStorage.canSignals,
                ElementsAre(Pair(second->id, ElementsAre(second.get()))));
    EXPECT_THAT(decode(*frame({1})), ElementsAre(second->id));
    second.reset();
    EXPECT_THAT(CANSignal::canContainer, IsEmpty());
    EXPECT_THAT(BaseSignal::defSignalStorage.canSignals, IsEmpty());
    EXPECT_THAT(BaseSignal::defSignalStorage.instancesById, IsEmpty());
}

TEST_F(CANContainer, DestroyingPurgesWhatClientsPlacedAndEmptyEntries) {
    const CANSignal kept(classicSignal("Kept"));
    auto placed = std::make_unique<CANSignal>(classicSignal("Placed"));
    auto* const keptAddress = CANSignal::canContainer.at(frameKey).front();
    CANSignal::canContainer[1] = {placed.get(), keptAddress, placed.get()};
    CANSignal::canContainer[2] = {placed.get(), placed.get()};
    CANSignal::canContainer[3] = {};
    placed.reset();
    EXPECT_THAT(CANSignal::canContainer,
                ElementsAre(Pair(1, ElementsAre(&kept)), Pair(frameKey, ElementsAre(&kept))));
}

TEST_F(CANContainer, RejectedFdDefinitionsAreFoundByNameOnly) {
    const std::pair<const char*, canSignalDef_t> rows[] = {
        {"TooWide", fdSignal("TooWide", {0, 65})},
        {"NineBytes", fdSignal("NineBytes", {4, 64})},
        {"NineBytesBigEndian", fdSignal("NineBytesBigEndian", {3, 64, true})},
    };
    const CapturedOutput captured;
    for (const auto& [name, def] : rows) {
        SCOPED_TRACE(name);
        const CANSignal accepted(fdSignal("Accepted"));
        auto rejected = std::make_unique<CANSignal>(def);
        EXPECT_EQ(rejected->id, rejectedId);
        EXPECT_EQ(BaseSignal::getInstance(name), rejected.get());
        EXPECT_EQ(BaseSignal::getInstance(rejectedId), nullptr);
        EXPECT_EQ(BaseSignal::defSignalStorage.canSignals.size(), 1U);
        EXPECT_THAT(decode(*fdFrame(counting(64))), ElementsAre(accepted.id));
        EXPECT_EQ(rejected->slot->raw, unwritten);
        EXPECT_EQ(BaseSignal::instanceCounter, accepted.id - firstId + 1);
        rejected.reset();
        EXPECT_EQ(BaseSignal::getInstance(name), nullptr);
        EXPECT_THAT(CANSignal::canContainer, ElementsAre(Pair(fdFrameKey, ElementsAre(&accepted))));
        EXPECT_THAT(BaseSignal::defSignalStorage.instancesById, ElementsAre(Pair(accepted.id, &accepted)));
    }
    EXPECT_EQ(captured.out.text() + captured.err.text(), "");
}

TEST_F(CANContainer, DuplicateIdentifierIsReportedAndNeverDecoded) {
    BaseSignal::instanceCounter = 0xAB;
    const CANSignal first(classicSignal("First"));
    BaseSignal::instanceCounter = 0xAB;
    CapturedOutput captured;
    auto second = std::make_unique<CANSignal>(classicSignal("Second"));
    EXPECT_EQ(captured.out.take(),
              "[ERROR] CANSignal::CANSignal() gpId 0x80000000000000ab already exists"); // and no line end
    EXPECT_EQ(second->id, rejectedId);
    EXPECT_EQ(BaseSignal::instanceCounter, 0xACU);
    EXPECT_EQ(BaseSignal::getInstance(first.id), &first);
    EXPECT_EQ(BaseSignal::getInstance("Second"), second.get());
    EXPECT_THAT(BaseSignal::defSignalStorage.canSignals,
                ElementsAre(Pair(first.id, ElementsAre(&first, second.get()))));
    EXPECT_THAT(CANSignal::canContainer, ElementsAre(Pair(frameKey, ElementsAre(&first))));
    EXPECT_THAT(decode(*frame({9})), ElementsAre(first.id));
    EXPECT_EQ(second->slot->raw, unwritten);
    second.reset();
    EXPECT_EQ(BaseSignal::getInstance(first.id), &first);
    EXPECT_EQ(captured.out.text() + captured.err.text(), "");
}

TEST_F(CANContainer, DestructorReportsAnEntryThatLostItsSignal) {
    CapturedOutput captured;
    auto signal = std::make_unique<CANSignal>(classicSignal("Lost"));
    BaseSignal::defSignalStorage.canSignals.at(signal->id).clear();
    signal.reset();
    EXPECT_EQ(captured.out.take(), "[ERROR] CANSignal::~CANSignal() Lost instance not found in vector\n");
    BaseSignal::defSignalStorage.canSignals.clear();

    signal = std::make_unique<CANSignal>(classicSignal("Gone"));
    BaseSignal::defSignalStorage.canSignals.clear();
    signal.reset();
    EXPECT_EQ(captured.out.text() + captured.err.text(), "");
}

TEST_F(CANContainer, SignalsInUseLooksUpTheFrameOfARecord) {
    canSignalDef_t plain = classicSignal("Plain");
    plain.channel = 16;
    canSignalDef_t extendedFd = fdSignal("ExtendedFd");
    extendedFd.extended = true;
    extendedFd.tslId = 200;
    const CANSignal signals[] = {CANSignal(plain), CANSignal(extendedFd)};
    const struct {
        const char* name;
        std::uint8_t channel;
        std::uint32_t word;
        std::uint8_t tslId;
        const char* line;
    } rows[] = {
        {"Standard", 16, 0x123, 0, "found: channel 16, msgId 0x123\n"},
        {"OtherChannel", 17, 0x123, 0, "not found: channel 17, msgId 0x123\n"},
        {"OtherTraceSource", 16, 0x123, 1, "not found: channel 16, msgId 0x123\n"},
        {"OtherByteOrder", 16, 0x23010000, 0, "not found: channel 16, msgId 0x23010000\n"},
        {"FdFlag", 16, 0x40000123, 0, "not found: channel 16, msgId 0x40000123\n"},
        {"ExtendedFdOfHighTraceSource", 0, 0xC0000123, 200, "found: channel 0, msgId 0xc0000123\n"},
        {"ExtendedFdOfOtherTraceSource", 0, 0xC0000123, 72, "not found: channel 0, msgId 0xc0000123\n"},
    };
    CapturedOutput captured;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const std::vector<std::uint8_t> record = recordOf(row.channel, row.word);
        std::cout << std::hex;
        for (const int level : {0, 1}) {
            BaseSignal::debug = level;
            EXPECT_EQ(CANSignal::signalsInUse(record.data(), nullptr, row.tslId, nullptr),
                      row.line[0] == 'f');
        }
        BaseSignal::debug = 0;
        std::cout << 10; // the stream is back in decimal
        EXPECT_EQ(captured.out.take(), std::string("[DEBUG] CANSignal::signalsInUse() ") + row.line + "10");
    }
    SignalStorage empty;
    const std::vector<std::uint8_t> record = recordOf(16, 0x123);
    EXPECT_FALSE(CANSignal::signalsInUse(record.data(), record.data(), 0, &empty));
}
