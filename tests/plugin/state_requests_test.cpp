// Each OpenConfig state leaf requests its native operational leaf, with its scale.
#include <optional>

#include "plugin_fixture.h"

namespace {

constexpr uint32_t reads[] = {YFW_KIND_GET_CONFIG, YFW_KIND_GET};

// A leaf that the converter asks for. Without a constant it carries the request's value.
struct NativeLeaf {
    std::string path;
    const char *name_space;
    unsigned follow = 0;
    const char *constant = nullptr;
};

// Members that convert the request's value into the native unit.
struct ScaledMember {
    std::string name;
    std::string words;   // "gain" of "gain-oc = %s" and "gain-native = %s"
    std::string getting; // of "getting ...", empty when there is no such line
    std::string of_12_345;
    std::string of_minus_0_259;
    std::vector<NativeLeaf> leaves;
};

const NativeLeaf lane_number{optics_lane + "/number", ns::optics_oper, 0, "1"};
const NativeLeaf time_line_number{time_line + "/number", ns::pmengine_oper, 0, "1"};

NativeLeaf ots_leaf(const std::string &path) {
    return {ots_list + "/ots-info/" + path, ns::ots_oper};
}

const std::vector<ScaledMember> scaled_members{
    {"oc_opt_amp_state_target_gain_to_low",
     "gain",
     "",
     "123",
     "-2",
     {{interface_list + "/optics/optics-ots-amplifier-gain", ns::optics_cfg, 1}}},
    {"oc_opt_amp_state_target_gain_tilt_to_low",
     "gain",
     "",
     "123",
     "-2",
     {{interface_list + "/optics/optics-ots-amplifier-tilt", ns::optics_cfg, 1}}},
    {"oc_opt_amp_state_instant_actual_gain_to_low", "gain", "actual_gain", "1234", "-25", {ots_leaf("ampli-gain")}},
    {"oc_opt_amp_state_instant_actual_gain_tilt_to_low",
     "gain_tilt",
     "actual_gain_tilt",
     "1234",
     "-25",
     {ots_leaf("ampli-tilt")}},
    {"oc_opt_amp_state_instant_input_power_c_band_to_low",
     "input_power",
     "input_power",
     "123",
     "-2",
     {ots_leaf("lane-data/receive-power"), ots_leaf("lane-data/receive-power-dbm")}},
    {"oc_opt_amp_state_instant_output_power_tot_to_low",
     "output_power",
     "output_power",
     "123",
     "-2",
     {ots_leaf("lane-data/transmit-power"), ots_leaf("lane-data/transmit-power-dbm")}},
    {"oc_opt_amp_state_instant_output_power_c_band_to_low",
     "output_power",
     "output_power",
     "123",
     "-2",
     {ots_leaf("lane-data/transmit-power"), ots_leaf("lane-data/transmit-power-dbm")}},
    {"oc_opt_super_ch_state_instant_input_power_to_low",
     "output_power",
     "output_power",
     "123",
     "-2",
     {{optics_lane + "/receive-power", ns::optics_oper}, lane_number}},
    {"oc_opt_super_ch_state_instant_output_power_to_low",
     "output_power",
     "output_power",
     "123",
     "-2",
     {{optics_lane + "/transmit-power", ns::optics_oper}, lane_number}}};

Lines requested(const std::vector<NativeLeaf> &leaves, const char *value) {
    Lines calls;
    for (const NativeLeaf &native : leaves)
        calls.push_back(add(native.path, native.name_space, native.constant == nullptr ? value : native.constant,
                            no_source, {.follow = native.follow}));
    return calls;
}

class ScaledRequest : public PluginTest, public testing::WithParamInterface<ScaledMember> {
  protected:
    cerrno convert(const Node &leaf_node) { return call(GetParam().name, tree(leaf_node)); }
    std::string oc(const std::string &value) const { return trc(GetParam().words + "-oc = " + value); }
    std::string native(const std::string &value) const { return trc(GetParam().words + "-native = " + value); }
    Lines getting() const { return GetParam().getting.empty() ? Lines{} : Lines{trc("getting " + GetParam().getting)}; }
};

TEST_P(ScaledRequest, OfAReadAsksForTheNativeLeafWithTheFilterConverted) {
    for (const uint32_t read : reads) {
        kind(read);
        platform.forget_calls();
        EXPECT_EQ(convert(leaf("instant", "12.345")), CERR_SUCCESS);
        const std::string value = GetParam().of_12_345;
        expect_calls(lines(trc("Start"), oc("12.345"), native(value), getting(),
                           requested(GetParam().leaves, value.c_str()), native(value), trc("End")));
    }
}

TEST_P(ScaledRequest, OfAReadWithoutFilterAsksWithTheEmptyText) {
    for (const uint32_t read : reads) {
        kind(read);
        platform.forget_calls();
        EXPECT_EQ(convert(leaf("instant")), CERR_SUCCESS);
        expect_calls(lines(trc("Start"), getting(), requested(GetParam().leaves, ""), native(""), trc("End")));
    }
}

TEST_P(ScaledRequest, TruncatesTowardZero) {
    convert(leaf("instant", "-0.259"));
    expect_writes(requested(GetParam().leaves, GetParam().of_minus_0_259.c_str()));
}

TEST_P(ScaledRequest, TakesATextThatIsNoNumberAsZero) {
    convert(leaf("instant", "abc"));
    expect_writes(requested(GetParam().leaves, "0"));
}

TEST_P(ScaledRequest, OfAnEditWritesNothing) {
    kind(YFW_KIND_EDIT);
    EXPECT_EQ(convert(leaf("instant", "12.345")), CERR_SUCCESS);
    expect_calls({trc("Start"), oc("12.345"), native(GetParam().of_12_345), ask_delete(node("instant"))});
}

TEST_P(ScaledRequest, ReturnsTheResultOfItsLastWrite) {
    const auto last = static_cast<unsigned>(GetParam().leaves.size());
    platform.answer("yfw_map_datatree_add_path_flagged", 0x22, last);
    EXPECT_EQ(convert(leaf("instant")), 0x22U);
    if (last == 2) {
        platform.answer("yfw_map_datatree_add_path_flagged", 0x33, 1);
        EXPECT_EQ(convert(leaf("instant")), CERR_SUCCESS) << "the first result is ignored";
    }
}

TEST_P(ScaledRequest, ValueIsCopiedBounded) {
    const std::string value = long_text("1.", 400, '5');
    EXPECT_EQ(convert(leaf("instant", value)), CERR_SUCCESS);
    EXPECT_THAT(platform.calls_of({"yfw_strcpy_s"}),
                testing::Contains("yfw_strcpy_s \"" + GetParam().name + "\" 200 \"" + value + "\""));
}

TEST_P(ScaledRequest, RefusesMissingNodes) {
    expect_refuses_missing_nodes(GetParam().name, true);
}

TEST_P(ScaledRequest, AssertsItsContext) {
    expect_context_assertion(GetParam().name, call_handler_without_context);
}

INSTANTIATE_TEST_SUITE_P(Members, ScaledRequest, testing::ValuesIn(scaled_members),
                         [](const auto &test) { return test.param.name; });

// ---- Average, minimum, maximum ----------------------------------------------------------------------------------

struct HistoryMember {
    std::string name, leaf;
    bool absent_is_empty_text; // supervisory channels copy the value into their buffer
};

std::vector<HistoryMember> history_members() {
    struct Family {
        std::string front, back, group;
        bool channel;
    };
    const std::vector<Family> families{{"oc_opt_amp_state_", "_ampli_gain_to_low", "/ampli-gain", false},
                                       {"oc_opt_amp_state_", "_ampli_gain_tilt_to_low", "/ampli-gain-tilt", false},
                                       {"oc_opt_amp_state_", "_input_power_c_band_to_low", "/opr", false},
                                       {"oc_opt_amp_state_", "_output_power_c_band_to_low", "/opt", false},
                                       {"oc_opt_super_ch_state_", "_input_power_to_low", "/opr", true},
                                       {"oc_opt_super_ch_state_", "_output_power_to_low", "/opt", true}};
    std::vector<HistoryMember> members;
    for (const Family &family : families)
        for (const auto &[word, statistic] :
             {std::pair{"avg", "/average"}, std::pair{"min", "/minimum"}, std::pair{"max", "/maximum"}})
            members.push_back(
                {family.front + word + family.back, time_line + family.group + statistic, family.channel});
    return members;
}

class HistoryRequest : public PluginTest, public testing::WithParamInterface<HistoryMember> {
  protected:
    cerrno convert(const Node &leaf_node) { return call(GetParam().name, tree(leaf_node)); }
    Lines asks(const char *value) const {
        return requested({{GetParam().leaf, ns::pmengine_oper}, time_line_number}, value);
    }
};

TEST_P(HistoryRequest, OfAReadAsksForTheStatisticAndTheTimeLine) {
    for (const uint32_t read : reads) {
        kind(read);
        platform.forget_calls();
        EXPECT_EQ(convert(leaf("avg")), CERR_SUCCESS);
        expect_calls(lines(trc("Start"), asks(GetParam().absent_is_empty_text ? "" : nullptr), trc("End")));
    }
}

TEST_P(HistoryRequest, PassesTheFilterAsItStands) {
    EXPECT_EQ(convert(leaf("avg", " 12.345 dB")), CERR_SUCCESS);
    expect_calls(lines(trc("Start"), asks(" 12.345 dB"), trc("End")));
}

TEST_P(HistoryRequest, OfAnEditWritesNothing) {
    kind(YFW_KIND_EDIT);
    EXPECT_EQ(convert(leaf("avg", "1")), CERR_SUCCESS);
    expect_calls({trc("Start"), ask_delete(node("avg"))});
}

TEST_P(HistoryRequest, ReturnsTheResultOfTheNumber) {
    platform.answer("yfw_map_datatree_add_path_flagged", 0x11, 1);
    EXPECT_EQ(convert(leaf("avg")), CERR_SUCCESS);
    platform.answer("yfw_map_datatree_add_path_flagged", 0x22, 0, "path=" + time_line + "/number ");
    EXPECT_EQ(convert(leaf("avg")), 0x22U);
}

TEST_P(HistoryRequest, RefusesMissingNodes) {
    expect_refuses_missing_nodes(GetParam().name, true);
}

TEST_P(HistoryRequest, AssertsItsContext) {
    expect_context_assertion(GetParam().name, call_handler_without_context);
}

INSTANTIATE_TEST_SUITE_P(Members, HistoryRequest, testing::ValuesIn(history_members()),
                         [](const auto &test) { return test.param.name; });

// ---- Leaves answered without a native leaf ----------------------------------------------------------------------

class AnsweredElsewhere : public PluginTest, public testing::WithParamInterface<const char *> {};

TEST_P(AnsweredElsewhere, WritesNothingInARead) {
    for (const uint32_t read : reads) {
        kind(read);
        platform.forget_calls();
        EXPECT_EQ(call(GetParam(), tree(leaf("type", "EDFA"))), CERR_SUCCESS);
        expect_calls({trc("Start"), trc("End")});
    }
}

TEST_P(AnsweredElsewhere, WritesNothingInAnEdit) {
    kind(YFW_KIND_EDIT);
    EXPECT_EQ(call(GetParam(), tree(leaf("type", "EDFA"))), CERR_SUCCESS);
    expect_writes({});
    EXPECT_EQ(messages().front(), trc("Start"));
}

TEST_P(AnsweredElsewhere, RefusesMissingNodes) {
    expect_refuses_missing_nodes(GetParam(), true);
}

TEST_P(AnsweredElsewhere, AssertsItsContext) {
    expect_context_assertion(GetParam(), call_handler_without_context);
}

INSTANTIATE_TEST_SUITE_P(Members, AnsweredElsewhere,
                         testing::Values("oc_opt_amp_state_type_to_low", "oc_opt_amp_state_amp_mode_to_low",
                                         "oc_opt_amp_ingress_port_to_low", "oc_opt_amp_egress_port_to_low"),
                         [](const auto &test) { return test.param; });

// ---- Gain range -------------------------------------------------------------------------------------------------

struct GainRange {
    const char *oc;
    std::string native;
};

class GainRangeRequest : public PluginTest {
  protected:
    const std::string converter = "oc_opt_amp_state_gain_range_to_low";
};

TEST_F(GainRangeRequest, TranslatesTheTwoKnownIdentities) {
    for (const GainRange &range :
         {GainRange{"LOW_GAIN_RANGE", "\"amplifier-gain-range-normal\""},
          GainRange{"HIGH_GAIN_RANGE", "\"amplifier-gain-range-ext-end-ed\""}, GainRange{"MID_GAIN_RANGE", "none"},
          GainRange{"low_gain_range", "none"}, GainRange{"LOW_GAIN_RANGE ", "none"}, GainRange{"", "none"}}) {
        platform.forget_calls();
        EXPECT_EQ(call_text(converter, tree(leaf("gain-range", range.oc))), range.native) << range.oc;
        ASSERT_GE(messages().size(), 2U);
        EXPECT_EQ(messages()[0], trc("Start"));
        EXPECT_EQ(messages()[1], trc("gain_range = " + std::string(range.oc)));
    }
    expect_writes({});
}

TEST_F(GainRangeRequest, OfALeafWithoutValueIsNone) {
    EXPECT_EQ(call_text(converter, tree(leaf("gain-range"))), "none");
    expect_writes({});
}

TEST_F(GainRangeRequest, OfAMissingNodeIsNoneAndReported) {
    EXPECT_EQ(call_text(converter, nullptr), "none");
    expect_calls(lines(trc("Start"), missing_node()));
    platform.forget_calls();
    EXPECT_EQ(plugin().text_converter(converter)(ctx, tree(leaf("gain-range", "x")), nullptr), nullptr);
    expect_calls(lines(trc("Start"), missing_node()));
}

TEST_F(GainRangeRequest, AssertsItsContext) {
    expect_context_assertion(converter, call_text_converter_without_context);
}

} // namespace
