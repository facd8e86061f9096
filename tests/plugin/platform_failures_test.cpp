// Every call of the platform that can fail fails in turn, in whole requests and whole answers, and every call that can
// hand out nothing does so. Whatever comes of it: no crash, nothing kept, the code that the rules pass up, hierarchy
// and output list balanced, the walk's state as it was found.
#include "plugin_fixture.h"

#include <cstdio>

namespace {

// ---- What fails, and what the rules make of it --------------------------------------------------------------------

// Whose result is that of the walk, unless the walk takes no results of what is below.
const std::set<std::string> passed_up{"yfw_map_add_to_node_hierarchy", "yfw_map_remove_from_node_hierarchy",
                                      "yfw_map_update_current_list_node", "yfw_map_check_oc_leafref"};
// Whose result never is: what the database does not give is absent, and the rest is on the way out or for people to
// read.
const std::set<std::string> dropped{"_sysdb_bind",
                                    "_sysdb_unbind",
                                    "sysdb_item_get",
                                    "sysdb_list",
                                    "sysdb_list_next",
                                    "sysdb_list_free",
                                    "bag_header_info",
                                    "bag_generic_init",
                                    "bag_generic_token",
                                    "yfw_strcpy_s",
                                    "yfw_strcat_s",
                                    "yfw_strncpy_s",
                                    "yfw_add_to_output_list_ctx",
                                    "yfw_remove_from_output_list_ctx",
                                    "yfw_map_util_itree_stack_push",
                                    "yfw_map_util_itree_stack_pop"};
// Whose result is that of the walk where it is the last of its converter that counts.
const std::set<std::string> written{"yfw_map_datatree_add_path_flagged", "yfw_map_search_or_add_list",
                                    "yfw_map_get_node_info"};
// What hands something out, but for the texts that are never NULL.
const std::set<std::string> giving{"yfw_strdup",
                                   "yfw_map_get_node_info",
                                   "_sysdb_bind",
                                   "sysdb_item_get",
                                   "sysdb_list",
                                   "sysdb_list_next",
                                   "bag_header_info",
                                   "bag_generic_token",
                                   "yfw_map_util_itree_stack_peak"};

// ---- The requests and answers ------------------------------------------------------------------------------------

struct Case {
    std::string name;
    std::string walker;
    uint32_t kind;
    Node request; // of the client
    Node walked;
    const char *port;         // the key of the entry that a native walk stands in
    std::string skipped = {}; // the list whose last entry is skipped by its key leaf
};

constexpr const char *openconfig_root = "opticalamplifier";

Case request(const std::string &name, uint32_t kind, const Node &tree) {
    return {name, oc_walker(openconfig_root), kind, tree, tree, nullptr};
}

Node model(std::vector<Node> amplifiers, std::vector<Node> channels) {
    return container("optical-amplifier", {container("amplifiers", std::move(amplifiers)),
                                           container("supervisory-channels", std::move(channels))});
}

Node amplifier(std::vector<Node> more) {
    std::vector<Node> children{leaf("name", "0/1-AMP-PRE").key()};
    children.insert(children.end(), more.begin(), more.end());
    return container("amplifier", std::move(children));
}

Node channel(std::vector<Node> more) {
    std::vector<Node> children{leaf("interface", "Optics0/1/0/4").key()};
    children.insert(children.end(), more.begin(), more.end());
    return container("supervisory-channel", std::move(children));
}

Node statistics(const std::string &tag) {
    return container(tag, {leaf("instant"), leaf("avg"), leaf("min"), leaf("max")});
}

Node configuration() {
    return container("config", {leaf("name", "0/1-AMP-PRE"), leaf("target-gain", "15.5"),
                                leaf("target-gain-tilt", "-1.2"), leaf("enabled", "true")});
}

Node keyed_read() {
    const Node state =
        container("state", {leaf("name"), leaf("target-gain"), leaf("gain-range", "LOW_GAIN_RANGE"), leaf("enabled"),
                            statistics("actual-gain"), statistics("input-power-c-band")});
    return model({amplifier({configuration(), state})},
                 {channel({container("state", {statistics("input-power"), statistics("output-power")})})});
}

Case answer(const std::string &name, const std::string &walker, const Node &request, Node tree, const char *space,
            const char *port, const std::string &skipped = {}) {
    return {name, "ymap_xo_oc_opt_amp_" + walker, YFW_KIND_GET, request, std::move(tree).in(space), port, skipped};
}

Node interface(const char *name, std::vector<Node> optics) {
    return container("interface-configuration", {leaf("active", "act").key(), leaf("interface-name", name).key(),
                                                 container("optics", std::move(optics)).in(ns::optics_cfg)});
}

Node native_statistics(const std::string &tag) {
    return container(tag, {leaf("minimum", "1"), leaf("average", " 2 "), leaf("maximum", "3")});
}

Node history() {
    const Node instance = container("optics-second30-optics-time-line-instance",
                                    {leaf("number", "1").key(), native_statistics("opt"), native_statistics("opr"),
                                     native_statistics("ampli-gain"), native_statistics("ampli-gain-tilt")});
    const Node seconds =
        container("optics-second30-history",
                  {container("optics-second30-optics-histories",
                             {container("optics-second30-optics-history",
                                        {leaf("number", "1").key(),
                                         container("optics-second30-optics-time-line-instances", {instance})})})});
    return container(
        "performance-management-history",
        {container("global",
                   {container("periodic",
                              {container("optics-history",
                                         {container("optics-port-histories",
                                                    {container("optics-port-history",
                                                               {leaf("name", "Ots0/1/0/0").key(), seconds})})})})})});
}

std::vector<Case> cases() {
    const Node whole = container("optical-amplifier");
    const Node lists = model({}, {});
    const Node ots_info = container(
        "ots-info", {leaf("ampli-gain", "1750"), leaf("ampli-tilt", "-48"), leaf("osri-config-val", "false"),
                     leaf("ampli-gain-range-config-val", "amplifier-gain-range-normal"),
                     container("lane-data", {leaf("receive-power", "-1543"), leaf("transmit-power", "203")})});
    const Node lane = container(
        "optics-lane", {leaf("number", "1").key(), leaf("receive-power", "-1220"), leaf("transmit-power", "-315")});
    return {
        request("KeyedReadOfConfiguration", YFW_KIND_GET_CONFIG, keyed_read()),
        request("KeyedRead", YFW_KIND_GET, keyed_read()),
        request("ReadOfKeysAlone", YFW_KIND_GET, model({amplifier({})}, {channel({})})),
        request("KeylessReadOfConfiguration", YFW_KIND_GET_CONFIG, lists),
        request("KeylessRead", YFW_KIND_GET, lists),
        request("ReadOfTheModel", YFW_KIND_GET, whole),
        request("Merge", YFW_KIND_EDIT, model({amplifier({configuration()})}, {})),
        request("Create", YFW_KIND_EDIT, model({amplifier({configuration()}).op(YFW_OP_CREATE)}, {})),
        request("ReplaceOfAnEntry", YFW_KIND_EDIT, model({amplifier({configuration()}).op(YFW_OP_REPLACE)}, {})),
        request("ReplaceOfConfiguration", YFW_KIND_EDIT, model({amplifier({configuration().op(YFW_OP_REPLACE)})}, {})),
        request("DeleteOfALeaf", YFW_KIND_EDIT,
                model({amplifier({container("config", {leaf("target-gain").op(YFW_OP_DELETE)})})}, {})),
        request("DeleteOfAnEntry", YFW_KIND_EDIT, model({amplifier({}).op(YFW_OP_DELETE)}, {})),
        request("RemoveOfAnEntry", YFW_KIND_EDIT, model({amplifier({}).op(YFW_OP_REMOVE)}, {})),
        request("EditOfState", YFW_KIND_EDIT, model({amplifier({container("state", {leaf("min-gain", "1")})})}, {})),
        answer("Interfaces", "korvexifmgrcfg_lvla_interfaceconfigurations", whole,
               container("interface-configurations", {interface("Ots0/1/0/0", {leaf("optics-ots-amplifier-gain", "175"),
                                                                               leaf("optics-ots-amplifier-tilt", "-5"),
                                                                               leaf("optics-ots-osri", "false")}),
                                                      interface("Optics0/1/0/4", {})}),
               ns::ifmgr_cfg, "Ots0/1/0/0", "interface-configuration"),
        answer("GlobalInterface", "korvexifmgrcfg_lvla_globalinterfaceconfiguration", whole,
               container("global-interface-configuration"), ns::ifmgr_cfg, nullptr),
        answer(
            "Ots", "korvexcontrollerorvo8otsoper_lvla_otsoper", whole,
            container("ots-oper",
                      {container("ots-ports", {container("ots-port", {leaf("name", "Ots0/1/0/0").key(), ots_info})})}),
            ns::ots_oper, "Ots0/1/0/0"),
        answer("Optics", "korvexcontrolleropticsoper_lvla_opticsoper", whole,
               container("optics-oper",
                         {container("optics-ports", {container("optics-port", {leaf("name", "Optics0/1/0/4").key(),
                                                                               container("optics-lanes", {lane})})})}),
               ns::optics_oper, "Optics0/1/0/4"),
        answer("History", "korvexpmengineoper_lvla_performancemanagementhistory", whole, history(), ns::pmengine_oper,
               "Ots0/1/0/0"),
    };
}

// ---- The fixture -------------------------------------------------------------------------------------------------

class PlatformFailures : public PluginTest, public testing::WithParamInterface<Case> {
  protected:
    static constexpr cerrno refusal = 0x77;
    static constexpr std::string_view pop = "yfw_map_remove_from_node_hierarchy";

