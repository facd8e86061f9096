// Prints what the plug-in's rows say: the names that it exports, the mapping reference, the deviations. Includes the
// same lists as the plug-in and nothing else of it, so that neither text can say other than the code does.
#include "native_modules.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace ymap;

// ---- Exported names ------------------------------------------------------------------------------------------------

#define NAME_OF(kind, name, row) YMAP_TEXT(name),

std::vector<std::string_view> exported_names() {
    std::vector<std::string_view> names = {
// A name that nothing declares does not compile.
#define EXPORTED_NAME(name) (static_cast<void>(static_cast<decltype(&name)>(nullptr)), #name),
#include "utility.def"

#define EXPORT NAME_OF
#include "openconfig_exports.h"
#define NATIVE_EXPORT NAME_OF
#include "native_modules_exports.h"
    };
    std::sort(names.begin(), names.end());
    return names;
}

// ---- Rows of the OpenConfig model ----------------------------------------------------------------------------------

/// What a request says of the native side. Empty texts: nothing.
struct Request {
    std::string_view asks_for[3];
    std::string_view answered_by[2];
    std::string_view unit;
};

constexpr std::string_view text(const char *or_null) {
    return or_null != nullptr ? or_null : std::string_view();
}

constexpr Request said_by(const ConfigRequest &request) {
    return {{request.native.path}, {}, {}};
}
constexpr Request said_by(const StateRequest &request) {
    // A second leaf with a value of its own is a key of the first.
    return {{request.native.path, request.with_value == nullptr ? text(request.and_for.path) : ""}, {}, {}};
}
constexpr Request said_by(const StatisticRequest &request) {
    return {{request.native.path}, {}, {}};
}
constexpr Request said_by(const ConfigTextRequest &request) {
    return {{request.native.path}, {}, {}};
}
constexpr Request said_by(const StateTextRequest &request) {
    return {{request.native.path}, {}, {}};
}
constexpr Request said_by(const ComesWithEntry &request) {
    return {{}, {request.answered_by}, request.unit};
}
constexpr Request said_by(const KeyRequest &request) {
    return {{text(request.asks_for[0]), text(request.asks_for[1]), text(request.asks_for[2])},
            {text(request.answered_by[0]), text(request.answered_by[1])},
            request.unit};
}

enum class Service {
    none,    // not a leaf
    asked,   // by its walker
    unasked, // answered along with its entry
    refused
};

struct OpenConfigRow {
    std::string_view parent, word, tag;
    Service service = Service::none;
    std::string_view converter = {};
    Request request = {};
};

