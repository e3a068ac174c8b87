/// \file
/// Storing the signals of a frame of which some are not always there: the searched forms of a FrameProgram.
#pragma once

#include "signal/ByteOrder.h"
#include "signal/FrameProgram.h"
#include "signal/PduChain.h"
#include "signal/ReceivedFrame.h"
#include "signal/SlotPool.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>
#include <vector>

/// The bytes of a chain of PDUs.
struct PduBytes {
    std::span<const std::uint8_t> payload;
    std::size_t end;             ///< of the chain in `payload`
    std::size_t before = 0;      ///< bytes of the frame before `payload`
    std::size_t mask = SIZE_MAX; ///< of an offset in the frame

    /// The offset in the frame of one in the payload.
    std::size_t origin(std::size_t offset) const { return (before + offset) & mask; }
};

/// Stores one frame, run by run (`FieldRun`): in one pass over each chain of PDUs, in which each PDU of the
/// frame finds its run, and update bits without a branch. The PDUs of a chain mostly come in the order of
/// their identifiers, that of the runs: then each one is the next run's.
///
/// `Field` is what signals are stored by, PrivateField or FieldWriter. `bus.inChain(number, use)` calls
/// `use.template operator()<chain>(PduBytes)` for the kind of chain that has this number there, if there is
/// one. REQUIRES: `ids` is empty.
template <class Bus, class Field>
class SearchedFrame {
  public:
    SearchedFrame(const Bus& bus, const ReceivedFrame& frame, const FrameProgram& program,
                  std::vector<unsigned long>& ids)
        : bus(bus), frame(frame), program(program), ids(ids) {}

    void store() {
        if (!frame.origin) {
            return;
        }
        ids.assign(program.ids().begin(), program.ids().end()); // mostly all are there
        std::span<const FieldRun> runs = program.runs();
        while (!runs.empty()) {
            runs = runs.subspan(storeFirst(runs));
        }
        if (!isComplete) {
            leaveOutAbsent();
        }
    }

  private:
    /// Stores some of the runs. \return how many
    std::size_t storeFirst(std::span<const FieldRun> runs) {
        const FieldRun& first = runs.front();
        if (!first.conditional) {
            Stored(*this).storeAt(first, *frame.origin);
            return 1;
        }
        std::size_t alike = runs.size();
        while (runs[alike - 1].search != first.search) { // mostly all depend on things of one kind
            --alike;
        }
        if (first.search == FieldPlace::updateBit) {
            storeUpdated(runs.first(alike));
            return alike;
        }
        constexpr std::size_t most = 64; // a bit each
        storeChain(runs.first(std::min(alike, most)));
        return std::min(alike, most);
    }

    void storeChain(std::span<const FieldRun> runs) {
        std::uint64_t missing = ~std::uint64_t{0} >> (64 - runs.size());
        bus.inChain(runs.front().search, [&]<pdu::Chain chain>(const PduBytes& pdus) {
            missing = storePdus<chain>(runs, missing, pdus);
        });
        for (; missing != 0; missing &= missing - 1) {
            setAbsent(runs[static_cast<std::size_t>(std::countr_zero(missing))]);
        }
    }

    /// Stores the runs that are found in a chain. `missing` has a bit a run. \return the bits of the others
    ///
    /// As long as each PDU is the one of the next run, nothing is searched for and nothing noted.
    template <pdu::Chain chain>
    std::uint64_t storePdus(const std::span<const FieldRun> runs, std::uint64_t missing,
                            const PduBytes pdus) {
        const Stored stored(*this);
        const FieldRun* run = runs.data();
        const FieldRun* const end = run + runs.size();
        std::size_t header = 0;
        for (auto pdu = pdu::pduAt<chain>(pdus.payload, pdus.end, header);
             pdu && pdu->identifier == run->sought; pdu = pdu::pduAt<chain>(pdus.payload, pdus.end, header)) {
            stored.storeAt(*run, pdus.origin(pdu->data));
            if (++run == end) {
                return 0;
            }
            header = pdu->next;
        }
        const auto inOrder = static_cast<std::size_t>(run - runs.data());
        return storeOthers<chain>(runs, missing >> inOrder << inOrder, pdus, header);
    }

    /// The same from a header on, in whatever order the PDUs come.
    ///
    /// What the loop uses is in variables of its own: a store into a slot could change any other for all that
    /// the compiler knows.
    template <pdu::Chain chain>
    std::uint64_t storeOthers(const std::span<const FieldRun> runs, std::uint64_t missing,
                              const PduBytes pdus, std::size_t header) {
        const Stored stored(*this);
        std::size_t next = 0; // the run that is likely to be found
        for (auto pdu = pdu::pduAt<chain>(pdus.payload, pdus.end, header); pdu && missing != 0;
             pdu = pdu::pduAt<chain>(pdus.payload, pdus.end, pdu->next)) {
            const std::size_t found =
                runs[next].sought == pdu->identifier ? next : runOf(pdu->identifier, runs);
            const std::uint64_t bit = std::uint64_t{1} << found % 64;
            if (found == runs.size() || (missing & bit) == 0) { // of equal PDUs the first one counts
                continue;
            }
            stored.storeAt(runs[found], pdus.origin(pdu->data));
            missing &= ~bit;
            next = found + 1 < runs.size() ? found + 1 : 0;
        }
        return missing;
    }