    struct Call {
        std::string function;
        std::string line;
        bool result_taken; // not below a whole walk, which takes no results
    };

    void prepare() {
        platform.reset();
        platform.know(ctx, &out);
        platform.debug_log_takes(0, false);
        platform.debug_log_takes(3, false);
        platform.node_key = GetParam().port;
        platform.listing = {"Ots0_1_0_1/", "Ots0_1_0_0/"};
        all_amplifiers_exist();
        output_power_was("Ots0_1_0_1", {{"Average", "-8"}, {"Minimum", "-9"}, {"Maximum", "-7"}});
        kind(GetParam().kind);
        client_request(GetParam().request);
        if (GetParam().port != nullptr) {
            native_list(container("optics-port-history", {leaf("name", GetParam().port).key()}));
            hierarchy({container("optics-oper"), container("optics-ports"),
                       container("optics-port", {leaf("name", GetParam().port).key()})});
        }
        request.error_path = nullptr;
        request.select_flags = 0;
        request.walk_flags = state_before.walk_flags;
        request.in_subtree = state_before.in_subtree;
        request.walk_all = 0;
        request.replace_in_progress = state_before.replace_in_progress;
        request.output_list_count = 0;
    }

    cerrno walk() { return call(GetParam().walker, tree(GetParam().walked)); }

