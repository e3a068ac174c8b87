/// \file
/// Random definitions and frames of CAN, FlexRay and Ethernet, sane and hostile, decoded by the library and
/// by a plain model: bit by bit and without derived fields, on the definitions as the client wrote them.
/// Every third set of signals is decoded on the plain paths.
#include "bus/CANTest.h"
#include "bus/EthernetTest.h"
#include "signal/BitModel.h"
#include "signal/PlainPaths.h"

#include <list>
#include <random>

namespace {

using Ids = std::vector<unsigned long>;

std::uint64_t number(std::span<const std::uint8_t> bytes, std::size_t at, std::size_t count) {
    std::uint64_t result = 0;
    while (count-- > 0)
        result = result * 256 + bytes[at++];
    return result;
}

/// A kind of PDU: its identifier, then its length, begin the header.
struct Chain {
    std::size_t header, idBytes, lengthBytes;
    bool mayReachTheEnd = false, mayBeEmpty = false;
};

/// Where the data of the PDU begin, or a place past every frame.
int findPdu(std::span<const std::uint8_t> bytes, std::size_t at, std::size_t end, const Chain& chain,
            std::uint64_t id) {
    for (std::uint64_t length = 0; at < end && at + chain.header <= bytes.size();
         at += chain.header + length) {
        length = number(bytes, at + chain.idBytes, chain.lengthBytes);
        if ((length == 0 && !chain.mayBeEmpty) ||
            (at + chain.header + length >= end && !chain.mayReachTheEnd))
            break;
        if (number(bytes, at, chain.idBytes) == id)
            return static_cast<int>(at + chain.header);
    }
    return 1'000'000;
}

/// A signal of the library, and what the model knows of it.
template <class Signal, class Definition>
struct Twin {
    explicit Twin(const Definition& definition) : def(definition), real(definition) {}
    std::vector<int> bits(int startbit) const { return fieldBits(startbit, def.bits, def.endian); }
    int lastByte(int startbit) const { return std::max(bits(startbit).front(), bits(startbit).back()) / 8; }
    bool isSigned() const { return def.type == signalValue_t::Signed; }
    void write(std::uint64_t value, std::uint64_t time) {
        modified = std::exchange(raw, value) != value;
        timestamp = time;
        valid = true;
    }

    Definition def;
    Signal real;
    std::uint64_t id = real.id, raw = 0xAAAAAAAA, timestamp = 0x55555555;
    bool valid = false, modified = false;
};

/// A set of signals of a few frames, and frames for them. Everything follows from the seed.
template <class Signal, class Definition>
class Scenario {
  public:
    explicit Scenario(std::uint64_t seed) : generator(seed) {}
    void change() {}

    std::size_t valuesSeen = 0;

  protected:
    using AnyTwin = Twin<Signal, Definition>;

    template <class Number = std::uint32_t>
    Number below(std::size_t limit) {
        return static_cast<Number>(generator() % limit);
    }
    bool chance(unsigned percent) { return below(100) < percent; }

    /// Compares what was reported and written with `expected` and the twins.
    void expectSame(const Ids& ids, const auto& message) {
        ASSERT_EQ(ids, expected);
        for (const AnyTwin& twin : twins) {
            const signalSlot_t& slot = *twin.real.slot;
            ASSERT_EQ(std::tuple(twin.real.id, slot.raw, slot.timestamp, slot.valid != 0),
                      std::tuple(twin.id, twin.raw, twin.timestamp, twin.valid))
                << twin.def << '\n'
                << testing::PrintToString(message);
        }
        valuesSeen += ids.size();
    }

    std::mt19937_64 generator;
    std::list<AnyTwin> twins;
    Ids expected;
};

template <class AnyScenario>
void expectAsByTheModel(std::uint64_t seeds, int frames, std::size_t leastValues) {
    CapturedOutput output;
    std::size_t values = 0;
    for (std::uint64_t seed = 0; seed < seeds && !testing::Test::HasFatalFailure(); ++seed) {
        SCOPED_TRACE(seed);
        plainpaths::wanted = seed % 3 == 0;
        AnyScenario scenario(seed);
        for (int count = 0; count < frames && !testing::Test::HasFatalFailure(); ++count) {
            BaseSignal::debug = seed % 50 == 7 ? count % 3 : 0;
            scenario.decodeOneFrame();
            BaseSignal::debug = 0;
            scenario.change();
        }
        values += scenario.valuesSeen;
        output.take();
    }
    plainpaths::wanted = false;
    EXPECT_GT(values, leastValues);
}

class CanScenario : public Scenario<CANSignal, canSignalDef_t> {
  public:
    explicit CanScenario(std::uint64_t seed) : Scenario(seed) {
        BaseSignal::instanceCounter = 0;
        for (canSignalDef_t& frame : frames) {
            frame.tslId = chance(20) ? 200 : 0;
            frame.msgId = 0x100 + below(2);
            frame.extended = chance(30);
            frame.canFD = chance(60);
        }
        for (std::uint32_t count = 1 + below(common ? 40 : 10); count > 0; --count)
            build();
    }

