// Random definitions and frames, sane and hostile, decoded by the library and by the plain model.

#include "bus/CANModel.h"
#include "bus/CANTest.h"
#include "support/CapturedOutput.h"

#include <random>
#include <unistd.h>

namespace {

/// A client class that changes nothing, but must be reached through its virtual operations.
class Client : public CANSignal {
  public:
    using CANSignal::CANSignal;
    using CANSignal::write;
    bool write(unsigned long payload, unsigned long timestamp) override {
        return CANSignal::write(payload, timestamp);
    }
};

/// A signal and its image in the model.
struct Twin {
    CANModel::Signal model;
    std::unique_ptr<CANSignal> real;
};

/// One set of signals of a few frames, and frames for them. Everything follows from the seed.
class Scenario {
  public:
    explicit Scenario(std::uint64_t seed)
        : random(seed), hostile(seed % 4 == 0), sharing(seed % 100 == 0), model(seed % 977) {
        BaseSignal::instanceCounter = seed % 977;
        for (Identity& identity : identities) {
            identity = {static_cast<std::uint8_t>(chance(20) ? 200 : 0), static_cast<std::uint8_t>(below(2)),
                        static_cast<std::uint32_t>(0x100 + below(2)), chance(30), chance(60)};
        }
        for (std::uint64_t count = 1 + below(10); count > 0; --count) {
            build();
        }
    }

    /// Builds, destroys or places a signal, or leaves everything as it is.
    void change() {
        if (chance(10)) {
            build();
        } else if (chance(10) && !twins.empty()) {
            const auto victim = twins.begin() + static_cast<std::ptrdiff_t>(below(twins.size()));
            model.destroy((*victim)->model);
            twins.erase(victim);
        } else if (chance(30) && !twins.empty()) {
            place(*twins[below(twins.size())]);
        } else if (chance(30) && !CANSignal::canContainer.empty()) {
            const auto entry = std::next(CANSignal::canContainer.begin(),
                                         static_cast<std::ptrdiff_t>(below(CANSignal::canContainer.size())));
            const std::uint64_t way = below(3);
            const std::uint64_t place = random();
            rearrange(entry->second, way, place);
            rearrange(model.list(entry->first), way, place);
        }
    }

    void decodeOneFrame() {
        const Identity& identity = identities[below(std::size(identities))];
        const auto message = randomFrame(identity);
        std::vector<unsigned long> ids{42};
        const bool reported = CANSignal::decodeMessage(*message, ids, identity.tslId, nullptr);
        ASSERT_EQ(reported, model.decode(*message, identity.tslId));
        ASSERT_EQ(ids, model.ids);
        for (const auto& twin : twins) {
            ASSERT_EQ(twin->real->id, twin->model.id) << twin->model.def;
            ASSERT_EQ(SignalState::of(*twin->real), twin->model.state) << twin->model.def << '\n' << *message;
        }
    }

    std::size_t valuesSeen() const {
        return static_cast<std::size_t>(std::count_if(
            twins.begin(), twins.end(), [](const auto& twin) { return twin->model.state.valid; }));
    }

  private:
    struct Identity {
        std::uint8_t tslId;
        std::uint8_t channel;
        std::uint32_t msgId;
        bool extended;
        bool canFd;
    };
    static constexpr std::uint32_t pduIds[] = {0, 0x10, 0x20, 0xABCDEF, 0x1000010};

    std::uint64_t below(std::uint64_t limit) { return random() % limit; }
    bool chance(unsigned percent) { return below(100) < percent; }

    /// What a client may do to the list of a frame by hand.
    template <class List>
    static void rearrange(List& list, std::uint64_t way, std::uint64_t place) {
        if (list.empty()) {
            return;
        }
        const std::size_t position = place % list.size();
        if (way == 0) {
            std::swap(list.front(), list[position]);
        } else if (way == 1) {
            list.erase(list.begin() + static_cast<std::ptrdiff_t>(position));
        } else {
            list.push_back(list[position]);
        }
    }

