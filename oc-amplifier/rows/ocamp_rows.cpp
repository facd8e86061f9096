// Prints what the plug-in's rows say: the names that it exports, the mapping reference, the deviations. Includes the
// same lists as the plug-in and nothing else of it, so that neither text can say other than the code does.
#include "ymap_models.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace {

// ---- Exported names ------------------------------------------------------------------------------------------------

#define TEXT_OF(name) #name
#define OC(name) TEXT_OF(ymap_ox_oc_opt_ampli_openconfigopticalamplifier_##name)
#define OPTICS_CFG(name) TEXT_OF(ymap_xo_oc_opt_amp_korvexcontrolleropticscfg_##name)
#define IFMGR_CFG(name) TEXT_OF(ymap_xo_oc_opt_amp_korvexifmgrcfg_##name)
#define OTS_OPER(name) TEXT_OF(ymap_xo_oc_opt_amp_korvexcontrollerorvo8otsoper_##name)
#define OPTICS_OPER(name) TEXT_OF(ymap_xo_oc_opt_amp_korvexcontrolleropticsoper_##name)
#define PMENGINE_OPER(name) TEXT_OF(ymap_xo_oc_opt_amp_korvexpmengineoper_##name)

std::vector<std::string_view> exported_names() {
    std::vector<std::string_view> names = {
#define EXPORTED_NAME(name) #name,
#include "utility.def"

#define CONVERTER(name) #name,
#define TEXT_CONVERTER(name) #name,
#include "converters.def"
#define CONFIG_VALUE(converter, ...) #converter,
#define STATE_VALUE(converter, ...) #converter,
#define STATE_STATISTIC(converter, ...) #converter,
#define STATE_COPIED_STATISTIC(converter, ...) #converter,
#define STATE_CONSTANT(converter) #converter,
#include "value_requests.def"
#define OTS_VALUE(converter, ...) #converter,
#include "ots_values.def"
#define CHANNEL_POWER(converter, ...) #converter,
#include "channel_values.def"
#define HISTORY_OUTPUT_POWER(converter, ...) #converter,
#define HISTORY_INPUT_POWER(converter, ...) #converter,
#define HISTORY_AMPLIFIER(converter, ...) #converter,
#include "history_values.def"

#define OC_CONTAINER(parent, word, tag) OC(word), OC(word##_parse_augments), OC(cont_##word),
#define OC_LIST(parent, word, ...) OC(word), OC(word##_parse_augments), OC(list_##word),
#define OC_LEAF(parent, word, tag, converter) OC(word), OC(leaf_##word),
#include "openconfig_optical_amplifier.def"

#define XO_CONTAINER(parent, word, tag) OTS_OPER(word), OTS_OPER(word##_parse_augments), OTS_OPER(cont_##word),
#define XO_LIST(parent, word, ...) OTS_OPER(word), OTS_OPER(word##_parse_augments), OTS_OPER(list_##word),
#define XO_LEAF(parent, word, tag, converter) OTS_OPER(word), OTS_OPER(leaf_##word),
#include "korvex_controller_orvo8_ots_oper.def"

        OPTICS_CFG(duck_map_container),
        OPTICS_CFG(duck_map_list),
        OPTICS_CFG(duck_map_leaf),
        OPTICS_CFG(lvla_optics),
        OPTICS_CFG(augment_lvla_interface_configuration),
        OPTICS_CFG(lvla_interface_configuration_parse_augments),
#define XO_CONTAINER(parent, word, tag) OPTICS_CFG(word##_parse_augments), OPTICS_CFG(cont_##word),
#define XO_LIST(parent, word, ...) OPTICS_CFG(word##_parse_augments), OPTICS_CFG(list_##word),
#define XO_LEAF(parent, word, tag, converter) OPTICS_CFG(leaf_##word),
#define XO_UNVISITED_LEAF(word) OPTICS_CFG(leaf_##word),
#include "korvex_controller_optics_cfg.def"

        IFMGR_CFG(duck_map_container),
        IFMGR_CFG(duck_map_list),
        IFMGR_CFG(duck_map_leaf),
        IFMGR_CFG(lvla_globalinterfaceconfiguration),
        IFMGR_CFG(lvla_interfaceconfigurations),
        IFMGR_CFG(lvla_interfaceconfigurations_interfaceconfiguration),
#define XO_CONTAINER(parent, word, tag) IFMGR_CFG(word##_parse_augments), IFMGR_CFG(cont_##word),
#define XO_LIST(parent, word, ...) IFMGR_CFG(word##_parse_augments), IFMGR_CFG(list_##word),
#define XO_LEAF(parent, word, tag, converter) IFMGR_CFG(leaf_##word),
#define XO_UNVISITED_LEAF(word) IFMGR_CFG(leaf_##word),
#include "korvex_ifmgr_cfg.def"

        OPTICS_OPER(duck_map_container),
        OPTICS_OPER(duck_map_list),
        OPTICS_OPER(duck_map_leaf),
        OPTICS_OPER(lvla_opticsoper),
#define XO_CONTAINER(parent, word, tag) OPTICS_OPER(word##_parse_augments), OPTICS_OPER(cont_##word),
#define XO_LIST(parent, word, ...) OPTICS_OPER(word##_parse_augments), OPTICS_OPER(list_##word),
#define XO_LEAF(parent, word, tag, converter) OPTICS_OPER(leaf_##word),
#define XO_UNVISITED_CONTAINER(word) OPTICS_OPER(cont_##word),
#include "korvex_controller_optics_oper.def"

        PMENGINE_OPER(duck_map_container),
        PMENGINE_OPER(duck_map_list),
        PMENGINE_OPER(duck_map_leaf),
        PMENGINE_OPER(lvla_performancemanagementhistory),
#define XO_CONTAINER(parent, word, tag) PMENGINE_OPER(word##_parse_augments),
#define XO_LIST(parent, word, ...) PMENGINE_OPER(word##_parse_augments),
#define XO_LIST_OWN(parent, word, ...) PMENGINE_OPER(word##_parse_augments), PMENGINE_OPER(list_##word),
#define XO_LEAF(parent, word, tag, converter) PMENGINE_OPER(leaf_##word),
#include "korvex_pmengine_oper.def"
    };
    std::sort(names.begin(), names.end());
    return names;
}