    /// Builds, destroys, redefines or places a signal, or changes the list of a frame by hand; common frames
    /// are left to the library.
    void change() {
        if (common) {
            if (chance(5))
                build();
            return;
        }
        const auto chosen = std::next(twins.begin(), below(twins.size()));
        AnyTwin& twin = *chosen;
        const std::uint64_t key = keyOf(twin.def);
        auto& list = CANSignal::canContainer[key];
        auto& modelList = model[key];
        const std::uint32_t way = below(8);
        if (way == 0) {
            build();
        } else if (way == 1 && twins.size() > 1) {
            for (auto& [anyKey, signals] : model)
                std::erase(signals, &twin);
            twins.erase(chosen);
        } else if (way == 2 && !twin.def.canFD) {
            chooseField(twin.def);
            static_cast<baseSignalDef_t&>(twin.real.def) = twin.def;
            twin.real.cInit();
        } else if (way <= 4 && twin.id != ~std::uint64_t{0}) {
            // In its frame once more, or under a value of the frame's multiplexer.
            const std::uint64_t placed = key + (std::uint64_t{way == 3 ? 0 : 1 + below(7)} << 40);
            model[placed].push_back(&twin);
            CANSignal::canContainer[placed].push_back(&twin.real);
        } else if (way == 5) {
            std::reverse(list.begin(), list.end());
            std::reverse(modelList.begin(), modelList.end());
        } else if (way == 6) {
            list.resize(list.size() / 2);
            modelList.resize(modelList.size() / 2);
        }
    }

    void decodeOneFrame() {
        const canSignalDef_t& identity = frames[below(std::size(frames))];
        const auto message = randomFrame(identity);
        decodeByModel(*message, keyOf(identity));
        if (chance(10))
            ids = Ids(); // without room
        ids.assign(1, 42);
        CANSignal::decodeMessage(*message, ids, identity.tslId);
        expectSame(ids, *message);
        for (const AnyTwin& twin : twins)
            EXPECT_EQ(twin.real.isModified(), twin.modified) << twin.def;
    }

  private:
    static constexpr std::uint32_t pduIds[] = {0, 0x10, 0x20, 0xABCDEF, 0x1000010};

    static std::uint64_t keyOf(const canSignalDef_t& def) {
        return (std::uint64_t{1} << 63) + (std::uint64_t{def.tslId} << 56) +
               (std::uint64_t{def.channel} << 32) + (def.extended ? 0x80000000U : 0) +
               (def.canFD ? 0x40000000U : 0) + def.msgId;
    }

    void decodeByModel(const CANExtTraceMessage& message, std::uint64_t key) {
        expected.clear();
        for (AnyTwin* const twin : std::vector(model[key])) {
            if (!write(*twin, message, /*selected=*/false) || twin->def.multiplexer == 0)
                continue;
            key += (twin->raw + 1) << 40;
            for (AnyTwin* const second : model[key])
                write(*second, message, /*selected=*/true);
        }
    }

    /// \return whether the signal is in the frame; if a multiplexer has selected an FD signal, nobody asks
    bool write(AnyTwin& twin, const CANExtTraceMessage& message, bool selected) {
        const std::size_t received = std::min<std::size_t>(message.length, 64);
        const canSignalDef_t& def = twin.def;
        std::span<const std::uint8_t> bytes = message.payload;
        int moved = 0;
        if (!def.canFD) {
            bytes = bytes.first(std::min<std::size_t>(received, 8));
            moved = -(twin.bits(def.startbit).front() / 256 * 32); // the number of the lowest bit has 8 bits
        } else {
            moved = -(def.startbit / 2048 * 256); // and so has the start byte here
            if (def.pduId && !selected)
                moved += findPdu(bytes, 0, received, {4, 3, 1, true, true}, *def.pduId);
            if (!selected && moved + twin.lastByte(def.startbit) >= static_cast<int>(received))
                return false;
        }
        twin.write(fieldValue(bytes, twin.bits(def.startbit), moved, twin.isSigned()), message.timestamp);
        if (!def.canFD || !selected)
            expected.push_back(twin.id);
        return true;
    }

