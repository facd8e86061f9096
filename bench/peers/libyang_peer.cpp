// A translation with libyang: it goes through the native data tree and makes each OpenConfig leaf with lyd_new_path.
// Trees are not validated. Which leaf becomes which is looked up by schema node.
#include "peer.h"

#include <stdexcept>
#include <unordered_map>

#include <libyang/libyang.h>

namespace peers {

namespace {

struct FreeContext {
    void operator()(ly_ctx *context) const { ly_ctx_destroy(context); }
};
using Context = std::unique_ptr<ly_ctx, FreeContext>;

struct FreeTree {
    void operator()(lyd_node *tree) const { lyd_free_all(tree); }
};
using YangTree = std::unique_ptr<lyd_node, FreeTree>;

void check(LY_ERR error, const char *what) {
    if (error != LY_SUCCESS)
        throw std::runtime_error(std::string("libyang could not ") + what);
}

Context load(std::initializer_list<const char *> modules) {
    ly_ctx *context = nullptr;
    check(ly_ctx_new(YANG_FOLDER, LY_CTX_NO_YANGLIBRARY, &context), "make a context");
    Context owned(context);
    for (const char *module : modules)
        if (ly_ctx_load_module(context, module, nullptr, nullptr) == nullptr)
            throw std::runtime_error(std::string("libyang could not load ") + module);
    return owned;
}

enum class Conversion { hundredths, inverted, gain_range, strip };

struct Rule {
    std::string path; // below the amplifier's entry
    Conversion conversion;
};

constexpr const char *info_path = "/Korvex-controller-orvo8-ots-oper:ots-oper/ots-ports/ots-port/ots-info/";
constexpr const char *port_path = "/Korvex-controller-orvo8-ots-oper:ots-oper/ots-ports/ots-port";
constexpr const char *history_path =
    "/Korvex-pmengine-oper:performance-management-history/global/periodic/optics-history/optics-port-histories/"
    "optics-port-history";
constexpr const char *instance_path =
    "/optics-second30-history/optics-second30-optics-histories/optics-second30-optics-history/"
    "optics-second30-optics-time-line-instances/optics-second30-optics-time-line-instance/";

const std::pair<const char *, Rule> port_rules[] = {
    {"ampli-gain", {"state/actual-gain/instant", Conversion::hundredths}},
    {"ampli-tilt", {"state/actual-gain-tilt/instant", Conversion::hundredths}},
    {"ampli-gain-range-config-val", {"state/gain-range", Conversion::gain_range}},
    {"osri-config-val", {"state/enabled", Conversion::inverted}},
    {"lane-data/receive-power", {"state/input-power-c-band/instant", Conversion::hundredths}},
    {"lane-data/receive-power-dbm", {"state/input-power-c-band/instant", Conversion::hundredths}},
    {"lane-data/transmit-power", {"state/output-power-c-band/instant", Conversion::hundredths}},
    {"lane-data/transmit-power-dbm", {"state/output-power-c-band/instant", Conversion::hundredths}},
};

constexpr std::pair<const char *, const char *> quantities[] = {{"opt", "state/output-power-c-band/"},
                                                                {"ampli-gain", "state/actual-gain/"},
                                                                {"ampli-gain-tilt", "state/actual-gain-tilt/"}};
constexpr std::pair<const char *, const char *> statistics[] = {
    {"minimum", "min"}, {"average", "avg"}, {"maximum", "max"}};

std::string converted(const char *value, Conversion conversion) {
    switch (conversion) {
    case Conversion::hundredths:
        return whole_units(value);
    case Conversion::inverted:
        return std::string_view(value) == "true" ? "false" : "true";
    case Conversion::gain_range:
        return std::string_view(value) == "amplifier-gain-range-normal" ? "LOW_GAIN_RANGE" : "HIGH_GAIN_RANGE";
    case Conversion::strip:
        break;
    }
    return std::string(stripped(value));
}

class LibyangPeer : public Peer {
  public:
    explicit LibyangPeer(const std::vector<NativeNode> &nodes)
        : nodes_(nodes), native_(load({"Korvex-controller-orvo8-ots-oper", "Korvex-pmengine-oper"})),
          openconfig_(load({"openconfig-optical-amplifier"})), port_(schema(port_path)),
          history_(schema(history_path)) {
        for (const auto &[leaf, rule] : port_rules)
            rules_.emplace(schema(std::string(info_path) + leaf), rule);
        for (const auto &[quantity, path] : quantities) {
            for (const auto &[statistic, leaf] : statistics) {
                const std::string native = std::string(history_path) + instance_path + quantity + "/" + statistic;
                rules_.emplace(schema(native), Rule{std::string(path) + leaf, Conversion::strip});
            }
        }
        for (const NativeNode &node : nodes) {
            parsed_.push_back(parse(node));
            auto &records = records_.emplace_back();
            for (const Record &record : node.records)
                records.emplace(record.controller, &record);
        }
    }

