// The trees of the walks. Their entries take the names of the six amplifiers, or three channels, in turn.
#include "walks.h"

#include <utility>

namespace walks {

Walker *const ots_walker = ymap_xo_oc_opt_amp_korvexcontrollerorvo8otsoper_lvla_otsoper;
Walker *const history_walker = ymap_xo_oc_opt_amp_korvexpmengineoper_lvla_performancemanagementhistory;

// ---- Runs ----------------------------------------------------------------------------------------------------------

Run::Run(uint32_t kind, const Node &request)
    : Run(kind, request, ymap_ox_oc_opt_ampli_openconfigopticalamplifier_lvla_opticalamplifier, nullptr) {}

Run::Run(const Node &request, Walker *walker, const Node &answer) : Run(YFW_KIND_GET, request, walker, &answer) {}

Run::Run(uint32_t kind, const Node &request, Walker *walker, const Node *answer)
    : kind_(kind), walker_(walker), request_(request, &names_), duplicate_(container("", {request}), &names_),
      answer_(answer != nullptr ? *answer : Node(), &names_),
      walked_(answer != nullptr ? answer_.root() : request_.root()) {
    state_.request_kind = &kind_;
    state_.reg_dup_datatree = *duplicate_.root();
    state_.node_data = request_.root();
    state_.node_data_count = 1;
    state_.plist.node_flags = YFW_NODE_PRESENT;
    context_.req_ctx = &state_;
}

Run::~Run() {
    xos_named_free(state_.error_path);
}

cerrno Run::walk() {
    state_.select_flags = 0;
    return walker_(&context_, walked_, &out_);
}

// ---- Requests ------------------------------------------------------------------------------------------------------

namespace {

Node amplifiers(std::vector<Node> entries) {
    return container("optical-amplifier", {container("amplifiers", std::move(entries))});
}

Node amplifier(std::vector<Node> more) {
    std::vector<Node> children = {leaf("name", "0/1-AMP-PRE").key()};
    children.insert(children.end(), more.begin(), more.end());
    return container("amplifier", std::move(children));
}

Node configuration() {
    return container("config", {leaf("name", "0/1-AMP-PRE"), leaf("target-gain", "15.56"),
                                leaf("target-gain-tilt", "-1.25"), leaf("enabled", "true")});
}

std::unique_ptr<Run> read_state_of_one(size_t) {
    return std::make_unique<Run>(YFW_KIND_GET, amplifiers({amplifier({container("state")})}));
}
std::unique_ptr<Run> read_keyed(size_t) {
    return std::make_unique<Run>(YFW_KIND_GET, amplifiers({amplifier({})}));
}
std::unique_ptr<Run> read_keyless(size_t) {
    return std::make_unique<Run>(YFW_KIND_GET, read_of_all_amplifiers());
}
std::unique_ptr<Run> read_model(size_t) {
    return std::make_unique<Run>(YFW_KIND_GET, read_of_the_model());
}
std::unique_ptr<Run> edit(size_t) {
    return std::make_unique<Run>(YFW_KIND_EDIT, amplifiers({amplifier({configuration()})}));
}
std::unique_ptr<Run> replace(size_t) {
    return std::make_unique<Run>(YFW_KIND_EDIT, amplifiers({amplifier({configuration()}).op(YFW_OP_REPLACE)}));
}
std::unique_ptr<Run> delete_leaf(size_t) {
    Node config = container("config", {leaf("target-gain-tilt").op(YFW_OP_DELETE)});
    return std::make_unique<Run>(YFW_KIND_EDIT, amplifiers({amplifier({std::move(config)})}));
}

// ---- Answers -------------------------------------------------------------------------------------------------------

constexpr const char *amplifier_ports[] = {"Ots0/1/0/0", "Ots0/1/0/1", "Ots0/2/0/0",
                                           "Ots0/2/0/1", "Ots0/3/0/0", "Ots0/3/0/1"};
constexpr const char *channel_ports[] = {"Optics0/1/0/4", "Optics0/2/0/4", "Optics0/3/0/4"};

template <size_t Names, class MakeEntry>
std::vector<Node> entries_of(const char *const (&names)[Names], size_t count, MakeEntry make_entry) {
    std::vector<Node> entries;
    for (size_t i = 0; i < count; ++i)
        entries.push_back(make_entry(names[i % Names]));
    return entries;
}

Node interface(const char *name, std::vector<Node> more) {
    std::vector<Node> children = {leaf("active", "act").key(), leaf("interface-name", name).key()};
    children.insert(children.end(), more.begin(), more.end());
    return container("interface-configuration", std::move(children));
}

std::unique_ptr<Run> interface_answer(std::vector<Node> interfaces) {
    return std::make_unique<Run>(read_of_all_amplifiers(),
                                 ymap_xo_oc_opt_amp_korvexifmgrcfg_lvla_interfaceconfigurations,
                                 container("interface-configurations", std::move(interfaces)).in(ns::ifmgr_cfg));
}

std::unique_ptr<Run> answer_ifmgr_cfg(size_t entries) {
    return interface_answer(entries_of(amplifier_ports, entries, [](const char *name) { return interface(name, {}); }));
}

std::unique_ptr<Run> answer_optics_cfg(size_t entries) {
    return interface_answer(entries_of(amplifier_ports, entries, [](const char *name) {
        const Node optics =
            container("optics", {leaf("optics-ots-amplifier-gain", "175"), leaf("optics-ots-amplifier-tilt", "-5"),
                                 leaf("optics-ots-osri", "false")})
                .in(ns::optics_cfg);
        return interface(name, {optics});
    }));
}

std::unique_ptr<Run> answer_ots_oper(size_t entries) {
    const auto port = [](const char *name) {
        return ots_port(
            name, {leaf("ampli-tilt", "-48"), leaf("ampli-gain", "1750"),
                   leaf("ampli-gain-range-config-val", "amplifier-gain-range-normal"), leaf("osri-config-val", "false"),
                   container("lane-data", {leaf("receive-power", "-1543"), leaf("transmit-power", "203")})});
    };
    return std::make_unique<Run>(read_of_all_amplifiers(), ots_walker,
                                 ots_answer(entries_of(amplifier_ports, entries, port)));
}

std::unique_ptr<Run> answer_optics_oper(size_t entries) {
    const auto port = [](const char *name) {
        const Node lane = container(
            "optics-lane", {leaf("number", "1").key(), leaf("receive-power", "-1220"), leaf("transmit-power", "-315")});
        return container("optics-port", {leaf("name", name).key(), container("optics-lanes", {lane})});
    };
    const Node request = container("optical-amplifier", {container("supervisory-channels")});
    std::vector<Node> ports = entries_of(channel_ports, entries, port);
    return std::make_unique<Run>(
        request, ymap_xo_oc_opt_amp_korvexcontrolleropticsoper_lvla_opticsoper,
        container("optics-oper", {container("optics-ports", std::move(ports))}).in(ns::optics_oper));
}

std::unique_ptr<Run> answer_pmengine_oper(size_t entries) {
    const auto history = [](const char *name) {
        return port_history(name, {statistics_of("opt", " 1.86 ", " 1.94 ", "2.04"),
                                   statistics_of("opr", "-15.52", "-15.43", "-15.31 "),
                                   statistics_of("ampli-gain", "17.36", " 17.53", "17.71"),
                                   statistics_of("ampli-gain-tilt", " -0.55 ", "-0.48", "-0.41")});
    };
    return std::make_unique<Run>(read_of_all_amplifiers(), history_walker,
                                 history_answer(entries_of(amplifier_ports, entries, history)));
}

} // namespace

Node read_of_the_model() {
    return container("optical-amplifier");
}

Node read_of_all_amplifiers() {
    return amplifiers({});
}

Node ots_port(const std::string &name, std::vector<Node> readings) {
    return container("ots-port", {leaf("name", name).key(), container("ots-info", std::move(readings))});
}

Node ots_answer(std::vector<Node> ports) {
    return container("ots-oper", {container("ots-ports", std::move(ports))}).in(ns::ots_oper);
}

Node statistics_of(const std::string &quantity, const std::string &minimum, const std::string &average,
                   const std::string &maximum) {
    return container(quantity, {leaf("minimum", minimum), leaf("average", average), leaf("maximum", maximum)});
}

Node port_history(const std::string &name, std::vector<Node> statistics) {
    std::vector<Node> instance = {leaf("number", "1").key()};
    instance.insert(instance.end(), statistics.begin(), statistics.end());
    Node time_line = container("optics-second30-optics-time-line-instances",
                               {container("optics-second30-optics-time-line-instance", std::move(instance))});
    Node second30 = container("optics-second30-optics-history", {leaf("number", "1").key(), std::move(time_line)});
    Node histories = container("optics-second30-optics-histories", {std::move(second30)});
    return container("optics-port-history",
                     {leaf("name", name).key(), container("optics-second30-history", {std::move(histories)})});
}

Node history_answer(std::vector<Node> histories) {
    Node optics = container("optics-history", {container("optics-port-histories", std::move(histories))});
    Node global = container("global", {container("periodic", {std::move(optics)})});
    return container("performance-management-history", {std::move(global)}).in(ns::pmengine_oper);
}

const std::vector<Walk> &requests() {
    static const std::vector<Walk> all = {{"read_state_of_one", read_state_of_one},
                                          {"read_keyed", read_keyed},
                                          {"read_keyless", read_keyless},
                                          {"read_model", read_model},
                                          {"edit", edit},
                                          {"replace", replace},
                                          {"delete_leaf", delete_leaf}};
    return all;
}

const std::vector<Walk> &answers() {
    static const std::vector<Walk> all = {{"ifmgr_cfg", answer_ifmgr_cfg},
                                          {"optics_cfg", answer_optics_cfg},
                                          {"ots_oper", answer_ots_oper},
                                          {"optics_oper", answer_optics_oper},
                                          {"pmengine_oper", answer_pmengine_oper}};
    return all;
}

} // namespace walks
