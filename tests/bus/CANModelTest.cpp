/// \file
/// Random definitions and frames, sane and hostile, decoded by the library and by a plain model: bit by bit
/// and without derived fields, on the definitions as the client wrote them.
#include "bus/CANTest.h"
#include "signal/BitModel.h"

#include <random>

namespace {

/// A signal of the library, and what the model knows of it.
struct Twin {
    canSignalDef_t def;
    std::uint64_t id = ~std::uint64_t{0}; ///< rejected
    std::uint64_t raw = 0xAAAAAAAA, timestamp = 0x55555555;
    bool valid = false, modified = false;
    std::unique_ptr<CANSignal> real;

    std::vector<int> bits() const { return fieldBits(def.startbit, def.bits, def.endian); }
    int lastByte() const { return (def.endian ? bits().front() : bits().back()) / 8; }
};

/// The signals of every key, and what a received frame does to them.
struct Model {
    std::map<std::uint64_t, std::vector<Twin*>> frames;
    std::vector<unsigned long> ids;

    static std::uint64_t keyOf(const canSignalDef_t& def) {
        return (std::uint64_t{1} << 63) + (std::uint64_t{def.tslId} << 56) +
               (std::uint64_t{def.channel} << 32) + (def.extended ? 0x80000000U : 0) +
               (def.canFD ? 0x40000000U : 0) + def.msgId;
    }

    void decode(const CANExtTraceMessage& message, std::uint64_t key) {
        ids.clear();
        for (Twin* const twin : std::vector(frames[key])) {
            if (!write(*twin, message, /*selected=*/false) || twin->def.multiplexer == 0)
                continue;
            key += (twin->raw + 1) << 40;
            for (Twin* const second : frames[key])
                write(*second, message, /*selected=*/true);
        }
    }

  private:
    /// Where the data of the PDU begin, or a place past every frame.
    static int findPdu(std::span<const std::uint8_t, 64> bytes, std::size_t received, std::uint32_t pduId) {
        for (std::size_t at = 0; at < received && at + 4 <= 64; at += 4U + bytes[at + 3])
            if (bytes[at] * 0x10000U + bytes[at + 1] * 0x100U + bytes[at + 2] == pduId)
                return static_cast<int>(at + 4);
        return 1'000'000;
    }

    /// \return whether the signal is in the frame; if a multiplexer has selected an FD signal, nobody asks
    bool write(Twin& twin, const CANExtTraceMessage& message, bool selected) {
        const std::size_t received = std::min<std::size_t>(message.length, 64);
        std::span<const std::uint8_t> bytes = message.payload;
        int moved = 0;
        if (!twin.def.canFD) {
            bytes = bytes.first(std::min<std::size_t>(received, 8));
            moved = -(twin.bits().front() / 256 * 32); // the number of the lowest bit is kept in 8 bits
        } else {
            moved = -(twin.def.startbit / 2048 * 256); // and so is the start byte here
            if (twin.def.pduId && !selected)
                moved += findPdu(message.payload, received, *twin.def.pduId);
            if (!selected && moved + twin.lastByte() >= static_cast<int>(received))
                return false;
        }
        const bool isSigned = twin.def.type == signalValue_t::Signed;
        const std::uint64_t raw = fieldValue(bytes, twin.bits(), moved, isSigned);
        twin.modified = std::exchange(twin.raw, raw) != raw;
        twin.timestamp = message.timestamp;
        twin.valid = true;
        if (!twin.def.canFD || !selected)
            ids.push_back(twin.id);
        return true;
    }
};

/// A set of signals of a few frames, and frames for them. Everything follows from the seed.
class Scenario {
  public:
    explicit Scenario(std::uint64_t seed) : random(seed) {
        BaseSignal::instanceCounter = 0;
        for (canSignalDef_t& frame : frames) {
            frame.tslId = chance(20) ? 200 : 0;
            frame.msgId = 0x100 + below(2);
            frame.extended = chance(30);
            frame.canFD = chance(60);
        }
        for (std::uint32_t count = 1 + below(10); count > 0; --count)
            build();
    }

