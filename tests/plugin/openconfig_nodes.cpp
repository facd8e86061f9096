// See openconfig_nodes.h.
#include "openconfig_nodes.h"

#include <stdexcept>

#include "plugin_fixture.h"

namespace {

std::string without_hyphens(const std::string &tag) {
    std::string word;
    for (const char character : tag)
        if (character != '-')
            word += character;
    return word;
}

OcNode oc_leaf(const std::string &parent_word, const std::string &tag, const std::string &converter = {},
               bool own_logic = false) {
    return {OcKind::leaf, tag,       "opticalamplifier_" + parent_word + "_" + without_hyphens(tag),
            "lvla",       converter, own_logic};
}

// A container of instant, avg, min, max and three leaves that are never supported. `stem` is the converters' common
// part, with %s for the statistic; empty when nothing of the container is supported.
OcNode statistics(const std::string &tag, const std::string &instant = {}, const std::string &stem_front = {},
                  const std::string &stem_back = {}, const std::string &level = "lvla") {
    const std::string word = without_hyphens(tag);
    OcNode node{OcKind::container, tag, "opticalamplifier_state_" + word, level};
    const auto converter = [&](const char *statistic) {
        return stem_front.empty() ? std::string() : stem_front + statistic + stem_back;
    };
    node.children = {oc_leaf(word, "instant", instant),
                     oc_leaf(word, "avg", converter("avg")),
                     oc_leaf(word, "min", converter("min")),
                     oc_leaf(word, "max", converter("max")),
                     oc_leaf(word, "interval"),
                     oc_leaf(word, "min-time"),
                     oc_leaf(word, "max-time")};
    for (OcNode &child : node.children)
        child.level = level;
    return node;
}

OcNode make_model() {
    const OcNode config{
        OcKind::container,
        "config",
        "opticalamplifier_amplifier_config",
        "lvla",
        {},
        false,
        {oc_leaf("config", "name", "oc_opt_amp_cfg_get_amplifier_key_to_low"), oc_leaf("config", "type"),
         oc_leaf("config", "target-gain", "oc_opt_amp_cfg_target_gain_to_low"), oc_leaf("config", "min-gain"),
         oc_leaf("config", "max-gain"), oc_leaf("config", "target-gain-tilt", "oc_opt_amp_cfg_target_gain_tilt_to_low"),
         oc_leaf("config", "gain-range"), oc_leaf("config", "amp-mode"), oc_leaf("config", "target-output-power"),
         oc_leaf("config", "max-output-power"), oc_leaf("config", "enabled", "oc_opt_amp_cfg_enabled_to_low", true),
         oc_leaf("config", "fiber-type-profile")}};
    const OcNode state{OcKind::container,
                       "state",
                       "opticalamplifier_amplifier_state",
                       "lvla",
                       {},
                       false,
                       {oc_leaf("state", "name", "oc_opt_amp_state_get_amplifier_key_to_low"),
                        oc_leaf("state", "type", "oc_opt_amp_state_type_to_low"),
                        oc_leaf("state", "target-gain", "oc_opt_amp_state_target_gain_to_low"),
                        oc_leaf("state", "min-gain"),
                        oc_leaf("state", "max-gain"),
                        oc_leaf("state", "target-gain-tilt", "oc_opt_amp_state_target_gain_tilt_to_low"),
                        oc_leaf("state", "gain-range", "oc_opt_amp_state_gain_range_to_low", true),
                        oc_leaf("state", "amp-mode", "oc_opt_amp_state_amp_mode_to_low"),
                        oc_leaf("state", "target-output-power"),
                        oc_leaf("state", "max-output-power"),
                        oc_leaf("state", "enabled", "oc_opt_amp_state_enabled_to_low", true),
                        oc_leaf("state", "fiber-type-profile"),
                        oc_leaf("state", "ingress-port", "oc_opt_amp_ingress_port_to_low"),
                        oc_leaf("state", "egress-port", "oc_opt_amp_egress_port_to_low"),
                        statistics("actual-gain", "oc_opt_amp_state_instant_actual_gain_to_low", "oc_opt_amp_state_",
                                   "_ampli_gain_to_low"),
                        statistics("actual-gain-tilt", "oc_opt_amp_state_instant_actual_gain_tilt_to_low",
                                   "oc_opt_amp_state_", "_ampli_gain_tilt_to_low"),
                        statistics("input-power-total"),
                        statistics("input-power-c-band", "oc_opt_amp_state_instant_input_power_c_band_to_low",
                                   "oc_opt_amp_state_", "_input_power_c_band_to_low"),
                        statistics("input-power-l-band"),
                        statistics("output-power-total"),
                        statistics("output-power-c-band", "oc_opt_amp_state_instant_output_power_c_band_to_low",
                                   "oc_opt_amp_state_", "_output_power_c_band_to_low"),
                        statistics("output-power-l-band"),
                        statistics("laser-bias-current"),
                        statistics("optical-return-loss")}};
    const OcNode amplifier{OcKind::list,
                           "amplifier",
                           "opticalamplifier_amplifiers_amplifier",
                           "lvla",
                           "oc_opt_amp_cfg_amplifier_list_to_low",
                           false,
                           {oc_leaf("amplifier", "name", "oc_opt_amp_cfg_amplifier_key_to_low"), config, state}};
    const OcNode channel_state{OcKind::container,
                               "state",
                               "opticalamplifier_supervisorychannel_state",
                               "lvla",
                               {},
                               false,
                               {statistics("input-power", "oc_opt_super_ch_state_instant_input_power_to_low",
                                           "oc_opt_super_ch_state_", "_input_power_to_low"),
                                statistics("output-power", "oc_opt_super_ch_state_instant_output_power_to_low",
                                           "oc_opt_super_ch_state_", "_output_power_to_low"),
                                statistics("laser-bias-current", "", "", "", "lvlb")}};
    const OcNode channel{
        OcKind::list,
        "supervisory-channel",
        "opticalamplifier_supervisorychannels_supervisorychannel",
        "lvla",
        "oc_opt_amp_super_ch_list_to_low",
        false,
        {oc_leaf("supervisorychannel", "interface", "oc_opt_amp_cfg_super_ch_key_to_low"), channel_state}};
    const OcNode amplifiers{OcKind::container, "amplifiers", "opticalamplifier_amplifiers", "lvla", {}, false,
                            {amplifier}};
    const OcNode channels{
        OcKind::container, "supervisory-channels", "opticalamplifier_supervisorychannels", "lvla", {}, false,
        {channel}};
    return {OcKind::container, "optical-amplifier", "opticalamplifier", "lvla", {}, false, {amplifiers, channels}};
}

void collect(const OcNode &node, std::vector<const OcNode *> &nodes) {
    nodes.push_back(&node);
    for (const OcNode &child : node.children)
        collect(child, nodes);
}

const char *kind_word(OcKind kind) {
    switch (kind) {
    case OcKind::container:
        return "cont";
    case OcKind::list:
        return "list";
    case OcKind::leaf:
        break;
    }
    return "leaf";
}

} // namespace

std::string OcNode::walker() const {
    return oc_walker(word, level);
}
std::string OcNode::handler() const {
    return oc_handler(kind_word(kind), word, level);
}

const OcNode &oc_model() {
    static const OcNode model = make_model();
    return model;
}

std::vector<const OcNode *> oc_nodes() {
    std::vector<const OcNode *> nodes;
    collect(oc_model(), nodes);
    return nodes;
}

std::vector<const OcNode *> oc_nodes(OcKind kind) {
    std::vector<const OcNode *> nodes;
    for (const OcNode *node : oc_nodes())
        if (node->kind == kind)
            nodes.push_back(node);
    return nodes;
}

const OcNode &oc_node(const std::string &word, const std::string &level) {
    static const std::vector<const OcNode *> nodes = oc_nodes();
    for (const OcNode *node : nodes)
        if (node->word == word && node->level == level)
            return *node;
    throw std::invalid_argument("no such node: " + word);
}
