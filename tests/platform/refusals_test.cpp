// How refusals read: their one form, their tags, and what they tell of values that the node cannot hold.
#include "node/native_edit.h"
#include "node/native_range.h"
#include "node/node.h"
#include "seam/codes.h"
#include "seam/text.h"
#include "yang/models.h"
#include "yang/request_error.h"

#include <memory>

#include <gmock/gmock.h>
#include <libyang/libyang.h>

using namespace ocamp;

namespace {

TEST(RefusalForm, IsPathReasonTag) {
    EXPECT_STREQ(RequestError(error_tag::data_missing, "/a/b", "does not exist").what(),
                 "/a/b: does not exist [data-missing]");
}

TEST(RefusalForm, OfThePluginHasItsCodeBehind) {
    const RequestError refusal(YMAP_RC_UNSUPPORTED, "/a/min-gain");
    EXPECT_STREQ(refusal.what(), "/a/min-gain: Node is not supported [operation-not-supported] (0xaaf2ee00)");
    EXPECT_EQ(refusal.code(), YMAP_RC_UNSUPPORTED);
    EXPECT_EQ(refusal.tag(), ErrorTag::not_supported);
    EXPECT_EQ(refusal.path(), "/a/min-gain");
}

TEST(RefusalForm, OfTheWholeRequestHasThePathOfTheRoot) {
    EXPECT_STREQ(RequestError(error_tag::operation_failed, "", "failed").what(), "/: failed [operation-failed]");
}

TEST(RefusalForm, LongPathsAndReasonsAreShortened) {
    const RequestError refusal(error_tag::invalid_value, "/list[key='" + std::string(5000, 'k') + "']/leaf",
                               "begin " + std::string(100000, 'r') + " end");
    const std::string text = refusal.what();
    EXPECT_LT(text.size(), 1400U);
    EXPECT_THAT(text, testing::StartsWith("/list[key='kkkk"));
    EXPECT_THAT(text, testing::HasSubstr(" ... [5018 bytes] ... "));
    EXPECT_THAT(text, testing::HasSubstr("kkkk']/leaf: begin rrrr"));
    EXPECT_THAT(text, testing::HasSubstr(" ... [100010 bytes] ... "));
    EXPECT_THAT(text, testing::EndsWith("rrrr end [invalid-value]"));
    EXPECT_EQ(refusal.path().size(), 5018U);
}

TEST(RefusalTags, AreWrittenAsTheStandardWritesThem) {
    EXPECT_EQ(word_of(ErrorTag::in_use), "in-use");
    EXPECT_EQ(word_of(ErrorTag::invalid_value), "invalid-value");
    EXPECT_EQ(word_of(ErrorTag::too_big), "too-big");
    EXPECT_EQ(word_of(ErrorTag::missing_attribute), "missing-attribute");
    EXPECT_EQ(word_of(ErrorTag::bad_attribute), "bad-attribute");
    EXPECT_EQ(word_of(ErrorTag::unknown_attribute), "unknown-attribute");
    EXPECT_EQ(word_of(ErrorTag::missing_element), "missing-element");
    EXPECT_EQ(word_of(ErrorTag::bad_element), "bad-element");
    EXPECT_EQ(word_of(ErrorTag::unknown_element), "unknown-element");
    EXPECT_EQ(word_of(ErrorTag::unknown_namespace), "unknown-namespace");
    EXPECT_EQ(word_of(ErrorTag::access_denied), "access-denied");
    EXPECT_EQ(word_of(ErrorTag::lock_denied), "lock-denied");
    EXPECT_EQ(word_of(ErrorTag::resource_denied), "resource-denied");
    EXPECT_EQ(word_of(ErrorTag::rollback_failed), "rollback-failed");
    EXPECT_EQ(word_of(ErrorTag::data_exists), "data-exists");
    EXPECT_EQ(word_of(ErrorTag::data_missing), "data-missing");
    EXPECT_EQ(word_of(ErrorTag::not_supported), "operation-not-supported");
    EXPECT_EQ(word_of(ErrorTag::operation_failed), "operation-failed");
    EXPECT_EQ(word_of(ErrorTag::malformed_message), "malformed-message");
}

TEST(RefusalTags, FitTheCodesOfWalkers) {
    const struct {
        cerrno code;
        ErrorTag tag;
    } rows[] = {
        {YMAP_RC_UNSUPPORTED, ErrorTag::not_supported},    {YMAP_RC_AUGMENT_UNSUPPORTED, ErrorTag::not_supported},
        {YMAP_RC_KEY_DELETE, ErrorTag::bad_attribute},     {YMAP_RC_BAD_KEY, ErrorTag::missing_element},
        {rc_leafref_mismatch, ErrorTag::invalid_value},    {rc_out_of_memory, ErrorTag::resource_denied},
        {YMAP_RC_BAD_SUBTREE, ErrorTag::operation_failed}, {YMAP_RC_INVALID_ARGS, ErrorTag::operation_failed},
        {YMAP_RC_SKIP, ErrorTag::operation_failed},        {SYSDB_RC_UNAVAILABLE, ErrorTag::operation_failed},
        {0x12345678, ErrorTag::operation_failed},
    };
    for (const auto &row : rows)
        EXPECT_EQ(RequestError(row.code, "/a").tag(), row.tag) << cerr_strerror(row.code);
}

TEST(TrimmedText, IsWithoutWhiteSpaceAroundIt) {
    EXPECT_EQ(trimmed(" \t\r\na b \n"), "a b");
    EXPECT_EQ(trimmed("a"), "a");
    EXPECT_EQ(trimmed(" \n"), "");
    EXPECT_EQ(trimmed("\va"), "\va");
    EXPECT_EQ(without_leading_blanks(" \t\r\na b \n"), "a b \n");
    EXPECT_EQ(without_leading_blanks(" \n"), "");
}

TEST(ComplaintOfTheJsonLibrary, IsWithoutItsNumber) {
    EXPECT_EQ(without_error_number("[json.exception.parse_error.101] parse error: '[1] '"), "parse error: '[1] '");
    EXPECT_EQ(without_error_number("parse error: '[1] '"), "parse error: '[1] '");
    EXPECT_EQ(without_error_number(""), "");
}

TEST(Times, AreShownInUtcWithTheDigitsAskedFor) {
    using std::chrono::nanoseconds;
    EXPECT_EQ(utc_text(nanoseconds(0), 1), "1970-01-01T00:00:00.0Z");
    EXPECT_EQ(utc_text(nanoseconds(1582934399999999999), 3), "2020-02-28T23:59:59.999Z");
    EXPECT_EQ(utc_text(nanoseconds(1582934400000000001), 9), "2020-02-29T00:00:00.000000001Z");
    EXPECT_EQ(utc_text(nanoseconds(-1), 9), "1969-12-31T23:59:59.999999999Z");
}

TEST(ShortenedText, KeepsBeginningAndEndAndSaysHowLongItWas) {
    EXPECT_EQ(shortened("0123456789", 10), "0123456789");
    EXPECT_EQ(shortened("0123456789a", 8), "012345 ... [11 bytes] ... 9a");
    EXPECT_EQ(shortened("", 0), "");
}

TEST(ShortenedText, CutsNoCharacterInTwo) {
    // Two bytes each: both cuts would fall into the middle of one.
    EXPECT_EQ(shortened("a\u00e4\u00e4\u00e4\u00e4\u00e4\u00e4", 12),
              "a\u00e4\u00e4\u00e4\u00e4 ... [13 bytes] ... \u00e4");
    EXPECT_EQ(shortened("a\u00e5\u00e5\u00e5\u00e5\u00e5\u00e5", 12),
              "a\u00e5\u00e5\u00e5\u00e5 ... [13 bytes] ... \u00e5");
    EXPECT_EQ(shortened(std::string(9, '\x80'), 8), " ... [9 bytes] ... ") << "no beginning of any character";
}

// What the native model lets a leaf of an interface hold.
std::optional<std::string> range_of(const std::vector<const char *> &steps) {
    const lysc_node *node = native_schema().find(nullptr, "interface-configurations");
    node = native_schema().find(node, "interface-configuration");
    for (const char *step : steps)
        node = native_schema().find(node, step);
    return held_range(*node);
}

TEST(NativeRange, IsTheNativeRangeInTheUnitBehindItsScale) {
    EXPECT_EQ(range_of({"optics", "optics-ots-amplifier-gain"}), "0.0 to 40.0 dB");
    EXPECT_EQ(range_of({"optics", "optics-ots-amplifier-tilt"}), "-5.0 to 5.0 dB");
    EXPECT_EQ(range_of({"optics", "optics-ots-rx-voa-attenuation"}), "0.0 to 20.0 dB");
    EXPECT_EQ(range_of({"optics", "optics-baud-rate"}), "0.01 to 200.00 GBd");
    EXPECT_EQ(range_of({"optics", "optics-ots-amplifier-channel-psd"}), "-40.0 to 30.0 dBm/12.5 GHz");
}

TEST(NativeRange, WithoutScaleIsAsItStands) {
    EXPECT_EQ(range_of({"optics", "optics-cd-min"}), "-350000 to 350000 ps/nm");
    EXPECT_EQ(range_of({"dampening", "half-life"}), "1 to 45 minutes");
    EXPECT_EQ(range_of({"dampening", "reuse-threshold"}), "1 to 20000");
}

TEST(NativeRange, IsNoneWhereTheTypeHasNone) {
    EXPECT_EQ(range_of({"bandwidth"}), std::nullopt);
    EXPECT_EQ(range_of({"link-status"}), std::nullopt);
    EXPECT_EQ(range_of({"description"}), std::nullopt);
}

// A write whose source is an OpenConfig leaf with that value.
Write mapped(const std::string &path, const std::string &value, const std::string &source_path,
             const std::string &source_value) {
    return {.path = "/interface-configurations/interface-configuration" + path,
            .ns = "urn:n",
            .value = value,
            .operation = YFW_OP_MERGE,
            .source_path = source_path,
            .source_value = source_value};
}

std::string refusal_of(const std::vector<Write> &writes) {
    YangTree running;
    try {
        apply_native_edit(
            native_schema(), OutputTree(writes).roots(), [](const std::string &) { return std::vector<std::string>(); },
            running);
    } catch (const RequestError &error) {
        return error.what();
    }
    return "not refused";
}

std::vector<Write> entry(const std::string &interface_name, const std::string &key) {
    return {mapped("/interface-name", interface_name, "/oc/entry/name", key),
            {.path = "/interface-configurations/interface-configuration/active", .ns = "urn:n", .value = "act"}};
}

TEST(NativeComplaint, SaysTheClientsValueAndTheRangeInItsUnit) {
    std::vector<Write> writes = entry("Ots0/1/0/0", "0/1-AMP-PRE");
    writes.push_back(mapped("/optics/optics-ots-amplifier-gain", "500", "/oc/target-gain", "50.0"));
    EXPECT_EQ(refusal_of(writes), "/oc/target-gain: '50.0': the node holds 0.0 to 40.0 dB [invalid-value]");
}

TEST(NativeComplaint, OfOtherTypesIsTheModelsOwn) {
    std::vector<Write> writes = entry("Ots0/1/0/0", "0/1-AMP-PRE");
    writes.push_back(mapped("/optics/optics-ots-osri", "maybe", "/oc/enabled", "perhaps"));
    EXPECT_THAT(refusal_of(writes),
                testing::StartsWith("/oc/enabled: 'perhaps': the native model refuses it: Invalid boolean value"));
}

TEST(NativeComplaint, OfAKeyIsToldOfTheKeyThatTheClientSent) {
    const std::string refusal = refusal_of(entry("Ots0/-1/0/-1", "foo"));
    EXPECT_THAT(refusal,
                testing::StartsWith("/oc/entry/name: 'foo': the native model refuses it: An interface name is"));
    // The place in the native model is nothing that the client knows.
    EXPECT_THAT(refusal, testing::Not(testing::HasSubstr("Schema location")));
}

TEST(NativeComplaint, LongValuesAreShortened) {
    std::vector<Write> writes = entry("Ots0/1/0/0", "0/1-AMP-PRE");
    writes.push_back(mapped("/optics/optics-ots-amplifier-gain", "x", "/oc/target-gain", std::string(5000, '9')));
    EXPECT_EQ(refusal_of(writes), "/oc/target-gain: '" + std::string(48, '9') + " ... [5000 bytes] ... " +
                                      std::string(16, '9') + "': the node holds 0.0 to 40.0 dB [invalid-value]");
}

// Leaves of a module with what none of the native models has.
class OtherRanges : public testing::Test {
  protected:
    void SetUp() override {
        ly_ctx *context = nullptr;
        ASSERT_EQ(ly_ctx_new(nullptr, LY_CTX_NO_YANGLIBRARY, &context), LY_SUCCESS);
        context_.reset(context);
        ASSERT_EQ(lys_parse_mem(context, R"(module other { yang-version 1.1; namespace "urn:other"; prefix o;
            leaf parts { type int8 { range "-9..-5 | 1..20"; } units "0.1 dB"; }
            leaf half { type uint8 { range "1..2"; } units "0.5 dB"; }
            leaf cents { type uint16 { range "5..1000"; } units "0.011"; }
            leaf nameless { type uint8 { range "1..20"; } units "0.1"; }
            leaf wide { type decimal64 { fraction-digits 2; } units "dB"; }
            leaf narrow { type decimal64 { fraction-digits 1; range "-1.5..-1.0 | 1.0..2.5"; } } })",
                                LYS_IN_YANG, nullptr),
                  LY_SUCCESS);
    }
    const lysc_node &leaf(const char *name) const {
        return *lys_find_child(nullptr, ly_ctx_get_module_implemented(context_.get(), "other"), name, 0, 0, 0);
    }

  private:
    struct Free {
        void operator()(ly_ctx *context) const noexcept { ly_ctx_destroy(context); }
    };
    std::unique_ptr<ly_ctx, Free> context_;
};