// ---- Rows of the models --------------------------------------------------------------------------------------------

constexpr std::string_view unsupported = "unsupported"; // converter of leaves that are refused
constexpr std::string_view unknown = "unknown";         // leaves that no walker takes

struct NodeRow {
    std::string_view parent, word, tag;
    std::string_view converter; // empty for containers
};

const std::vector<NodeRow> openconfig_rows = {
#define OC_NODE(parent, word, tag) {#parent, #word, tag, ""},
#define OC_LEAF(parent, word, tag, converter) {#parent, #word, tag, #converter},
#define OC_UNKNOWN_LEAF(parent, path) {#parent, "", path, unknown},
#include "openconfig_optical_amplifier.def"
};

/// A native module's rows, and where its root hangs.
struct NativeModule {
    std::string_view name, base;
    std::vector<NodeRow> rows;
};

const std::vector<NativeModule> native_modules = {
    {"Korvex-controller-optics-cfg",
     INTERFACE_PATH,
     {
#define XO_NODE(parent, word, tag) {#parent, #word, tag, ""},
#define XO_LEAF(parent, word, tag, converter) {#parent, #word, tag, #converter},
#include "korvex_controller_optics_cfg.def"
     }},
    {"Korvex-ifmgr-cfg",
     "",
     {
#define XO_NODE(parent, word, tag) {#parent, #word, tag, ""},
#define XO_LEAF(parent, word, tag, converter) {#parent, #word, tag, #converter},
#include "korvex_ifmgr_cfg.def"
     }},
    {"Korvex-controller-orvo8-ots-oper",
     "",
     {
#define XO_NODE(parent, word, tag) {#parent, #word, tag, ""},
#define XO_LEAF(parent, word, tag, converter) {#parent, #word, tag, #converter},
#include "korvex_controller_orvo8_ots_oper.def"
     }},
    {"Korvex-controller-optics-oper",
     "",
     {
#define XO_NODE(parent, word, tag) {#parent, #word, tag, ""},
#define XO_LEAF(parent, word, tag, converter) {#parent, #word, tag, #converter},
#include "korvex_controller_optics_oper.def"
     }},
    {"Korvex-pmengine-oper",
     "",
     {
#define XO_NODE(parent, word, tag) {#parent, #word, tag, ""},
#define XO_LEAF(parent, word, tag, converter) {#parent, #word, tag, #converter},
#include "korvex_pmengine_oper.def"
     }},
};

std::string path_of(const std::vector<NodeRow> &rows, const NodeRow &row) {
    const auto parent = std::find_if(rows.begin(), rows.end(), [&](const NodeRow &r) { return r.word == row.parent; });
    std::string path = parent != rows.end() ? path_of(rows, *parent) : std::string();
    return path.append("/").append(row.tag);
}

// ---- What converters do --------------------------------------------------------------------------------------------

/// A native leaf that a converter towards native asks for.
struct Request {
    std::string_view converter;
    std::string_view path;
};

