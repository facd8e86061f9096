// Every call of the platform that can fail fails in turn, in whole requests and whole answers, and every call that can
// hand out nothing does so. Whatever comes of it: no crash, nothing kept, the code that the rules pass up, hierarchy
// and output list balanced, the walk's state as it was found. Who takes the messages changes nothing of that.
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
constexpr const Listeners &nobody = listeners[0];
constexpr uint32_t edit_of_lists = 2; // a kind that the seam has no name for

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

Case edit(const std::string &name, const Node &tree) {
    return request(name, YFW_KIND_EDIT, tree);
}

// The same answer to a request for the model and to one by keys, of either kind of read.
std::vector<Case> answers(const std::string &name, const std::string &walker, Node tree, const char *space,
                          const char *port, const std::string &skipped = {}) {
    const Node answered = std::move(tree).in(space);
    const std::string function = "ymap_xo_oc_opt_amp_" + walker;
    const Node whole = container("optical-amplifier");
    const Node by_keys = model({amplifier({})}, {channel({})});
    return {{name, function, YFW_KIND_GET, whole, answered, port, skipped},
            {name + "OfConfiguration", function, YFW_KIND_GET_CONFIG, whole, answered, port, skipped},
            {name + "ByKeys", function, YFW_KIND_GET, by_keys, answered, port, skipped},
            {name + "OfConfigurationByKeys", function, YFW_KIND_GET_CONFIG, by_keys, answered, port, skipped}};
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

std::vector<Case> reads() {
    const Node whole = container("optical-amplifier");
    const Node lists = model({}, {});
    return {
        request("KeyedReadOfConfiguration", YFW_KIND_GET_CONFIG, keyed_read()),
        request("KeyedRead", YFW_KIND_GET, keyed_read()),
        request("ReadOfKeysAlone", YFW_KIND_GET, model({amplifier({})}, {channel({})})),
        request("KeylessReadOfConfiguration", YFW_KIND_GET_CONFIG, lists),
        request("KeylessRead", YFW_KIND_GET, lists),
        request("ReadOfTheModel", YFW_KIND_GET, whole),
    };
}

std::vector<Case> edits() {
    const Node entry = amplifier({configuration()});
    const Node lists = model({entry}, {channel({})});
    const auto deleted = [](Node node) { return std::move(node).op(YFW_OP_DELETE); };
    const auto replaced = [](Node node) { return std::move(node).op(YFW_OP_REPLACE); };
    const auto with_amplifiers = [](const Node &amplifiers) { return container("optical-amplifier", {amplifiers}); };
    return {
        edit("Merge", model({entry}, {})),
        edit("Create", model({Node(entry).op(YFW_OP_CREATE)}, {})),
        edit("ReplaceOfAnEntry", model({replaced(entry)}, {})),
        edit("ReplaceOfConfiguration", model({amplifier({replaced(configuration())})}, {})),
        edit("ReplaceOfAmplifiers", with_amplifiers(replaced(container("amplifiers", {entry})))),
        edit("ReplaceOfTheModel", replaced(lists)),
        edit("DeleteOfALeaf", model({amplifier({container("config", {deleted(leaf("target-gain"))})})}, {})),
        edit("DeleteOfAnEntry", model({deleted(amplifier({}))}, {})),
        edit("RemoveOfAnEntry", model({amplifier({}).op(YFW_OP_REMOVE)}, {})),
        edit("DeleteOfAmplifiers", with_amplifiers(deleted(container("amplifiers")))),
        edit("DeleteOfTheModel", deleted(container("optical-amplifier"))),
        // In an edit proper a list entry names its keys; the other kinds may delete the list.
        edit("DeleteOfAListThatIsRefused", model({deleted(container("amplifier"))}, {})),
        request("DeleteOfAList", edit_of_lists, model({deleted(container("amplifier"))}, {})),
        request("DeleteOfBothLists", edit_of_lists,
                model({deleted(container("amplifier"))}, {deleted(container("supervisory-channel"))})),
        edit("MergeOfAChannel", model({}, {channel({})})),
        edit("ReplaceOfAChannel", model({}, {replaced(channel({}))})),
        edit("DeleteOfAChannel", model({}, {deleted(channel({}))})),
        edit("EditOfAChannelsConfiguration",
             model({}, {channel({container("config", {leaf("interface", "Optics0/1/0/4")})})})),
        edit("EditOfState", model({amplifier({container("state", {leaf("min-gain", "1")})})}, {})),
    };
}

std::vector<std::vector<Case>> answers_of_all_modules() {
    const Node ots_info = container(
        "ots-info", {leaf("ampli-gain", "1750"), leaf("ampli-tilt", "-48"), leaf("osri-config-val", "false"),
                     leaf("ampli-gain-range-config-val", "amplifier-gain-range-normal"),
                     container("lane-data", {leaf("receive-power", "-1543"), leaf("transmit-power", "203")})});
    const Node lane = container(
        "optics-lane", {leaf("number", "1").key(), leaf("receive-power", "-1220"), leaf("transmit-power", "-315")});
    return {
        answers("Interfaces", "korvexifmgrcfg_lvla_interfaceconfigurations",
                container("interface-configurations",
                          {interface("Ots0/1/0/0",
                                     {leaf("optics-ots-amplifier-gain", "175"), leaf("optics-ots-amplifier-tilt", "-5"),
                                      leaf("optics-ots-osri", "false")}),
                           interface("Optics0/1/0/4", {})}),
                ns::ifmgr_cfg, "Ots0/1/0/0", "interface-configuration"),
        answers("GlobalInterface", "korvexifmgrcfg_lvla_globalinterfaceconfiguration",
                container("global-interface-configuration"), ns::ifmgr_cfg, nullptr),
        answers(
            "Ots", "korvexcontrollerorvo8otsoper_lvla_otsoper",
            container("ots-oper",
                      {container("ots-ports", {container("ots-port", {leaf("name", "Ots0/1/0/0").key(), ots_info})})}),
            ns::ots_oper, "Ots0/1/0/0"),
        answers("Optics", "korvexcontrolleropticsoper_lvla_opticsoper",
                container("optics-oper",
                          {container("optics-ports", {container("optics-port", {leaf("name", "Optics0/1/0/4").key(),
                                                                                container("optics-lanes", {lane})})})}),
                ns::optics_oper, "Optics0/1/0/4"),
        answers("History", "korvexpmengineoper_lvla_performancemanagementhistory", history(), ns::pmengine_oper,
                "Ots0/1/0/0"),
    };
}

// What a walk finds of the walkers' own state, and leaves so.
struct WalkState {
    const char *name;
    uint32_t walk_flags, in_subtree, replace_in_progress;
};
constexpr WalkState in_second_pass{"InASecondPass", YFW_WALK_REPLACE_MERGE_PASS, 0, 0};
constexpr WalkState in_deleted_entry{"InADeletedEntry", YFW_WALK_REPLACE_DELETE_PASS, 2, 1};

// Requests and answers that between them bring all that a walk tells.
std::vector<Case> told_cases() {
    std::vector<Case> all = edits();
    all.push_back(reads()[1]);
    for (const std::vector<Case> &of_module : answers_of_all_modules()) {
        all.push_back(of_module.front());
        all.push_back(of_module[2]); // by keys
    }
    return all;
}

std::vector<Case> cases() {
    std::vector<Case> all = reads();
    for (const Case &each : edits())
        all.push_back(each);
    for (const std::vector<Case> &of_module : answers_of_all_modules())
        all.insert(all.end(), of_module.begin(), of_module.end());
    return all;
}

// ---- The fixture -------------------------------------------------------------------------------------------------

class PlatformFailures : public PluginTest, public testing::WithParamInterface<std::tuple<Case, WalkState>> {
  protected:
    static const Case &given() { return std::get<Case>(GetParam()); }
    static const WalkState &found() { return std::get<WalkState>(GetParam()); }
    static std::string name() { return given().name + found().name; }

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
        listen(nobody);
        platform.node_key = given().port;
        platform.listing = {"Ots0_1_0_1/", "Ots0_1_0_0/"};
        all_amplifiers_exist();
        output_power_was("Ots0_1_0_1", {{"Average", "-8"}, {"Minimum", "-9"}, {"Maximum", "-7"}});
        kind(given().kind);
        client_request(given().request);
        if (given().port != nullptr) {
            native_list(container("optics-port-history", {leaf("name", given().port).key()}));
            hierarchy({container("optics-oper"), container("optics-ports"),
                       container("optics-port", {leaf("name", given().port).key()})});
        }
        request.error_path = nullptr;
        request.select_flags = 0;
        request.walk_flags = found().walk_flags;
        request.in_subtree = found().in_subtree;
        request.walk_all = 0;
        request.replace_in_progress = found().replace_in_progress;
        request.output_list_count = 0;
    }

    cerrno walk() { return call(given().walker, tree(given().walked)); }

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

    // Result and calls of a walk in which a call fails; number 0 for none.
    std::string outcome(const Listeners &who, size_t failing) {
        prepare();
        listen(who);
        platform.fail_call(failing, refusal);
        return text_of(lines("result " + std::to_string(walk()), platform.calls_without(message_calls)));
    }

    // The numbers of the calls in a walk that nothing disturbs, but for those that messages make.
    std::vector<size_t> numbers_of_calls(const Listeners &who) {
        prepare();
        listen(who);
        std::vector<size_t> numbers;
        platform.watch = [&](const std::string &function, const std::string &) {
            if (!message_calls.contains(function))
                numbers.push_back(platform.call_count());
        };
        walk();
        return numbers;
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
        EXPECT_EQ(request.walk_flags, found().walk_flags) << which;
        EXPECT_EQ(request.in_subtree, found().in_subtree) << which;
        EXPECT_EQ(request.walk_all, 0U) << which;
        EXPECT_EQ(request.replace_in_progress, found().replace_in_progress) << which;
    }

    // The number of the call that tells of the walk's usual failure, which ends it; behind all others when it succeeds.
    size_t usual_failure(const std::vector<Call> &calls) const {
        if (usual_result_ == CERR_SUCCESS)
            return calls.size();
        const auto told = std::find_if(calls.rbegin(), calls.rend(),
                                       [](const Call &call) { return call.function == "yfw_oc_error_path"; });
        return static_cast<size_t>(calls.rend() - told);
    }

    // The number of that call; 0 when no entry is skipped.
    static size_t pop_of_skipped_entry(const std::vector<Call> &calls) {
        if (given().skipped.empty())
            return 0;
        const auto last = std::find_if(calls.rbegin(), calls.rend(), [](const Call &call) {
            return call.function == pop && call.line.ends_with("<" + given().skipped + ">");
        });
        return static_cast<size_t>(calls.rend() - last);
    }

    static bool can_fail(const std::string &function) {
        return passed_up.contains(function) || dropped.contains(function) || written.contains(function);
    }

    static std::string describe(size_t nth, const Call &call) {
        return "call " + std::to_string(nth) + ": " + call.line;
    }

    cerrno usual_result_ = CERR_SUCCESS;
};

