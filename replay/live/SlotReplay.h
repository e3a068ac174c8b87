/// \file
/// Signals in shared memory, as their writers leave them, as a source of values.
#pragma once

#include "catalog/Catalog.h"
#include "signal/SlotView.h"
#include "text/Export.h"
#include "value/ValueSink.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace rksignal {

/// Follows the slots of running writers. What follows a replay follows this too: triggers, reports, rows.
///
///     rksignal::Catalog catalog; // definitions of the same signals as those of the writer
///     catalog.addDbc("drive.dbc");
///     rksignal::Triggers triggers(catalog, std::move(conditions));
///     rksignal::SlotReplay slots(catalog, triggers);
///     for (;;) {
///         slots.poll();
///         ... // wait 50 ms
///     }
///
/// The catalog's own signals are private: a poll copies into them what it finds in the slots of the same
/// instance names, and tells the sink. So all values that a sink reads belong to one moment, and nothing but
/// the poll ever looks into shared memory. Creates, removes, locks and writes nothing there; read permission
/// is enough.
///
/// A value that is overwritten before the next poll is not seen: who needs every value follows the messages.
/// Signals of one message whose time stamps are the same are told together. As a poll may come while a writer
/// is in the middle of a message, the rest of it may come with the next poll.
///
/// For one thread. A poll costs the reading of each slot, some ten nanoseconds if it is in the cache, and two
/// system calls for each signal whose turn it is to be looked up again, once a second; it allocates nothing.
class RKREPLAY_EXPORT SlotReplay {
  public:
    /// What there is of a signal.
    enum class Connection : std::uint8_t {
        Unwanted, ///< nobody asked for it
        Live,     ///< its slot has a value
        NoValue,  ///< its slot has none: never written, or cleared
        Held,     ///< somebody holds the lock of its slot; the value is the one from before
        Missing,  ///< there is no slot, and was none
        Removed,  ///< there was a slot; its segment or key file was removed, and there is no other one yet
        Refused,  ///< there is something that cannot be used; view() tells what is wrong
    };
    static constexpr std::size_t connections = 7; ///< number of them

    struct Statistics {
        std::uint64_t polls = 0;
        std::uint64_t values = 0;                       ///< told as written
        std::uint64_t withdrawn = 0;                    ///< values that were taken away
        std::array<std::size_t, connections> signals{}; ///< by Connection: how many there are now

        std::size_t count(Connection connection) const {
            return signals[static_cast<std::size_t>(connection)];
        }
    };

    /// Looks for the slots of all signals; values come with the first poll(). Both must outlive the object,
    /// and the catalog be complete. Its signals must not lie in shared memory themselves.
    /// \param wanted by index in Catalog::signals(): which signals are followed. Empty: all
    SlotReplay(Catalog& catalog, ValueSink& sink, const std::vector<bool>& wanted = {});
    ~SlotReplay();
    SlotReplay(const SlotReplay&) = delete;
    SlotReplay& operator=(const SlotReplay&) = delete;

    /// Looks at all slots. The values that are new go into the catalog's signals and to the sink in the order
    /// of their time stamps: ValueSink::reached(), written(), decoded(). A value is new if raw value or time
    /// stamp differ from those before. Of a slot that has lost its value, or is gone, withdrawn() is told;
    /// the catalog's signal is cleared. At last, reached() tells how late it is, so that time-outs pass while
    /// nothing is written. The time is that of the writers, whatever their clock: the newest time stamp, and
    /// what has passed since it was found. An exception of the sink ends the poll, and the next one tells the
    /// rest.
    /// \return how many values were new or lost
    std::size_t poll();
    /// The same of some signals alone, indices in Catalog::signals(); looks nothing up.
    std::size_t poll(std::span<const std::size_t> signals);

    /// Looks all signals up at once, as the constructor does. Otherwise each has its turn once a second.
    void lookUp();

    Connection connection(std::size_t signal) const;
    /// The slot, attached or not. Good until the next poll.
    const SlotView& view(std::size_t signal) const;
    const Statistics& statistics() const;

  private:
    class State;
    std::unique_ptr<State> state;
};

} // namespace rksignal