    /// Builds, destroys, redefines or places a signal, or changes the list of a frame by hand.
    void change() {
        Twin& twin = *twins[below(twins.size())];
        const std::uint64_t key = Model::keyOf(twin.def);
        auto& list = CANSignal::canContainer[key];
        auto& modelList = model.frames[key];
        const std::uint32_t way = below(8);
        if (way == 0) {
            build();
        } else if (way == 1 && twins.size() > 1) {
            for (auto& [anyKey, signals] : model.frames)
                std::erase(signals, &twin);
            std::erase_if(twins, [&twin](const auto& each) { return each.get() == &twin; });
        } else if (way == 2 && !twin.def.canFD) {
            chooseField(twin.def);
            static_cast<baseSignalDef_t&>(twin.real->def) = twin.def;
            twin.real->cInit();
        } else if (way <= 4 && twin.id != ~std::uint64_t{0}) {
            // In its frame once more, or under a value of the frame's multiplexer.
            const std::uint64_t placed = key + (std::uint64_t{way == 3 ? 0 : 1 + below(7)} << 40);
            model.frames[placed].push_back(&twin);
            CANSignal::canContainer[placed].push_back(twin.real.get());
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
        std::vector<unsigned long> ids{42};
        model.decode(*message, Model::keyOf(identity));
        CANSignal::decodeMessage(*message, ids, identity.tslId);
        ASSERT_EQ(ids, model.ids);
        for (const auto& twin : twins) {
            const signalSlot_t& slot = *twin->real->slot;
            const bool valid = slot.valid != 0, modified = twin->real->isModified();
            ASSERT_EQ(std::tie(twin->real->id, slot.raw, slot.timestamp, valid, modified),
                      std::tie(twin->id, twin->raw, twin->timestamp, twin->valid, twin->modified))
                << twin->def << '\n'
                << *message;
            valuesSeen += valid ? 1 : 0;
        }
    }

    std::size_t valuesSeen = 0;

  private:
    static constexpr std::uint32_t pduIds[] = {0, 0x10, 0x20, 0xABCDEF, 0x1000010};

    std::uint32_t below(std::size_t limit) { return static_cast<std::uint32_t>(random() % limit); }
    bool chance(unsigned percent) { return below(100) < percent; }

    void build() {
        Twin& twin = *twins.emplace_back(std::make_unique<Twin>());
        twin.def = frames[below(std::size(frames))];
        twin.def.instance = std::to_string(built++);
        twin.def.multiplexer = chance(25) ? 1 : 0;
        if (twin.def.canFD && chance(40))
            twin.def.pduId = pduIds[below(std::size(pduIds))];
        chooseField(twin.def);
        twin.real = std::make_unique<CANSignal>(twin.def);
        if (!twin.def.canFD || (twin.def.bits <= 64 && twin.lastByte() - twin.def.startbit / 8 < 8)) {
            twin.id = (std::uint64_t{1} << 63) + accepted++;
            model.frames[Model::keyOf(twin.def)].push_back(&twin);
        }
    }

    void chooseField(baseSignalDef_t& def) {
        def.endian = chance(50);
        def.type = static_cast<signalValue_t>(below(5));
        const bool strange = chance(10);
        def.startbit = static_cast<std::uint16_t>(below(strange ? 65536 : chance(50) ? 512 : 64));
        def.bits = static_cast<std::uint8_t>(1 + below(strange ? 100 : def.multiplexer != 0 ? 2 : 64));
    }

    std::unique_ptr<CANExtTraceMessage> randomFrame(const canSignalDef_t& identity) {
        auto message = frame({}, (identity.canFD ? 2U : 0U) + (identity.extended ? 1U : 0U));
        message->timestamp = random();
        message->canId = identity.msgId;
        message->length = static_cast<std::uint8_t>(below(chance(20) ? 256 : identity.canFD ? 65 : 9));
        for (std::uint8_t& byte : message->payload)
            byte = static_cast<std::uint8_t>(chance(50) ? random() : 0);
        for (std::size_t header = 0; chance(80) && header + 4 <= 64;) {
            const std::uint32_t pdu = pduIds[below(std::size(pduIds))] << 8 | below(chance(10) ? 256 : 20);
            for (std::size_t i = 0; i < 4; ++i)
                message->payload[header + i] = static_cast<std::uint8_t>(pdu >> (24 - 8 * i));
            header += 4 + pdu % 256;
        }
        return message;
    }

    std::mt19937_64 random;
    Model model;
    canSignalDef_t frames[3];
    std::vector<std::unique_ptr<Twin>> twins;
    std::uint64_t built = 0, accepted = 0;
};

} // namespace

TEST_F(CANTest, EveryIdentifierAndSlotAsByTheModel) {
    std::size_t values = 0;
    for (std::uint64_t seed = 0; seed < 4000 && !HasFatalFailure(); ++seed) {
        SCOPED_TRACE(seed);
        Scenario scenario(seed);
        for (int count = 0; count < 8 && !HasFatalFailure(); ++count) {
            BaseSignal::debug = seed % 50 == 7 ? count % 3 : 0;
            scenario.decodeOneFrame();
            BaseSignal::debug = 0;
            scenario.change();
        }
        values += scenario.valuesSeen;
        output.take();
    }
    EXPECT_GT(values, 60'000U); // most signals did receive values
}
