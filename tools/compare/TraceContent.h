/// \file
/// What a trace holds, as far as traces are compared.
#pragma once

#include "catalog/Catalog.h"
#include "compare/Difference.h"
#include "survey/Survey.h"
#include "value/ValueSink.h"

#include <map>
#include <span>
#include <string>
#include <vector>

namespace rksignal {

/// The least and the greatest value of each signal.
class SignalExtremes : public ValueSink {
  public:
    struct Extremes {
        double least;
        double greatest;
        std::uint64_t count;
    };

    /// `catalog` outlives the sink.
    explicit SignalExtremes(const Catalog& catalog) : catalog(catalog) {}

    void written(const MessageInfo& message, std::span<const unsigned long> ids) override;
    /// By instance name, of those that were a number once.
    std::map<std::string, Extremes> byName() const;

  private:
    const Catalog& catalog;
    std::vector<Extremes> extremes; ///< as Catalog::signals(), as far as they have come
};

struct TraceContent {
    Survey survey;
    std::map<std::string, SignalExtremes::Extremes> signals;
};

/// Adds the differences. Numbers differ when they are further apart than `tolerance` (0.05 is 5 %) of the
/// greater magnitude.
void compareTraces(const TraceContent& left, const TraceContent& right, double tolerance,
                   std::vector<Difference>& differences);

} // namespace rksignal
