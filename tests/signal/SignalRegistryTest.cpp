/// \file
/// Construction, registry and destruction of private signals.
#include "support/CapturedOutput.h"
#include "support/SignalTest.h"

#include <cstring>
#include <set>

namespace {

using SignalRegistry = SignalTest;
using Ids = std::vector<unsigned long>;

TEST_F(SignalRegistry, SignalsAreFoundByNameAndIdentifier) {
    SignalStorage other;
    BaseSignal signal(byteDefinition("A")), elsewhere(byteDefinition("A"), false, &other);
    BaseSignal::defSignalStorage.instancesById[5] = &signal;
    other.instancesById[6] = &elsewhere;
    const CapturedOutput output;
    BaseSignal::debug = 2;
    EXPECT_EQ(BaseSignal::getInstance("A"), &signal);
    EXPECT_EQ(BaseSignal::getInstance("A", &BaseSignal::defSignalStorage), &signal);
    EXPECT_EQ(BaseSignal::getInstance("A", &other), &elsewhere);
    EXPECT_EQ(BaseSignal::getInstance("B"), nullptr);
    EXPECT_EQ(BaseSignal::getInstance(5UL), &signal);
    EXPECT_EQ(BaseSignal::getInstance(6UL), nullptr);
    EXPECT_EQ(BaseSignal::getInstance(6UL, &other), &elsewhere);
    EXPECT_EQ(&BaseSignal::getAllInstances(), &BaseSignal::defSignalStorage.instancesByName);
    EXPECT_EQ(BaseSignal::getAllInstances(), (std::map<std::string, BaseSignal*>{{"A", &signal}}));
    EXPECT_EQ(output.out.text() + output.err.text(), "") << "looking up says nothing";
    BaseSignal::debug = 0;
    BaseSignal::defSignalStorage.instancesById.clear();
}

TEST_F(SignalRegistry, EarlierSignalKeepsItsNameAndRemovalGoesByName) {
    BaseSignal first(byteDefinition("Twice", "First"));
    first.id = 9;
    BaseSignal::defSignalStorage.instancesById[9] = &first;
    {
        const CapturedOutput output;
        BaseSignal second(byteDefinition("Twice", "Second"));
        EXPECT_EQ(output.out.text() + output.err.text(),
                  "[ERROR] BaseSignal::BaseSignal() Twice already exists\n");
        EXPECT_TRUE(output.out.isFlushed());
        EXPECT_EQ(BaseSignal::getInstance("Twice"), &first);
        EXPECT_STREQ(second.slot->name, "Second");
        EXPECT_EQ(second.d_bytes, 1);
        second.id = 9;
    }
    EXPECT_EQ(BaseSignal::getInstance("Twice"), nullptr);
    EXPECT_EQ(BaseSignal::getInstance(9UL), nullptr);
}

TEST_F(SignalRegistry, DebugLinesOfLife) {
    CapturedOutput output;
    BaseSignal::debug = 1;
    { const BaseSignal signal(byteDefinition("S")); }
    BaseSignal::debug = 0;
    EXPECT_EQ(output.out.take(), "[DEBUG] BaseSignal::cInit() S:d_lsbBit=0,d_startByte=0,d_bytes=1,d_shift=0,"
                                 "d_maksBits=ff,d_signBit=80,d_rawMask=00000000000000ff\n"
                                 "[DEBUG] BaseSignal::BaseSignal() S created \n"
                                 "[DEBUG] BaseSignal::BaseSignal() " +
                                     freshText("S") + "\n[DEBUG] BaseSignal::~BaseSignal() S deleted\n");
    { const BaseSignal quiet(byteDefinition("S")); }
    EXPECT_EQ(output.out.text() + output.err.text(), "");
}

TEST_F(SignalRegistry, ClearReachesEverySignalOfTheListedIdentifiers) {
    SignalStorage storage;
    BaseSignal a(byteDefinition("A"), false, &storage), b(byteDefinition("B"), false, &storage),
        c(byteDefinition("C"), false, &storage), outside(byteDefinition("A"));
    a.id = c.id = outside.id = 7;
    b.id = 8;
    const struct {
        Ids ids;
        std::set<const BaseSignal*> cleared;
    } rows[] = {{{}, {}}, {{1, 2}, {}}, {{7}, {&a, &c}}, {{8}, {&b}}, {{8, 1, 7}, {&a, &b, &c}}};
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.ids));
        for (BaseSignal* signal : {&a, &b, &c, &outside})
            signal->writeRaw(1, 1);
        BaseSignal::clear(row.ids, &storage);
        for (const BaseSignal* signal : {&a, &b, &c, &outside})
            EXPECT_EQ(signal->slot->valid == 0, row.cleared.contains(signal)) << signal->def.instance;
    }
    outside.writeRaw(1, 1);
    BaseSignal::clearAll(&storage);
    EXPECT_EQ(a.slot->valid + b.slot->valid + c.slot->valid, 0);
    EXPECT_EQ(outside.slot->valid, 1);
    BaseSignal::clear(Ids{7});
    EXPECT_EQ(outside.slot->valid, 0);
}