    void build() {
        canSignalDef_t def = frames[below(std::size(frames))];
        def.instance = std::to_string(built++);
        def.multiplexer = !common && chance(25) ? 1 : 0;
        if (def.canFD && !common && chance(40))
            def.pduId = pduIds[below(std::size(pduIds))];
        chooseField(def);
        AnyTwin& twin = twins.emplace_back(def);
        const bool isRefused =
            def.canFD && (def.bits > 64 || twin.lastByte(def.startbit) - def.startbit / 8 >= 8);
        twin.id = isRefused ? ~std::uint64_t{0} : (std::uint64_t{1} << 63) + accepted++;
        if (!isRefused)
            model[keyOf(def)].push_back(&twin);
    }

    void chooseField(baseSignalDef_t& def) {
        def.endian = chance(50);
        def.type = static_cast<signalValue_t>(below(5));
        if (common) {
            def.startbit = below<std::uint16_t>(56);
            def.bits = static_cast<std::uint8_t>(1 + below(8));
            return;
        }
        const bool strange = chance(10);
        def.startbit = below<std::uint16_t>(strange ? 65536 : chance(50) ? 512 : 64);
        def.bits = static_cast<std::uint8_t>(1 + below(strange ? 100 : def.multiplexer != 0 ? 2 : 64));
    }

    std::unique_ptr<CANExtTraceMessage> randomFrame(const canSignalDef_t& identity) {
        auto message = frame({}, (identity.canFD ? 2U : 0U) + (identity.extended ? 1U : 0U));
        message->timestamp = generator();
        message->canId = identity.msgId;
        message->length = below<std::uint8_t>(chance(20) ? 256 : identity.canFD ? 65 : 9);
        for (std::uint8_t& byte : message->payload)
            byte = chance(50) ? below<std::uint8_t>(256) : std::uint8_t{0};
        for (std::size_t header = 0; chance(80) && header + 4 <= 64;) {
            const std::uint32_t pdu = pduIds[below(std::size(pduIds))] << 8 | below(chance(10) ? 256 : 20);
            for (std::size_t i = 0; i < 4; ++i)
                message->payload[header + i] = static_cast<std::uint8_t>(pdu >> (24 - 8 * i));
            header += 4 + pdu % 256;
        }
        return message;
    }

    const bool common = chance(50); ///< all signals in the first 8 bytes, and no list changed by hand
    canSignalDef_t frames[3];
    Ids ids;
    std::map<std::uint64_t, std::vector<AnyTwin*>> model; ///< the signals of every key
    std::uint64_t built = 0, accepted = 0;
};

/// Two slots of either segment.
class FlexRayScenario : public Scenario<FlexRaySignal, flexRaySignalDef_t> {
  public:
    explicit FlexRayScenario(std::uint64_t seed) : Scenario(seed) {
        for (std::uint32_t count = 1 + below(8); count > 0; --count)
            twins.emplace_back(randomDefinition(std::to_string(count)));
    }

    void decodeOneFrame() {
        const FlexRayExtTraceMessage message = randomFrame();
        expected.clear();
        for (AnyTwin& twin : twins)
            for (const flexRayPosition_t& each : twin.def.positions)
                write(twin, each, message);
        Ids ids{42};
        FlexRaySignal::decodeMessage(message, ids);
        expectSame(ids, message);
    }

  private:
    void write(AnyTwin& twin, const flexRayPosition_t& position, const FlexRayExtTraceMessage& message) {
        const flexRayPosition_t& first = twin.def.positions[0]; // whose slot and segment count
        const int cycles = message.cycle - position.baseCycle;
        const bool received = first.slot == message.slot && first.type == (message.frameKind == 16) &&
                              cycles >= 0 && cycles % std::max<int>(position.repetition, 1) == 0;
        const bool fresh = position.pduId || !position.updateBit ||
                           fieldValue(message.payload, {*position.updateBit}, 0, false) == 1;
        const int moved = !position.pduId ? 0
                                          : findPdu(message.payload, 0, message.data.size() % 256, {4, 3, 1},
                                                    *position.pduId);
        const std::size_t length = std::min(message.data.size() % 512 / 2 * 2, message.payload.size());
        if (!received || !fresh || moved + twin.lastByte(position.startBit) >= static_cast<int>(length))
            return;
        twin.write(fieldValue(message.payload, twin.bits(position.startBit), moved, twin.isSigned()),
                   message.timestamp);
        expected.push_back(twin.id);
    }