TEST_P(PlatformFailures, EndInWhatTheRulesSay) {
    const std::vector<bool> last_of_converter = last_writes();
    const std::vector<Call> calls = undisturbed();
    expect_balance("undisturbed");
    size_t writes = 0, failed = 0;
    for (size_t nth = 1; nth <= calls.size(); ++nth) {
        const Call &failing = calls[nth - 1];
        if (!can_fail(failing.function))
            continue;
        bool counts = passed_up.contains(failing.function);
        if (written.contains(failing.function))
            counts = last_of_converter.at(writes++);
        prepare();
        platform.fail_call(nth, refusal);
        // A pop that fails does not hide an earlier failure, nor that an entry was skipped.
        if (failing.function == pop && (nth > usual_failure(calls) || nth == pop_of_skipped_entry(calls)))
            counts = false;
        const bool is_passed_up = counts && failing.result_taken;
        EXPECT_EQ(walk(), is_passed_up ? refusal : usual_result_) << describe(nth, failing);
        expect_balance(describe(nth, failing));
        ++failed;
    }
    ASSERT_GT(failed, 0U);
    std::printf("%s: %zu calls failed\n", name().c_str(), failed);
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
    std::printf("%s: %zu calls handed out nothing\n", name().c_str(), emptied);
}

// Of each function that can fail, the first and the last call of a walk fail.
class ToldPlatformFailures : public PlatformFailures {};

