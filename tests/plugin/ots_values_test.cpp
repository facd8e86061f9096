// Values of the native OTS model, turned into OpenConfig amplifier state.
#include <algorithm>

#include "plugin_fixture.h"

namespace {

const std::string state = oc_amplifier + "/state/";

struct ValueConverter {
    std::string name, words;
    bool looks_up_key;
    std::string oc_leaf;
};

const std::vector<ValueConverter> value_converters{
    {"oc_opt_amp_state_instant_actual_gain_to_high", "gain", false, "actual-gain/instant"},
    {"oc_opt_amp_state_instant_actual_gain_tilt_to_high", "gain_tilt", false, "actual-gain-tilt/instant"},
    {"oc_opt_amp_state_instant_input_power_c_band_to_high", "input_power", true, "input-power-c-band/instant"},
    {"oc_opt_amp_state_instant_input_power_c_band_dbm_to_high", "input_power", true, "input-power-c-band/instant"},
    {"oc_opt_amp_state_instant_output_power_c_band_to_high", "output_power", true, "output-power-c-band/instant"},
    {"oc_opt_amp_state_instant_output_power_c_band_dbm_to_high", "output_power", true, "output-power-c-band/instant"}};

class OtsValue : public PluginTest, public testing::WithParamInterface<ValueConverter> {
  protected:
    void SetUp() override {
        output_list_entry(container("amplifier", {leaf("name", "0/1-AMP-PRE").key()}));
        platform.name_node(&request.plist, "plist");
    }
    cerrno convert(const Node &leaf_node) { return call(GetParam().name, tree(leaf_node)); }
    std::string write(const char *value) const { return add(state + GetParam().oc_leaf, ns::openconfig, value); }
    // The key look-up of the power members; `path` is what the look-up leaves in the path buffer.
    Lines key_lookup(const std::string &key, const std::string &path) const {
        if (!GetParam().looks_up_key)
            return {};
        return lines(print_tree(node("plist"), "plist"), compare_path_trace(&request.plist, "amplifier/name"),
                     trc("key:  " + key + " "), trc("controller_name:  " + path + " "));
    }
    // The sequence without the line whose text depends on what a look-up leaves in its path buffer.
    Lines sequence() const {
        Lines kept;
        for (const std::string &line : platform.calls())
            if (!line.starts_with(trc("controller_name:  ")))
                kept.push_back(line);
        return kept;
    }
    Lines expected_lookup(const std::string &key) const {
        Lines lookup = key_lookup(key, "");
        if (!lookup.empty())
            lookup.pop_back();
        return lookup;
    }
};

TEST_P(OtsValue, HundredthsBecomeTwoDecimals) {
    EXPECT_EQ(convert(leaf("native", "-1234")), CERR_SUCCESS);
    EXPECT_SAME_TEXT(
        text_of(sequence()),
        text_of(lines(trc("Start"), expected_lookup("0/1-AMP-PRE"), trc(GetParam().words + "-native = -1234"),
                      trc(GetParam().words + "-oc = -12.34"), write("-12.34"), trc("End"))));
}

TEST_P(OtsValue, LeadingZerosAreLeftOut) {
    const std::vector<std::pair<const char *, const char *>> shown_as{
        {"0017", "0.17"}, {"-007", "-0.07"}, {"000", "0.00"}, {"01750", "17.50"}};
    for (const auto &[native, text] : shown_as) {
        platform.forget_calls();
        EXPECT_EQ(convert(leaf("native", native)), CERR_SUCCESS);
        expect_writes({write(text)});
    }
}

TEST_P(OtsValue, TextThatRunsPastTheBufferIsCut) {
    EXPECT_EQ(convert(leaf("native", "1e300")), CERR_SUCCESS);
    const std::string whole = std::to_string(1e300 / 100.0);
    const std::string printed = whole.substr(0, 199);
    expect_writes({write(printed.c_str())});
}

TEST_P(OtsValue, LeafWithoutValueGivesTheEmptyText) {
    EXPECT_EQ(convert(leaf("native")), CERR_SUCCESS);
    EXPECT_SAME_TEXT(text_of(sequence()),
                     text_of(lines(trc("Start"), expected_lookup("0/1-AMP-PRE"), write(""), trc("End"))));
}

TEST_P(OtsValue, DoesNotDependOnTheKey) {
    request.plist.node_flags = 0;
    EXPECT_EQ(convert(leaf("native", "100")), CERR_SUCCESS);
    expect_writes({write("1.00")});
}

TEST_P(OtsValue, KeyLookupIsTracedByThePowersAlone) {
    convert(leaf("native", "100"));
    const Lines tail = messages();
    const auto key_line = std::find(tail.begin(), tail.end(), trc("key:  0/1-AMP-PRE "));
    ASSERT_EQ(key_line != tail.end(), GetParam().looks_up_key);
    if (GetParam().looks_up_key) {
        EXPECT_THAT(*(key_line + 1),
                    testing::AllOf(testing::StartsWith("TRC controller_name:  "), testing::EndsWith(" ")));
    }
}

struct Hundredths {
    std::string native, oc;
};

TEST_P(OtsValue, IsDividedAndPrinted) {
    for (const Hundredths &value :
         {Hundredths{"1750", "17.50"}, Hundredths{"-5", "-0.05"}, Hundredths{"abc", "0.00"}, Hundredths{"", "0.00"},
          Hundredths{"0", "0.00"}, Hundredths{"12.5", "0.12"}, Hundredths{" 250", "2.50"}, Hundredths{"300x", "3.00"},
          Hundredths{"-99999999", "-999999.99"}, Hundredths{"-999999999999999", "-9999999999999.99"}}) {
        platform.forget_calls();
        EXPECT_EQ(convert(leaf("native", value.native)), CERR_SUCCESS);
        expect_writes({write(value.oc.c_str())});
    }
}

TEST_P(OtsValue, IsCopiedAndPrintedBounded) {
    const std::string value = long_text("1", 400, '0');
    EXPECT_EQ(convert(leaf("native", value)), CERR_SUCCESS);
    EXPECT_THAT(platform.calls_of({"yfw_strcpy_s"}),
                testing::Contains("yfw_strcpy_s \"" + GetParam().name + "\" 200 \"" + value + "\""));
    EXPECT_EQ(writes().size(), 1U);
    EXPECT_EQ(convert(leaf("native", "1e300")), CERR_SUCCESS);
    EXPECT_EQ(writes().size(), 2U);
}

TEST_P(OtsValue, ReturnsTheResultOfTheWrite) {
    platform.answer("yfw_map_datatree_add_path_flagged", 0x99);
    EXPECT_EQ(convert(leaf("native", "1")), 0x99U);
    EXPECT_EQ(messages().back(), trc("End"));
}

TEST_P(OtsValue, LongKeyIsCutNotOverrun) {
    output_list_entry(container("amplifier", {leaf("name", std::string(500, 'k')).key()}));
    EXPECT_EQ(convert(leaf("native", "100")), CERR_SUCCESS);
    expect_writes({write("1.00")});
}

TEST_P(OtsValue, RefusesMissingNodes) {
    expect_refuses_missing_nodes(GetParam().name, true);
}

TEST_P(OtsValue, AssertsItsContext) {
    expect_context_assertion(GetParam().name, call_handler_without_context);
}

INSTANTIATE_TEST_SUITE_P(Converters, OtsValue, testing::ValuesIn(value_converters),
                         [](const auto &test) { return test.param.name; });

// ---- Texts ------------------------------------------------------------------------------------------------------

class OtsText : public PluginTest {
  protected:
    const std::string enabled = "oc_opt_amp_state_enabled_to_high";
    const std::string gain_range = "oc_opt_amp_state_gain_range_to_high";
};

TEST_F(OtsText, EnabledIsInverted) {
    EXPECT_EQ(call_text(enabled, tree(leaf("osri-config-val", "true"))), "\"false\"");
    EXPECT_EQ(call_text(enabled, tree(leaf("osri-config-val", "false"))), "\"true\"");
    EXPECT_EQ(call_text(enabled, tree(leaf("osri-config-val", "TRUE"))), "\"true\"");
    EXPECT_EQ(call_text(enabled, tree(leaf("osri-config-val", ""))), "\"true\"");
    EXPECT_EQ(call_text(enabled, tree(leaf("osri-config-val"))), "none");
    expect_writes({});
}

TEST_F(OtsText, GainRangeIsTranslated) {
    EXPECT_EQ(call_text(gain_range, tree(leaf("x", "amplifier-gain-range-normal"))), "\"LOW_GAIN_RANGE\"");
    EXPECT_EQ(call_text(gain_range, tree(leaf("x", "amplifier-gain-range-ext-end-ed"))), "\"HIGH_GAIN_RANGE\"");
    EXPECT_EQ(call_text(gain_range, tree(leaf("x", "AMPLIFIER-GAIN-RANGE-NORMAL"))), "none");
    EXPECT_EQ(call_text(gain_range, tree(leaf("x", ""))), "none");
    EXPECT_EQ(call_text(gain_range, tree(leaf("x"))), "\"LOW_GAIN_RANGE\"") << "absent means the low range";
}

TEST_F(OtsText, GainRangeTracesTheNativeValue) {
    call_text(gain_range, tree(leaf("x", "amplifier-gain-range-normal")));
    EXPECT_THAT(messages(), testing::Contains(trc("gain_range = amplifier-gain-range-normal")));
}

TEST_F(OtsText, MissingNodesAreReportedAndGiveNone) {
    for (const std::string &converter : {enabled, gain_range}) {
        platform.forget_calls();
        EXPECT_EQ(call_text(converter, nullptr), "none");
        EXPECT_EQ(plugin().text_converter(converter)(ctx, tree(leaf("x", "true")), nullptr), nullptr);
        EXPECT_THAT(messages(), testing::Contains(err("Invalid arguments passed!")).Times(2));
        EXPECT_EQ(platform.calls_of({"yfw_oc_error_path"}).size(), 2U);
    }
}

TEST_F(OtsText, ConvertersAssertTheirContext) {
    expect_context_assertion(enabled, call_text_converter_without_context);
    expect_context_assertion(gain_range, call_text_converter_without_context);
}

// ---- Key --------------------------------------------------------------------------------------------------------

class OtsKey : public PluginTest {
  protected:
    cerrno convert(const Node &name) { return call("oc_opt_amp_state_get_amplifier_key_to_high", tree(name)); }
    static Lines amplifier_state(const char *amplifier, const char *ingress, const char *egress) {
        return {search_list(oc_amplifier, "name", amplifier),
                add(state + "name", ns::openconfig, amplifier),
                trc("state_type EDFA"),
                add(state + "type", ns::openconfig, "EDFA"),
                trc("state_amp-mode CONSTANT_GAIN"),
                add(state + "amp-mode", ns::openconfig, "CONSTANT_GAIN"),
                add(state + "ingress-port", ns::openconfig, ingress),
                add(state + "egress-port", ns::openconfig, egress)};
    }
    // Everything but the trace of the leaf's value, whose wording is not fixed.
    void expect_sequence(const Lines &expected, const std::string &value) const {
        Lines kept;
        unsigned traced = 0;
        for (const std::string &line : platform.calls())
            if (traced == 0 && line.starts_with("TRC") && line.ends_with(value) &&
                line.find("controller_name = ") == std::string::npos && line.find("amp") == std::string::npos)
                ++traced;
            else
                kept.push_back(line);
        EXPECT_EQ(traced, 1U) << "the value is traced";
        EXPECT_SAME_TEXT(text_of(kept), text_of(expected));
    }
};

TEST_F(OtsKey, CreatesTheAmplifierWithItsFixedState) {
    platform.put_amplifier("0/1-AMP-PRE");
    client_request(container("optical-amplifier", {container("amplifiers")}));
    EXPECT_EQ(convert(leaf("name", "Ots0/1/0/0")), CERR_SUCCESS);
    expect_sequence(lines(trc("Start"), print_tree(node("reg_dup_datatree"), "reg_dup_datatree"),
                          ots_check("Ots0/1/0/0", "0/1-AMP-PRE", true),
                          amplifier_state("0/1-AMP-PRE", "0/1-OtsCtrl-0/1", "0/1-OtsCtrl-0/0"), trc("End")),
                    "Ots0/1/0/0");
}

TEST_F(OtsKey, BoosterHasItsPortsTheOtherWayRound) {
    platform.put_amplifier("0/3-AMP-BST");
    client_request(container("optical-amplifier"));
    EXPECT_EQ(convert(leaf("name", "Ots0/3/0/1")), CERR_SUCCESS);
    expect_writes({add(state + "name", ns::openconfig, "0/3-AMP-BST"), add(state + "type", ns::openconfig, "EDFA"),
                   add(state + "amp-mode", ns::openconfig, "CONSTANT_GAIN"),
                   add(state + "ingress-port", ns::openconfig, "0/3-OtsCtrl-0/0"),
                   add(state + "egress-port", ns::openconfig, "0/3-OtsCtrl-0/1")});
}

TEST_F(OtsKey, ThatIsNotAnOtsControllerWritesNothing) {
    client_request(container("optical-amplifier", {container("amplifiers")}));
    EXPECT_EQ(convert(leaf("name", "Och0/1/0/0")), CERR_SUCCESS);
    expect_sequence(lines(trc("Start"), print_tree(node("reg_dup_datatree"), "reg_dup_datatree"),
                          ots_check_wrong_port("Och0/1/0/0", -1), trc("End")),
                    "Och0/1/0/0");
}

TEST_F(OtsKey, OfAnAmplifierThatDoesNotExistWritesNothing) {
    client_request(container("optical-amplifier"));
    EXPECT_EQ(convert(leaf("name", "Ots0/1/0/0")), CERR_SUCCESS);
    EXPECT_TRUE(searches().empty());
    expect_writes({});
}

// The reading that holds: a request that names channels only creates no amplifier.
TEST_F(OtsKey, OfAChannelsOnlyRequestCreatesNoAmplifier) {
    all_amplifiers_exist();
    client_request(container("optical-amplifier", {container("supervisory-channels")}));
    EXPECT_EQ(convert(leaf("name", "Ots0/1/0/0")), CERR_SUCCESS);
    EXPECT_TRUE(searches().empty());
    expect_writes({});
    EXPECT_TRUE(platform.calls_of({"_sysdb_bind"}).empty()) << "the name is not checked";
    EXPECT_EQ(messages().back(), trc("End"));
}

TEST_F(OtsKey, OfARequestForBothListsCreatesTheAmplifier) {
    all_amplifiers_exist();
    client_request(container("optical-amplifier", {container("supervisory-channels"), container("amplifiers")}));
    EXPECT_EQ(convert(leaf("name", "Ots0/1/0/0")), CERR_SUCCESS);
    EXPECT_EQ(searches().size(), 1U);
}

TEST_F(OtsKey, OfARequestElsewhereCreatesNothing) {
    all_amplifiers_exist();
    client_request(container("something-else"));
    EXPECT_EQ(convert(leaf("name", "Ots0/1/0/0")), CERR_SUCCESS);
    EXPECT_TRUE(searches().empty());
    expect_writes({});
}

TEST_F(OtsKey, WithoutValueWritesNothing) {
    all_amplifiers_exist();
    client_request(container("optical-amplifier"));
    EXPECT_EQ(convert(leaf("name")), CERR_SUCCESS);
    EXPECT_TRUE(searches().empty());
    expect_writes({});
}

TEST_F(OtsKey, OfAnotherKindChecksTheNameAndWritesNothing) {
    all_amplifiers_exist();
    client_request(container("optical-amplifier"));
    for (const uint32_t other : {0U, 1U}) {
        kind(other);
        EXPECT_EQ(convert(leaf("name", "Ots0/1/0/0")), CERR_SUCCESS);
    }
    EXPECT_TRUE(searches().empty());
    expect_writes({});
    EXPECT_EQ(platform.calls_of({"_sysdb_bind"}).size(), 2U);
}

TEST_F(OtsKey, ReturnsTheResultOfTheEgressPort) {
    all_amplifiers_exist();
    client_request(container("optical-amplifier"));
    platform.answer("yfw_map_search_or_add_list", 0x11);
    platform.answer("yfw_map_datatree_add_path_flagged", 0x12, 1);
    EXPECT_EQ(convert(leaf("name", "Ots0/1/0/0")), CERR_SUCCESS) << "earlier results are ignored";
    platform.answer("yfw_map_datatree_add_path_flagged", 0x22, 0, "egress-port");
    EXPECT_EQ(convert(leaf("name", "Ots0/1/0/0")), 0x22U);
}

TEST_F(OtsKey, RefusesMissingNodes) {
    expect_refuses_missing_nodes("oc_opt_amp_state_get_amplifier_key_to_high", true);
}

} // namespace
