/// \file
/// Writes the decoded values around each firing to a file of its own.
#pragma once

#include "catalog/Catalog.h"
#include "condition/Firing.h"
#include "condition/Triggers.h"
#include "convert/OutputFormat.h"
#include "output/InputSet.h"
#include "output/RowFormat.h"
#include "trigger/MessageRing.h"
#include "trigger/ValueRing.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <iosfwd>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace rksignal {

/// Keeps the values of the last seconds. When a window has ended, its values go to `CONDITION-NUMBER.csv`, in
/// the form of `rksignal decode`, and its messages, if they are wanted, to a trace beside it. Windows may
/// overlap: each gets all its values.
///
/// Memory is bounded by the values and messages kept; more windows than `maxFiles` are not written.
class WindowWriter : public FiringSink, public ValueSink {
  public:
    static constexpr std::size_t maxFiles = 10'000;
    static constexpr std::size_t maxValues = std::size_t{1} << 22; ///< 32 bytes each
    static constexpr std::size_t maxMessageBytes = std::size_t{1} << 27;

    /// Nanoseconds around the firing, bounds included.
    struct Extent {
        std::uint64_t before;
        std::uint64_t after;
    };

    /// What becomes of windows in the folder.
    enum class Earlier : std::uint8_t {
        Refuse,   ///< there must be none
        Replace,  ///< those of the same number are replaced
        NumberOn, ///< all stay: the first new window has the number behind the highest one of its condition
    };

    struct Folder {
        std::string path;
        Earlier earlier;
        const OutputFormat* frames = nullptr; ///< the format in which messages are written, too; null: none
        /// Told why a window could not be written, and is left out. Null: that is thrown.
        std::function<void(const std::string&)> onFailure = nullptr;
    };

    /// Makes the folder if it is not there; everything else must outlive the writer.
    /// \throws std::system_error if that fails, UsageError if there are windows and must not be
    WindowWriter(const Catalog& catalog, const Triggers& triggers, Extent extent, const Folder& folder,
                 const InputSet& inputs, const TimeFormat& times);

    /// Who gets each message behind its values; null: they are not wanted.
    MessageSink* messages() { return folder.frames != nullptr ? &frames : nullptr; }

    /// Writes the windows that ended before `now`, and forgets values that no window can hold any more.
    /// \throws std::system_error if a file cannot be written, std::runtime_error if it is an input
    void advanced(std::uint64_t now) override;
    void clockSetBack() override { finish(); }
    void written(const MessageInfo& message, std::span<const unsigned long> ids) override;
    void signalsAdded() final;
    bool closed() const override { return false; }
    void fired(const Firing& firing) override;

    /// Writes all windows as far as they have come, and starts anew. \throws std::system_error
    void finish();

    /// Says how many files there are, and what is missing in them, in one to four lines.
    void summarise(std::ostream& out) const;

    std::uint64_t written() const { return files; }
    std::uint64_t unwritten() const { return failures + omitted; } ///< those behind `maxFiles`, too

  private:
    struct Window {
        std::size_t trigger;
        std::uint64_t number; ///< of the firing of its condition
        std::uint64_t from;
        std::uint64_t to;
    };

    void prepareFolder();
    void nameFiles(const Triggers& triggers);
    void write(const Window& window);
    void writeFiles(const Window& window);
    void writeValues(const Window& window);
    void writeFrames(const Window& window);
    std::string pathOf(const Window& window, std::string_view ending) const;

    const Catalog& catalog;
    Extent extent;
    Folder folder;
    const InputSet& inputs;
    TimeFormat times;
    std::vector<SignalCells> cells;               ///< as Catalog::signals()
    std::map<std::string, std::uint64_t> highest; ///< number in the folder, by stem
    std::vector<std::string> stems;               ///< of the file names, by trigger
    ValueRing values;
    MessageRing frames{maxMessageBytes};
    std::deque<Window> open;
    std::uint64_t earlier = 0; ///< windows in the folder that this run has not replaced
    std::uint64_t files = 0;
    std::uint64_t incomplete = 0;
    std::uint64_t omitted = 0;
    std::uint64_t failures = 0;
    std::uint64_t unheld = 0; ///< messages that the format does not hold
};

} // namespace rksignal
