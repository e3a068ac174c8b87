#include "command/SignalHandlers.h"

namespace rksignal {

SignalHandlers::SignalHandlers(std::initializer_list<int> signals, void (*handler)(int)) {
    for (const int signal : signals) {
        Former old{signal, {}};
        sigaction(signal, nullptr, &old.action);
        if (old.action.sa_handler != SIG_IGN) {
            struct sigaction action {};
            action.sa_handler = handler;
            sigaction(signal, &action, nullptr);
            former.push_back(old);
        }
    }
}

SignalHandlers::~SignalHandlers() {
    for (const Former& old : former) {
        sigaction(old.signal, &old.action, nullptr);
    }
}

void endBySignal(int signal) {
    std::signal(signal, SIG_DFL);
    raise(signal); // is delivered when the handler returns
}

} // namespace rksignal