TEST_F(OtherRanges, HaveEveryPart) {
    EXPECT_EQ(held_range(leaf("parts")), "-0.9 to -0.5 or 0.1 to 2.0 dB");
}

TEST_F(OtherRanges, AreScaledByPowersOfTenOfAUnitAlone) {
    EXPECT_EQ(held_range(leaf("half")), "1 to 2 0.5 dB");
    EXPECT_EQ(held_range(leaf("cents")), "5 to 1000 0.011");
    EXPECT_EQ(held_range(leaf("nameless")), "1 to 20 0.1");
}

TEST_F(OtherRanges, OfDecimalsArePassedByNumbersAlone) {
    EXPECT_EQ(passed_range(leaf("narrow"), "2.6"), "-1.5 to 2.5");
    EXPECT_EQ(passed_range(leaf("narrow"), "-1e400"), "-1.5 to 2.5");
    EXPECT_EQ(passed_range(leaf("narrow"), "+2.5"), std::nullopt);
    for (const char *text : {"", "much", "2.6x", "++3"})
        EXPECT_EQ(passed_range(leaf("narrow"), text), std::nullopt) << text;
    EXPECT_EQ(passed_range(leaf("wide"), "1e18"), "-92233720368547758.08 to 92233720368547758.07 dB");
    EXPECT_EQ(passed_range(leaf("wide"), "1e16"), std::nullopt);
    EXPECT_EQ(passed_range(leaf("half"), "3"), std::nullopt) << "no decimal";
}

} // namespace
