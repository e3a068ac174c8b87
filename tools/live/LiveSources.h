/// \file
/// Opens the sources of a running logger, and keeps an eye on them.
#pragma once

#include "catalog/Catalog.h"
#include "live/LiveLog.h"
#include "live/LiveLoop.h"
#include "live/LiveOptions.h"
#include "trace/ChannelMap.h"

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <linux/can.h>
#include <memory>
#include <string>
#include <vector>

namespace rksignal {

/// Gives a loop its sources. Says when an interface goes down, when messages come again, and when some are
/// lost; interfaces that break, as when an adapter is pulled out, are opened again when that is possible.
class LiveSources {
  public:
    /// Enters the channels that arguments give to interfaces. \throws UsageError
    static void assignChannels(const LiveOptions& options, ChannelMap& channels);

    /// References must outlive the object.
    LiveSources(const LiveOptions& options, LiveLoop& loop, LiveLog& log)
        : options(options), loop(loop), log(log) {}

    /// Opens all of them. `catalog` says which frames of CAN are wanted, and is kept for that until there is
    /// another one. \throws UsageError, Error
    void open(const Catalog& catalog, const ChannelMap& channels);
    /// The definitions have changed.
    void refilter(const Catalog& catalog);

    /// To be called every second or so.
    void check();
    /// To be called when a source has broken.
    void noteBroken(const LiveSource& source, const SourceError& error);

    /// Whether sources may come again after all have broken.
    bool reopensSome() const;
    /// Of all sources, those that broke included.
    LiveCounts counts() const;
    /// Whether nothing was damaged, and nothing is broken.
    bool areSound() const;
    /// Messages a second of each since the last call, `can0 1200/s, can1 3/s`. `seconds` have passed.
    std::string rates(double seconds);
    /// Writes a line a source, and what could not be understood.
    void summarise(std::ostream& out) const;

  private:
    struct Entry {
        std::string name;
        std::function<std::unique_ptr<LiveSource>()> open;
        std::uint8_t channel = 0;
        bool isCan = false;
        bool reopens = false;
        bool isDown = false;
        bool isBroken = false;
        const LiveSource* source = nullptr; ///< null: broken
        LiveCounts before = {};             ///< of sources that broke
        LiveCounts seen = {};               ///< when check() looked last
        std::uint64_t rated = 0;            ///< messages when rates() was called last

        LiveCounts counts() const;
    };

    void addInterfaces();
    void addTraces();
    void reopen(Entry& entry);
    std::vector<can_filter> filtersFor(std::uint8_t channel) const;

    const LiveOptions& options;
    LiveLoop& loop;
    LiveLog& log;
    const Catalog* definitions = nullptr;
    ChannelMap channels; ///< with the interfaces that sources meet
    std::vector<Entry> entries;
};

} // namespace rksignal