TEST_P(ToldPlatformFailures, EndTheSameWhoeverTakesTheMessages) {
    const std::vector<Call> calls = undisturbed();
    std::vector<std::vector<size_t>> numbers;
    for (const Listeners &who : listeners) {
        numbers.push_back(numbers_of_calls(who));
        ASSERT_EQ(numbers.back().size(), numbers.front().size()) << who.name;
        EXPECT_EQ(outcome(who, 0), outcome(nobody, 0)) << who.name;
    }
    std::map<std::string, size_t> first, last;
    for (size_t i = 0; i < numbers.front().size(); ++i)
        if (const std::string &function = calls[numbers.front()[i] - 1].function; can_fail(function)) {
            first.try_emplace(function, i);
            last[function] = i;
        }
    for (const auto &[function, at_first] : first)
        for (const size_t i : std::set<size_t>{at_first, last.at(function)}) {
            const std::string expected = outcome(nobody, numbers.front()[i]);
            for (size_t who = 1; who < std::size(listeners); ++who)
                EXPECT_EQ(outcome(listeners[who], numbers[who][i]), expected)
                    << describe(i + 1, calls[numbers.front()[i] - 1]) << ", " << listeners[who].name;
        }
}

std::string name_of(const testing::TestParamInfo<std::tuple<Case, WalkState>> &test) {
    return std::get<Case>(test.param).name + std::get<WalkState>(test.param).name;
}

INSTANTIATE_TEST_SUITE_P(Requests, PlatformFailures,
                         testing::Combine(testing::ValuesIn(cases()),
                                          testing::Values(in_second_pass, in_deleted_entry)),
                         name_of);
INSTANTIATE_TEST_SUITE_P(Requests, ToldPlatformFailures,
                         testing::Combine(testing::ValuesIn(told_cases()), testing::Values(in_second_pass)), name_of);

} // namespace
