// Configured enable, gain and tilt of an amplifier, turned into native values.
#include "plugin_fixture.h"

namespace {

struct GainConverter {
    std::string name, native_path;
    bool bare_trace; // the gain converter's "gain-native" without a value
};

const GainConverter gain{"oc_opt_amp_cfg_target_gain_to_low", interface_list + "/optics/optics-ots-amplifier-gain",
                         true};
const GainConverter tilt{"oc_opt_amp_cfg_target_gain_tilt_to_low", interface_list + "/optics/optics-ots-amplifier-tilt",
                         false};

class GainToNative : public PluginTest, public testing::WithParamInterface<GainConverter> {
  protected:
    cerrno convert(const Node &leaf_node) { return call(GetParam().name, tree(leaf_node)); }
    std::string write(const char *value, const std::string &source) const {
        return add(GetParam().native_path, ns::optics_cfg, value, source, {.follow = 1});
    }
    Lines bare_trace() const { return GetParam().bare_trace ? Lines{trc("gain-native")} : Lines{}; }
};

TEST_P(GainToNative, EditWritesTenthsWithItsSource) {
    kind(YFW_KIND_EDIT);
    EXPECT_EQ(convert(leaf("gain", "15.56")), CERR_SUCCESS);
    expect_calls(lines(trc("Start"), trc("gain-oc = 15.56"), trc("gain-native = 155"), bare_trace(),
                       ask_delete(node("gain")), write("155", node("gain")), trc("End")));
}

TEST_P(GainToNative, WhatIsNoPlainDecimalIsReadAsTheCLibraryReadsIt) {
    kind(YFW_KIND_EDIT);
    const std::vector<std::pair<const char *, const char *>> read_as{{".5", "5"},    {"5.", "50"}, {"1.2.3", "12"},
                                                                     {"1..5", "10"}, {"-", "0"},   {"-.5", "-5"},
                                                                     {"1.5x", "15"}, {".", "0"}};
    for (const auto &[text, native] : read_as) {
        platform.forget_calls();
        EXPECT_EQ(convert(leaf("gain", text)), CERR_SUCCESS);
        expect_writes({write(native, node("gain"))});
    }
}

TEST_P(GainToNative, DeleteWritesNoValue) {
    kind(YFW_KIND_EDIT);
    EXPECT_EQ(convert(leaf("gain", "15.56").op(YFW_OP_DELETE)), CERR_SUCCESS);
    const std::string source = node("gain", YFW_OP_DELETE);
    expect_calls(lines(trc("Start"), trc("gain-oc = 15.56"), trc("gain-native = 155"), bare_trace(), ask_delete(source),
                       write(nullptr, source), trc("End")));
}

TEST_P(GainToNative, ReadWritesTheFilterWithoutSource) {
    for (const uint32_t read : {0U, 10U}) {
        kind(read);
        platform.forget_calls();
        EXPECT_EQ(convert(leaf("gain", "-3")), CERR_SUCCESS);
        expect_calls(lines(trc("Start"), trc("gain-oc = -3"), trc("gain-native = -30"), bare_trace(),
                           write("-30", no_source), trc("End")));
    }
}

TEST_P(GainToNative, ReadWithoutValueWritesTheEmptyText) {
    for (const uint32_t read : {0U, 10U}) {
        kind(read);
        platform.forget_calls();
        EXPECT_EQ(convert(leaf("gain")), CERR_SUCCESS);
        expect_calls(lines(trc("Start"), bare_trace(), write("", no_source), trc("End")));
    }
}

TEST_P(GainToNative, EditWithoutValueWritesTheEmptyText) {
    kind(YFW_KIND_EDIT);
    EXPECT_EQ(convert(leaf("gain")), CERR_SUCCESS);
    expect_writes({write("", node("gain"))});
}

TEST_P(GainToNative, ReturnsTheResultOfTheWrite) {
    platform.answer("yfw_map_datatree_add_path_flagged", 0x99);
    EXPECT_EQ(convert(leaf("gain", "1")), 0x99U);
    EXPECT_EQ(messages().back(), trc("End"));
}

TEST_P(GainToNative, RefusesMissingNodes) {
    expect_refuses_missing_nodes(GetParam().name, true);
}

TEST_P(GainToNative, AssertsItsContext) {
    expect_context_assertion(GetParam().name, call_handler_without_context);
}

TEST_P(GainToNative, ValueIsCopiedBounded) {
    const std::string value = long_text("1.", 400, '5');
    EXPECT_EQ(convert(leaf("gain", value)), CERR_SUCCESS);
    expect_writes({write("15", no_source)});
    EXPECT_THAT(platform.calls_of({"yfw_strcpy_s"}),
                testing::Contains("yfw_strcpy_s \"" + GetParam().name + "\" 200 \"" + value + "\""));
}

TEST_P(GainToNative, NumbersBeyondAllIntegersAreStillWritten) {
    for (const char *value : {"1e300", "-1e300", "inf", "-inf", "nan"}) {
        platform.forget_calls();
        EXPECT_EQ(convert(leaf("gain", value)), CERR_SUCCESS) << value;
        EXPECT_EQ(writes().size(), 1U) << value;
    }
}

INSTANTIATE_TEST_SUITE_P(Converters, GainToNative, testing::Values(gain, tilt),
                         [](const auto &test) { return test.param.bare_trace ? "Gain" : "Tilt"; });

struct Tenths {
    std::string oc, native;
};

class GainValue : public PluginTest, public testing::WithParamInterface<std::tuple<GainConverter, Tenths>> {};

TEST_P(GainValue, IsTruncatedToTenths) {
    const auto &[converter, value] = GetParam();
    EXPECT_EQ(call(converter.name, tree(leaf("gain", value.oc))), CERR_SUCCESS);
    expect_writes({add(converter.native_path, ns::optics_cfg, value.native.c_str(), no_source, {.follow = 1})});
}

INSTANTIATE_TEST_SUITE_P(
    Values, GainValue,
    testing::Combine(testing::Values(gain, tilt),
                     testing::Values(Tenths{"15.56", "155"}, Tenths{"-1.25", "-12"}, Tenths{"-0.05", "0"},
                                     Tenths{"4.36", "43"}, Tenths{"abc", "0"}, Tenths{"", "0"}, Tenths{"0", "0"},
                                     Tenths{"20", "200"}, Tenths{" 7.5", "75"}, Tenths{"3.19xyz", "31"},
                                     Tenths{"1e9", "1410065408"}, Tenths{"-214748364.8", "-2147483648"})),
    [](const auto &test) { return case_name(test.index); });

struct Inversion {
    const char *value;
    std::string native;
};

class EnabledToNative : public PluginTest, public testing::WithParamInterface<const char *> {};

TEST_P(EnabledToNative, IsInverted) {
    for (const Inversion &inversion :
         {Inversion{"true", "\"false\""}, Inversion{"false", "\"true\""}, Inversion{"TRUE", "\"true\""},
          Inversion{"", "\"true\""}, Inversion{"true ", "\"true\""}, Inversion{"tru", "\"true\""}}) {
        platform.forget_calls();
        EXPECT_EQ(call_text(GetParam(), tree(leaf("enabled", inversion.value))), inversion.native) << inversion.value;
        expect_calls({trc("Start")});
    }
}

TEST_P(EnabledToNative, OfALeafWithoutValueIsNone) {
    EXPECT_EQ(call_text(GetParam(), tree(leaf("enabled"))), "none");
    expect_calls({trc("Start")});
}

TEST_P(EnabledToNative, OfAMissingNodeIsNoneAndReported) {
    EXPECT_EQ(call_text(GetParam(), nullptr), "none");
    expect_calls(lines(trc("Start"), missing_node()));
    platform.forget_calls();
    EXPECT_EQ(plugin().text_converter(GetParam())(ctx, tree(leaf("enabled", "true")), nullptr), nullptr);
    expect_calls(lines(trc("Start"), missing_node()));
}

TEST_P(EnabledToNative, AssertsItsContext) {
    expect_context_assertion(GetParam(), call_text_converter_without_context);
}

INSTANTIATE_TEST_SUITE_P(Converters, EnabledToNative,
                         testing::Values("oc_opt_amp_cfg_enabled_to_low", "oc_opt_amp_state_enabled_to_low"),
                         [](const auto &test) { return test.param; });

} // namespace
