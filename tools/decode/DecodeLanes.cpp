#include "decode/DecodeLanes.h"

namespace rksignal {
namespace {

/// Each thread writes to its sink with every message: two sinks must not share a cache line, nor a pair of
/// lines, which processors fetch together.
constexpr std::size_t linesApart = 128;

/// Rows of a block, held back until those of all blocks before have been written. A block that has more waits
/// for them in its midst.
class alignas(linesApart) RowLane : public LaneSink {
  public:
    RowLane(const Catalog& catalog, const RowSyntax& syntax, OutputBuffer& target,
            const RowSink::Options& options)
        : out(target, heldBack, [this] { (*await)(); }), rows(catalog, syntax, out, options) {}

    void blockBegins(std::uint64_t /*number*/, const std::function<void()>& awaitTurn) override {
        await = &awaitTurn;
    }
    void written(const MessageInfo& message, std::span<const unsigned long> ids) override {
        rows.written(message, ids);
    }
    void writtenWhole(const MessageInfo& message, std::size_t number,
                      std::span<const unsigned long> ids) override {
        rows.writtenWhole(message, number, ids);
    }
    void blockEnds() override { out.flush(); }
    bool closed() const override { return out.closed(); }

  private:
    static constexpr std::size_t heldBack = std::size_t{4} << 20; ///< some ten times what most blocks need

    const std::function<void()>* await = nullptr;
    OutputBuffer out;
    RowSink rows;
};

class alignas(linesApart) LastLane : public LaneSink {
  public:
    LastLane(const Catalog& catalog, const std::vector<bool>& selected) : values(catalog, selected, {}) {}

    void blockBegins(std::uint64_t number, const std::function<void()>& /*await*/) override {
        values.enterBlock(number);
    }
    void written(const MessageInfo& message, std::span<const unsigned long> ids) override {
        values.written(message, ids);
    }
    void writtenWhole(const MessageInfo& message, std::size_t number,
                      std::span<const unsigned long> ids) override {
        values.writtenWhole(message, number, ids);
    }
    const LastValues& last() const { return values; }

  private:
    LastValues values;
};

template <class Lane>
ReplayStatistics replay(TraceRun& run, LaneCatalogs& catalogs, std::deque<Lane>& sinks, OutputBuffer* rows) {
    std::vector<ReplayLane> lanes;
    for (std::size_t i = 0; i < sinks.size(); ++i) {
        lanes.push_back({catalogs[i], sinks[i]});
    }
    return run.replay(lanes, rows);
}

} // namespace

LaneCatalogs::LaneCatalogs(const Catalog& catalog, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        catalogs.emplace_back().addMessagesOf(catalog);
    }
}

ReplayStatistics writeRowsInLanes(TraceRun& run, LaneCatalogs& catalogs, const RowSyntax& syntax,
                                  OutputBuffer& out, const RowSink::Options& options) {
    RowSyntax withoutHeader = syntax;
    withoutHeader.header = {};
    out.append(syntax.header);
    out.flush(); // whatever comes first may take its time
    std::deque<RowLane> sinks;
    for (std::size_t i = 0; i < catalogs.size(); ++i) {
        sinks.emplace_back(catalogs[i], withoutHeader, out, options);
    }
    return replay(run, catalogs, sinks, &out);
}

ReplayStatistics findLastInLanes(TraceRun& run, LaneCatalogs& catalogs, LastValues& last,
                                 const std::vector<bool>& selected) {
    std::deque<LastLane> sinks;
    for (std::size_t i = 0; i < catalogs.size(); ++i) {
        sinks.emplace_back(catalogs[i], selected);
    }
    ReplayStatistics statistics = replay(run, catalogs, sinks, nullptr);
    for (const LastLane& sink : sinks) {
        last.add(sink.last());
    }
    return statistics;
}

} // namespace rksignal