    flexRaySignalDef_t randomDefinition(const std::string& instance) {
        flexRaySignalDef_t def;
        def.instance = instance;
        def.channel = 1;
        def.positions.resize(1 + below(3));
        def.bits = static_cast<std::uint8_t>(1 + below(57)); // at most 8 bytes anywhere
        def.endian = chance(50);
        def.type = static_cast<signalValue_t>(below(4));
        for (flexRayPosition_t& each : def.positions) {
            each = {.startBit = below<std::uint16_t>(300),
                    .type = chance(50),
                    .slot = below<std::uint16_t>(2),
                    .baseCycle = below<std::uint8_t>(chance(12) ? 256 : 4),
                    .repetition = below<std::uint8_t>(chance(12) ? 256 : 5)};
            if (chance(33))
                each.updateBit = below<std::uint16_t>(400);
            if (chance(50))
                each.pduId = below(4) + (chance(12) ? 0x1000000U : 0); // which is too long
        }
        return def;
    }

    FlexRayExtTraceMessage randomFrame() {
        const auto kind = static_cast<std::uint8_t>(16 + below(2));
        FlexRayExtTraceMessage message{
            generator(), kind, 1, Octets(below(80)), below<std::uint16_t>(2), below<std::uint8_t>(6), {}};
        message.payload.resize(message.data.size()); // without spare capacity
        for (std::uint8_t& byte : message.payload)
            byte = below<std::uint8_t>(256);
        for (std::size_t at = 0; chance(92) && at + 4 <= message.payload.size();) {
            std::fill_n(&message.payload[at], 2, std::uint8_t{0});
            message.payload[at + 2] = below<std::uint8_t>(5);
            at += 4U + (message.payload[at + 3] %= 20);
        }
        if (chance(25))
            message.data.resize(below(600));
        return message;
    }
};

class EthernetScenario : public Scenario<EthernetSignal, ethernetSignalDef_t> {
  public:
    explicit EthernetScenario(std::uint64_t seed) : Scenario(seed) {
        for (std::uint32_t count = 1 + below(12); count > 0; --count) {
            ethernetSignalDef_t def;
            def.instance = std::to_string(count);
            def.bits = static_cast<std::uint8_t>(1 + below(chance(20) ? 66 : 24));
            def.endian = chance(50);
            def.type = chance(50) ? signalValue_t::Signed : signalValue_t::Unsigned;
            for (std::uint32_t positions = below(4); positions > 0; --positions)
                def.positions.push_back(position());
            const AnyTwin& twin = twins.emplace_back(def);
            EXPECT_EQ(twin.id != ~std::uint64_t{0},
                      std::all_of(def.positions.begin(), def.positions.end(), [&twin](const auto& each) {
                          return twin.def.bits <= 64 && twin.lastByte(each.startBit) - each.startBit / 8 < 8;
                      }));
        }
    }

    void decodeOneFrame() {
        const auto oneOrTwo = [this] { return static_cast<std::uint8_t>(1 + below(2)); };
        const FrameText text{.sourcePort = oneOrTwo(),
                             .destinationPort = oneOrTwo(),
                             .protocol = static_cast<std::uint8_t>(chance(50) ? 6 : 17),
                             .tag = chance(50) ? std::optional(oneOrTwo()) : std::nullopt,
                             .sourceMac = 0x020000000000U + oneOrTwo(),
                             .sourceHost = oneOrTwo()};
        const Octets frame = text.with(payload(), below(4));
        const std::size_t start = (text.tag ? 18U : 14U) + 20U + (text.protocol == 6 ? 20U : 8U);
        expected.clear();
        for (const auto& [hash, bound] : EthernetSignal::ethernetFrames) { // for the order alone
            const EthernetSignal& signal = *bound.front();
            const ethernetPosition_t& p = signal.definition.positions.front();
            AnyTwin& twin = *std::find_if(twins.begin(), twins.end(),
                                          [&signal](const AnyTwin& each) { return each.id == signal.id; });
            const int data = matches(p, text) ? dataOf(p, frame, start) : 1'000'000;
            if (static_cast<std::size_t>(data + twin.lastByte(p.startBit)) >= frame.size())
                continue;
            expected.push_back(twin.id);
            twin.write(fieldValue(frame, twin.bits(p.startBit), data, twin.isSigned()), 1);
        }
        Ids ids;
        EthernetSignal::decode(0, Octets(frame), 1, ids); // a copy has no spare capacity
        expectSame(ids, frame);
    }

