// The plug-in as a peer: from native trees as the seam has them to what it writes. The platform under it keeps the
// writes and does nothing else, so this is the plug-in by itself; platform_peer.cpp has it whole.
#include "peer.h"
#include "walks.h"

#include <cstring>
#include <deque>
#include <stdexcept>

#include <libxml/parser.h>
#include <libxml/tree.h>

namespace peers {

namespace {

Node native_node(const xmlNode &element) {
    const auto *tag = reinterpret_cast<const char *>(element.name);
    Node node = container(tag);
    node.space = reinterpret_cast<const char *>(element.ns->href);
    for (const xmlNode *child = element.children; child != nullptr; child = child->next)
        if (child->type == XML_ELEMENT_NODE)
            node.children.push_back(native_node(*child));
    if (!node.children.empty())
        return node;
    xmlChar *text = xmlNodeGetContent(&element);
    node.text = reinterpret_cast<const char *>(text);
    xmlFree(text);
    // The keys of all lists in the data.
    const bool key = strcmp(tag, "name") == 0 || strcmp(tag, "number") == 0;
    return key ? std::move(node).key() : node;
}

// The two walks of one node, and what they wrote.
struct NodeWalks {
    std::unique_ptr<walks::Run> ports, histories;
    null_platform::InputPowers powers;
    null_platform::Writes writes;

    explicit NodeWalks(const NativeNode &native) {
        const std::string document = "<data>" + native.xml + "</data>";
        xmlDoc *parsed = xmlReadMemory(document.data(), static_cast<int>(document.size()), nullptr, nullptr, 0);
        const xmlNode *root = xmlDocGetRootElement(parsed);
        const xmlNode *first = xmlFirstElementChild(const_cast<xmlNode *>(root));
        const xmlNode *second = xmlNextElementSibling(const_cast<xmlNode *>(first));
        ports = std::make_unique<walks::Run>(walks::read_of_all_amplifiers(), walks::ots_walker, native_node(*first));
        histories =
            std::make_unique<walks::Run>(walks::read_of_all_amplifiers(), walks::history_walker, native_node(*second));
        xmlFreeDoc(parsed);
        for (const Record &record : native.records)
            powers.add(record.controller, record.minimum, record.average, record.maximum);
    }

    void walk() {
        null_platform::set_input_powers(&powers);
        null_platform::keep_writes(&writes);
        if (ports->walk() != CERR_SUCCESS || histories->walk() != CERR_SUCCESS)
            throw std::runtime_error("the plug-in refuses a node's data");
    }

    std::string answer() const {
        constexpr std::string_view entry = "/optical-amplifier/amplifiers/amplifier";
        std::string lines;
        std::string amplifier;
        for (const null_platform::Writes::Write &write : writes.all()) {
            const char *value = writes.value_of(write);
            std::string path = "/name";
            if (write.key)
                amplifier = value;
            else
                path = std::string_view(write.path).substr(entry.size());
            lines.append(amplifier).append("\t").append(path).append("\t").append(value).append("\n");
        }
        return lines;
    }
};

class PluginPeer : public Peer {
  public:
    explicit PluginPeer(const std::vector<NativeNode> &nodes) {
        for (const NativeNode &node : nodes)
            nodes_.emplace_back(node);
    }

    std::vector<Measure> measures() override {
        return {{"parsed", [this] { walk(); }, [this] { clear(); }}};
    }
    std::vector<std::string> answers() override {
        walk();
        std::vector<std::string> answers;
        for (const NodeWalks &node : nodes_)
            answers.push_back(node.answer());
        return answers;
    }

  private:
    void walk() {
        for (NodeWalks &node : nodes_)
            node.walk();
    }
    void clear() {
        for (NodeWalks &node : nodes_)
            node.writes.clear();
    }

    std::deque<NodeWalks> nodes_;
};

} // namespace

std::unique_ptr<Peer> make_peer(const std::vector<NativeNode> &nodes) {
    return std::make_unique<PluginPeer>(nodes);
}

} // namespace peers
