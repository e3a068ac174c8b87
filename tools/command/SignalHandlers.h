/// \file
/// Who is told of the signals of the system, for a while.
#pragma once

#include <csignal>
#include <initializer_list>
#include <vector>

namespace rksignal {

/// While an object exists, these signals go to a handler; then to those that had them before. Signals that
/// were ignored, as by `nohup`, stay so.
class SignalHandlers {
  public:
    SignalHandlers(std::initializer_list<int> signals, void (*handler)(int));
    ~SignalHandlers();
    SignalHandlers(const SignalHandlers&) = delete;
    SignalHandlers& operator=(const SignalHandlers&) = delete;

  private:
    struct Former {
        int signal;
        struct sigaction action;
    };

    std::vector<Former> former;
};

/// For a handler: ends the program by this signal, as if nothing handled it, when the handler returns.
void endBySignal(int signal);

} // namespace rksignal