  private:
    ethernetPosition_t position() {
        ethernetPosition_t p;
        p.ethSignalType = static_cast<ethSignalPosType_t>(below(4));
        p.startBit = below<std::uint16_t>(chance(5) ? 65536 : 40);
        p.sourceMac = condition(0x020000000001) + (chance(10) ? 1ULL << 48 : 0);
        p.destinationMac = condition(0x020000000002);
        p.sourceIp = static_cast<std::uint32_t>(condition(0x0100000A));
        p.destinationIp = static_cast<std::uint32_t>(condition(0x0200000A));
        p.sourcePort = below<std::uint16_t>(2);
        p.destinationPort = below<std::uint16_t>(3);
        p.ipProtocol = chance(70) ? 0 : chance(90) ? 17 : 256 + 17;
        p.vlan = chance(30);
        p.vlanId = static_cast<std::uint16_t>(chance(70) ? 0 : below(3));
        p.pduId = p.messageId = p.methodEventId = below(3);
        p.serviceId = below(2) + (chance(5) ? 0x10000 : 0);
        p.methodEventId += chance(5) ? 0x10000 : 0;
        return p;
    }

    /// Mostly none, else one that the frame meets or misses by one.
    std::uint64_t condition(std::uint64_t value) { return chance(90) ? 0 : value + below(2); }

    static bool matches(const ethernetPosition_t& p, const FrameText& text) {
        const std::uint64_t sourceMac = p.sourceMac % (1ULL << 48);
        return (sourceMac == 0 || sourceMac == text.sourceMac) &&
               (p.destinationMac == 0 || p.destinationMac == 0x020000000002) &&
               (p.sourceIp == 0 || p.sourceIp == 0x0AU + text.sourceHost * 0x1000000U) &&
               (p.destinationIp == 0 || p.destinationIp == 0x0200000A) &&
               (p.sourcePort == 0 || p.sourcePort == text.sourcePort) &&
               (p.destinationPort == 0 || p.destinationPort == text.destinationPort) &&
               (p.ipProtocol == 0 || p.ipProtocol == text.protocol) && (!p.vlan || text.tag) &&
               (p.vlanId == 0 || p.vlanId == text.tag);
    }

    static int dataOf(const ethernetPosition_t& p, const Octets& frame, std::size_t start) {
        const bool isMessage = p.serviceId <= 0xFFFF && p.methodEventId <= 0xFFFF;
        switch (p.ethSignalType) {
        case ethSignalPosType_t::IPDU:
            return findPdu(frame, start, frame.size(), {8, 4, 4}, p.pduId);
        case ethSignalPosType_t::SPDU:
            return findPdu(frame, start, frame.size(), {16, 4, 4}, p.messageId);
        case ethSignalPosType_t::SOMEIP:
            return findPdu(frame, start, frame.size(), {16, 4, 4, false, true},
                           isMessage ? p.serviceId * 0x10000ULL + p.methodEventId : ~std::uint64_t{0});
        default:
            return static_cast<int>(start);
        }
    }

    /// PDUs of one kind of header, some cut short, with small identifiers.
    Octets payload() {
        Octets octets;
        const bool longHeader = chance(60);
        while (chance(80)) {
            const std::uint32_t length = chance(10) ? below(0xFFFFFFFF) : below(12);
            append(octets, below(2) << 16 | below(3), 4);
            append(octets, length, 4);
            if (longHeader)
                append(octets, generator(), 8);
            for (std::uint32_t i = std::min(length, 12U); i > 0; --i)
                append(octets, generator(), 1);
        }
        return octets;
    }
};

TEST_F(CANTest, EveryIdentifierAndSlotAsByTheModel) {
    expectAsByTheModel<CanScenario>(4000, 8, 40'000);
}

TEST_F(SignalTest, EveryFlexRayIdentifierAndSlotAsByTheModel) {
    expectAsByTheModel<FlexRayScenario>(2000, 10, 5'000);
}

TEST_F(EthernetTest, EveryIdentifierAndSlotAsByTheModel) {
    expectAsByTheModel<EthernetScenario>(2000, 12, 15'000);
}

} // namespace
