// What every handler has in common: the argument check, the two reporting channels, the error path, the result codes.
#include <regex>

#include "plugin_fixture.h"

namespace {

const std::string top_walker = oc_walker("opticalamplifier");
const std::string top_handler = oc_handler("cont", "opticalamplifier");
const std::string config_augments = oc_walker("opticalamplifier_amplifier_config_parse_augments");
const std::string min_gain_handler = oc_handler("leaf", "opticalamplifier_config_mingain");

class Frame : public PluginTest {
  protected:
    // Parts of the n-th lightweight line: index, channel, function, line, message.
    std::smatch lightweight_parts(size_t n) {
        static const std::regex form("^#([0-9]+): (ERR|TRC): ([A-Za-z0-9_]+):([0-9]+) ctx=(0x[0-9a-f]+),(.*)$");
        std::smatch parts;
        EXPECT_TRUE(std::regex_match(platform.lightweight().at(n).text, parts, form))
            << platform.lightweight().at(n).text;
        return parts;
    }
};

TEST_F(Frame, MissingOutputIsReportedToTheDebugLogAlone) {
    Handler walker = plugin().handler(top_walker);
    EXPECT_EQ(walker(ctx, tree(container("optical-amplifier")), nullptr), YMAP_RC_INVALID_ARGS);
    expect_calls({trc("Start"), err("Invalid arguments passed!"), error_path_call()});
    EXPECT_TRUE(platform.lightweight().empty());
}

TEST_F(Frame, MissingInputIsReportedLikeMissingOutput) {
    EXPECT_EQ(call(top_walker, nullptr), YMAP_RC_INVALID_ARGS);
    expect_calls({trc("Start"), err("Invalid arguments passed!"), error_path_call()});
    EXPECT_EQ(request.error_path, nullptr);
}

TEST_F(Frame, LightweightTraceGetsItsOwnLineOfTheSameMessage) {
    lightweight_on();
    EXPECT_EQ(call(top_walker, nullptr), YMAP_RC_INVALID_ARGS);
    ASSERT_EQ(platform.lightweight().size(), 2U);
    char pointer[32];
    std::snprintf(pointer, sizeof pointer, "%p", static_cast<void *>(ctx));
    const std::string report = platform.lightweight()[1].text;
    const std::regex form("^#2: ERR: " + top_walker + ":[0-9]+ ctx=" + pointer + ",Invalid arguments passed!$");
    EXPECT_TRUE(std::regex_match(report, form)) << report;
}

TEST_F(Frame, LightweightTraceIsSentWithTheFixedFlagsToTheContextsHandle) {
    lightweight_on();
    call(top_walker, nullptr);
    ASSERT_EQ(platform.lightweight().size(), 2U);
    for (const auto &line : platform.lightweight()) {
        EXPECT_EQ(line.flags, 0x10101000000U);
        EXPECT_EQ(line.trace, context.ltrace_handle);
    }
}

TEST_F(Frame, TraceIndexAdvancesOncePerLightweightLine) {
    lightweight_on();
    call(top_walker, tree(container("optical-amplifier")));
    const size_t written = platform.lightweight().size();
    ASSERT_GT(written, 2U);
    EXPECT_EQ(platform.calls_of({"ret_nc_yfw_trace_index_incr"}).size(), written);
    for (size_t i = 0; i < written; ++i)
        EXPECT_EQ(lightweight_parts(i)[1], std::to_string(i + 1));
}

TEST_F(Frame, TraceIndexStandsStillWhileLightweightTracingIsOff) {
    call(top_walker, tree(container("optical-amplifier")));
    EXPECT_TRUE(platform.calls_of({"ret_nc_yfw_trace_index_incr", "_lstrace"}).empty());
}

TEST_F(Frame, SilentChannelsStillGiveTheCodeAndTellTheFramework) {
    platform.debug_log_takes(0, false);
    platform.debug_log_takes(3, false);
    EXPECT_EQ(call(top_walker, nullptr), YMAP_RC_INVALID_ARGS);
    expect_calls({error_path_call()});
}

TEST_F(Frame, DebugLogIsAskedForEachLevelWithTheContextsFilter) {
    call(top_walker, nullptr);
    EXPECT_EQ(platform.calls_of({"yfw_debug_should_log"}),
              Lines({"yfw_debug_should_log ctx-filter 3", "yfw_debug_should_log ctx-filter 0"}));
}

TEST_F(Frame, ErrorsAreLoggedWhenTracesAreNot) {
    platform.debug_log_takes(3, false);
    call(top_walker, nullptr);
    expect_calls(missing_node());
}

TEST_F(Frame, TracesAreLoggedWhenErrorsAreNot) {
    platform.debug_log_takes(0, false);
    call(top_walker, nullptr);
    expect_calls({trc("Start"), error_path_call()});
}

TEST_F(Frame, LightweightTraceWorksWithTheDebugLogSilent) {
    platform.debug_log_takes(0, false);
    platform.debug_log_takes(3, false);
    lightweight_on();
    call(top_walker, nullptr);
    ASSERT_EQ(platform.lightweight().size(), 2U);
    EXPECT_EQ(lightweight_parts(0)[2], "TRC");
    EXPECT_EQ(lightweight_parts(0)[6], "Start");
    EXPECT_EQ(lightweight_parts(1)[2], "ERR");
    EXPECT_TRUE(messages().empty());
}

TEST_F(Frame, LightweightLinesNameTheReportingFunction) {
    lightweight_on();
    call(top_walker, tree(container("optical-amplifier", {container("amplifiers")})));
    EXPECT_EQ(lightweight_parts(0)[3], top_walker);
    EXPECT_EQ(lightweight_parts(1)[3], top_handler);
    EXPECT_EQ(lightweight_parts(2)[3], oc_walker("opticalamplifier_amplifiers"));
}

TEST_F(Frame, LineNumberOfAReportSiteIsStableAndNotZero) {
    lightweight_on();
    call(top_walker, nullptr);
    call(top_walker, nullptr);
    ASSERT_EQ(platform.lightweight().size(), 4U);
    EXPECT_EQ(lightweight_parts(0)[4], lightweight_parts(2)[4]);
    EXPECT_EQ(lightweight_parts(1)[4], lightweight_parts(3)[4]);
    EXPECT_NE(lightweight_parts(0)[4], "0");
}

TEST_F(Frame, LongLightweightLineIsCutNotDropped) {
    lightweight_on();
    kind(YFW_KIND_EDIT);
    const std::string long_tag(400, 't');
    EXPECT_EQ(call(top_walker, tree(container("optical-amplifier", {leaf(long_tag, "1")}))), YMAP_RC_UNSUPPORTED);
    size_t cut = 0;
    for (const auto &line : platform.lightweight())
        if (line.text.size() == 249 && line.text.find("Unsupported tag `tttt") != std::string::npos)
            ++cut;
    EXPECT_EQ(cut, 1U);
    EXPECT_THAT(messages(), testing::Contains(err("Unsupported tag `" + long_tag + "` is specified in the request.")));
}

TEST_F(Frame, MessageOf249CharactersIsWrittenWhole) {
    lightweight_on();
    kind(YFW_KIND_EDIT);
    for (const size_t length : {size_t{1}, size_t{2}, size_t{20}}) {
        platform.forget_calls();
        const std::string tag(length, 'x');
        call(top_walker, tree(container("optical-amplifier", {leaf(tag, "1")})));
        bool whole = false;
        for (const auto &line : platform.lightweight())
            whole |= line.text.size() < 250 && line.text.ends_with("`" + tag + "` is specified in the request.");
        EXPECT_TRUE(whole) << tag;
    }
}

TEST_F(Frame, MessageSitesOwnTheirWordsSetToAllOnes) {
    const Lines walkers{top_walker,
                        oc_walker("opticalamplifier_amplifiers"),
                        oc_walker("opticalamplifier_amplifiers_amplifier"),
                        oc_walker("opticalamplifier_amplifier_config"),
                        oc_walker("opticalamplifier_config_targetgain"),
                        oc_walker("opticalamplifier_config_enabled"),
                        oc_walker("opticalamplifier_state_inputpower"),
                        oc_walker("opticalamplifier_state_laserbiascurrent", "lvlb"),
                        "oc_opt_amp_cfg_target_gain_to_low",
                        "oc_opt_amp_state_avg_ampli_gain_to_low",
                        "oc_opt_super_ch_state_min_output_power_to_low",
                        "oc_opt_amp_state_instant_actual_gain_to_high"};
    for (const std::string &walker : walkers)
        call(walker, nullptr);
    EXPECT_EQ(platform.message_sites().size(), 2 * walkers.size()) << "a Start site and a report site each";
    for (const auto &[word, site] : platform.message_sites()) {
        ASSERT_NE(word, nullptr);
        EXPECT_EQ(site.value_when_passed, 0xffffffffU);
        EXPECT_EQ(*word, 0xffffffffU);
        EXPECT_EQ(site.formats.size(), 1U) << *site.formats.begin();
    }
}

TEST_F(Frame, MessageSitePassesTheSameWordEveryTime) {
    call(top_walker, nullptr);
    const size_t sites = platform.message_sites().size();
    call(top_walker, nullptr);
    EXPECT_EQ(platform.message_sites().size(), sites);
}

TEST_F(Frame, WholeWalkSharesNoWordBetweenMessages) {
    kind(YFW_KIND_GET);
    all_amplifiers_exist();
    call(top_walker, client_request(container("optical-amplifier")));
    EXPECT_GT(platform.message_sites().size(), 300U);
    for (const auto &[word, site] : platform.message_sites()) {
        EXPECT_EQ(site.formats.size(), 1U) << *site.formats.begin();
        EXPECT_EQ(site.value_when_passed, 0xffffffffU);
    }
}

TEST_F(Frame, PlatformMayUseTheSiteWordAndThePluginLeavesItAlone) {
    call(top_walker, nullptr);
    std::vector<uint32_t *> words;
    for (const auto &[word, site] : platform.message_sites())
        words.push_back(word);
    for (uint32_t *word : words)
        *word = 0x1234;
    call(top_walker, nullptr);
    for (uint32_t *word : words) {
        EXPECT_EQ(*word, 0x1234U);
        *word = 0xffffffffU;
    }
}

TEST_F(Frame, SecondErrorPathFreesTheFirst) {
    platform.request_adds = true;
    call(config_augments, tree(leaf("first")));
    call(config_augments, tree(leaf("second")));
    expect_calls({ask_add(), copied("first", "YFW MAP"), error_path_call(), //
                  ask_add(), freed("first"), copied("second", "YFW MAP"), error_path_call()});
    EXPECT_EQ(error_path(), "second");
    EXPECT_EQ(platform.live_copies(), 1U);
}

TEST_F(Frame, WithoutARequestTheErrorPathIsSkippedSilently) {
    platform.request_adds = true;
    context.req_ctx = nullptr;
    EXPECT_EQ(call(config_augments, tree(leaf("first"))), YMAP_RC_AUGMENT_UNSUPPORTED);
    expect_calls({ask_add(), error_path_call()});
}

TEST_F(Frame, UnsupportedLeafLabelsTheCopyWithTheTagItself) {
    EXPECT_EQ(call(min_gain_handler, tree(leaf("min-gain", "3"))), YMAP_RC_UNSUPPORTED);
    expect_calls({error_path_call(), copied("min-gain", "min-gain")});
}

TEST_F(Frame, UnsupportedLeafFreesTheOldErrorPathAfterTellingTheFramework) {
    call(min_gain_handler, tree(leaf("min-gain", "3")));
    platform.forget_calls();
    call(min_gain_handler, tree(leaf("max-gain", "3")));
    expect_calls({error_path_call(), freed("min-gain"), copied("max-gain", "max-gain")});
    EXPECT_EQ(error_path(), "max-gain");
}

TEST_F(Frame, UnsupportedLeafAnswersWithoutARequest) {
    context.req_ctx = nullptr;
    EXPECT_EQ(call(min_gain_handler, tree(leaf("min-gain", "3"))), YMAP_RC_UNSUPPORTED);
    expect_calls({error_path_call()});
}

TEST_F(Frame, UnsupportedLeafAnswersWithoutAContext) {
    const Handler handler = plugin().handler(min_gain_handler);
    EXPECT_EQ(handler(nullptr, tree(leaf("min-gain", "3")), &out), YMAP_RC_UNSUPPORTED);
    expect_calls({"yfw_oc_error_path none"});
    EXPECT_EQ(request.error_path, nullptr);
}

TEST_F(Frame, MissingNodeLeavesTheErrorPathOfTheRequestAlone) {
    call(min_gain_handler, tree(leaf("min-gain", "3")));
    call(top_walker, nullptr);
    EXPECT_EQ(error_path(), "min-gain");
}

// ---- A request without kind -------------------------------------------------------------------------------------

// Either the request's state is missing, or its kind word.
class RequestWithoutKind : public Frame, public testing::WithParamInterface<bool> {
  protected:
    void SetUp() override {
        kind(YFW_KIND_GET); // of no request
        client_request(container("optical-amplifier", {container("amplifiers")}));
        request.request_kind = nullptr;
        if (GetParam())
            context.req_ctx = nullptr;
    }
    // The native entry that is opened for an amplifier under that operation.
    static std::string add_entry(uint32_t operation) {
        return add(interface_list, ns::ifmgr_cfg, nullptr, node("amplifier", operation), {.list = 1});
    }
};

TEST_P(RequestWithoutKind, IsRefusedAnUnknownTagLikeAnEdit) {
    EXPECT_EQ(call(top_walker, tree(container("optical-amplifier", {leaf("no-such-leaf")}))), YMAP_RC_UNSUPPORTED);
}

TEST_P(RequestWithoutKind, MustNameTheKeysOfAList) {
    EXPECT_EQ(call(oc_walker("opticalamplifier_amplifiers_amplifier"), tree(container("amplifier"))),
              YMAP_RC_BAD_SUBTREE);
}

TEST_P(RequestWithoutKind, MustFlagTheKeyOfAListAsAnEditMust) {
    EXPECT_EQ(call(oc_walker("opticalamplifier_amplifiers_amplifier"),
                   tree(container("amplifier", {leaf("name", "0/1-AMP-PRE")}))),
              YMAP_RC_BAD_KEY);
}

TEST_P(RequestWithoutKind, WritesAValueWithItsSource) {
    EXPECT_EQ(call(oc_handler("leaf", "opticalamplifier_config_targetgain"), tree(leaf("target-gain", "15"))),
              CERR_SUCCESS);
    expect_writes({add(interface_list + "/optics/optics-ots-amplifier-gain", ns::optics_cfg, "150", node("target-gain"),
                       {.follow = 1})});
}

TEST_P(RequestWithoutKind, ReplacesAnEntryInTwoPasses) {
    yfw_datatree *entry = tree(container("amplifier", {leaf("name", "0/1-AMP-PRE").key()}).op(YFW_OP_REPLACE));
    EXPECT_EQ(call(oc_walker("opticalamplifier_amplifiers_amplifier"), entry), CERR_SUCCESS);
    EXPECT_EQ(entry->operation, static_cast<uint32_t>(YFW_OP_REPLACE));
    EXPECT_EQ(writes().front(), add_entry(YFW_OP_REMOVE));
    EXPECT_EQ(request.walk_flags, 0U);
    EXPECT_EQ(request.replace_in_progress, 0U);
}

TEST_P(RequestWithoutKind, DeletesAList) {
    EXPECT_EQ(call(oc_walker("opticalamplifier_amplifiers"), tree(container("amplifiers").op(YFW_OP_DELETE))),
              CERR_SUCCESS);
    EXPECT_EQ(request.in_subtree, 0U);
    EXPECT_EQ(request.walk_all, 0U);
}

TEST_P(RequestWithoutKind, AsksForNoState) {
    EXPECT_EQ(call("oc_opt_amp_cfg_amplifier_key_to_low", tree(leaf("name", "0/1-AMP-PRE"))), CERR_SUCCESS);
    expect_writes({add(interface_list + "/interface-name", ns::ifmgr_cfg, "Ots0/1/0/0", node("name")),
                   add(interface_list + "/active", ns::ifmgr_cfg, "act")});
}

TEST_P(RequestWithoutKind, WritesATextWithItsSourceAndDeletesItWithoutValue) {
    const std::string handler = oc_handler("leaf", "opticalamplifier_config_enabled");
    const std::string path = interface_list + "/optics/optics-ots-osri";
    EXPECT_EQ(call(handler, tree(leaf("enabled", "true"))), CERR_SUCCESS);
    expect_writes({add(path, ns::optics_cfg, "false", node("enabled"), {.follow = 1})});
    platform.forget_calls();
    EXPECT_EQ(call(handler, tree(leaf("enabled", "true").op(YFW_OP_DELETE))), CERR_SUCCESS);
    expect_writes({add(path, ns::optics_cfg, nullptr, node("enabled", YFW_OP_DELETE), {.follow = 1})});
}

TEST_P(RequestWithoutKind, WritesNoTextOfState) {
    EXPECT_EQ(call(oc_handler("leaf", "opticalamplifier_state_enabled"), tree(leaf("enabled", "true"))), CERR_SUCCESS);
    EXPECT_EQ(call(oc_handler("leaf", "opticalamplifier_state_gainrange"), tree(leaf("gain-range"))), CERR_SUCCESS);
    expect_writes({});
}

TEST_P(RequestWithoutKind, IsGivenNoState) {
    Node ports = container("ots-oper", {container("ots-ports")}).in(ns::ots_oper);
    EXPECT_EQ(call("ymap_xo_oc_opt_amp_korvexcontrollerorvo8otsoper_lvla_otsoper", tree(ports)), CERR_SUCCESS);
    EXPECT_THAT(messages(), testing::Contains(trc("Unsupported tag `ots-ports`. Ignoring.")));
}

INSTANTIATE_TEST_SUITE_P(Missing, RequestWithoutKind, testing::Bool(),
                         [](const auto &test) { return test.param ? "RequestState" : "KindWord"; });

struct ContextCase {
    std::string function;
    void (*call)(const std::string &);
};

class FrameWithoutContext : public testing::TestWithParam<ContextCase> {};

TEST_P(FrameWithoutContext, AbortsNamingThePrototype) {
    expect_context_assertion(GetParam().function, GetParam().call);
}

INSTANTIATE_TEST_SUITE_P(
    EveryRole, FrameWithoutContext,
    testing::Values(
        ContextCase{top_walker, call_handler_without_context},
        ContextCase{top_handler, call_container_handler_without_context},
        ContextCase{oc_walker("opticalamplifier_amplifiers_amplifier"), call_handler_without_context},
        ContextCase{oc_handler("list", "opticalamplifier_amplifiers_amplifier"), call_handler_without_context},
        ContextCase{oc_walker("opticalamplifier_config_targetgain"), call_handler_without_context},
        ContextCase{oc_handler("leaf", "opticalamplifier_config_enabled"), call_handler_without_context},
        ContextCase{oc_handler("leaf", "opticalamplifier_state_gainrange"), call_handler_without_context},
        ContextCase{"oc_opt_amp_cfg_amplifier_list_to_low", call_handler_without_context},
        ContextCase{"oc_opt_amp_cfg_target_gain_to_low", call_handler_without_context},
        ContextCase{"oc_opt_amp_cfg_enabled_to_low", call_text_converter_without_context},
        ContextCase{"oc_opt_amp_state_gain_range_to_low", call_text_converter_without_context},
        ContextCase{"oc_opt_amp_state_avg_ampli_gain_to_low", call_handler_without_context},
        ContextCase{"oc_opt_amp_cfg_target_gain_to_high", call_handler_without_context},
        ContextCase{"ymap_xo_oc_opt_amp_korvexcontrolleropticscfg_augment_lvla_interface_configuration",
                    call_handler_without_context},
        ContextCase{"ymap_xo_oc_opt_amp_korvexifmgrcfg_lvla_interfaceconfigurations", call_handler_without_context},
        ContextCase{"ymap_xo_oc_opt_amp_korvexcontrollerorvo8otsoper_lvla_otsoper", call_handler_without_context},
        ContextCase{"ymap_xo_oc_opt_amp_korvexcontrolleropticsoper_lvla_opticsoper", call_handler_without_context},
        ContextCase{"ymap_xo_oc_opt_amp_korvexpmengineoper_lvla_performancemanagementhistory",
                    call_handler_without_context},
        ContextCase{"oc_opt_amp_state_get_amplifier_key_to_high", call_handler_without_context}),
    [](const auto &test) { return test_name(test.param.function); });

TEST(FrameWithoutContextDeath, SupportedLeafHandlerLetsTheConverterAssert) {
    GTEST_FLAG_SET(death_test_style, "fast");
    EXPECT_DEATH(call_handler_without_context(oc_handler("leaf", "opticalamplifier_config_targetgain")),
                 "oc_opt_amp_cfg_target_gain_to_low\\(yfw_map_ctx.*NULL != ctx");
}

TEST(FrameWithoutContextDeath, LeafHandlerWithAMissingNodeAssertsItself) {
    GTEST_FLAG_SET(death_test_style, "fast");
    for (const char *word : {"opticalamplifier_config_targetgain", "opticalamplifier_config_mingain"}) {
        const std::string name = oc_handler("leaf", word);
        EXPECT_DEATH(plugin().handler(name)(nullptr, nullptr, nullptr), name + "\\(yfw_map_ctx.*NULL != ctx");
    }
}

} // namespace