    void build() {
        auto twin = std::make_unique<Twin>();
        twin->model.def = randomDefinition();
        const canSignalDef_t& def = twin->model.def;
        const bool shared = sharing && chance(30);
        twin->real =
            chance(15) ? std::make_unique<Client>(def, shared) : std::make_unique<CANSignal>(def, shared);
        if (shared) {
            ::unlink(("/tmp/" + def.instance).c_str());
        }
        model.build(twin->model);
        twins.push_back(std::move(twin));
        if (chance(30)) {
            place(*twins.back());
        }
    }

    void place(Twin& twin) {
        if (twin.model.id != ~std::uint64_t{0}) {
            const std::uint64_t key = CANModel::keyOf(twin.model.def) + ((1 + below(7)) << 40);
            model.list(key).push_back(&twin.model);
            CANSignal::canContainer[key].push_back(twin.real.get());
        }
    }

    canSignalDef_t randomDefinition() {
        const Identity& identity = identities[below(std::size(identities))];
        canSignalDef_t def;
        def.instance = "rkCanModel." + std::to_string(::getpid()) + "." + std::to_string(built++);
        def.tslId = identity.tslId;
        def.channel = identity.channel;
        def.msgId = identity.msgId;
        def.extended = identity.extended;
        def.canFD = identity.canFd;
        def.endian = chance(50);
        def.type = static_cast<signalValue_t>(below(5));
        def.multiplexer = chance(25) ? 1 : 0;
        if (def.canFD && chance(40)) {
            def.pduId = pduIds[below(std::size(pduIds))];
        }
        if (hostile && chance(50)) {
            def.startbit = static_cast<std::uint16_t>(below(chance(50) ? 65536 : 700));
            def.bits = static_cast<std::uint8_t>(def.canFD ? 1 + below(80) : below(256));
        } else {
            const std::uint64_t bytes = def.canFD && !def.pduId ? 64 : 8;
            def.startbit = static_cast<std::uint16_t>(below(8 * bytes));
            def.bits = static_cast<std::uint8_t>(1 + below(def.multiplexer != 0 ? 2 : chance(50) ? 12 : 64));
        }
        return def;
    }

    std::unique_ptr<CANExtTraceMessage> randomFrame(const Identity& identity) {
        auto message = std::make_unique<CANExtTraceMessage>();
        message->timestamp = random();
        message->channel = identity.channel;
        message->frameFormat = (identity.canFd ? 2U : 0U) + (identity.extended ? 1U : 0U);
        message->canId = identity.msgId;
        message->length = static_cast<std::uint8_t>(hostile ? below(256) : below(identity.canFd ? 65 : 9));
        const bool dense = chance(50);
        for (std::uint8_t& byte : message->payload) {
            byte = static_cast<std::uint8_t>(dense ? random() : random() & random() & random());
        }
        for (std::size_t header = 0; chance(80) && header + 4 <= message->payload.size();) {
            const std::uint32_t pduId = pduIds[below(std::size(pduIds))];
            const auto size = static_cast<std::uint8_t>(hostile && chance(10) ? random() : below(20));
            for (std::size_t i = 0; i < 3; ++i) {
                message->payload[header + i] = static_cast<std::uint8_t>(pduId >> (16 - 8 * i));
            }
            message->payload[header + 3] = size;
            header += 4U + size;
        }
        return message;
    }

    std::mt19937_64 random;
    bool hostile;
    bool sharing;
    CANModel model;
    Identity identities[3];
    std::vector<std::unique_ptr<Twin>> twins;
    int built = 0;
};

} // namespace

class CANAgainstModel : public CANTest {};

TEST_F(CANAgainstModel, EveryIdentifierAndSlotAfterEveryFrame) {
    std::size_t values = 0;
    for (std::uint64_t seed = 0; seed < 4000 && !HasFatalFailure(); ++seed) {
        SCOPED_TRACE(seed);
        const CapturedOutput captured; // of shared memory, and of some scenarios at a debug level
        Scenario scenario(seed);
        for (int count = 0; count < 8 && !HasFatalFailure(); ++count) {
            BaseSignal::debug = seed % 50 == 7 ? count % 3 : 0;
            scenario.decodeOneFrame();
            BaseSignal::debug = 0;
            scenario.change();
        }
        values += scenario.valuesSeen();
    }
    EXPECT_GT(values, 8000U); // most signals did receive values
}
