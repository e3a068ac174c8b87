/// \file
/// Multiplexers by `m<k>`, and the check that all chains of multiplexers end.
#include "definition/dbc/DbcMultiplexing.h"

#include <algorithm>

namespace rksignal {

namespace {

class MultiplexResolver {
  public:
    MultiplexResolver(DbcMessageStatement& message, DefinitionNotes& notes)
        : message(message), signals(message.signals), notes(notes), states(signals.size(), State::Unknown) {}

    void resolve() {
        findRoots();
        for (DbcSignalStatement& signal : signals)
            if (!signal.dropped && !signal.definition.multiplexing && signal.selector)
                assignRoot(signal);
        for (DbcSignalStatement& signal : signals)
            if (signal.hasIndicator && !signal.definition.multiplexing && signal.record().multiplexer == 0)
                drop(signal, "its multiplexer indicator m has no value, and no SG_MUL_VAL_ line names it");
        for (std::size_t i = 0; i < signals.size(); ++i)
            followChain(i);
    }

  private:
    enum class State { Unknown, OnChain, Decided };

    void findRoots() {
        for (std::size_t i = 0; i < signals.size(); ++i)
            if (signals[i].record().multiplexer != 0 && !signals[i].dropped &&
                !signals[i].definition.multiplexing && !signals[i].selector)
                roots.push_back(i);
    }

    void assignRoot(DbcSignalStatement& signal) {
        if (roots.empty())
            return drop(signal, "its message has no multiplexer for it");
        signal.definition.multiplexing = {roots.front(), {{*signal.selector, *signal.selector}}};
        if (roots.size() > 1)
            notes.guess(signal.line, describe(signal) + " may belong to one of several multiplexers; " +
                                         signals[roots.front()].finalName() + " assumed");
    }

    /// Goes from a signal to its multiplexer and so on, up to one whose fate is known, and passes that on.
    void followChain(std::size_t index) {
        std::vector<std::size_t> chain;
        std::optional<std::size_t> next = index;
        for (; next && states[*next] == State::Unknown; next = signals[*next].multiplexer()) {
            states[*next] = State::OnChain;
            chain.push_back(*next);
        }
        const bool cycle = next && states[*next] == State::OnChain;
        if (cycle)
            dropCycle(chain, *next);
        for (auto signal = chain.rbegin(); signal != chain.rend(); ++signal)
            decide(*signal);
    }

    void dropCycle(const std::vector<std::size_t>& chain, std::size_t first) {
        for (auto signal = std::find(chain.begin(), chain.end(), first); signal != chain.end(); ++signal)
            drop(signals[*signal], "its multiplexers form a cycle");
    }

    /// The multiplexer of `index` is decided already.
    void decide(std::size_t index) {
        DbcSignalStatement& signal = signals[index];
        states[index] = State::Decided;
        if (const auto above = signal.multiplexer(); above && signals[*above].dropped)
            drop(signal, "its multiplexer " + signals[*above].finalName() + " was dropped");
    }

    void drop(DbcSignalStatement& signal, const std::string& why) {
        if (!signal.dropped)
            notes.dropped(signal.line, describe(signal) + " dropped: " + why);
        signal.dropped = true;
    }

    std::string describe(const DbcSignalStatement& signal) const {
        return "signal " + signal.finalName() + " of message " + message.message.name;
    }

    DbcMessageStatement& message;
    std::vector<DbcSignalStatement>& signals;
    DefinitionNotes& notes;
    std::vector<State> states;
    std::vector<std::size_t> roots;
};

} // namespace

void resolveMultiplexing(DbcMessageStatement& message, DefinitionNotes& notes) {
    MultiplexResolver(message, notes).resolve();
}

} // namespace rksignal
