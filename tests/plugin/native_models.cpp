// See native_models.h.
#include "native_models.h"

#include <algorithm>

#include "plugin_fixture.h"

namespace {

// The walkers of a configuration module and of an operational one, as most of them are. Without names.
const NativeModule configuration{.name = "",
                                 .prefix = "",
                                 .ns = nullptr,
                                 .port = "Ots0/1/0/0",
                                 .state_reads_only = false,
                                 .names_unknown_tags = false,
                                 .reports_empty_entries = true,
                                 .broken_entries_lack_keys = false,
                                 .leaf_handlers_trace = true};
const NativeModule operational{.name = "",
                               .prefix = "",
                               .ns = nullptr,
                               .port = "Ots0/1/0/0",
                               .state_reads_only = true,
                               .names_unknown_tags = true,
                               .reports_empty_entries = false,
                               .broken_entries_lack_keys = true,
                               .leaf_handlers_trace = false};

NativeModule like(NativeModule base, const std::string &name, const std::string &word, const char *ns) {
    base.name = name;
    base.prefix = "ymap_xo_oc_opt_amp_" + word + "_";
    base.ns = ns;
    return base;
}

const NativeModule optics_cfg = like(configuration, "OpticsCfg", "korvexcontrolleropticscfg", ns::optics_cfg);
const NativeModule ifmgr_cfg = like(configuration, "IfmgrCfg", "korvexifmgrcfg", ns::ifmgr_cfg);
const NativeModule ots_oper = like(operational, "OtsOper", "korvexcontrollerorvo8otsoper", ns::ots_oper);
const NativeModule optics_oper = [] {
    NativeModule module = like(operational, "OpticsOper", "korvexcontrolleropticsoper", ns::optics_oper);
    module.port = "Optics0/1/0/4";
    module.names_unknown_tags = false;
    return module;
}();
const NativeModule pmengine_oper = [] {
    NativeModule module = like(operational, "PmengineOper", "korvexpmengineoper", ns::pmengine_oper);
    module.leaf_handlers_trace = true;
    return module;
}();

// A node whose handler bears its own word.
NativeNode container_of(const NativeModule &module, const std::string &parent, const std::string &word,
                        const std::string &tag) {
    return {&module, parent, word, tag, module.prefix + "cont_lvla_" + word};
}
NativeNode list_of(const NativeModule &module, const std::string &parent, const std::string &word,
                   const std::string &tag, const std::string &list_path) {
    return {&module, parent, word, tag, module.prefix + "list_lvla_" + word, list_path};
}
NativeNode silent(NativeNode node) {
    node.augments_silently = true;
    return node;
}
// Nodes of the history share default handlers.
NativeNode history_container_of(const std::string &parent, const std::string &word, const std::string &tag) {
    return {&pmengine_oper, parent, word, tag, pmengine_oper.prefix + "duck_map_container"};
}
NativeNode history_list_of(const std::string &parent, const std::string &word, const std::string &tag,
                           const std::string &list_path) {
    return {&pmengine_oper, parent, word, tag, pmengine_oper.prefix + "duck_map_list", list_path};
}

const std::string optics = "/a1:interface-configurations/a1:interface-configuration/optics/";
const std::string entry = "interfaceconfigurations_interfaceconfiguration";
const std::string history = "performancemanagementhistory";
const std::string port_history = history + "_opticsporthistories_opticsporthistory";
const std::string second30 = history + "_opticssecond30opticshistories_opticssecond30opticshistory";
const std::string instances = history + "_opticssecond30opticshistory_opticssecond30opticstimelineinstances";
const std::string instance = history + "_opticssecond30opticstimelineinstances_opticssecond30opticstimelineinstance";
const std::string statistics = history + "_opticssecond30opticstimelineinstance_";

} // namespace

