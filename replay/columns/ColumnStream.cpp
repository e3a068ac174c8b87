#include "columns/ColumnStream.h"

#include "columns/ColumnSink.h"
#include "value/Replay.h"

#include <exception>
#include <utility>

namespace rksignal {
namespace {

std::vector<bool> wantedSignals(const Catalog& catalog, const ColumnSettings& settings) {
    std::vector<bool> wanted(catalog.signals().size(), !settings.signals);
    for (const std::size_t index : settings.signals.value_or(std::vector<std::size_t>())) {
        wanted[index] = true;
    }
    return wanted;
}

std::unique_ptr<ColumnSink> makeColumns(ColumnChoice choice) {
    switch (choice.settings.layout) {
    case ColumnLayout::Message:
        return makeMessageColumns(std::move(choice));
    case ColumnLayout::Intervals:
        return makeIntervalColumns(std::move(choice));
    case ColumnLayout::Long:
        break;
    }
    return makeLongColumns(std::move(choice));
}

} // namespace

class [[gnu::visibility("hidden")]] ColumnStream::State {
  public:
    State(Catalog & catalog, Trace & trace, const ColumnSettings& settings)
        : trace(trace), columns(makeColumns({catalog, wantedSignals(catalog, settings), settings})),
          replay(catalog, *columns, {.strict = settings.strict, .wanted = wantedSignals(catalog, settings)}) {
    }

    std::optional<std::size_t> next(ArrowArray & out) {
        out.release = nullptr;
        for (;;) {
            if (const auto table = columns->takeComplete(out)) {
                return table;
            }
            if (isAtEnd) {
                if (failure) {
                    std::rethrow_exception(std::exchange(failure, nullptr));
                }
                return {};
            }
            read();
        }
    }

    Trace& trace;
    const std::unique_ptr<ColumnSink> columns;
    Replay replay;

  private:
    /// Until a batch is complete, or to the end. What goes wrong is told behind the rows before it.
    void read() {
        try {
            trace.run(replay);
            if (columns->closed()) {
                return;
            }
            replay.finish();
        } catch (...) {
            failure = std::current_exception();
        }
        columns->finish();
        isAtEnd = true;
    }

    bool isAtEnd = false;
    std::exception_ptr failure;
};

ColumnStream::ColumnStream(Catalog& catalog, Trace& trace, const ColumnSettings& settings)
    : state(std::make_unique<State>(catalog, trace, settings)) {}

ColumnStream::~ColumnStream() = default;

const std::vector<ColumnTable>& ColumnStream::tables() const {
    return state->columns->tables();
}

void ColumnStream::schema(std::size_t table, ArrowSchema& out) const {
    state->columns->schema(table, out);
}

std::optional<std::size_t> ColumnStream::next(ArrowArray& out) {
    return state->next(out);
}

const ReplayStatistics& ColumnStream::statistics() const {
    return state->replay.statistics();
}

const Trace& ColumnStream::trace() const {
    return state->trace;
}

} // namespace rksignal
