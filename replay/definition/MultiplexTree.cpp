#include "definition/MultiplexTree.h"

namespace rksignal {
namespace {

constexpr std::size_t none = ~std::size_t{0};

/// The signals that depend on each signal, in their order, as a list through `next` that starts at `first`.
struct Dependents {
    explicit Dependents(const MessageDefinition& message)
        : first(message.signals.size() + 1, none), next(message.signals.size(), none) {
        const std::size_t root = message.signals.size(); // of those that depend on none
        for (std::size_t i = message.signals.size(); i-- > 0;) {
            const auto& multiplexing = message.signals[i].multiplexing;
            if (!multiplexing || multiplexing->multiplexer) {
                std::size_t& head = first[multiplexing ? *multiplexing->multiplexer : root];
                next[i] = head;
                head = i;
            }
        }
    }

    std::vector<std::size_t> first;
    std::vector<std::size_t> next;
};

} // namespace

/// Goes down into each branch without recursion: chains of multiplexers may be of any length.
std::vector<MultiplexNode> multiplexTree(const MessageDefinition& message, const std::vector<bool>& usable) {
    const Dependents dependents(message);
    std::vector<MultiplexNode> nodes;
    std::optional<std::size_t> parent;
    std::size_t signal = dependents.first.back();
    while (signal != none || parent) {
        if (signal == none) { // the branch ends
            nodes[*parent].branchEnd = nodes.size();
            signal = dependents.next[nodes[*parent].signal];
            parent = nodes[*parent].parent;
        } else if (usable[signal]) {
            nodes.push_back({signal, parent, 0});
            parent = nodes.size() - 1;
            signal = dependents.first[signal];
        } else {
            signal = dependents.next[signal];
        }
    }
    return nodes;
}

std::vector<bool> reachableSignals(const MessageDefinition& message, const std::vector<bool>& usable) {
    std::vector<bool> reachable(usable.size());
    for (const MultiplexNode& node : multiplexTree(message, usable)) {
        reachable[node.signal] = true;
    }
    return reachable;
}

} // namespace rksignal
