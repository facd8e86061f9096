// How readings are written down. The texts are made directly: they are made anew every second, and their form is fixed.
#include "line/node_data.h"

#include "seam/json_text.h"

#include <cmath>
#include <iterator>

#include <fmt/format.h>

namespace ocamp {

namespace {

using Out = std::back_insert_iterator<std::string>;

// A list of JSON, entry by entry.
class List {
  public:
    explicit List(std::string &text) : text_(text) {}
    Out next() {
        if (!first_)
            text_ += ',';
        first_ = false;
        return Out(text_);
    }

  private:
    std::string &text_;
    bool first_ = true;
};

// Hundredths as a decimal number: -0.05 for -5.
std::string decimal(int hundredths) {
    const int magnitude = std::abs(hundredths);
    return fmt::format("{}{}.{:02}", hundredths < 0 ? "-" : "", magnitude / 100, magnitude % 100);
}

const char *truth(bool value) noexcept {
    return value ? "true" : "false";
}

const char *range_word(bool extended) noexcept {
    return extended ? "amplifier-gain-range-ext-end-ed" : "amplifier-gain-range-normal";
}

void add_statistics(std::string &text, std::string_view name, const Statistics &statistics) {
    fmt::format_to(Out(text), R"(,"{}":{{"minimum":"{}","average":"{}","maximum":"{}"}})", name,
                   decimal(statistics.minimum), decimal(statistics.average), decimal(statistics.maximum));
}

void add_port_history(List &ports, std::string &text, const std::string &name, const PortHistory &history) {
    constexpr std::string_view quantities[amplifier_quantities] = {"opt", "opr", "ampli-gain", "ampli-gain-tilt"};
    if (history.closed.empty())
        return;
    fmt::format_to(ports.next(),
                   R"({{"name":"{}","optics-second30-history":{{"optics-second30-optics-histories":)"
                   R"({{"optics-second30-optics-history":[{{"number":1,"optics-second30-optics-time-line-instances":)"
                   R"({{"optics-second30-optics-time-line-instance":[)",
                   name);
    List instances(text);
    unsigned age = 0;
    for (const PortHistory::Interval &interval : history.closed) {
        fmt::format_to(instances.next(), R"({{"number":{})", ++age);
        for (std::size_t i = 0; i < interval.quantities.size(); ++i)
            add_statistics(text, quantities[i], interval.quantities[i]);
        text += '}';
    }
    text += "]}}]}}}";
}

BagToken token(BagType type, std::string name, BagToken::Value value) {
    return {.type = type, .name = std::move(name), .value = std::move(value), .tokens = {}};
}

BagToken text_token(std::string name, std::string value) {
    return token(BagType::text, std::move(name), std::move(value));
}

BagToken group(BagType type, std::string name, std::vector<BagToken> tokens) {
    return {.type = type, .name = std::move(name), .value = {}, .tokens = std::move(tokens)};
}

BagRecord record_of(std::string name, BagToken content) {
    return {.name = std::move(name), .version_major = 1, .version_minor = 0, .tokens = {std::move(content)}};
}

BagToken statistics_token(std::string name, const Statistics &statistics) {
    return group(BagType::structure, std::move(name),
                 {text_token("Minimum", decimal(statistics.minimum)),
                  text_token("Average", decimal(statistics.average)),
                  text_token("Maximum", decimal(statistics.maximum))});
}

// The document of a list of ports; an empty list is none in a valid document.
std::string list_document(std::string_view before, std::string_view entries, std::string_view after) {
    return entries.empty() ? "{}" : fmt::format("{}{}{}", before, entries, after);
}

} // namespace

std::string amplifier_name(unsigned slot, bool booster) {
    return fmt::format("0/{}-AMP-{}", slot, booster ? "BST" : "PRE");
}

std::string amplifier_controller(unsigned slot, bool booster, char separator) {
    return fmt::format("Ots0{0}{1}{0}0{0}{2}", separator, slot, booster ? 1 : 0);
}

std::string channel_controller(unsigned slot) {
    return fmt::format("Optics0/{}/0/4", slot);
}

std::string amplifier_document(const NodePorts &ports) {
    std::string entries;
    List list(entries);
    for (const AmplifierPort &port : ports.amplifiers) {
        const SimulatedAmplifier &amplifier = *port.amplifier;
        const AmplifierReading &reading = amplifier.reading;
        fmt::format_to(list.next(),
                       R"({{"name":"{}","ots-info":{{"total-rx-power":{},"ampli-tilt":{},"ampli-gain":{},)"
                       R"("ampli-gain-range":"{}","ampli-gain-range-config-val":"{}","osri":{},"osri-config-val":{},)"
                       R"("lane-data":[{{"receive-power":{},"receive-power-dbm":{},"transmit-power":{},)"
                       R"("transmit-power-dbm":{}}}]}}}})",
                       amplifier_controller(port.slot, amplifier.booster), reading.total_input, reading.tilt,
                       reading.gain, range_word(amplifier.extended_range),
                       range_word(amplifier.settings.extended_range), truth(!amplifier.emitting),
                       truth(amplifier.settings.shut), reading.input, reading.input, reading.output, reading.output);
    }
    return list_document(R"({"Korvex-controller-orvo8-ots-oper:ots-oper":{"ots-ports":{"ots-port":[)", entries, "]}}}");
}

std::string channel_document(const NodePorts &ports) {
    std::string entries;
    List list(entries);
    for (const ChannelPort &port : ports.channels) {
        const SimulatedChannel &channel = *port.channel;
        const bool up = channel.receives ? channel.reading.input > dark_reading : channel.reading.output > dark_reading;
        const char *state = channel.settings.shut ? "admin-down" : up ? "up" : "down";
        fmt::format_to(list.next(),
                       R"({{"name":"{}","optics-info":{{"controller-state":"{}"}},"optics-lanes":{{"optics-lane":)"
                       R"([{{"number":1,"receive-power":{},"transmit-power":{}}}]}}}})",
                       channel_controller(port.slot), state, channel.reading.input, channel.reading.output);
    }
    return list_document(R"({"Korvex-controller-optics-oper:optics-oper":{"optics-ports":{"optics-port":[)", entries,
                         "]}}}");
}

std::string history_document(const NodePorts &ports) {
    std::string entries;
    List list(entries);
    for (const ChannelPort &port : ports.channels)
        add_port_history(list, entries, channel_controller(port.slot), *port.history);
    for (const AmplifierPort &port : ports.amplifiers)
        add_port_history(list, entries, amplifier_controller(port.slot, port.amplifier->booster), *port.history);
    return list_document(R"({"Korvex-pmengine-oper:performance-management-history":{"global":{"periodic":)"
                         R"({"optics-history":{"optics-port-histories":{"optics-port-history":[)",
                         entries, "]}}}}}}");
}

NodeRecord controller_record(unsigned slot, bool booster, const AmplifierReading &reading, bool emitting) {
    constexpr unsigned ports_a_slot = 16;
    BagToken lane = group(BagType::structure, "",
                          {token(BagType::uint8, "LaneIndex", std::uint64_t{1}),
                           token(BagType::int32, "ReceivePower", std::int64_t{reading.input}),
                           token(BagType::int32, "TransmitPower", std::int64_t{reading.output})});
    BagToken info =
        group(BagType::structure, "Ots_edm_info",
              {token(BagType::uint32, "ControllerIndex", std::uint64_t{slot * ports_a_slot + (booster ? 1U : 0U)}),
               token(BagType::boolean, "LaserOn", emitting), group(BagType::sequence, "LaneData", {std::move(lane)})});
    return {controllers_bind_point, amplifier_controller(slot, booster, '_') + "/ots_info",
            record_of("ots_info", std::move(info))};
}

NodeRecord inventory_record(std::size_t node, unsigned slot, bool booster) {
    const std::string name = amplifier_name(slot, booster);
    BagToken info = group(
        BagType::structure, "inv_phy_entity_basic_info",
        {text_token("Description", booster ? "Erbium-doped booster module" : "Erbium-doped pre-amplifier module"),
         text_token("VendorType", booster ? "module-edfa-booster" : "module-edfa-pre"), text_token("Name", name),
         text_token("SerialNum", fmt::format("KVX{:05}{}{}", node + 1, slot, booster ? 1 : 0)),
         text_token("ManufacturerName", "Korvex"), text_token("ModelName", booster ? "ORVO8-EDFA-B" : "ORVO8-EDFA-P"),
         token(BagType::boolean, "IsFieldReplaceable", true),
         token(BagType::int32, "Position", booster ? std::int64_t{1} : 0)});
    // The database's names hold no slash inside a part.
    return {inventory_bind_point, "0%2f" + name.substr(2) + "/attrib/inv_basic_bag",
            record_of("inv_basic_bag", std::move(info))};
}

NodeRecord history_record(unsigned slot, bool booster, const PortHistory *own, const PortHistory *partner,
                          std::int64_t start) {
    enum : std::size_t { sent, received };
    std::vector<BagToken> statistics;
    bool is_valid = true; // only what was read in every second of the interval
    const auto add = [&](const char *name, const PortHistory *history, std::size_t quantity) {
        if (history == nullptr || history->closed.empty())
            return;
        const PortHistory::Interval &latest = history->closed.front();
        is_valid = is_valid && latest.is_whole();
        statistics.push_back(statistics_token(name, latest.quantities[quantity]));
    };
    add("OPT", own, sent);
    add("OPR", partner, received);
    std::vector<BagToken> tokens{token(BagType::uint64, "IntervalStart", static_cast<std::uint64_t>(start)),
                                 token(BagType::boolean, "Valid", is_valid)};
    tokens.insert(tokens.end(), std::make_move_iterator(statistics.begin()), std::make_move_iterator(statistics.end()));
    return {history_bind_point, amplifier_controller(slot, booster, '_') + "/30sec/optics/1/timeline_rev/0x1",
            record_of("pm_optics_bag", group(BagType::structure, "pm_optics_paras", std::move(tokens)))};
}

std::string first_configuration(const LineDescription &line, std::size_t node) {
    const auto tenths = [](double value) { return std::lround(value * 10); };
    Json interfaces = Json::array();
    const auto add_amplifier = [&](const SlotDescription &slot, bool booster) {
        const auto &amplifier = booster ? slot.booster : slot.pre_amplifier;
        if (!amplifier)
            return;
        const DirectionIndex direction = booster ? slot.sends : slot.receives;
        interfaces.push_back({{"active", "act"},
                              {"interface-name", amplifier_controller(slot.number, booster)},
                              {"description", fmt::format("{}, {}", line.directions[*direction].name,
                                                          booster ? "booster" : "pre-amplifier")},
                              {"Korvex-controller-optics-cfg:optics",
                               {{"optics-performance-monitoring", true},
                                {"optics-ots-amplifier-control-mode", "manual"},
                                {"optics-ots-amplifier-gain", tenths(amplifier->gain)},
                                {"optics-ots-amplifier-tilt", tenths(amplifier->tilt)},
                                {"optics-ots-osri", false}}}});
    };
    for (const SlotDescription &slot : line.nodes[node].slots) {
        add_amplifier(slot, false);
        add_amplifier(slot, true);
        if (slot.supervisory_power)
            interfaces.push_back(
                {{"active", "act"},
                 {"interface-name", channel_controller(slot.number)},
                 {"description", "supervisory channel"},
                 {"Korvex-controller-optics-cfg:optics",
                  {{"optics-transmit-power", tenths(*slot.supervisory_power)}, {"optics-fec", "none"}}}});
    }
    Json document = Json::object();
    if (!interfaces.empty())
        document["Korvex-ifmgr-cfg:interface-configurations"]["interface-configuration"] = std::move(interfaces);
    return document.dump();
}

} // namespace ocamp
