/// \file
/// The curves of many signals, recorded while they are replayed.
#pragma once

#include "catalog/Catalog.h"
#include "curve/Curve.h"
#include "survey/Gaps.h"
#include "text/Export.h"
#include "value/ValueSink.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace rksignal {

struct CurveSettings {
    std::size_t maxPoints = 65'536; ///< of a curve
    /// Bytes for the points of all curves. Whenever they need more, the limit of each is halved, down to
    /// Curve::fewestPoints: signals that seldom change keep all that they have, and the others share the
    /// rest.
    std::size_t memory = std::size_t{256} << 20;
};

/// What was recorded, of all messages of the traces.
struct CurveReport {
    std::uint64_t messages = 0;
    std::uint64_t first = 0;     ///< the time of the first message
    std::uint64_t last = 0;      ///< the latest time of a message
    std::uint64_t backwards = 0; ///< messages with an earlier time than one before
    std::size_t maxPoints = 0;   ///< of a curve, in the end
};

/// Records the curves of signals:
///
///     rksignal::CurveRecorder curves(catalog, {speed, gear}, {});
///     rksignal::Replay(catalog, curves).run(trace);
///     curves.finish();
///     draw(curves.curve(speed).reduced(from, to, 800));
///
/// A message with an earlier time than one before it counts as having the latest time of those.
///
/// A curve breaks where a message withdraws the value, and in gaps. Gaps are looked for with the values that
/// come together: the signals of a message, of CAN those behind the same values of a multiplexer, of inputs
/// each signal. Where these come at regular intervals (isRegular() in survey/Gaps.h), more than four medians
/// without a value are a gap, also at the end; the curve breaks one median after the last value. Values that
/// come in bursts or on change have gaps only where no message at all came for a second or more, see gaps().
/// The 100 longest gaps count.
///
/// Takes at most CurveSettings::memory for points, but `fewestPoints` a signal in any case; besides 0.3 KB a
/// signal, at most 0.8 KB for such with texts, and 7 KB for each set of values that come together. None of it
/// grows with the length of the traces. Allocates nothing a value but where a curve grows. For the thread
/// that replays.
class RKREPLAY_EXPORT CurveRecorder final : public ValueSink {
  public:
    /// `signals` are indices in Catalog::signals(); none: all of them. Instances for further senders (SAE
    /// J1939) are recorded with the signal of their definition. The catalog must outlive the recorder.
    CurveRecorder(const Catalog& catalog, std::span<const std::size_t> signals,
                  const CurveSettings& settings);
    ~CurveRecorder() override;
    CurveRecorder(const CurveRecorder&) = delete;
    CurveRecorder& operator=(const CurveRecorder&) = delete;

    void reached(std::uint64_t timestamp) override;
    void signalsAdded() override;
    void written(const MessageInfo& message, std::span<const unsigned long> ids) override;
    void withdrawn(const MessageInfo& message, std::span<const unsigned long> ids) override;

    /// To be called behind the last message, once: finds the gaps.
    void finish();

    /// The signals that have a curve, by index in Catalog::signals(), in ascending order.
    std::vector<std::size_t> signals() const;
    bool isRecorded(std::size_t signal) const;
    /// REQUIRES: isRecorded(signal). It stays where it is.
    const Curve& curve(std::size_t signal) const;
    /// Times in which no message came at all: longestUsualInterval() in survey/Gaps.h. The 100 longest ones,
    /// by time. Behind finish().
    std::span<const Gap> gaps() const;
    const CurveReport& report() const;

  private:
    class State;
    std::unique_ptr<State> state;
};

} // namespace rksignal