const std::vector<NativeNode> &native_nodes() {
    static const std::vector<NativeNode> nodes{
        container_of(optics_cfg, "", "optics", "optics"),
        container_of(optics_cfg, "optics", "optics_rxthresholds", "rx-thresholds"),
        list_of(optics_cfg, "optics_rxthresholds", "optics_rxthresholds_rxthreshold", "rx-threshold",
                optics + "rx-thresholds/rx-threshold"),
        container_of(optics_cfg, "optics", "optics_txthresholds", "tx-thresholds"),
        list_of(optics_cfg, "optics_txthresholds", "optics_txthresholds_txthreshold", "tx-threshold",
                optics + "tx-thresholds/tx-threshold"),
        container_of(optics_cfg, "optics", "optics_opticsnetworksrlgs", "optics-network-srlgs"),
        list_of(optics_cfg, "optics_opticsnetworksrlgs", "optics_opticsnetworksrlgs_opticsnetworksrlg",
                "optics-network-srlg", optics + "optics-network-srlgs/optics-network-srlg"),
        container_of(optics_cfg, "optics", "optics_opticslanes", "optics-lanes"),
        list_of(optics_cfg, "optics_opticslanes", "optics_opticslanes_opticslane", "optics-lane",
                optics + "optics-lanes/optics-lane"),
        container_of(optics_cfg, "optics", "optics_opticsdwdmcarrier", "optics-dwdm-carrier"),

        container_of(ifmgr_cfg, "", "globalinterfaceconfiguration", "global-interface-configuration"),
        container_of(ifmgr_cfg, "", "interfaceconfigurations", "interface-configurations"),
        list_of(ifmgr_cfg, "interfaceconfigurations", entry, "interface-configuration", interface_list),
        container_of(ifmgr_cfg, entry, entry + "_dampening", "dampening"),
        container_of(ifmgr_cfg, entry, entry + "_encapsulation", "encapsulation"),
        container_of(ifmgr_cfg, entry, entry + "_mtus", "mtus"),
        list_of(ifmgr_cfg, entry + "_mtus", "interfaceconfigurations_mtus_mtu", "mtu", interface_list + "/mtus/mtu"),

        silent(container_of(ots_oper, "", "otsoper", "ots-oper")),
        silent(container_of(ots_oper, "otsoper", "otsoper_otsports", "ots-ports")),
        silent(list_of(ots_oper, "otsoper_otsports", "otsoper_otsports_otsport", "ots-port", ots_list)),
        silent(container_of(ots_oper, "otsoper_otsports_otsport", "otsoper_otsport_otsinfo", "ots-info")),
        silent(list_of(ots_oper, "otsoper_otsport_otsinfo", "otsoper_otsinfo_lanedata", "lane-data",
                       ots_list + "/ots-info/lane-data")),

        silent(container_of(optics_oper, "", "opticsoper", "optics-oper")),
        silent(container_of(optics_oper, "opticsoper", "opticsoper_opticsports", "optics-ports")),
        silent(list_of(optics_oper, "opticsoper_opticsports", "opticsoper_opticsports_opticsport", "optics-port",
                       optics_list)),
        container_of(optics_oper, "opticsoper_opticsports_opticsport", "opticsoper_opticsport_opticslanes",
                     "optics-lanes"),
        list_of(optics_oper, "opticsoper_opticsport_opticslanes", "opticsoper_opticslanes_opticslane", "optics-lane",
                optics_lane),

        history_container_of("", history, "performance-management-history"),
        history_container_of(history, history + "_global", "global"),
        history_container_of(history + "_global", history + "_global_periodic", "periodic"),
        history_container_of(history + "_global_periodic", history + "_periodic_opticshistory", "optics-history"),
        history_container_of(history + "_periodic_opticshistory", history + "_opticshistory_opticsporthistories",
                             "optics-port-histories"),
        list_of(pmengine_oper, history + "_opticshistory_opticsporthistories", port_history, "optics-port-history",
                history_list),
        history_container_of(port_history, history + "_opticsporthistory_opticssecond30history",
                             "optics-second30-history"),
        history_container_of(history + "_opticsporthistory_opticssecond30history",
                             history + "_opticssecond30history_opticssecond30opticshistories",
                             "optics-second30-optics-histories"),
        history_list_of(history + "_opticssecond30history_opticssecond30opticshistories", second30,
                        "optics-second30-optics-history", second30_list),
        history_container_of(second30, instances, "optics-second30-optics-time-line-instances"),
        history_list_of(instances, instance, "optics-second30-optics-time-line-instance", time_line),
        history_container_of(instance, statistics + "opt", "opt"),
        history_container_of(instance, statistics + "opr", "opr"),
        history_container_of(instance, statistics + "ampligain", "ampli-gain"),
        history_container_of(instance, statistics + "ampligaintilt", "ampli-gain-tilt")};
    return nodes;
}