    /// The number of the run of a PDU, or that of all runs.
    [[gnu::noinline]] static std::size_t runOf(std::uint32_t identifier, std::span<const FieldRun> runs) {
        const auto isBelow = [](const FieldRun& run, std::uint32_t wanted) { return run.sought < wanted; };
        const auto run = std::lower_bound(runs.begin(), runs.end(), identifier, isBelow);
        const bool isFound = run != runs.end() && run->sought == identifier;
        return static_cast<std::size_t>((isFound ? run : runs.end()) - runs.begin());
    }

    void storeUpdated(std::span<const FieldRun> runs) {
        if constexpr (isPrivate) {
            if (frame.holdsRange(*frame.origin, program.end()) && frame.bytes.size() >= sizeof(std::uint64_t))
                [[likely]] {
                return storeMaybe(runs);
            }
        }
        for (const FieldRun& run : runs) {
            if (frame.isSet(run.sought)) {
                Stored(*this).storeAt(run, *frame.origin);
            } else {
                setAbsent(run);
            }
        }
    }
    /// Update bits are set now and then: which of them, no processor can foretell. So what is not there is
    /// stored too, in a slot that nobody looks at.
    void storeMaybe(std::span<const FieldRun> runs) {
        PrivateSlot nobodys;
        const std::span bytes = frame.bytes;
        const std::uint8_t* const start = bytes.data() + *frame.origin;
        const std::uint8_t* const last = bytes.data() + bytes.size() - sizeof(std::uint64_t); // whole word
        const std::uint64_t time = frame.timestamp;
        const PrivateField* field = program.fields().data() + runs.front().first;
        const std::uint32_t* place = program.places().data() + runs.front().first;
        const unsigned long* const listed = program.ids().data();
        unsigned long* const reported = ids.data();
        std::uint64_t allAreThere = 1;
        for (const FieldRun& run : runs) {
            const std::size_t byte = run.sought / 8;
            const std::uint64_t isThere = byte < bytes.size() ? bytes[byte] >> run.sought % 8 & 1 : 0;
            allAreThere &= isThere;
            for (std::uint32_t left = (&run)[1].first - run.first; left > 0; --left) {
                const std::uint8_t* const from = std::min(start + field->startByte, last);
                const std::uint64_t word = wholeWordAt(from) >> 8 * (start + field->startByte - from);
                field->storeIf(isThere != 0, field->inOrder(word), time, nobodys.slot);
                reported[*place] = listed[*place] ^ (isThere - 1);
                ++field;
                ++place;
            }
        }
        isComplete = isComplete && allAreThere != 0;
    }

    /// What storing a run takes.
    struct Stored {
        explicit Stored(SearchedFrame& whole)
            : whole(whole), bytes(whole.frame.bytes.data()), length(whole.frame.length),
              time(whole.frame.timestamp), fields(whole.program.fields().data()),
              writers(whole.program.writers().data()), places(whole.program.places().data()) {}

        /// Stores a run whose ranges count from `origin` on.
        [[gnu::always_inline]] void storeAt(const FieldRun& run, std::size_t origin) const {
            if (origin + run.reach > length) [[unlikely]] {
                whole.storePartly(run, origin);
                return;
            }
            const std::uint32_t end = (&run)[1].first;
            if constexpr (isPrivate) {
                if (run.isInWord()) {
                    return storeWord({fields + run.first, fields + end}, wholeWordAt(bytes + origin), time);
                }
                const PrivateField* field = fields + run.first;
                do {
                    field->storeAnyOrder(wholeWordAt(bytes + origin + field->startByte), time);
                } while (++field != fields + end);
            } else {
                const std::uint32_t* place = places + run.first;
                do {
                    const FieldWriter& writer = writers[*place];
                    writer.store(wholeWordAt(bytes + origin + writer.place.startByte), time);
                } while (++place != places + end);
            }
        }

        SearchedFrame& whole;
        const std::uint8_t* bytes;
        std::size_t length;
        std::uint64_t time;
        const PrivateField* fields;
        const FieldWriter* writers;
        const std::uint32_t* places;
    };

    /// Stores those signals of a run whose byte ranges were received.
    [[gnu::noinline]] void storePartly(const FieldRun& run, std::size_t origin) {
        for (std::uint32_t i = run.first; i < (&run)[1].first; ++i) {
            const std::uint32_t place = program.places()[i];
            const FieldWriter& writer = program.writers()[place];
            const std::size_t start = origin + writer.place.startByte;
            if (!frame.holdsRange(start, writer.place.numBytes)) {
                setAbsent(place);
            } else if constexpr (isPrivate) {
                const PrivateField& field = program.fields()[i];
                field.storeAnyOrder(wordAt(frame.bytes, origin + field.startByte), frame.timestamp);
            } else {
                writer.store(wordAt(frame.bytes, start), frame.timestamp);
            }
        }
    }

    /// What is reported of an absent signal until all are known: an identifier that is not its own.
    void setAbsent(std::uint32_t place) {
        ids[place] = ~program.ids()[place];
        isComplete = false;
    }
    void setAbsent(const FieldRun& run) {
        for (std::uint32_t i = run.first; i < (&run)[1].first; ++i) {
            setAbsent(program.places()[i]);
        }
    }
    void leaveOutAbsent() {
        unsigned long* kept = ids.data();
        const unsigned long* marked = ids.data();
        for (const unsigned long id : program.ids()) {
            const bool isThere = *marked++ == id; // before the place is written again
            *kept = id;
            kept += isThere ? 1 : 0;
        }
        ids.resize(static_cast<std::size_t>(kept - ids.data()));
    }

    static constexpr bool isPrivate = std::is_same_v<Field, PrivateField>;

    const Bus& bus;
    const ReceivedFrame& frame;
    const FrameProgram& program;
    std::vector<unsigned long>& ids;
    bool isComplete = true;
};
