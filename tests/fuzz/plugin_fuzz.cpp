// Hands the plug-in's entry points trees that no well-behaved platform would make. What the plug-in says does not
// matter; that it touches nothing but what it was given does, and that it leaves the request's state balanced.
#include "fuzzed_input.h"
#include "null_platform.h"
#include "tree.h"
#include "walkers.h"
#include "ymap_models.h"

#include <cstdlib>
#include <string>

namespace {

struct Root {
    Walker *walk;
    const char *tag;
};

constexpr Root roots[] = {
    {ymap_ox_oc_opt_ampli_openconfigopticalamplifier_lvla_opticalamplifier, "optical-amplifier"},
    {ymap_ox_oc_opt_ampli_openconfigopticalamplifier_lvla_opticalamplifier_amplifiers_amplifier, "amplifier"},
    {ymap_ox_oc_opt_ampli_openconfigopticalamplifier_lvla_opticalamplifier_amplifier_config, "config"},
    {ymap_xo_oc_opt_amp_korvexcontrolleropticscfg_augment_lvla_interface_configuration, "optics"},
    {ymap_xo_oc_opt_amp_korvexifmgrcfg_lvla_interfaceconfigurations, "interface-configurations"},
    {ymap_xo_oc_opt_amp_korvexcontrollerorvo8otsoper_lvla_otsoper, "ots-oper"},
    {ymap_xo_oc_opt_amp_korvexcontrolleropticsoper_lvla_opticsoper, "optics-oper"},
    {ymap_xo_oc_opt_amp_korvexpmengineoper_lvla_performancemanagementhistory, "performance-management-history"},
    {ymap_xo_oc_opt_amp_korvexifmgrcfg_lvla_globalinterfaceconfiguration, "global-interface-configuration"},
};

constexpr const char *tags[] = {
#define OC_NODE(parent, word, tag) tag,
#include "openconfig_optical_amplifier.def"
#define XO_NODE(parent, word, tag) tag,
#include "korvex_controller_optics_cfg.def"
#define XO_NODE(parent, word, tag) tag,
#include "korvex_ifmgr_cfg.def"
#define XO_NODE(parent, word, tag) tag,
#include "korvex_controller_orvo8_ots_oper.def"
#define XO_NODE(parent, word, tag) tag,
#include "korvex_controller_optics_oper.def"
#define XO_NODE(parent, word, tag) tag,
#include "korvex_pmengine_oper.def"
};

constexpr const char *namespaces[] = {OPENCONFIG_NS,  OPTICS_CFG_NS,    IFMGR_CFG_NS,          OTS_OPER_NS,
                                      OPTICS_OPER_NS, PMENGINE_OPER_NS, "http://other.example"};

constexpr const char *values[] = {
    "0/1-AMP-PRE", "0/2-AMP-BST", "Ots0/1/0/0", "Optics0/1/0/4", "true", "-12.34",
    "1e308",       "nan",         "",           " -3.20 ",       "abc",  "9999999999999999"};

// Makes trees out of one input.
class Garden {
  public:
    explicit Garden(FuzzedInput &input) : input_(input) {}

    Node grow(const std::string &tag, int depth) {
        Node node = container(tag);
        node.space.reset();
        if (!input_.chance(16))
            node.space = namespaces[input_.below(std::size(namespaces))];
        node.operation = static_cast<uint32_t>(input_.below(6));
        node.flags = static_cast<uint8_t>(input_.byte() & ~YFW_NODE_HAS_CHILDREN);
        node.flags2 = input_.byte();
        node.type = static_cast<uint32_t>(input_.below(7));
        if (!input_.chance(96))
            node.text = input_.chance(64) ? input_.text() : values[input_.below(std::size(values))];
        const size_t children = depth < 14 && !input_.at_end() ? input_.below(5) : 0;
        for (size_t i = 0; i < children; ++i)
            node.children.push_back(grow_any(depth + 1));
        if (children == 0 && input_.chance(16))
            node.announced_children = input_.byte(); // announced and not there
        return node;
    }

  private:
    Node grow_any(int depth) {
        const bool has_tag = !input_.chance(8);
        Node node = grow(input_.chance(16) ? input_.text() : tags[input_.below(std::size(tags))], depth);
        if (!has_tag)
            node.tag.reset();
        return node;
    }

    FuzzedInput &input_;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    FuzzedInput input(data, size);
    Garden garden(input);
    const Root &root = roots[input.below(std::size(roots))];

    uint32_t kind = static_cast<uint32_t>(input.below(16));
    Tree asked_tree(garden.grow("optical-amplifier", 8));
    Tree entry_tree(garden.grow("optics-port", 10));
    yfw_datatree &asked = *asked_tree.root();
    const yfw_datatree &entry = *entry_tree.root();
    yfw_map_request request = {};
    request.request_kind = input.chance(8) ? nullptr : &kind;
    request.walk_all = static_cast<uint32_t>(input.below(2));
    request.in_subtree = static_cast<uint32_t>(input.below(3));
    request.select_flags = input.byte();
    request.walk_flags = input.byte();
    request.reg_dup_datatree.tag = "";
    request.reg_dup_datatree.node_flags = YFW_NODE_PRESENT | YFW_NODE_HAS_CHILDREN;
    request.reg_dup_datatree.children = &asked;
    request.reg_dup_datatree.child_count = 1;
    request.node_data = input.chance(8) ? nullptr : &asked;
    request.node_data_count = 1;
    request.plist = entry;
    request.native_list = &entry;
    request.native_path = input.chance(128) ? nullptr : &entry;
    request.native_path_depth = static_cast<uint32_t>(input.below(4));
    const yfw_datatree *const hierarchy[] = {&asked, &asked, &entry};
    request.hierarchy = hierarchy;
    request.hierarchy_len = static_cast<uint8_t>(input.below(4));
    yfw_map_ctx_s context = {};
    context.req_ctx = input.chance(8) ? nullptr : &request;
    constexpr null_platform::Messages messages[] = {null_platform::Messages::none, null_platform::Messages::none,
                                                    null_platform::Messages::debug_log,
                                                    null_platform::Messages::lightweight_trace};
    null_platform::take_messages(context, messages[input.below(std::size(messages))]);
    // What is noted is formatted and copied, so that a bad text shows.
    null_platform::CallRecord calls(&context);
    null_platform::note_calls(input.chance(32) ? &calls : nullptr);

    const uint32_t walk_all = request.walk_all;
    const uint32_t in_subtree = request.in_subtree;
    Tree tree(garden.grow(root.tag, 0));
    const uint32_t operation = tree.root()->operation;
    yfw_datatree out = {};
    root.walk(&context, tree.root(), &out);
    if (request.walk_all != walk_all || request.in_subtree != in_subtree || tree.root()->operation != operation)
        abort();
    xos_named_free(request.error_path);
    return 0;
}