// NOLINTNEXTLINE(cert-err58-cpp): a step of the build, which ends where memory ends
const std::vector<OpenConfigRow> openconfig_rows = {
#define OC_EACH_ROOT(alias, word, tag) {"no_parent", #alias, tag},
#define OC_NODE(parent, word, tag) {#parent, #word, tag},
#define OC_EACH_LEAF(parent, word, tag, converter, ...)                                                                \
    {#parent, #word, tag, Service::asked, #converter, said_by(__VA_ARGS__)},
#define OC_EACH_UNSUPPORTED(parent, word, tag) {#parent, #word, tag, Service::refused},
#define OC_EACH_UNKNOWN(parent, path) {#parent, "", path, Service::refused},
#define OC_EACH_UNASKED(parent, path, ...) {#parent, "", path, Service::unasked, "", said_by(__VA_ARGS__)},
#include "openconfig_optical_amplifier.def"
};

// ---- Rows of the native models -------------------------------------------------------------------------------------

/// An OpenConfig leaf that a native leaf answers. NULL: none, or nothing to say.
struct Answer {
    const char *openconfig = nullptr;
    const char *unit = nullptr;
    const char *scale = nullptr;
    const char *getter = nullptr; // of the system database
};

struct Answers {
    Answer first = {};
    Answer second = {};
};

constexpr const char *name_of(NativeDecimals scale) {
    return scale == tenths ? "native tenths" : "native hundredths";
}

// When this program is built: the functions that answers point at are the plug-in's.
consteval Answers said_by(const ConfigAnswer &answer) {
    const char *scale = name_of(answer.scale);
    return {{answer.config, answer.unit, scale}, {answer.state, answer.unit, scale}};
}
consteval Answers said_by(const AmplifierAnswer &answer) {
    return {{answer.openconfig, answer.unit, name_of(answer.scale)}};
}
consteval Answers said_by(const ChannelAnswer &answer) {
    return {{answer.openconfig, answer.unit, name_of(answer.scale)}};
}
consteval Answers said_by(const StatisticAnswer &answer) {
    return {{answer.amplifier, answer.unit, "as it stands", answer.of_partner.name},
            {answer.channel, answer.unit, "as it stands"}};
}
consteval Answers said_by(const TextAnswer &answer) {
    return {{answer.openconfig, answer.unit}};
}
consteval Answers said_by(const AnswerByHand & /*answer*/) {
    return {};
}

struct NativeRow {
    std::string_view parent, word, tag;
    std::string_view converter = {};
    Answers answers = {};
};

struct Module {
    NativeModule properties;
    std::vector<NativeRow> rows;
};

#define MODULE_OF_ROWS(...) {__VA_ARGS__}, {
#define ROOT_OF_ROWS(alias, word, tag, augments, handlers) {"no_parent", #alias, tag},
#define NODE_OF_ROWS(parent, word, tag) {#parent, #word, tag},
#define LEAF_OF_ROWS(parent, word, tag, handlers, converter, ...)                                                      \
    {#parent, #word, tag, #converter, said_by(__VA_ARGS__)},

// clang-format off
// NOLINTNEXTLINE(cert-err58-cpp): likewise
const std::vector<Module> native_modules = {
#define NATIVE_ROWS "korvex_controller_optics_cfg.def"
#include "ocamp_rows_of_module.h"
#define NATIVE_ROWS "korvex_ifmgr_cfg.def"
#include "ocamp_rows_of_module.h"
#define NATIVE_ROWS "korvex_controller_orvo8_ots_oper.def"
#include "ocamp_rows_of_module.h"
#define NATIVE_ROWS "korvex_controller_optics_oper.def"
#include "ocamp_rows_of_module.h"
#define NATIVE_ROWS "korvex_pmengine_oper.def"
#include "ocamp_rows_of_module.h"
};
// clang-format on

template <class Row>
std::string path_of(const std::vector<Row> &rows, const Row &row) {
    const auto parent = std::find_if(rows.begin(), rows.end(), [&](const Row &r) { return r.word == row.parent; });
    std::string path = parent != rows.end() ? path_of(rows, *parent) : std::string();
    return path.append("/").append(row.tag);
}

/// A native leaf with its whole path.
struct NativeLeafRow {
    std::string path;
    std::string_view module;
    std::string_view converter;
    Answers answers;
};

/// In the order of their paths.
std::vector<NativeLeafRow> native_leaves() {
    std::vector<NativeLeafRow> leaves;
    for (const Module &module : native_modules)
        for (const NativeRow &row : module.rows)
            if (!row.converter.empty())
                leaves.push_back({module.properties.above + path_of(module.rows, row), module.properties.name,
                                  row.converter, row.answers});
    // Names of port histories are read from their entries; no row walks them as leaves.
    leaves.push_back({PORT_HISTORY_PATH "/name", "Korvex-pmengine-oper", "", {}});
    std::sort(leaves.begin(), leaves.end(), [](const auto &a, const auto &b) { return a.path < b.path; });
    return leaves;
}

// ---- The way of an OpenConfig leaf ---------------------------------------------------------------------------------

struct Leaf {
    std::string path;
    Service service;
    std::string_view to_low; // empty: answered along with its entry, never asked for by itself
    Request request;
};

std::vector<Leaf> openconfig_leaves() {
    std::vector<Leaf> leaves;
    for (const OpenConfigRow &row : openconfig_rows)
        if (row.service != Service::none)
            leaves.push_back({path_of(openconfig_rows, row), row.service, row.converter, row.request});
    return leaves;
}

/// Whether the native leaf's converter is one that answers the OpenConfig leaf by hand.
bool is_answered_by_hand(const Leaf &leaf, const NativeLeafRow &native) {
    const auto &by_hand = leaf.request.answered_by;
    return !native.converter.empty() &&
           std::find(std::begin(by_hand), std::end(by_hand), native.converter) != std::end(by_hand);
}

/// The native leaves behind an OpenConfig leaf, with the converters of the way back. Each text once.
struct Mapping {
    std::vector<std::string> native_leaves, to_high, units;

    static void add(std::vector<std::string> &texts, std::string_view text) {
        if (!text.empty() && std::find(texts.begin(), texts.end(), text) == texts.end())
            texts.emplace_back(text);
    }
};

std::string unit_of(const Answer &answer) {
    std::string unit = answer.unit;
    if (answer.scale != nullptr)
        unit.append(", ").append(answer.scale);
    if (answer.getter != nullptr)
        unit.append("; from the system database: ").append(answer.getter).append(" of the partner controller");
    return unit;
}

Mapping mapping_of(const Leaf &leaf, const std::vector<NativeLeafRow> &natives) {
    Mapping mapping;
    for (const std::string_view asked : leaf.request.asks_for)
        Mapping::add(mapping.native_leaves, asked);
    Mapping::add(mapping.units, leaf.request.unit);
    for (const NativeLeafRow &native : natives) {
        bool answers = is_answered_by_hand(leaf, native);
        for (const Answer &answer : {native.answers.first, native.answers.second}) {
            if (text(answer.openconfig) != leaf.path)
                continue;
            answers = true;
            Mapping::add(mapping.units, unit_of(answer));
        }
        if (answers) {
            Mapping::add(mapping.native_leaves, native.path);
            Mapping::add(mapping.to_high, native.converter);
        }
    }
    return mapping;
}

// ---- Output --------------------------------------------------------------------------------------------------------

void print_exports() {
    for (const std::string_view name : exported_names())
        std::printf("%.*s\n", static_cast<int>(name.size()), name.data());
}

/// Every leaf with "served" or "unsupported" in front, for the check of the deviations.
void print_leaves() {
    for (const Leaf &leaf : openconfig_leaves())
        std::printf("%s %s\n", leaf.service != Service::refused ? "served" : "unsupported", leaf.path.c_str());
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
    const auto natives = native_leaves();
    std::map<std::string, std::string_view> modules;
    for (const NativeLeafRow &native : natives)
        modules[native.path] = native.module;
    for (const Leaf &leaf : openconfig_leaves()) {
        if (leaf.service == Service::refused) {
            std::printf("| `%s` | unsupported | | | | | |\n", leaf.path.c_str());
            continue;
        }
        const Mapping mapping = mapping_of(leaf, natives);
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

void print_answer(const Leaf &leaf, const NativeLeafRow &native, std::string_view unit, std::string_view rule,
                  std::string_view getter) {
    std::printf("    {\"%s\", \"%s\", \"%.*s\", \"%.*s\", \"%.*s\", \"%.*s\", \"%.*s\"},\n", leaf.path.c_str(),
                native.path.c_str(), static_cast<int>(native.module.size()), native.module.data(),
                static_cast<int>(native.converter.size()), native.converter.data(), static_cast<int>(unit.size()),
                unit.data(), static_cast<int>(rule.size()), rule.data(), static_cast<int>(getter.size()),
                getter.data());
}

/// Who answers each OpenConfig leaf, as the elements of an array of ocamp::MappingRow.
void print_table() {
    for (const Leaf &leaf : openconfig_leaves()) {
        for (const NativeLeafRow &native : native_leaves()) {
            if (is_answered_by_hand(leaf, native))
                print_answer(leaf, native, "", leaf.request.unit, "");
            for (const Answer &answer : {native.answers.first, native.answers.second}) {
                if (text(answer.openconfig) != leaf.path)
                    continue;
                // Where there is no scale, the row's unit says what becomes of the text.
                const bool has_unit = answer.scale != nullptr;
                print_answer(leaf, native, has_unit ? answer.unit : "", has_unit ? answer.scale : text(answer.unit),
                             text(answer.getter));
            }
        }
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
        if (leaf.service == Service::refused)
            std::printf("\n  deviation \"%s\" {\n    deviate not-supported;\n  }\n", prefixed(leaf.path).c_str());
    std::puts("}");
}

void print_errors() {
    std::puts(R"(# Errors

Made by scripts/mapping.sh from platform/yang/error_tags.def; do not edit.

A refusal is one of the error-tags of [RFC 6241, appendix A](https://www.rfc-editor.org/rfc/rfc6241#appendix-A), and so in
NETCONF; gNMI answers with the status beside it.

| error-tag | gNMI status | code |
|---|---|---:|)");
#define OCAMP_ERROR_TAG(tag, word, status, number) std::printf("| `%s` | `%s` | %d |\n", word, #status, number);
#include "yang/error_tags.def"
    std::puts(R"(
What the plug-in or the platform under it refuses by a code, and the error-tag that it becomes; every other code is
`operation-failed`. The code itself stands in the message.

| code | error-tag | when |
|---|---|---|)");
#define OCAMP_ERROR_TAG(tag, word, status, number) [[maybe_unused]] constexpr const char *tag = word;
#define OCAMP_ERROR_CODE(code, tag, meaning) std::printf("| `%s` | `%s` | %s |\n", #code, tag, meaning);
#include "yang/error_tags.def"
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
    else if (what == "table")
        print_table();
    else if (what == "errors")
        print_errors();
    else {
        static_cast<void>(std::fputs("usage: ocamp-rows exports|leaves|mapping|deviations|table|errors\n", stderr));
        return 2;
    }
    return 0;
}