    // The calls of a walk that nothing disturbs, all of them.
    std::vector<Call> undisturbed() {
        prepare();
        std::vector<Call> calls;
        platform.watch = [&](const std::string &function, const std::string &line) {
            calls.push_back({function, line, request.walk_all != 1});
        };
        usual_result_ = walk();
        return calls;
    }

    // Of each write, in their order, whether its converter ends before the next one: only then its result counts.
    std::vector<bool> last_writes() {
        prepare();
        platform.debug_log_takes(3, true);
        std::vector<bool> last;
        platform.watch = [&](const std::string &function, const std::string &line) {
            if (written.contains(function))
                last.push_back(false);
            else if (!last.empty() && line == trc("End"))
                last.back() = true;
        };
        walk();
        return last;
    }

    // What holds after every walk, whatever failed in it.
    void expect_balance(const std::string &which) {
        EXPECT_EQ(platform.hierarchy_depth(), 0) << which;
        EXPECT_EQ(request.output_list_count, 0U) << which;
        EXPECT_TRUE(platform.list_instances.empty()) << which;
        EXPECT_EQ(platform.open_bindings(), 0) << which;
        EXPECT_EQ(platform.open_listings(), 0) << which;
        EXPECT_EQ(platform.open_walks(), 0) << which;
        EXPECT_EQ(platform.live_token_texts(), 0U) << which;
        EXPECT_EQ(platform.live_copies(), request.error_path == nullptr ? 0U : 1U) << which;
        EXPECT_EQ(request.walk_flags, state_before.walk_flags) << which;
        EXPECT_EQ(request.in_subtree, state_before.in_subtree) << which;
        EXPECT_EQ(request.walk_all, 0U) << which;
        EXPECT_EQ(request.replace_in_progress, state_before.replace_in_progress) << which;
    }

