/// \file
/// The output of candump as a live source.
#pragma once

#include "live/LiveSource.h"
#include "trace/ChannelMap.h"

#include <cstdint>
#include <memory>
#include <string>

namespace rksignal {

/// The lines that `candump -L` writes to a pipe, as they come, with the times that they have. Its count of
/// dropped frames counts as lost. Ends where the pipe does.
class RKREPLAY_EXPORT LogPipeSource final : public LiveSource {
  public:
    static constexpr std::size_t mostLineBytes = 8192; ///< longer lines are damaged

    /// Opens a named pipe or a file, `-` being standard input; does not wait for who writes to it. Interface
    /// names become channels by `channels`, which must outlive the source.
    /// \throws Error that names the path
    LogPipeSource(const std::string& path, ChannelMap& channels);
    /// Takes over the descriptor. \param name is for errors
    LogPipeSource(std::string name, int descriptor, ChannelMap& channels);
    ~LogPipeSource() override;

    int descriptor() const override;
    std::optional<std::uint64_t> due() const override;
    void read(MessageSink& sink) override;
    bool ended() const override;

  private:
    struct State;
    std::unique_ptr<State> state;
};

} // namespace rksignal
