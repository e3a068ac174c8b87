/// \file
/// The messages of a drive as the rows of a table.
#pragma once

#include "audit/Audit.h"
#include "audit/Finding.h"
#include "catalog/Catalog.h"
#include "curve/CurveRecorder.h"
#include "page/PageJson.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <tuple>
#include <unordered_set>
#include <vector>

namespace rksignal {

/// A row for each identity that came, and one for each definition that none of these is of: of messages that
/// never came, of PDUs, and of inputs.
class MessageTable {
  public:
    static constexpr std::size_t maxRows = 8192;

    /// `findings` are all of the audit. `curves` tell how many values the signals got. The catalog must
    /// outlive the table.
    MessageTable(Catalog& catalog, const Audit& audit, std::span<const Finding> findings,
                 const CurveRecorder& curves);

    PageJson json() const;
    /// How many rows there are no room for: of messages without definition, the rarest first.
    std::size_t omitted() const { return left; }

    /// Of the message that gives the signal its values; none if it is not in the table.
    std::optional<std::size_t> rowOfSignal(std::size_t signal) const;
    /// Of what a finding is about.
    std::optional<std::size_t> rowOfFinding(const Finding& finding) const;

  private:
    using Place = std::tuple<SignalKind, std::optional<std::uint8_t>, std::string>; ///< with the identifier

    struct Row {
        Place place;
        std::string name = {};
        std::string comment = {};
        const FrameStatistics* frames = nullptr;       ///< null: there are none
        const MessageDefinition* definition = nullptr; ///< of rows without frames
        std::uint64_t count = 0;
        bool isDecoded = false;
    };

    void addFrames(Catalog& catalog, const Audit& audit, std::span<const Finding> findings);
    void addDefinitions(const Catalog& catalog, const CurveRecorder& curves);
    void limitAndSort();
    void connectSignals(Catalog& catalog);
    void connectFrames(Catalog& catalog, std::size_t row);
    void connect(std::size_t signal, std::size_t row);
    static PageJson jsonOf(const Row& row);

    std::vector<Row> rows;
    std::unordered_set<const MessageDefinition*> matched; ///< of the frames that came
    std::size_t left = 0;
    std::map<Place, std::size_t> rowByPlace;
    std::vector<std::optional<std::size_t>> rowBySignal;
};

/// How the bus or the input is written for people: `CAN`, `FlexRay`, `Digital`.
std::string_view busName(SignalKind kind);

} // namespace rksignal
