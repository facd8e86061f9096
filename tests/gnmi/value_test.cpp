// How values are written in each encoding, and what is made of those that clients send.
#include "server/gnmi/value.h"

#include "messages.h"
#include "yang/models.h"

#include <limits>

#include <nlohmann/json.hpp>

using namespace gnmi_tests;
using testing::HasSubstr;

namespace {

const std::string amplifier = "optical-amplifier/amplifiers/amplifier[name=a]";
const std::string gain = amplifier + "/config/target-gain";

const LeafTest all = [](const lysc_node &) { return true; };

::gnmi::TypedValue json_value(const std::string &text) {
    ::gnmi::TypedValue value;
    value.set_json_val(text);
    return value;
}

::gnmi::TypedValue ietf_value(const std::string &text) {
    ::gnmi::TypedValue value;
    value.set_json_ietf_val(text);
    return value;
}

std::string edit_of(const std::string &path, const ::gnmi::TypedValue &value) {
    return edit_value(openconfig_schema(), &leaf_at(path), value, "/p").dump();
}

const lysc_node &native_leaf(const std::string &text) {
    ::gnmi::Path path = path_of(text);
    path.set_origin("native");
    return *schema_nodes(joined({}, path)).at(0);
}

TEST(GnmiValue, OneLeafInEachEncoding) {
    const lysc_node &decimal = leaf_at(gain), &flag = leaf_at(amplifier + "/config/enabled"),
                    &identity = leaf_at(amplifier + "/state/type");
    EXPECT_EQ(leaf_value(decimal, "17.5", ::gnmi::JSON).json_val(), "17.5");
    EXPECT_EQ(leaf_value(decimal, "17.5", ::gnmi::JSON_IETF).json_ietf_val(), "\"17.5\"");
    EXPECT_EQ(leaf_value(decimal, "17.5", ::gnmi::PROTO).double_val(), 17.5);
    EXPECT_EQ(leaf_value(decimal, "17.5", ::gnmi::ASCII).ascii_val(), "17.5");
    EXPECT_EQ(leaf_value(flag, "true", ::gnmi::JSON_IETF).json_ietf_val(), "true");
    EXPECT_TRUE(leaf_value(flag, "true", ::gnmi::PROTO).bool_val());
    EXPECT_EQ(leaf_value(flag, "false", ::gnmi::PROTO).value_case(), ::gnmi::TypedValue::kBoolVal);
    const std::string edfa = "openconfig-optical-amplifier:EDFA";
    EXPECT_EQ(leaf_value(identity, edfa, ::gnmi::JSON).json_val(), "\"EDFA\"");
    EXPECT_EQ(leaf_value(identity, edfa, ::gnmi::JSON_IETF).json_ietf_val(), "\"" + edfa + "\"");
    EXPECT_EQ(leaf_value(identity, edfa, ::gnmi::PROTO).string_val(), "EDFA");
    EXPECT_EQ(leaf_value(identity, edfa, ::gnmi::ASCII).ascii_val(), "EDFA");
}

TEST(GnmiValue, OfAnotherTypeIsToldWhichIsExpected) {
    const lysc_node &number = native_leaf("interface-configurations/interface-configuration/optics/"
                                          "optics-ots-amplifier-gain");
    EXPECT_THAT([&] { edit_value(schema_of(Origin::native), &number, json_value("{}"), "/p"); },
                refused_with(Code::invalid_argument, "expected a whole number"));
}

TEST(GnmiValue, ALeafWithoutAValueIsTakenAsItIsTold) {
    const lysc_node &shutdown = native_leaf("interface-configurations/interface-configuration/shutdown");
    for (const auto encoding : {::gnmi::JSON, ::gnmi::JSON_IETF, ::gnmi::PROTO, ::gnmi::ASCII})
        EXPECT_EQ(edit_value(native_schema(), &shutdown, leaf_value(shutdown, "", encoding), "/p").dump(), "[null]");
    ::gnmi::TypedValue value;
    value.set_bool_val(false);
    EXPECT_THAT([&] { edit_value(native_schema(), &shutdown, value, "/p"); },
                refused_with(Code::invalid_argument, "expected [null]"));
    value.set_ascii_val("true");
    EXPECT_THAT([&] { edit_value(native_schema(), &shutdown, value, "/p"); },
                refused_with(Code::invalid_argument, "is 'true'"));
}

TEST(GnmiValue, IntegersGoBySign) {
    const std::string optics = "interface-configurations/interface-configuration/optics/";
    const lysc_node &with_sign = native_leaf(optics + "optics-ots-amplifier-gain"),
                    &without = native_leaf(optics + "optics-ots-rx-voa-attenuation");
    EXPECT_EQ(leaf_value(with_sign, "-5", ::gnmi::PROTO).int_val(), -5);
    EXPECT_EQ(leaf_value(without, "175", ::gnmi::PROTO).uint_val(), 175U);
    EXPECT_EQ(leaf_value(with_sign, "-5", ::gnmi::JSON_IETF).json_ietf_val(), "-5");
}

TEST(GnmiValue, IntegersOf64BitsAreTextsInIetfJsonAlone) {
    // The device has none of them, but the model does.
    const lysc_node &interval =
        *openconfig_schema().find(leaf_at(amplifier + "/state/actual-gain/instant").parent, "interval");
    EXPECT_EQ(leaf_value(interval, "30000000000", ::gnmi::JSON).json_val(), "30000000000");
    EXPECT_EQ(leaf_value(interval, "30000000000", ::gnmi::JSON_IETF).json_ietf_val(), "\"30000000000\"");
    EXPECT_EQ(leaf_value(interval, "30000000000", ::gnmi::PROTO).uint_val(), 30000000000U);
    EXPECT_EQ(leaf_value(interval, "30000000000", ::gnmi::ASCII).ascii_val(), "30000000000");
}

TEST(GnmiValue, TextThatIsNoUtf8IsWrittenAllTheSame) {
    EXPECT_EQ(leaf_value(leaf_at(amplifier + "/name"), "a\xff", ::gnmi::JSON).json_val(), "\"a\xef\xbf\xbd\"");
}

TEST(GnmiValue, EncodingsThatAreNotSupportedAreNamed) {
    for (const auto encoding : {::gnmi::JSON, ::gnmi::JSON_IETF, ::gnmi::PROTO, ::gnmi::ASCII})
        EXPECT_NO_THROW(check_encoding(encoding));
    EXPECT_THAT([] { check_encoding(::gnmi::BYTES); }, refused_with(Code::unimplemented, "BYTES"));
    EXPECT_THAT([] { check_encoding(static_cast<::gnmi::Encoding>(77)); }, refused_with(Code::unimplemented, "77"));
}

TEST(GnmiValue, SubtreeAsJson) {
    const YangTree tree = two_amplifiers();
    const Path path = joined({}, path_of(amplifier));
    const lyd_node &entry = *data_nodes(tree, path).at(0);
    EXPECT_EQ(json_of(entry, false, all, 0).dump(),
              R"({"name":"a","config":{"name":"a","target-gain":17.5,"enabled":true},)"
              R"("state":{"name":"a","type":"EDFA","actual-gain":{"instant":17.25}}})");
    EXPECT_THAT(json_of(entry, true, all, 0).dump(),
                HasSubstr(R"("openconfig-optical-amplifier:config":{"name":"a","target-gain":"17.5")"));
    // Levels count from the node, and an entry keeps its key whatever is wanted.
    EXPECT_EQ(json_of(entry, false, all, 1).dump(), R"({"name":"a"})");
    EXPECT_EQ(json_of(entry, false, all, 2).dump(),
              R"({"name":"a","config":{"name":"a","target-gain":17.5,"enabled":true},)"
              R"("state":{"name":"a","type":"EDFA"}})");
    const auto gains = [](const lysc_node &leaf) { return std::string_view(leaf.name) == "target-gain"; };
    EXPECT_EQ(json_of(entry, false, gains, 0).dump(), R"({"name":"a","config":{"target-gain":17.5}})");
    EXPECT_TRUE(json_of(
                    entry, false, [](const lysc_node &) { return false; }, 0)
                    .is_discarded());
}

TEST(GnmiValue, EveryFormOfAClientsNumber) {
    ::gnmi::TypedValue value;
    value.set_double_val(1.5);
    EXPECT_EQ(edit_of(gain, value), R"("1.5")");
    value.set_float_val(2.3F);
    EXPECT_EQ(edit_of(gain, value), R"("2.3")");
    value.set_int_val(-3);
    EXPECT_EQ(edit_of(gain, value), R"("-3")");
    value.set_uint_val(std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(edit_of(gain, value), R"("18446744073709551615")");
    value.set_ascii_val("4.5");
    EXPECT_EQ(edit_of(gain, value), R"("4.5")");
    value.mutable_decimal_val()->set_digits(-5);
    value.mutable_decimal_val()->set_precision(2);
    EXPECT_EQ(edit_of(gain, value), R"("-0.05")");
    value.mutable_decimal_val()->set_digits(std::numeric_limits<std::int64_t>::min());
    value.mutable_decimal_val()->set_precision(0);
    EXPECT_EQ(edit_of(gain, value), R"("-9223372036854775808")");
    EXPECT_EQ(edit_of(gain, json_value("6.5")), R"("6.5")");
    EXPECT_EQ(edit_of(gain, json_value(R"("6.5")")), R"("6.5")");
    EXPECT_EQ(edit_of(gain, ietf_value(R"("7.5")")), R"("7.5")");
}

TEST(GnmiValue, ValuesThatTheLeafCannotHaveAreRefusedWithItsPlace) {
    ::gnmi::TypedValue value;
    EXPECT_THAT([&] { edit_of(gain, value); }, refused_with(Code::invalid_argument, "/p: has no value"));
    value.set_string_val("17");
    EXPECT_THAT([&] { edit_of(gain, value); }, refused_with(Code::invalid_argument, "a decimal number"));
    value.set_bool_val(true);
    EXPECT_THAT([&] { edit_of(gain, value); }, refused_with(Code::invalid_argument, "is a boolean"));
    value.set_double_val(std::numeric_limits<double>::infinity());
    EXPECT_THAT([&] { edit_of(gain, value); }, refused_with(Code::invalid_argument, "inf"));
    value.mutable_decimal_val()->set_precision(19);
    EXPECT_THAT([&] { edit_of(gain, value); }, refused_with(Code::invalid_argument, "19 fraction digits"));
    value.set_bytes_val("1");
    EXPECT_THAT([&] { edit_of(gain, value); }, refused_with(Code::unimplemented, "bytes_val"));
    value.set_ascii_val("maybe");
    EXPECT_THAT([&] { edit_of(amplifier + "/config/enabled", value); },
                refused_with(Code::invalid_argument, "a boolean"));
    value.set_int_val(1);
    EXPECT_THAT([&] { edit_of(amplifier + "/config", value); }, refused_with(Code::invalid_argument, "is no leaf"));
    EXPECT_THAT([&] { edit_of(amplifier + "/state/type", value); }, refused_with(Code::invalid_argument, "read-only"));
}

TEST(GnmiValue, JsonIsHeldAgainstTheModel) {
    const std::string config = amplifier + "/config";
    EXPECT_EQ(edit_of(config, json_value(R"({"target-gain": 1.5, "openconfig-optical-amplifier:enabled": false})")),
              R"({"target-gain":"1.5","enabled":false})");
    for (const auto &[text, words] : std::initializer_list<std::pair<const char *, const char *>>{
             {"{", "not JSON"},
             {"[1]", "expected an object"},
             {R"({"colour": 1})", "/p/colour: is not in the model"},
             {R"({"other:target-gain": 1})", "not in the model"},
             {R"({"target-gain": 1, "target-gain": 2})", "given twice"},
             {R"({"target-gain": 1, "openconfig-optical-amplifier:target-gain": 2})", "given twice"},
             {R"({"target-gain": null})", "expected a decimal number"},
             {R"({"target-gain": {}})", "expected a decimal number"},
             {"\xff", "not JSON"}})
        EXPECT_THAT(([&, json = text] { edit_of(config, json_value(json)); }),
                    refused_with(Code::invalid_argument, words))
            << text;
    EXPECT_THAT([&] { edit_of(config, json_value(R"({"max-gain": 1})")); },
                refused_with(Code::unimplemented, "/p/max-gain"));
    EXPECT_THAT([&] { edit_of("optical-amplifier/amplifiers", json_value(R"({"amplifier": {"name": "a"}})")); },
                refused_with(Code::invalid_argument, "expected an array"));
    EXPECT_THAT([&] { edit_of(config, json_value(std::string(100000, '['))); },
                refused_with(Code::invalid_argument, "nested deeper than 64"));
}

TEST(GnmiValue, WhatHoldsOthersIsTakenInJsonAlone) {
    const lysc_node &container = leaf_at(amplifier + "/config");
    ::gnmi::TypedValue value;
    value.set_bytes_val("x");
    EXPECT_THAT([&] { edit_value(openconfig_schema(), &container, value, "/p"); },
                refused_with(Code::unimplemented, "/p: is given as bytes_val, expected json_ietf_val or json_val"));
    value.set_string_val("x");
    EXPECT_THAT([&] { edit_value(openconfig_schema(), &container, value, "/p"); },
                refused_with(Code::invalid_argument, "/p: is no leaf, expected a value in JSON or JSON_IETF"));
}

TEST(GnmiValue, JsonOfAListIsAnArrayOfItsEntries) {
    const std::string list = "optical-amplifier/amplifiers/amplifier";
    EXPECT_EQ(edit_of(list, json_value(R"([{"name": "a", "config": {"target-gain": 1.5}}, {"name": "b"}])")),
              R"([{"name":"a","config":{"target-gain":"1.5"}},{"name":"b"}])");
    EXPECT_EQ(edit_of(list, json_value("[]")), "[]");
    EXPECT_THAT([&] { edit_of(list, json_value("[1]")); },
                refused_with(Code::invalid_argument, "/p: is a JSON number, expected an object"));
    EXPECT_THAT([&] { edit_of(list, json_value(R"([{"state": {}}])")); },
                refused_with(Code::invalid_argument, "/p/state: is read-only"));
}

TEST(GnmiValue, JsonMayHoldListsAndNodesOfOtherModules) {
    EXPECT_EQ(edit_of("optical-amplifier/amplifiers", json_value(R"({"amplifier": [{"name": "a"}]})")),
              R"({"amplifier":[{"name":"a"}]})");
    const lysc_node &entry = native_leaf("interface-configurations/interface-configuration");
    for (const char *name : {"optics", "Korvex-controller-optics-cfg:optics"})
        EXPECT_EQ(edit_value(native_schema(), &entry,
                             json_value(std::string("{\"") + name + R"(": {"optics-ots-amplifier-gain": 131}})"), "/p")
                      .dump(),
                  R"({"Korvex-controller-optics-cfg:optics":{"optics-ots-amplifier-gain":131}})")
            << name;
}

TEST(GnmiValue, JsonOfTheRootNamesModules) {
    const auto edit = [](const std::string &json) {
        return edit_value(openconfig_schema(), nullptr, json_value(json), "/").dump();
    };
    EXPECT_EQ(edit(R"({"optical-amplifier": {}})"), R"({"openconfig-optical-amplifier:optical-amplifier":{}})");
    EXPECT_THAT([&] { edit(R"({"colour": 1})"); }, testing::ThrowsMessage<RpcError>("/colour: is not in the model"));
    ::gnmi::TypedValue value;
    value.set_string_val("x");
    EXPECT_THAT([&] { edit_value(openconfig_schema(), nullptr, value, "/"); },
                refused_with(Code::invalid_argument, "/: is no leaf"));
}

TEST(GnmiValue, WhatIsExpectedIsToldByTheTypeOfTheLeaf) {
    const std::string optics = "interface-configurations/interface-configuration/optics/";
    const lysc_node &number = native_leaf(optics + "optics-ots-amplifier-gain"),
                    &word = native_leaf(optics + "optics-loopback"), &decimal = leaf_at(gain),
                    &flag = leaf_at(amplifier + "/config/enabled"), &name = leaf_at(amplifier + "/config/name");
    const auto expect_refused = [](const Schema &schema, const lysc_node &leaf, const ::gnmi::TypedValue &value,
                                   const std::string &words) {
        EXPECT_THAT([&] { edit_value(schema, &leaf, value, "/p"); }, refused_with(Code::invalid_argument, words));
    };
    expect_refused(native_schema(), number, json_value("{}"), "is a JSON object, expected a whole number");
    expect_refused(native_schema(), word, json_value("[1]"), "is a JSON array, expected an enumeration");
    expect_refused(openconfig_schema(), name, json_value("null"), "is a JSON null, expected a string");
    ::gnmi::TypedValue value;
    value.set_ascii_val("12x");
    expect_refused(native_schema(), number, value, "is '12x', expected a whole number");
    value.set_ascii_val("99999999999999999999");
    expect_refused(native_schema(), number, value, "is '99999999999999999999', expected a whole number");
    value.set_string_val("true");
    expect_refused(openconfig_schema(), flag, value, "is a string, expected a boolean");
    expect_refused(native_schema(), number, value, "is a string, expected a whole number");
    value.set_bool_val(true);
    expect_refused(openconfig_schema(), decimal, value, "is a boolean, expected a decimal number");
    value.set_double_val(1.5);
    expect_refused(native_schema(), number, value, "is the number 1.5, expected a whole number");
    value.set_int_val(1);
    expect_refused(openconfig_schema(), name, value, "is the number 1, expected a string");
    value.set_uint_val(1);
    expect_refused(openconfig_schema(), flag, value, "is the number 1, expected a boolean");
    value.mutable_decimal_val()->set_digits(1);
    expect_refused(native_schema(), number, value, "is a decimal, expected a whole number");
    expect_refused(native_schema(), word, json_value("null"), "is a JSON null, expected an enumeration");
    expect_refused(openconfig_schema(), *openconfig_schema().find(flag.parent, "type"), json_value("{}"),
                   "expected an identity");
    // And what is taken.
    value.set_int_val(-12);
    EXPECT_EQ(edit_value(native_schema(), &number, value, "/p").dump(), "-12");
    value.set_uint_val(12);
    EXPECT_EQ(edit_value(native_schema(), &number, value, "/p").dump(), "12");
    value.set_ascii_val("true");
    EXPECT_EQ(edit_value(openconfig_schema(), &flag, value, "/p").dump(), "true");
    value.set_ascii_val("-12");
    EXPECT_EQ(edit_value(native_schema(), &number, value, "/p").dump(), "-12");
    value.set_ascii_val("false");
    EXPECT_EQ(edit_value(openconfig_schema(), &flag, value, "/p").dump(), "false");
    value.set_bool_val(false);
    EXPECT_EQ(edit_value(openconfig_schema(), &flag, value, "/p").dump(), "false");
    EXPECT_EQ(leaf_value(word, "none", ::gnmi::JSON).json_val(), "\"none\"");
}

} // namespace