const std::vector<Request> requests = {
#define ASKS_FOR(converter, path) {#converter, path},
#include "converters.def"
#define CONFIG_VALUE(converter, word, announces, factor, path) {#converter, path},
#define STATE_VALUE(converter, word, what, factor, follow, ns, path, second_path, second_value)                        \
    {#converter, path}, {#converter, second_value == nullptr && second_path != nullptr ? second_path : ""},
#define STATE_STATISTIC(converter, leaf) {#converter, TIME_LINE_PATH leaf},
#define STATE_COPIED_STATISTIC(converter, leaf) {#converter, TIME_LINE_PATH leaf},
#include "value_requests.def"
#define OC_CONFIG_TEXT(parent, word, tag, converter, ns, native) {#converter, native},
#define OC_STATE_TEXT(parent, word, tag, converter, ns, native) {#converter, native},
#include "openconfig_optical_amplifier.def"
};

/// An OpenConfig leaf that a converter from native writes.
struct Answer {
    std::string_view converter;
    std::string_view path, unit;
};

const std::vector<Answer> answers = {
#define ANSWERS(converter, path, unit) {#converter, path, unit},
#include "converters.def"
#define OTS_VALUE(converter, word, shows_key, path, unit) {#converter, path, unit},
#include "ots_values.def"
#define CHANNEL_POWER(converter, shows_hierarchy, path) {#converter, path, "dBm, native hundredths"},
#include "channel_values.def"
#define HISTORY_OUTPUT_POWER(converter, statistic)                                                                     \
    {#converter, AMPLIFIER_PATH "/state/output-power-c-band/" statistic, "dBm, as it stands"},                         \
        {#converter, CHANNEL_PATH "/state/output-power/" statistic, "dBm, as it stands"},
#define HISTORY_INPUT_POWER(converter, statistic, getter)                                                              \
    {#converter, AMPLIFIER_PATH "/state/input-power-c-band/" statistic,                                                \
     "dBm, as it stands; from the system database: " #getter " of the partner controller"},                            \
        {#converter, CHANNEL_PATH "/state/input-power/" statistic, "dBm, as it stands"},
#define HISTORY_AMPLIFIER(converter, path) {#converter, path, "dB, as it stands"},
#include "history_values.def"
};

/// The native leaves behind an OpenConfig leaf, with the converters of both directions.
struct Mapping {
    std::vector<std::string> native_leaves, to_high, units;

    static void add(std::vector<std::string> &texts, std::string_view text) {
        if (!text.empty() && std::find(texts.begin(), texts.end(), text) == texts.end())
            texts.emplace_back(text);
    }
};

std::map<std::string, std::string> modules_by_native_leaf() {
    std::map<std::string, std::string> modules;
    for (const NativeModule &module : native_modules)
        for (const NodeRow &row : module.rows)
            modules[std::string(module.base) + path_of(module.rows, row)] = module.name;
    // Names of port histories are read from their entries; no row walks them as leaves.
    modules[PORT_HISTORY_PATH "/name"] = "Korvex-pmengine-oper";
    return modules;
}

Mapping mapping_of(const std::string &path, std::string_view to_low) {
    Mapping mapping;
    for (const Request &request : requests)
        if (request.converter == to_low)
            Mapping::add(mapping.native_leaves, request.path);
    for (const Answer &answer : answers) {
        if (answer.path != path)
            continue;
        Mapping::add(mapping.to_high, answer.converter);
        Mapping::add(mapping.units, answer.unit);
        for (const NativeModule &module : native_modules)
            for (const NodeRow &row : module.rows)
                if (row.converter == answer.converter)
                    Mapping::add(mapping.native_leaves, std::string(module.base) + path_of(module.rows, row));
    }
    return mapping;
}

/// An OpenConfig leaf, and whether the plug-in serves it.
struct Leaf {
    std::string path;
    std::string_view to_low; // empty: answered along with its entry, never asked for by itself
    bool served;
};

std::vector<Leaf> openconfig_leaves() {
    std::vector<Leaf> leaves;
    for (const NodeRow &row : openconfig_rows) {
        if (row.converter.empty())
            continue;
        Leaf leaf{path_of(openconfig_rows, row), row.converter, row.converter != unsupported};
        if (row.converter == unknown) {
            leaf.to_low = "";
            leaf.served = std::any_of(answers.begin(), answers.end(),
                                      [&](const Answer &answer) { return answer.path == leaf.path; });
        }
        leaves.push_back(leaf);
    }
    return leaves;
}

// ---- Output --------------------------------------------------------------------------------------------------------

void print_exports() {
    for (const std::string_view name : exported_names())
        std::printf("%.*s\n", static_cast<int>(name.size()), name.data());
}

/// Every leaf with "served" or "unsupported" in front, for the check of the deviations.
void print_leaves() {
    for (const Leaf &leaf : openconfig_leaves())
        std::printf("%s %s\n", leaf.served ? "served" : "unsupported", leaf.path.c_str());
}

std::string cell(const std::vector<std::string> &texts, bool as_code) {
    std::string joined;
    for (const std::string &text : texts) {
        joined += joined.empty() ? "" : "<br>";
        joined.append(as_code ? "`" : "").append(text).append(as_code ? "`" : "");
    }
    return joined;
}

std::string shortened(std::string path, std::string_view prefix, std::string_view name) {
    if (path.starts_with(prefix))
        path.replace(0, prefix.size(), name);
    return path;
}

void print_mapping() {
    std::puts(
        "# Mapping reference\n\n"
        "Made by `scripts/mapping.sh` from the rows of the plug-in; do not edit. One row for each OpenConfig leaf.\n"
        "S is a slot, P a port, K the kind (PRE or BST) of an amplifier. In native paths,\n");
    std::printf("- PM stands for `%s`\n- LANE stands for `%s`\n\n", TIME_LINE_PATH, OTS_LANE_PATH);
    std::puts("| OpenConfig leaf | direction | native leaf | module | to native | to OpenConfig | unit and scale |\n"
              "|---|---|---|---|---|---|---|");
    const auto modules = modules_by_native_leaf();
    for (const Leaf &leaf : openconfig_leaves()) {
        if (!leaf.served) {
            std::printf("| `%s` | unsupported | | | | | |\n", leaf.path.c_str());
            continue;
        }
        const Mapping mapping = mapping_of(leaf.path, leaf.to_low);
        std::vector<std::string> shown_leaves;
        std::vector<std::string> shown_modules;
        for (const std::string &native : mapping.native_leaves) {
            shown_leaves.push_back(shortened(shortened(native, TIME_LINE_PATH, "PM"), OTS_LANE_PATH, "LANE"));
            const auto module = modules.find(native);
            Mapping::add(shown_modules, module != modules.end() ? module->second : "");
        }
        const bool is_key = leaf.path == AMPLIFIER_PATH "/name";
        const bool is_edited = is_key || leaf.path.find("/config/") != std::string::npos;
        std::printf("| `%s` | %s | %s | %s | %s | %s | %s |\n", leaf.path.c_str(), is_edited ? "read, edit" : "read",
                    cell(shown_leaves, true).c_str(), cell(shown_modules, false).c_str(),
                    leaf.to_low.empty() ? "" : cell({std::string(leaf.to_low)}, true).c_str(),
                    cell(mapping.to_high, true).c_str(), cell(mapping.units, false).c_str());
    }
}

/// The schema path of a data path, with the module's prefix on every step.
std::string prefixed(const std::string &path) {
    std::string text;
    for (const char c : path)
        text += c == '/' ? std::string("/oc-opt-amp:") : std::string(1, c);
    return text;
}

void print_deviations() {
    std::puts(R"(module openconfig-optical-amplifier-deviations {
  yang-version 1.1;
  namespace "http://korvex.example/ns/yang/openconfig-optical-amplifier-deviations";
  prefix oc-opt-amp-dev;

  import openconfig-optical-amplifier {
    prefix oc-opt-amp;
  }

  organization "oc-amplifier";
  contact "The maintainers of oc-amplifier";
  description
    "The nodes of openconfig-optical-amplifier that the device does not serve. Made by scripts/mapping.sh from the
     rows of the plug-in; do not edit.";

  revision 2026-11-21 {
    description
      "First version.";
  }

  // The list key refers to a leaf that is not served: the key stands for itself.
  deviation "/oc-opt-amp:optical-amplifier/oc-opt-amp:supervisory-channels/oc-opt-amp:supervisory-channel"
          + "/oc-opt-amp:interface" {
    deviate replace {
      type string;
    }
  })");
    for (const Leaf &leaf : openconfig_leaves())
        if (!leaf.served)
            std::printf("\n  deviation \"%s\" {\n    deviate not-supported;\n  }\n", prefixed(leaf.path).c_str());
    std::puts("}");
}

} // namespace

int main(int argc, char **argv) {
    const std::string_view what = argc == 2 ? argv[1] : "";
    if (what == "exports")
        print_exports();
    else if (what == "leaves")
        print_leaves();
    else if (what == "mapping")
        print_mapping();
    else if (what == "deviations")
        print_deviations();
    else {
        std::fputs("usage: ocamp-rows exports|leaves|mapping|deviations\n", stderr);
        return 2;
    }
    return 0;
}