    std::vector<Measure> measures() override {
        return {{"parsed", [this] { translate_all(); }, [this] { trees_.clear(); }},
                {"text", [this] { texts_ = answers(); }, [this] { texts_.clear(); }}};
    }
    std::vector<std::string> answers() override {
        std::vector<std::string> answers;
        for (size_t node = 0; node < nodes_.size(); ++node) {
            const YangTree native = parse(nodes_[node]);
            answers.push_back(print(translate(native.get(), records_[node])));
        }
        return answers;
    }

  private:
    using Records = std::unordered_map<std::string, const Record *>;

    const lysc_node *schema(const std::string &path) const {
        const lysc_node *node = lys_find_path(native_.get(), nullptr, path.c_str(), 0);
        if (node == nullptr)
            throw std::runtime_error("no such native node: " + path);
        return node;
    }

    YangTree parse(const NativeNode &node) const {
        lyd_node *tree = nullptr;
        check(lyd_parse_data_mem(native_.get(), node.xml.c_str(), LYD_XML, LYD_PARSE_ONLY | LYD_PARSE_STRICT, 0, &tree),
              "parse native data");
        return YangTree(tree);
    }

    static std::string print(const YangTree &tree) {
        char *text = nullptr;
        check(lyd_print_mem(&text, tree.get(), LYD_XML, LYD_PRINT_WITHSIBLINGS | LYD_PRINT_SHRINK), "print an answer");
        std::string printed = text;
        free(text);
        return printed;
    }

    void translate_all() {
        for (size_t node = 0; node < nodes_.size(); ++node)
            trees_.push_back(translate(parsed_[node].get(), records_[node]));
    }

    YangTree translate(const lyd_node *native, const Records &records) const {
        lyd_node *root = nullptr;
        check(lyd_new_path(nullptr, openconfig_.get(), "/openconfig-optical-amplifier:optical-amplifier/amplifiers",
                           nullptr, 0, &root),
              "make the root");
        YangTree answer(root);
        std::unordered_map<std::string, lyd_node *> entries;
        const lyd_node *sibling = nullptr;
        LY_LIST_FOR(native, sibling)
        visit(*sibling, lyd_child(root), nullptr, records, entries);
        return answer;
    }

    void visit(const lyd_node &node, lyd_node *amplifiers, lyd_node *entry, const Records &records,
               std::unordered_map<std::string, lyd_node *> &entries) const {
        if (node.schema->nodetype == LYS_LEAF) {
            if (const auto rule = rules_.find(node.schema); rule != rules_.end())
                add(entry, rule->second.path.c_str(), converted(lyd_get_value(&node), rule->second.conversion));
            return;
        }
        if (node.schema == port_ || node.schema == history_) {
            const AmplifierNames names(lyd_get_value(lyd_child(&node)));
            lyd_node *&known = entries[names.name];
            if (known == nullptr)
                check(lyd_new_path(amplifiers, nullptr, ("amplifier[name='" + names.name + "']").c_str(), nullptr, 0,
                                   &known),
                      "make an entry");
            entry = known;
            if (node.schema == port_)
                add_names(entry, names);
            else
                add_input_power(entry, *records.at(names.input_controller));
        }
        const lyd_node *child = nullptr;
        LY_LIST_FOR(lyd_child(&node), child)
        visit(*child, amplifiers, entry, records, entries);
    }

    static void add(lyd_node *entry, const char *path, const std::string &value) {
        check(lyd_new_path(entry, nullptr, path, value.c_str(), LYD_NEW_PATH_UPDATE, nullptr), "make a leaf");
    }
    static void add_names(lyd_node *entry, const AmplifierNames &names) {
        add(entry, "state/name", names.name);
        add(entry, "state/type", "EDFA");
        add(entry, "state/amp-mode", "CONSTANT_GAIN");
        add(entry, "state/ingress-port", names.ingress);
        add(entry, "state/egress-port", names.egress);
    }
    static void add_input_power(lyd_node *entry, const Record &record) {
        add(entry, "state/input-power-c-band/min", std::string(stripped(record.minimum)));
        add(entry, "state/input-power-c-band/avg", std::string(stripped(record.average)));
        add(entry, "state/input-power-c-band/max", std::string(stripped(record.maximum)));
    }

    const std::vector<NativeNode> &nodes_;
    Context native_, openconfig_;
    const lysc_node *port_, *history_;
    std::unordered_map<const lysc_node *, Rule> rules_;
    std::vector<YangTree> parsed_, trees_;
    std::vector<Records> records_;
    std::vector<std::string> texts_;
};

} // namespace

std::unique_ptr<Peer> make_peer(const std::vector<NativeNode> &nodes) {
    return std::make_unique<LibyangPeer>(nodes);
}

} // namespace peers
