// A hierarchy that the framework cannot push to or pop from: its answer is the walk's result, in both directions.
#include <algorithm>

#include "plugin_fixture.h"

namespace {

struct WalkCase {
    std::string name;
    std::string walker;
    uint32_t kind;
    Node request;          // of the client
    Node walked;           // has every container and list of the module
    const char *entry_key; // of the native list entries
};

Node amplifier_request() {
    return container("optical-amplifier", {container("amplifiers")});
}

WalkCase openconfig_request() {
    const Node amplifier = container("amplifier", {leaf("name", "0/1-AMP-PRE").key(), container("config"),
                                                   container("state", {container("actual-gain")})});
    const Node channel =
        container("supervisory-channel", {leaf("interface", "Optics0/1/0/4").key(),
                                          container("state", {container("input-power"), container("output-power")})});
    const Node model = container("optical-amplifier",
                                 {container("amplifiers", {amplifier}), container("supervisory-channels", {channel})});
    return {"OpenConfig", oc_walker("opticalamplifier"), YFW_KIND_EDIT, model, model, nullptr};
}

WalkCase ots_answer() {
    Node answer =
        container("ots-oper",
                  {container("ots-ports", {container("ots-port", {leaf("name", "Ots0/1/0/0"),
                                                                  container("ots-info", {container("lane-data")})})})});
    return {"Ots",
            "ymap_xo_oc_opt_amp_korvexcontrollerorvo8otsoper_lvla_otsoper",
            YFW_KIND_GET,
            amplifier_request(),
            std::move(answer).in(ns::ots_oper),
            "Ots0/1/0/0"};
}

WalkCase optics_answer() {
    Node answer =
        container("optics-oper",
                  {container("optics-ports",
                             {container("optics-port", {leaf("name", "Optics0/1/0/4"),
                                                        container("optics-lanes", {container("optics-lane")})})})});
    return {"Optics",
            "ymap_xo_oc_opt_amp_korvexcontrolleropticsoper_lvla_opticsoper",
            YFW_KIND_GET,
            container("optical-amplifier", {container("supervisory-channels")}),
            std::move(answer).in(ns::optics_oper),
            "Optics0/1/0/4"};
}

WalkCase history_answer() {
    Node instance =
        container("optics-second30-optics-time-line-instance",
                  {container("opt"), container("opr"), container("ampli-gain"), container("ampli-gain-tilt")});
    Node port = container(
        "optics-port-history",
        {leaf("name", "Ots0/1/0/0").key(),
         container("optics-second30-history",
                   {container("optics-second30-optics-histories",
                              {container("optics-second30-optics-history",
                                         {container("optics-second30-optics-time-line-instances", {instance})})})})});
    Node answer = container(
        "performance-management-history",
        {container("global", {container("periodic", {container("optics-history",
                                                               {container("optics-port-histories", {port})})})})});
    return {"History",
            "ymap_xo_oc_opt_amp_korvexpmengineoper_lvla_performancemanagementhistory",
            YFW_KIND_GET,
            amplifier_request(),
            std::move(answer).in(ns::pmengine_oper),
            "Ots0/1/0/0"};
}

WalkCase interface_configuration() {
    Node optics =
        container("optics", {container("rx-thresholds", {container("rx-threshold")}),
                             container("optics-network-srlgs", {container("optics-network-srlg")}),
                             container("optics-dwdm-carrier"), container("optics-lanes", {container("optics-lane")}),
                             container("tx-thresholds", {container("tx-threshold")})});
    Node entry = container("interface-configuration",
                           {leaf("active", "act"), leaf("interface-name", "Ots0/1/0/0"), container("dampening"),
                            container("encapsulation"), container("mtus", {container("mtu")}),
                            std::move(optics).in(ns::optics_cfg)});
    return {"Interfaces",
            "ymap_xo_oc_opt_amp_korvexifmgrcfg_lvla_interfaceconfigurations",
            YFW_KIND_GET,
            amplifier_request(),
            container("interface-configurations", {std::move(entry).in(ns::ifmgr_cfg)}).in(ns::ifmgr_cfg),
            "Ots0/1/0/0"};
}

WalkCase global_interface_configuration() {
    return {"GlobalInterface",   "ymap_xo_oc_opt_amp_korvexifmgrcfg_lvla_globalinterfaceconfiguration", YFW_KIND_GET,
            amplifier_request(), container("global-interface-configuration").in(ns::ifmgr_cfg),         nullptr};
}

class HierarchyResult : public PluginTest, public testing::WithParamInterface<WalkCase> {
  protected:
    static constexpr cerrno refusal = 0x77;
    void prepare() {
        platform.reset();
        platform.know(ctx, &out);
        platform.node_key = GetParam().entry_key;
        all_amplifiers_exist();
        kind(GetParam().kind);
        client_request(GetParam().request);
        request.output_list_count = 0;
    }
    cerrno walk() { return call(GetParam().walker, tree(GetParam().walked)); }
    // Walks while the hierarchy refuses the nth call of `function`.
    cerrno walk_refused(const std::string &function, unsigned nth) {
        prepare();
        platform.answer(function, refusal, nth);
        return walk();
    }
    // The calls of a walk that nothing disturbs.
    Lines undisturbed() {
        prepare();
        EXPECT_EQ(walk(), CERR_SUCCESS);
        return platform.calls();
    }
    static size_t position_of(const Lines &sequence, const std::string &function, unsigned nth) {
        size_t at = 0;
        for (; at < sequence.size(); ++at)
            if (sequence[at].starts_with(function) && --nth == 0)
                break;
        return at;
    }
    static Lines up_to(const Lines &sequence, size_t last) {
        return {sequence.begin(), sequence.begin() + static_cast<ptrdiff_t>(std::min(last + 1, sequence.size()))};
    }
    static constexpr const char *pushing = "yfw_map_add_to_node_hierarchy";
    static constexpr const char *popping = "yfw_map_remove_from_node_hierarchy";
};

// What is left to do when a walk has failed: to leave what was entered.
bool only_leaves(const std::string &line) {
    return line == trc("End") || line.starts_with("yfw_map_remove_from_node_hierarchy") ||
           line.starts_with("yfw_remove_from_output_list_ctx") || line.starts_with("yfw_map_is_request_delete");
}

TEST_P(HierarchyResult, OfAFailedPushEndsTheWalkUnderThatNode) {
    const Lines whole = undisturbed();
    const size_t pushes = platform.calls_of({pushing}).size();
    ASSERT_GT(pushes, 0U);
    for (unsigned nth = 1; nth <= pushes; ++nth) {
        EXPECT_EQ(walk_refused(pushing, nth), refusal) << "push " << nth;
        const Lines sequence = platform.calls();
        const size_t refused = position_of(sequence, pushing, nth);
        ASSERT_LT(refused + 1, sequence.size());
        EXPECT_SAME_TEXT(text_of(up_to(sequence, refused)), text_of(up_to(whole, refused))) << "push " << nth;
        EXPECT_EQ(sequence[refused + 1], trc("End")) << "push " << nth;
        for (size_t i = refused + 1; i < sequence.size(); ++i)
            EXPECT_TRUE(only_leaves(sequence[i])) << "push " << nth << ": " << sequence[i];
        EXPECT_EQ(platform.hierarchy_depth(), 0) << "push " << nth;
        EXPECT_EQ(request.output_list_count, 0U) << "push " << nth;
    }
}

TEST_P(HierarchyResult, OfAFailedPopIsThatOfTheWalk) {
    undisturbed();
    const size_t pops = platform.calls_of({popping}).size();
    ASSERT_GT(pops, 0U);
    for (unsigned nth = 1; nth <= pops; ++nth) {
        EXPECT_EQ(walk_refused(popping, nth), refusal) << "pop " << nth;
        const Lines sequence = platform.calls();
        const size_t refused = position_of(sequence, popping, nth);
        ASSERT_LT(refused + 1, sequence.size());
        for (size_t i = refused + 1; i < sequence.size(); ++i)
            EXPECT_TRUE(only_leaves(sequence[i])) << "pop " << nth << ": " << sequence[i];
        EXPECT_EQ(platform.hierarchy_depth(), 0) << "pop " << nth;
        EXPECT_EQ(request.output_list_count, 0U) << "pop " << nth;
    }
}

TEST_P(HierarchyResult, OfAFailedPopDoesNotHideAnEarlierFailure) {
    undisturbed();
    const size_t pushes = platform.calls_of({pushing}).size();
    for (unsigned nth = 2; nth <= pushes; ++nth) {
        prepare();
        platform.answer(pushing, refusal, nth);
        platform.answer(popping, 0x55, 0, node(GetParam().walked.tag.value()));
        EXPECT_EQ(walk(), refusal) << "push " << nth;
    }
}

INSTANTIATE_TEST_SUITE_P(Walks, HierarchyResult,
                         testing::Values(openconfig_request(), ots_answer(), optics_answer(), history_answer(),
                                         interface_configuration(), global_interface_configuration()),
                         [](const auto &test) { return test.param.name; });

// ---- Skipped nodes ----------------------------------------------------------------------------------------------

class SkippedNode : public PluginTest {
  protected:
    static constexpr cerrno refusal = 0x77;
    void SetUp() override {
        client_request(container("optical-amplifier", {container("supervisory-channels")}));
        platform.answer("yfw_map_remove_from_node_hierarchy", refusal, 1);
    }
};

TEST_F(SkippedNode, OfAnAnswerFailsWhenItCannotBeLeft) {
    Node port = container("optics-port", {leaf("name", "Optics0/1/0/0")}).in(ns::optics_oper);
    platform.node_key = "Optics0/1/0/0";
    EXPECT_EQ(call("ymap_xo_oc_opt_amp_korvexcontrolleropticsoper_lvla_opticsoper",
                   tree(container("optics-oper", {container("optics-ports", {port})}).in(ns::optics_oper))),
              refusal);
}

TEST_F(SkippedNode, OfARequestFailsWhenItCannotBeLeft) {
    kind(YFW_KIND_EDIT);
    platform.answer("yfw_map_datatree_add_path_flagged", YMAP_RC_SKIP, 1);
    EXPECT_EQ(call(oc_walker("opticalamplifier_amplifiers_amplifier"),
                   tree(container("amplifier", {leaf("name", "0/1-AMP-PRE").key()}).op(YFW_OP_DELETE))),
              refusal);
    EXPECT_EQ(messages().back(), trc("End"));
}

} // namespace
