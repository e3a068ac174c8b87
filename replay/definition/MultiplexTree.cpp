#include "definition/MultiplexTree.h"

#include <string_view>
#include <utility>

namespace rksignal {
namespace {

class TreeBuilder {
  public:
    TreeBuilder(const DbcMessage& message, const std::vector<bool>& usable)
        : message(message), usable(usable) {}

    std::vector<MultiplexNode> build() {
        addBranch({}, std::nullopt);
        return std::move(nodes);
    }

  private:
    /// Adds the signals that depend on `multiplexer`, the empty name standing for none.
    void addBranch(std::string_view multiplexer, std::optional<std::size_t> parent) {
        for (std::size_t i = 0; i < message.signals.size(); ++i) {
            const DbcSignal& signal = message.signals[i];
            const std::string_view dependsOn =
                signal.multiplexing ? std::string_view(signal.multiplexing->multiplexer) : std::string_view();
            if (!usable[i] || dependsOn != multiplexer) {
                continue;
            }
            const std::size_t node = nodes.size();
            nodes.push_back({i, parent, 0});
            if (signal.multiplexer) {
                addBranch(signal.name, node);
            }
            nodes[node].branchEnd = nodes.size();
        }
    }

    const DbcMessage& message;
    const std::vector<bool>& usable;
    std::vector<MultiplexNode> nodes;
};

} // namespace

std::vector<MultiplexNode> multiplexTree(const DbcMessage& message, const std::vector<bool>& usable) {
    return TreeBuilder(message, usable).build();
}

} // namespace rksignal
