// A decoder that has seen a frame follows every change made before the next one.

#include "bus/CANTest.h"
#include "support/CapturedOutput.h"

#include <functional>
#include <sstream>

namespace {

/// Signals A and B in one frame, at bytes 0 and 1, and a third one, at byte 2, in none.
struct World {
    explicit World(bool fd)
        : fd(fd), key(fd ? 0x8000000040000123 : 0x8000000000000123), spare(define("Spare", {16, 8})) {
        a.emplace(define("A", {0, 8}));
        b.emplace(define("B", {8, 8}));
        std::erase(list(), &spare);
    }
    canSignalDef_t define(const std::string& name, const Field& field) const {
        return fd ? fdSignal(name, field) : classicSignal(name, field);
    }
    std::vector<CANSignal*>& list() const { return CANSignal::canContainer.at(key); }
    void makeMultiplexer() { a->def.multiplexer = a->definition.multiplexer = 1; }
    void placeBranch() { CANSignal::canContainer[key + branch].push_back(&spare); }
    void buildOthers() {
        for (std::uint32_t i = 0; i < 200; ++i) {
            canSignalDef_t def = classicSignal("Other" + std::to_string(i));
            def.msgId = 0x200 + i;
            others.push_back(std::make_unique<CANSignal>(def));
        }
    }
    void changeFieldOfA(std::uint16_t startbit, std::uint8_t bits, bool bigEndian) {
        a->def.startbit = startbit;
        a->def.bits = bits;
        a->def.endian = bigEndian;
        a->cInit();
    }
    void changeRange(CANSignal& signal, bool isFd, std::uint8_t startByte, std::uint8_t numBytes) {
        signal.definition.canFD = isFd;
        signal.definition.startByte = startByte;
        signal.definition.numBytes = numBytes;
        signal.cInit();
    }
    void changePdu(std::optional<std::uint32_t> pduId) {
        b->definition.pduId = pduId;
        b->cInit();
    }
    /// The signals with these identifiers, each with its raw value.
    std::string describe(const std::vector<unsigned long>& ids) const {
        std::ostringstream text;
        for (const unsigned long id : ids) {
            const BaseSignal* const signal = BaseSignal::getInstance(id);
            text << signal->def.instance << '=' << std::hex << signal->slot->raw << ' ';
        }
        return text.str();
    }

