// How the description of such a line is taken from the node's data. Knows nothing of what is computed.
#include "line/single_node.h"

#include "line/folder.h"
#include "line/node_data.h"
#include "node/live_data.h"
#include "node/node.h"
#include "seam/json_text.h"
#include "yang/models.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string>

#include <fmt/format.h>

namespace ocamp {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t nesting_limit = 64;
constexpr unsigned last_slot = 3;
constexpr double hundredth = 0.01, tenth = 0.1;
// What the native models do not tell of an amplifier.
constexpr double lowest_gain = 0, highest_gain = 40, noise_figure = 5.5, highest_output = 20;
constexpr double brightest = 10; // as descriptions take it

// Members by name, down from the document's root; NULL when one is not there.
const Json *below(const Json *at, std::initializer_list<const char *> names) {
    for (const char *name : names) {
        if (at == nullptr || !at->is_object())
            return nullptr;
        const auto found = at->find(name);
        at = found != at->end() ? &*found : nullptr;
    }
    return at;
}

bool any(const Json & /*entry*/) {
    return true;
}

// Configuration of an interface that is there; that of others waits for hardware.
bool applies(const Json &entry) {
    return entry.at("active") == "act";
}

// Those entries of a list that count, by the value of a member.
std::map<std::string, Json> by_name(const Json *list, const char *member, bool (*counts)(const Json &)) {
    std::map<std::string, Json> entries;
    if (list != nullptr) {
        for (const Json &entry : *list)
            if (counts(entry))
                entries[entry.at(member).get<std::string>()] = entry;
    }
    return entries;
}

std::optional<double> number(const Json *at, double unit) {
    return at != nullptr && at->is_number() ? std::optional(at->get<double>() * unit) : std::nullopt;
}

// What of a node's data says what its cards are.
struct Cards {
    std::map<std::string, Json> ports, interfaces; // by name
};

Cards cards_of(const fs::path &folder) {
    constexpr const char *ports_root = "Korvex-controller-orvo8-ots-oper:ots-oper",
                         *interfaces_root = "Korvex-ifmgr-cfg:interface-configurations";
    Node node(folder, Node::Access::read);
    const ReadTransaction snapshot(node.database());
    const NativeData data = load_native(node.database(), native_schema());
    Cards cards;
    if (!data.running.tree().empty()) {
        const Json running = parse_json(data.running.tree().print(LYD_JSON), nesting_limit);
        cards.interfaces =
            by_name(below(&running, {interfaces_root, "interface-configuration"}), "interface-name", applies);
    }
    for (const NativeDocument &document : data.operational) {
        if (!document.may_be_of(amplifier_module) || document.tree().empty())
            continue;
        const Json oper = parse_json(document.tree().print(LYD_JSON), nesting_limit);
        if (const Json *ports = below(&oper, {ports_root, "ots-ports", "ots-port"}))
            cards.ports = by_name(ports, "name", any);
    }
    return cards;
}

const Json *optics_of(const Cards &cards, const std::string &interface) {
    const auto found = cards.interfaces.find(interface);
    return found != cards.interfaces.end() ? below(&found->second, {"Korvex-controller-optics-cfg:optics"}) : nullptr;
}

// The power of the signal that a port receives; where it does not tell that, of all light.
double received(const Json &port) {
    if (const Json *lanes = below(&port, {"ots-info", "lane-data"}); lanes != nullptr && !lanes->empty()) {
        for (const char *leaf : {"receive-power", "receive-power-dbm"})
            if (const auto power = number(below(&lanes->front(), {leaf}), hundredth))
                return *power;
    }
    return number(below(&port, {"ots-info", "total-rx-power"}), hundredth).value_or(darkness);
}

// The light that comes in at a port.
Json direction(const std::string &name, const Json &port) {
    const double power = received(port);
    return {{"name", name},
            {"order", "forward"},
            {"channels", {{"count", 1}, {"power-dbm", std::clamp(power, darkness, brightest)}}}};
}

Json amplifier(const Cards &cards, const std::string &interface, const Json &port) {
    const Json *optics = optics_of(cards, interface);
    const double read = number(below(&port, {"ots-info", "ampli-gain"}), hundredth).value_or(lowest_gain);
    const double gain = number(below(optics, {"optics-ots-amplifier-gain"}), tenth).value_or(read);
    const double tilt = number(below(optics, {"optics-ots-amplifier-tilt"}), tenth).value_or(0);
    return {{"gain-range-db", {lowest_gain, highest_gain}},
            {"noise-figure-db", noise_figure},
            {"maximum-output-dbm", highest_output},
            {"gain-db", std::clamp(gain, lowest_gain, highest_gain)},
            {"tilt-db", std::clamp(tilt, -steepest_tilt, steepest_tilt)}};
}

// The description; the slot without amplifiers is left out.
Json described(const Cards &cards) {
    Json directions = Json::array(), slots = Json::array();
    for (unsigned number_of_slot = 1; number_of_slot <= last_slot; ++number_of_slot) {
        Json slot{{"slot", number_of_slot}};
        for (const bool booster : {false, true}) {
            const std::string interface = amplifier_controller(number_of_slot, booster);
            const auto port = cards.ports.find(interface);
            if (port == cards.ports.end())
                continue;
            const std::string way = fmt::format("slot-{}-{}", number_of_slot, booster ? "out" : "in");
            directions.push_back(direction(way, port->second));
            slot[booster ? "sends" : "receives"] = way;
            slot[booster ? "booster" : "pre-amplifier"] = amplifier(cards, interface, port->second);
        }
        if (const auto power =
                number(below(optics_of(cards, channel_controller(number_of_slot)), {"optics-transmit-power"}), tenth))
            slot["supervisory-power-dbm"] = std::clamp(*power, darkness, brightest);
        if (slot.contains("booster") || slot.contains("pre-amplifier"))
            slots.push_back(std::move(slot));
    }
    return {{"name", "a node by itself"},
            {"directions", std::move(directions)},
            {"nodes", {{{"name", "node"}, {"slots", std::move(slots)}}}},
            {"spans", Json::array()}};
}

} // namespace

fs::path line_of_node(const fs::path &node) {
    fs::path folder = node / "live";
    if (is_line(folder))
        return folder;
    if (fs::exists(node / live_name)) {
        // DIR/nodes/NAME.
        if (is_line(fs::weakly_canonical(node).parent_path().parent_path()))
            throw LineError(fmt::format("{}: a node of a line, expected one that lives by itself", node.string()));
        throw LineError(fmt::format("{}: has {}, but not the line that wrote it; when that line is gone, remove {} and "
                                    "the node lives by itself",
                                    node.string(), live_name, (node / live_name).string()));
    }
    const Json description = described(cards_of(node));
    if (description.at("directions").empty())
        throw LineError(fmt::format("{}: no amplifiers, expected a node with operational data of some", node.string()));
    init_line_around(folder, description.dump(2));
    return folder;
}

} // namespace ocamp
