/// \file
/// Random definitions and frames, decoded by the library and by a plain model that tries every position.
#include "bus/EthernetTest.h"
#include "signal/BitModel.h"

#include <algorithm>
#include <memory>
#include <random>

namespace {

std::uint64_t number(const Octets& octets, std::size_t at, std::size_t count) {
    std::uint64_t result = 0;
    while (count-- > 0)
        result = result * 256 + octets[at++];
    return result;
}

/// Where the data of a position's container begin, or 0.
std::size_t dataOf(const ethernetPosition_t& position, const Octets& frame, std::size_t payload) {
    const int kind = static_cast<int>(position.ethSignalType);
    if (kind == 0)
        return payload;
    const std::size_t head = kind == 1 ? 8 : 16;
    const bool isMessage = position.serviceId <= 0xFFFF && position.methodEventId <= 0xFFFF;
    const std::uint64_t wanted[] = {0, position.pduId, position.messageId,
                                    isMessage ? position.serviceId * 0x10000ULL + position.methodEventId
                                              : ~std::uint64_t{0}};
    for (std::size_t at = payload; at + head < frame.size(); at += head + number(frame, at + 4, 4)) {
        const std::uint64_t length = number(frame, at + 4, 4);
        if ((length == 0 && kind != 3) || at + head + length >= frame.size())
            return 0;
        if (number(frame, at, 4) == wanted[kind])
            return at + head;
    }
    return 0;
}

int lastByte(const ethernetPosition_t& position, const baseSignalDef_t& def) {
    const auto bits = fieldBits(position.startBit, def.bits, def.endian);
    return std::max(bits.front(), bits.back()) / 8;
}

/// One set of signals, and frames for them. Everything follows from the seed.
class Scenario {
  public:
    explicit Scenario(std::uint64_t seed) : random(seed) {
        for (std::uint32_t count = 1 + below(12); count > 0; --count) {
            ethernetSignalDef_t def;
            def.instance = std::to_string(count);
            def.bits = static_cast<std::uint8_t>(1 + below(chance(20) ? 66 : 24));
            def.endian = chance(50);
            def.type = chance(50) ? signalValue_t::Signed : signalValue_t::Unsigned;
            for (std::uint32_t positions = below(4); positions > 0; --positions)
                def.positions.push_back(position());
            signals.push_back(std::make_unique<EthernetSignal>(def));
            EXPECT_EQ(signals.back()->id != ~std::uint64_t{0},
                      std::all_of(def.positions.begin(), def.positions.end(), [&def](const auto& each) {
                          return def.bits <= 64 && lastByte(each, def) - each.startBit / 8 < 8;
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
        std::vector<unsigned long> ids;
        EthernetSignal::decode(0, Octets(frame), 1, ids); // a copy has no spare capacity
        std::vector<unsigned long> expected;
        for (const auto& [hash, bound] : EthernetSignal::ethernetFrames) { // for the order alone
            const EthernetSignal& signal = *bound.front();
            const ethernetPosition_t& p = signal.definition.positions.front();
            const std::size_t data = matches(p, text) ? dataOf(p, frame, start) : 0;
            const auto bits = fieldBits(p.startBit, signal.def.bits, signal.def.endian);
            if (data == 0 || data + static_cast<std::size_t>(lastByte(p, signal.def)) >= frame.size())
                continue;
            expected.push_back(signal.id);
            raw[signal.id] =
                fieldValue(std::span(frame).subspan(data), bits, 0, signal.def.type == signalValue_t::Signed);
        }
        ASSERT_EQ(ids, expected);
        for (const auto& signal : signals) {
            const auto value = raw.find(signal->id);
            ASSERT_EQ(signal->slot->raw, value != raw.end() ? value->second : 0xAAAAAAAA) << *signal;
        }
        written += ids.size();
    }

    std::size_t written = 0;

  private:
    std::uint32_t below(std::uint32_t limit) { return static_cast<std::uint32_t>(random() % limit); }
    bool chance(unsigned percent) { return below(100) < percent; }

    ethernetPosition_t position() {
        ethernetPosition_t p;
        p.ethSignalType = static_cast<ethSignalPosType_t>(below(4));
        p.startBit = static_cast<std::uint16_t>(below(chance(5) ? 65536 : 40));
        p.sourceMac = condition(0x020000000001) + (chance(10) ? 1ULL << 48 : 0);
        p.destinationMac = condition(0x020000000002);
        p.sourceIp = static_cast<std::uint32_t>(condition(0x0100000A));
        p.destinationIp = static_cast<std::uint32_t>(condition(0x0200000A));
        p.sourcePort = static_cast<std::uint16_t>(below(2));
        p.destinationPort = static_cast<std::uint16_t>(below(3));
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

    /// PDUs of one kind of header, some cut short, with small identifiers.
    Octets payload() {
        Octets octets;
        const bool longHeader = chance(60);
        while (chance(80)) {
            const std::uint32_t length = chance(10) ? below(0xFFFFFFFF) : below(12);
            append(octets, below(2) << 16 | below(3), 4);
            append(octets, length, 4);
            if (longHeader)
                append(octets, random(), 8);
            for (std::uint32_t i = std::min(length, 12U); i > 0; --i)
                append(octets, random(), 1);
        }
        return octets;
    }

    std::mt19937_64 random;
    std::vector<std::unique_ptr<EthernetSignal>> signals;
    std::map<std::uint64_t, std::uint64_t> raw;
};

} // namespace

TEST_F(EthernetTest, EveryIdentifierAndValueAsByTheModel) {
    std::size_t written = 0;
    for (std::uint64_t seed = 0; seed < 2000 && !HasFatalFailure(); ++seed) {
        SCOPED_TRACE(seed);
        Scenario scenario(seed);
        BaseSignal::debug = seed % 50 == 7 ? 1 : 0;
        for (int count = 0; count < 12 && !HasFatalFailure(); ++count)
            scenario.decodeOneFrame();
        BaseSignal::debug = 0;
        output.take();
        written += scenario.written;
    }
    EXPECT_GT(written, 15'000U);
}
