/// \file
/// Logs in text form as traces.
#pragma once

#include "trace/log/LineLog.h"
#include "trace/log/LineTrace.h"

#include <memory>
#include <utility>

namespace rksignal {

/// The messages of a log, as `log` understands its lines.
class LineLogTrace : public LineTrace {
  public:
    LineLogTrace(std::unique_ptr<InputFile> file, std::unique_ptr<LineLog> log)
        : LineTrace(std::move(file)), log(std::move(log)) {}

    bool next() override;

  private:
    void deliver(MessageSink& sink, std::uint64_t time) override;
    void completeReport() override;

    std::unique_ptr<LineLog> log;
    LineLog::Line kind = LineLog::Line::Nothing;
};

} // namespace rksignal
