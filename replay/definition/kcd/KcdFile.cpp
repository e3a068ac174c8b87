#include "definition/kcd/KcdFile.h"

#include "definition/kcd/KcdReader.h"

#include <string_view>
#include <utility>

namespace rksignal {
namespace {

KcdNodes nodesIn(pugi::xml_node root) {
    KcdNodes nodes;
    for (const pugi::xml_node node : root.children("Node")) {
        nodes.emplace(node.attribute("id").value(), node.attribute("name").value());
    }
    return nodes;
}

} // namespace

DefinitionFile parseKcd(std::string text, std::string path, std::optional<std::uint8_t> channel,
                        const std::vector<ClusterChoice>& choices) {
    DefinitionFile file;
    DefinitionNotes notes(path);
    const XmlDocument document(std::move(text), path, notes.list());
    const pugi::xml_node root = document.root();
    if (std::string_view(root.name()) != "NetworkDefinition") {
        notes.error(1, "a KCD file has a NetworkDefinition around all");
    }
    const KcdNodes nodes = nodesIn(root);
    KcdBusReader reader(document, nodes, notes);
    for (const pugi::xml_node bus : root.children("Bus")) {
        const std::string name = bus.attribute("name").value();
        file.clusters.push_back(name);
        const ClusterChoice* const choice = choiceOf(choices, name);
        if (choices.empty() || choice != nullptr) {
            reader.read(bus, choice != nullptr && choice->channel ? choice->channel : channel, file.messages);
        }
    }
    file.path = std::move(path);
    file.remarks = notes.take();
    return file;
}

} // namespace rksignal