    static constexpr std::uint64_t branch = std::uint64_t{0x82} << 40; // of the value 0x81
    bool fd;
    std::uint64_t key;
    CANSignal spare;
    std::optional<CANSignal> a, b;
    std::vector<std::unique_ptr<CANSignal>> others;
    signalSlot_t otherSlot;
};

using Act = std::function<void(World&)>;

struct Change {
    const char* name;
    Act change;
    const char* reported; ///< for the bytes 81 82 83 84
    bool fd = false;
    Act before = [](World&) {}; ///< done before the decoder sees the first frame
};

const Change changes[] = {
    {"None", [](World&) {}, "A=81 B=82 "},
    {"Built",
     [](World& w) {
         w.others.push_back(std::make_unique<CANSignal>(w.define("C", {24, 8})));
     },
     "A=81 B=82 C=84 "},
    {"Destroyed", [](World& w) { w.a.reset(); }, "B=82 "},
    {"RebuiltAtTheSameAddress",
     [](World& w) {
         w.b.emplace(w.define("B", {24, 8}));
     },
     "A=81 B=84 "},
    {"RebuiltAtTheSameAddressFd",
     [](World& w) {
         w.b.emplace(w.define("B", {24, 8}));
     },
     "A=81 B=84 ", true},
    {"Placed", [](World& w) { w.list().push_back(&w.spare); }, "A=81 B=82 Spare=83 "},
    {"PlacedFirst", [](World& w) { w.list().insert(w.list().begin(), &w.spare); }, "Spare=83 A=81 B=82 "},
    {"PlacedTwice", [](World& w) { w.list().push_back(&*w.a); }, "A=81 B=82 A=81 "},
    {"Removed", [](World& w) { w.list().pop_back(); }, "A=81 "},
    {"Emptied", [](World& w) { w.list().clear(); }, ""},
    {"Swapped", [](World& w) { std::swap(w.list()[0], w.list()[1]); }, "B=82 A=81 "},
    {"Replaced", [](World& w) { w.list()[1] = &w.spare; }, "A=81 Spare=83 "},
    {"ListExchanged",
     [](World& w) {
         w.list() = std::vector<CANSignal*>{&w.spare, &*w.b};
     },
     "Spare=83 B=82 "},
    {"EntryMadeAgain",
     [](World& w) {
         CANSignal::canContainer.erase(w.key);
         CANSignal::canContainer[w.key] = {&*w.b};
     },
     "B=82 "},
    {"TableMadeAgain",
     [](World& w) {
         CANSignal::canContainer.clear();
         CANSignal::canContainer.insert({w.key, {&*w.b, &w.spare}});
     },
     "B=82 Spare=83 "},
    {"OtherFramesBuilt", &World::buildOthers, "A=81 B=82 "},
    {"OtherFramesDestroyed", [](World& w) { w.others.resize(90); }, "A=81 B=82 ", false, &World::buildOthers},
    {"FieldMoved", [](World& w) { w.changeFieldOfA(24, 8, false); }, "A=84 B=82 "},
    {"FieldMadeBigEndian", [](World& w) { w.changeFieldOfA(7, 12, true); }, "A=818 B=82 "},
    {"FieldMadeWiderThanItsFdRange", [](World& w) { w.changeFieldOfA(0, 16, false); }, "A=81 B=82 ", true},
    {"TypeChanged",
     [](World& w) {
         w.a->def.type = signalValue_t::Signed;
         w.a->cInit();
     },
     "A=ffffffffffffff81 B=82 "},
    {"SlotMoved",
     [](World& w) {
         w.a->slot = &w.otherSlot;
         w.a->cInit();
     },
     "A=81 B=82 "},
    {"MadeMultiplexer",
     [](World& w) {
         w.makeMultiplexer();
         w.a->cInit();
     },
     "A=81 Spare=83 B=82 ", false, &World::placeBranch},
    {"BranchPlaced", &World::placeBranch, "A=81 Spare=83 B=82 ", false, &World::makeMultiplexer},
    {"BranchTakenAway", [](World& w) { CANSignal::canContainer.erase(w.key + World::branch); }, "A=81 B=82 ",
     false,
     [](World& w) {
         w.makeMultiplexer();
         w.placeBranch();
     }},
    {"MadeFd", [](World& w) { w.changeRange(*w.a, true, 3, 1); }, "A=84 B=82 "},
    {"FdMadeClassic", [](World& w) { w.changeRange(*w.b, false, 1, 1); }, "A=81 B=81 ", true},
    {"FdRangeMoved", [](World& w) { w.changeRange(*w.a, true, 3, 1); }, "A=84 B=82 ", true},
    {"FdRangeMovedPastTheEnd", [](World& w) { w.changeRange(*w.a, true, 4, 1); }, "B=82 ", true},
    {"FdRangeWidenedPastTheEnd", [](World& w) { w.changeRange(*w.b, true, 1, 4); }, "A=81 ", true},
    {"FdMovedIntoAPdu", [](World& w) { w.changePdu(7); }, "A=81 ", true},
    {"FdMovedOutOfAPdu", [](World& w) { w.changePdu({}); }, "A=81 B=82 ", true,
     [](World& w) { w.changePdu(7); }},
};

} // namespace

class CANChanges : public CANTest {};

TEST_F(CANChanges, TheNextFrameFollows) {
    for (const Change& row : changes) {
        SCOPED_TRACE(row.name);
        World world(row.fd);
        row.before(world);
        const auto message = row.fd ? fdFrame({1, 2, 3, 4}) : frame({1, 2, 3, 4});
        decode(*message);
        decode(*message);
        row.change(world);
        std::copy_n(counting(4, 0x81).begin(), 4, message->payload.begin());
        EXPECT_EQ(world.describe(decode(*message)), row.reported);
        EXPECT_EQ(world.describe(decode(*message)), row.reported);
    }
}

TEST_F(CANChanges, SwitchingDebugChangesNoValue) {
    World world(false);
    const CapturedOutput captured;
    for (const int level : {0, 1, 0, 2, 0}) {
        BaseSignal::debug = level;
        const auto value = static_cast<std::uint8_t>(0x10 * (level + 1));
        EXPECT_EQ(decode(*frame({value})).size(), 2U);
        EXPECT_EQ(world.a->slot->raw, value);
    }
}
