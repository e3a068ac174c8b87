/// \file
/// Several traces read as one, in the order of time.
#pragma once

#include "trace/TraceSource.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace rksignal {

/// `time` moved by `shift` nanoseconds, within 64 bits.
std::uint64_t shifted(std::uint64_t time, std::int64_t shift);

/// Merges traces by the times of their messages; at equal times the trace that was added first comes first.
/// The messages of one trace keep their order, also where its times go back: such a message counts as having
/// the latest time before it. A message costs a step of a heap when the next one comes from another trace.
class TraceMerge {
  public:
    /// `shift`, in nanoseconds, is added to the times of the trace; they stay within 64 bits.
    void add(std::unique_ptr<TraceSource> source, std::int64_t shift = 0);

    /// Goes on to the next message of all traces. \return false at their end \throws Error
    bool next();
    /// Hands it over, with `time` for its time stamp. REQUIRES: next() returned true.
    void deliver(MessageSink& sink, std::uint64_t time) { inputs[current].source->handOver(sink, time); }
    void deliver(MessageSink& sink) { deliver(sink, inputs[current].time); }
    /// Hands over messages that follow it, see TraceSource, if there is only one trace: no other has a say.
    void handOverAhead(MessageSink& sink) {
        if (inputs.size() == 1 && current == 0 && inputs.front().shift == 0) {
            inputs.front().source->handOverAhead(sink);
        }
    }
    std::size_t source() const { return current; }                   ///< of the message
    std::uint64_t timestamp() const { return inputs[current].time; } ///< of the message, shifted
    std::uint64_t turn() const { return inputs[current].turn; }      ///< the time that it counts as having

    /// Completes the reports of all traces: nothing more is read.
    void conclude() {
        for (const Input& input : inputs) {
            input.source->conclude();
        }
    }

    /// Leaves all reports open until releaseReports().
    void holdReports() {
        for (const Input& input : inputs) {
            input.source->holdReport();
        }
    }
    /// Completes the reports of all traces: nothing more is read.
    void releaseReports() {
        for (const Input& input : inputs) {
            input.source->releaseReport();
        }
    }

    std::int64_t shift(std::size_t trace) const { return inputs[trace].shift; }
    std::size_t size() const { return inputs.size(); }
    const TraceSource& operator[](std::size_t trace) const { return *inputs[trace].source; }
    TraceSource& operator[](std::size_t trace) { return *inputs[trace].source; }

  private:
    struct Input {
        std::unique_ptr<TraceSource> source;
        std::int64_t shift;
        std::uint64_t time; ///< of its message
        std::uint64_t turn; ///< the latest time so far
    };
    static constexpr std::size_t none = ~std::size_t{0};

    bool advance(std::size_t input);
    bool isLater(std::size_t left, std::size_t right) const;
    bool takeEarliest();
    void wait(std::size_t input);

    std::vector<Input> inputs;
    std::vector<std::size_t> waiting; ///< a heap of inputs with a message, the earliest one in front
    std::size_t current = none;
    bool isStarted = false;
};

} // namespace rksignal