/// A client's class that notes the calls of its operations.
class NotingSignal : public BaseSignal {
  public:
    using BaseSignal::read;
    using BaseSignal::write;
    NotingSignal(const std::string& instance, std::uint64_t identifier, std::string& calls)
        : BaseSignal(byteDefinition(instance)), calls(calls) {
        id = identifier;
    }
    bool write(unsigned long payload, unsigned long timestamp) override {
        calls += "write " + std::to_string(payload) + " " + std::to_string(timestamp) + ";";
        return false;
    }
    void clear() override { calls += "clear " + def.instance + ";"; }
    bool read(unsigned long&, unsigned long& timestamp) override {
        calls += "read " + def.instance + ";";
        timestamp = 3;
        return true;
    }

  private:
    std::string& calls;
};

TEST_F(SignalRegistry, VirtualOperationsAreCalledInByteWiseNameOrder) {
    std::string calls;
    NotingSignal c("b", 1, calls), a("B", 2, calls), d("é", 1, calls), b("B.", 3, calls);
    BaseSignal::clearAll();
    EXPECT_EQ(calls, "clear B;clear B.;clear b;clear é;");
    calls.clear();
    BaseSignal::clear({3, 1, 3});
    EXPECT_EQ(calls, "clear B.;clear b;clear é;clear B.;");
    calls.clear();
    Ids ids{99};
    EXPECT_FALSE(BaseSignal::checkTimeout(4, ids));
    EXPECT_EQ(calls, "read B;read B.;read b;read é;");
    EXPECT_EQ(ids, (Ids{2, 3, 1, 1}));
    calls.clear();
    const unsigned char data[] = {1, 2, 3};
    EXPECT_FALSE(a.write(data, 2, 5));
    EXPECT_EQ(calls, "write 513 5;");
    const std::set<const BaseSignal*, BaseSignalCompare> sorted{&d, &c, &b, &a};
    EXPECT_EQ(Ids({(*sorted.begin())->id, (*sorted.rbegin())->id}), (Ids{2, 1}));
    EXPECT_FALSE(BaseSignalCompare()(&a, &a));
    EXPECT_TRUE(BaseSignalCompare()(&a, &b));
}

TEST_F(SignalRegistry, TimeoutListsValidSignalsBeforeTheLimit) {
    SignalStorage storage;
    Ids ids{1, 2, 3};
    EXPECT_FALSE(BaseSignal::checkTimeout(~0UL, ids, &storage));
    EXPECT_EQ(ids, Ids{});
    BaseSignal old(byteDefinition("old"), false, &storage), edge(byteDefinition("edge"), false, &storage),
        young(byteDefinition("young"), false, &storage), never(byteDefinition("never"), false, &storage);
    old.id = 10, edge.id = 11, young.id = 12, never.id = 13;
    old.writeRaw(0, 99);
    edge.writeRaw(0, 100);
    young.writeRaw(0, ~0UL);
    never.writeTS(1);
    const struct {
        unsigned long limit;
        Ids ids;
    } rows[] = {{0, {}}, {99, {}}, {100, {10}}, {101, {11, 10}}, {~0UL, {11, 10}}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.limit);
        ids = {77};
        EXPECT_FALSE(BaseSignal::checkTimeout(row.limit, ids, &storage));
        EXPECT_EQ(ids, row.ids);
    }
    EXPECT_FALSE(BaseSignal::checkTimeout(~0UL, ids)) << "the default storage has no signals";
    EXPECT_EQ(ids, Ids{});
}

/// Index in the virtual table of the operation that a member function pointer names: the Itanium C++ ABI
/// stores 1 plus its offset in bytes.
template <class Function>
std::uintptr_t virtualIndex(Function function) {
    std::uintptr_t offset = 0;
    std::memcpy(&offset, &function, sizeof offset);
    return (offset - 1) / sizeof(void*);
}

TEST_F(SignalRegistry, OrderOfVirtualOperations) {
    using S = BaseSignal;
    using Time = unsigned long;
    const std::uintptr_t order[] = {
        virtualIndex(&S::getUnit),
        virtualIndex(&S::getScaleFactor),
        virtualIndex(&S::getOffset),
        virtualIndex(&S::getBits),
        virtualIndex(&S::getType),
        virtualIndex<bool (S::*)(double&, Time&)>(&S::read),
        virtualIndex<bool (S::*)(unsigned long&, Time&)>(&S::read),
        virtualIndex(&S::writeTS),
        virtualIndex<bool (S::*)(unsigned long, Time)>(&S::write),
        virtualIndex<bool (S::*)(const unsigned char*, unsigned long, Time)>(&S::write),
        virtualIndex(&S::writeRaw),
        virtualIndex(&S::isModified),
        virtualIndex<void (S::*)()>(&S::clear),
        virtualIndex(&S::getValueDescription),
    };
    for (std::size_t i = 0; i < std::size(order); ++i)
        EXPECT_EQ(order[i], i + 2) << "the destructor takes the first two places";
}

} // namespace