    // The number of that call; 0 when no entry is skipped.
    static size_t pop_of_skipped_entry(const std::vector<Call> &calls) {
        if (GetParam().skipped.empty())
            return 0;
        const auto last = std::find_if(calls.rbegin(), calls.rend(), [](const Call &call) {
            return call.function == pop && call.line.ends_with("<" + GetParam().skipped + ">");
        });
        return static_cast<size_t>(calls.rend() - last);
    }

    static std::string describe(size_t nth, const Call &call) {
        return "call " + std::to_string(nth) + ": " + call.line;
    }

    struct {
        uint32_t walk_flags = 0x80, in_subtree = 0, replace_in_progress = 0;
    } state_before;
    cerrno usual_result_ = CERR_SUCCESS;
};

TEST_P(PlatformFailures, EndInWhatTheRulesSay) {
    const std::vector<bool> last_of_converter = last_writes();
    const std::vector<Call> calls = undisturbed();
    expect_balance("undisturbed");
    size_t writes = 0, failed = 0;
    for (size_t nth = 1; nth <= calls.size(); ++nth) {
        const Call &failing = calls[nth - 1];
        bool counts = passed_up.contains(failing.function);
        if (written.contains(failing.function))
            counts = last_of_converter.at(writes++);
        else if (!counts && !dropped.contains(failing.function))
            continue;
        prepare();
        platform.fail_call(nth, refusal);
        // A pop that fails does not hide an earlier failure, nor that an entry was skipped.
        if (failing.function == pop && (usual_result_ != CERR_SUCCESS || nth == pop_of_skipped_entry(calls)))
            counts = false;
        const bool is_passed_up = counts && failing.result_taken;
        EXPECT_EQ(walk(), is_passed_up ? refusal : usual_result_) << describe(nth, failing);
        expect_balance(describe(nth, failing));
        ++failed;
    }
    ASSERT_GT(failed, 0U);
    std::printf("%s: %zu calls failed\n", GetParam().name.c_str(), failed);
}

TEST_P(PlatformFailures, OfWhatIsHandedOutAreNoHarm) {
    const std::vector<Call> calls = undisturbed();
    size_t emptied = 0;
    for (size_t nth = 1; nth <= calls.size(); ++nth) {
        if (!giving.contains(calls[nth - 1].function))
            continue;
        prepare();
        platform.empty_call(nth);
        EXPECT_EQ(walk(), usual_result_) << describe(nth, calls[nth - 1]);
        expect_balance(describe(nth, calls[nth - 1]));
        ++emptied;
    }
    std::printf("%s: %zu calls handed out nothing\n", GetParam().name.c_str(), emptied);
}

INSTANTIATE_TEST_SUITE_P(Requests, PlatformFailures, testing::ValuesIn(cases()),
                         [](const auto &test) { return test.param.name; });

} // namespace