const std::vector<NativeLeaf> &native_leaves() {
    static const std::vector<NativeLeaf> leaves = [] {
        const std::string port = "otsoper_otsports_otsport";
        const std::string info = "otsoper_otsport_otsinfo";
        const std::string lane = "otsoper_otsinfo_lanedata";
        const std::string optics_lane_word = "opticsoper_opticslanes_opticslane";
        std::vector<NativeLeaf> all{{&optics_cfg, "optics", "optics_opticsotsosri", "optics-ots-osri", "false",
                                     "oc_opt_amp_cfg_enabled_to_high", oc_amplifier + "/config/enabled"},
                                    {&optics_cfg, "optics", "optics_opticsotsamplifiergain",
                                     "optics-ots-amplifier-gain", "175", "oc_opt_amp_cfg_target_gain_to_high"},
                                    {&optics_cfg, "optics", "optics_opticsotsamplifiertilt",
                                     "optics-ots-amplifier-tilt", "175", "oc_opt_amp_cfg_target_gain_tilt_to_high"},
                                    {&ifmgr_cfg, entry, entry + "_interfacename", "interface-name", "Ots0/1/0/0",
                                     "oc_opt_amp_cfg_interface_key_to_high"},
                                    {&ots_oper, port, "otsoper_otsport_name", "name", "Ots0/1/0/0",
                                     "oc_opt_amp_state_get_amplifier_key_to_high"},
                                    {&ots_oper, info, "otsoper_otsinfo_amplitilt", "ampli-tilt", "1750",
                                     "oc_opt_amp_state_instant_actual_gain_tilt_to_high"},
                                    {&ots_oper, info, "otsoper_otsinfo_ampligain", "ampli-gain", "1750",
                                     "oc_opt_amp_state_instant_actual_gain_to_high"},
                                    {&ots_oper, info, "otsoper_otsinfo_ampligainrangeconfigval",
                                     "ampli-gain-range-config-val", "amplifier-gain-range-ext-end-ed",
                                     "oc_opt_amp_state_gain_range_to_high", oc_amplifier + "/state/gain-range"},
                                    {&ots_oper, info, "otsoper_otsinfo_osriconfigval", "osri-config-val", "false",
                                     "oc_opt_amp_state_enabled_to_high", oc_amplifier + "/state/enabled"},
                                    {&ots_oper, lane, "otsoper_lanedata_receivepowerdbm", "receive-power-dbm", "1750",
                                     "oc_opt_amp_state_instant_input_power_c_band_dbm_to_high"},
                                    {&ots_oper, lane, "otsoper_lanedata_transmitpowerdbm", "transmit-power-dbm", "1750",
                                     "oc_opt_amp_state_instant_output_power_c_band_dbm_to_high"},
                                    {&ots_oper, lane, "otsoper_lanedata_receivepower", "receive-power", "1750",
                                     "oc_opt_amp_state_instant_input_power_c_band_to_high"},
                                    {&ots_oper, lane, "otsoper_lanedata_transmitpower", "transmit-power", "1750",
                                     "oc_opt_amp_state_instant_output_power_c_band_to_high"},
                                    {&optics_oper, "opticsoper_opticsports_opticsport", "opticsoper_opticsport_name",
                                     "name", "Optics0/1/0/4", "oc_opt_amp_state_super_ch_key_to_high"},
                                    {&optics_oper, optics_lane_word, "opticsoper_opticslane_receivepower",
                                     "receive-power", "1750", "oc_opt_super_ch_state_instant_input_power_to_high"},
                                    {&optics_oper, optics_lane_word, "opticsoper_opticslane_transmitpower",
                                     "transmit-power", "1750", "oc_opt_super_ch_state_instant_output_power_to_high"}};
        for (const auto &[word, quantity] :
             {std::pair{"opt", "output_power_c_band"}, std::pair{"opr", "input_power_c_band"},
              std::pair{"ampligain", "ampli_gain"}, std::pair{"ampligaintilt", "ampli_gain_tilt"}})
            for (const auto &[tag, statistic] :
                 {std::pair{"minimum", "min"}, std::pair{"average", "avg"}, std::pair{"maximum", "max"}})
                all.push_back({&pmengine_oper, statistics + word, history + "_" + word + "_" + tag, tag, " 17.5 ",
                               std::string("oc_opt_amp_state_") + statistic + "_" + quantity + "_to_high"});
        return all;
    }();
    return leaves;
}

std::vector<NativeNode> native_path_to(const NativeModule *module, const std::string &word) {
    std::vector<NativeNode> path;
    for (std::string next = word; !next.empty(); next = path.front().parent) {
        const auto found = std::ranges::find_if(
            native_nodes(), [&](const NativeNode &node) { return node.module == module && node.word == next; });
        path.insert(path.begin(), *found);
    }
    return path;
}
