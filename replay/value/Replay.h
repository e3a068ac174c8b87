/// \file
/// From messages to values: recorded ones, or live ones that the client feeds.
#pragma once

#include "catalog/Catalog.h"
#include "trace/MessageSink.h"
#include "trace/Trace.h"
#include "value/ReplayStatistics.h"
#include "value/ValueSink.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

namespace rksignal {

/// How messages become values.
struct ReplaySettings {
    /// Decode Ethernet frames by the rules of librksignal alone, as a logger does. Otherwise those of
    /// SOME/IP, stacked VLAN tags and IPv6 count too (docs/rksignal.md, "Ethernet").
    bool strict = false;
    /// By index in Catalog::signals(): whether somebody looks at the values. Frames of CAN whose definition
    /// has no such signal are counted and not decoded; ValueSink::written() may tell of others all the same.
    /// What is wanted of a parameter group is wanted of each of its senders. Empty: all.
    std::vector<bool> wanted = {};
};

/// Decodes messages into the signals of a catalog, which keep their values from one message to the next, and
/// tells a sink which have been written.
///
///     rksignal::Replay replay(catalog, sink);
///     replay.run(trace);     // recorded: all messages of a trace
///     replay.receive(frame); // live: one message; the sink has been told when the call returns
///
/// Trace::onProgress() shows how far a run has come, Trace::stop() ends it from anywhere. Who wants the raw
/// messages and no values gives Trace::run() a MessageSink; a replay is one, so that a sink can also look at
/// a message and hand it on.
///
/// For one thread, which may be another one for each catalog. Allocates nothing a message. CAN frames go to
/// the decoders of the catalog, Ethernet frames to one that puts SOME/IP messages together, everything else
/// to those of librksignal; raw records that no definition wants are dropped before they become messages.
/// Messages may come in any order of time.
class RKREPLAY_EXPORT Replay final : public MessageSink {
  public:
    /// Both must outlive the replay; from now on nothing may be added to the catalog.
    Replay(Catalog& catalog, ValueSink& sink, const ReplaySettings& settings = {});
    ~Replay() override;
    Replay(const Replay&) = delete;
    Replay& operator=(const Replay&) = delete;

    /// Replays traces to their end, until Trace::stop(), or until the sink is closed; with a sink that has
    /// been opened again another call goes on. \throws Error if reading fails: what came before has been
    /// replayed
    void run(Trace& trace);
    /// The same, with a second thread, see Trace::runAhead().
    void runAhead(Trace& trace, const std::function<void()>& handedOn = {});

    void receive(const CANExtTraceMessage& frame) override;
    void receive(const LINTraceMessage& frame) override;
    void receive(const FlexRayExtTraceMessage& frame) override;
    void receive(const MIITraceMessage& frame) override;
    void receive(const EthernetTraceMessage& frame) override;
    void receive(const GpioTraceMessage& message) override;
    void receive(const AnalogTraceMessage& message) override;
    void receive(const KeyboardMessage& message) override;
    void receive(const SystemMessage& message) override;
    void receive(const GPSTraceMessage& message) override;
    bool receiveRecord(std::span<const std::uint8_t> record, std::uint64_t timestamp) override;
    void pass(PassedMessage kind, std::uint64_t timestamp) override;
    bool closed() const override;

    /// No more messages come: decodes the SOME/IP messages that wait for lost segments of TCP. run() does
    /// that by itself.
    void finish();

    /// What has been met so far.
    const ReplayStatistics& statistics() const;

  private:
    std::unique_ptr<class ReplayEngine> engine;
};

} // namespace rksignal
