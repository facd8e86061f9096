// Behaviour of the JSON form of bag records and item files. Knows nothing of the database.
#include "sysdb/bag_json.h"

#include <limits>

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace {

using ocamp::BagRecord;
using ocamp::BagToken;
using ocamp::BagType;

// The value of one token, in a record.
std::string with_value(const std::string &type, const std::string &value) {
    return R"({"name":"r","version":[1,0],"tokens":[{"type":")" + type + R"(","name":"v","value":)" + value + "}]}";
}

std::string json_error(const std::string &text) {
    try {
        ocamp::bag_from_json(text);
    } catch (const ocamp::BagJsonError &error) {
        return error.what();
    }
    return "";
}

std::string items_error(const std::string &text) {
    try {
        ocamp::sysdb_items_from_json(text);
    } catch (const ocamp::BagJsonError &error) {
        return error.what();
    }
    return "";
}

BagToken::Value value_of(const std::string &type, const std::string &value) {
    return ocamp::bag_from_json(with_value(type, value)).tokens.at(0).value;
}

TEST(BagJson, EveryTypeIsReadAndWrittenBack) {
    using I = std::int64_t;
    using U = std::uint64_t;
    const BagRecord record{"inv_basic_bag",
                           4294967295U,
                           7,
                           {{BagType::int8, "a", I{-128}, {}},
                            {BagType::uint8, "b", U{255}, {}},
                            {BagType::int16, "c", I{-32768}, {}},
                            {BagType::uint16, "d", U{65535}, {}},
                            {BagType::int32, "e", I{-2147483648LL}, {}},
                            {BagType::uint32, "f", U{4294967295U}, {}},
                            {BagType::int64, "g", std::numeric_limits<I>::min(), {}},
                            {BagType::uint64, "h", std::numeric_limits<U>::max(), {}},
                            {BagType::ipv4, "i", U{0x0a8142fdU}, {}},
                            {BagType::enumeration, "j", I{-1}, {}},
                            {BagType::boolean, "k", true, {}},
                            {BagType::text, "l", std::string("\xe2\x82\xac \"\n"), {}},
                            {BagType::long_text, "", std::string("m"), {}},
                            {BagType::structure, "n", {}, {{BagType::sequence, "", {}, {}}}}}};
    const std::string text = ocamp::bag_to_json(record);
    EXPECT_EQ(ocamp::bag_from_json(text), record);
    EXPECT_NE(text.find(R"("value": "10.129.66.253")"), std::string::npos) << text;
    EXPECT_NE(text.find(R"("type": "long-text")"), std::string::npos) << text;
    EXPECT_NE(text.find(R"("18446744073709551615")"), std::string::npos) << text;
}

// docs/bag-records.md shows this record byte by byte.
TEST(BagJson, TheExampleOfTheFormatPageHasTheBytesShownThere) {
    const BagRecord record = ocamp::bag_from_json(R"({"name": "ots", "version": [1, 2], "tokens": [
        { "type": "struct", "name": "Lane", "tokens": [
          { "type": "int32", "name": "Rx", "value": -1234 },
          { "type": "sequence", "name": "Ports", "tokens": [ { "type": "text", "value": "in" } ] }
        ] }]})");
    const std::vector<std::uint8_t> bytes{
        0x4f, 0x43, 0x42, 0x52, 0x01, 0x00, 0x03, 0x00, 0x42, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x02,
        0x00, 0x00, 0x00, 0x1b, 0x7e, 0x0f, 0x22, 0x36, 0x19, 0xc8, 0xde, 0x6f, 0x74, 0x73, 0x00, 0x10, 0x04,
        0x4c, 0x61, 0x6e, 0x65, 0x00, 0x04, 0x02, 0x52, 0x78, 0x00, 0x2e, 0xfb, 0xff, 0xff, 0x0e, 0x05, 0x50,
        0x6f, 0x72, 0x74, 0x73, 0x00, 0x0c, 0x00, 0x02, 0x00, 0x69, 0x6e, 0x00, 0x0f, 0x11, 0x12};
    EXPECT_EQ(ocamp::encode_bag(record), bytes);
    EXPECT_EQ(ocamp::decode_bag(bytes), record);
}

TEST(BagJson, AnItemFileIsReadAndWrittenBack) {
    const std::string text = R"([{"bind_point":"/oper/ots/if/","item":"Ots0_1_0_0/ots_info","bag":
        {"name":"ots","version":[1,2],"tokens":[{"type":"struct","name":"LaneData","tokens":
        [{"type":"int32","name":"ReceivePower","value":-250}]}]}}])";
    const auto items = ocamp::sysdb_items_from_json(text);
    ASSERT_EQ(items.size(), 1U);
    EXPECT_EQ(items[0].bind_point, "/oper/ots/if/");
    EXPECT_EQ(items[0].item, "Ots0_1_0_0/ots_info");
    EXPECT_EQ(items[0].bag.version_minor, 2U);
    EXPECT_EQ(items[0].bag.tokens.at(0).tokens.at(0).value, BagToken::Value(std::int64_t{-250}));
}

TEST(BagJson, SixtyFourBitsMayBeANumberOrAText) {
    EXPECT_EQ(value_of("int64", "-9223372036854775808"), BagToken::Value(std::numeric_limits<std::int64_t>::min()));
    EXPECT_EQ(value_of("int64", "\"-9223372036854775808\""), BagToken::Value(std::numeric_limits<std::int64_t>::min()));
    EXPECT_EQ(value_of("uint64", "18446744073709551615"), BagToken::Value(std::numeric_limits<std::uint64_t>::max()));
    EXPECT_EQ(value_of("uint64", "\"18446744073709551615\""),
              BagToken::Value(std::numeric_limits<std::uint64_t>::max()));
}

TEST(BagJson, AValueOutsideItsTypeIsRefusedWithPlaceAndExpectation) {
    const std::string place = "$.tokens[0].value: ";
    const struct {
        const char *type, *value, *error;
    } cases[] = {
        {"int8", "128", "expected a whole number from -128 to 127, found 128"},
        {"int8", "-129", "expected a whole number from -128 to 127, found -129"},
        {"uint8", "-1", "expected a whole number from 0 to 255, found -1"},
        {"uint8", "256", "expected a whole number from 0 to 255, found 256"},
        {"int16", "32768", "expected a whole number from -32768 to 32767, found 32768"},
        {"uint16", "65536", "expected a whole number from 0 to 65535, found 65536"},
        {"int32", "1.5", "expected a whole number from -2147483648 to 2147483647, found 1.5"},
        {"int32", "\"1\"", "expected a whole number from -2147483648 to 2147483647, found \"1\""},
        {"enum", "2147483648", "expected a whole number from -2147483648 to 2147483647, found 2147483648"},
        {"uint32", "true", "expected a whole number from 0 to 4294967295, found true"},
        {"int64", "9223372036854775808",
         "expected a whole number from -9223372036854775808 to 9223372036854775807, found 9223372036854775808"},
        {"uint64", "\"18446744073709551616\"",
         "expected a whole number from 0 to 18446744073709551615, found \"18446744073709551616\""},
        {"uint64", "\" 1\"", "expected a whole number from 0 to 18446744073709551615, found \" 1\""},
        {"uint64", "\"1x\"", "expected a whole number from 0 to 18446744073709551615, found \"1x\""},
        {"uint64", "\"\"", "expected a whole number from 0 to 18446744073709551615, found \"\""},
        {"ipv4", "\"192.0.2\"", "expected an IPv4 address such as \"192.0.2.1\", found \"192.0.2\""},
        {"ipv4", "\"192.0.2.256\"", "expected an IPv4 address such as \"192.0.2.1\", found \"192.0.2.256\""},
        {"ipv4", "\"192.0.2.1\\u0000\"", "expected an IPv4 address"},
        {"ipv4", "1", "expected an IPv4 address such as \"192.0.2.1\", found 1"},
        {"bool", "1", "expected true or false, found 1"},
        {"text", "null", "expected a text, found null"},
        {"text", "[1]", "expected a text, found an array"},
        {"text", "\"a\\u0000b\"", "expected a text without NUL"},
    };
    for (const auto &wrong : cases)
        EXPECT_EQ(json_error(with_value(wrong.type, wrong.value)).find(place + wrong.error), 0U)
            << wrong.type << " " << wrong.value << ": " << json_error(with_value(wrong.type, wrong.value));
    EXPECT_EQ(json_error(with_value("text", '"' + std::string(65536, 'x') + '"')),
              place + "expected a text of at most 65535 bytes, found 65536 bytes");
}

TEST(BagJson, AWrongShapeIsRefusedWithItsPlace) {
    const std::pair<const char *, const char *> cases[] = {
        {"", "$: not JSON: parse error at line 1, column 1"},
        {"{\"name\":\"\xff\"}", "$: not JSON: parse error at line 1"},
        {"1e999", "$: not JSON: number overflow"},
        {"[]", "$: expected an object, found an array"},
        {R"({"version":[1,0],"tokens":[]})", "$: the member \"name\" is missing"},
        {R"({"name":"r","tokens":[]})", "$: the member \"version\" is missing"},
        {R"({"name":"r","version":[1,0]})", "$: the member \"tokens\" is missing"},
        {R"({"name":"r","version":[1,0],"tokens":[],"more":1})",
         "$: unknown member \"more\", expected name, version, tokens"},
        {R"({"name":"r","name":"s","version":[1,0],"tokens":[]})",
         "$: the member \"name\" is given twice in one object"},
        {R"({"name":"r","version":[1],"tokens":[]})", "$.version: expected an array of two numbers, found an array"},
        {R"({"name":"r","version":{"a":1,"b":2},"tokens":[]})",
         "$.version: expected an array of two numbers, found an object"},
        {R"({"name":"r","version":[1,-1],"tokens":[]})",
         "$.version[1]: expected a whole number from 0 to 4294967295, found -1"},
        {R"({"name":"r","version":[1,0],"tokens":{}})", "$.tokens: expected an array, found an object"},
        {R"({"name":"r","version":[1,0],"tokens":[7]})", "$.tokens[0]: expected an object, found 7"},
        {R"({"name":"r","version":[1,0],"tokens":[{"value":1}]})", "$.tokens[0]: the member \"type\" is missing"},
        {R"({"name":"r","version":[1,0],"tokens":[{"type":7,"value":1}]})",
         "$.tokens[0].type: expected one of int8, uint8, int16, uint16, int32, uint32, int64, uint64, ipv4, enum, "
         "bool, text, long-text, struct, sequence, found 7"},
        {R"({"name":"r","version":[1,0],"tokens":[{"type":"float","value":1}]})",
         "$.tokens[0].type: expected one of int8, uint8, int16, uint16, int32, uint32, int64, uint64, ipv4, enum, "
         "bool, text, long-text, struct, sequence, found \"float\""},
        {R"({"name":"r","version":[1,0],"tokens":[{"type":"int8"}]})", "$.tokens[0]: the member \"value\" is missing"},
        {R"({"name":"r","version":[1,0],"tokens":[{"type":"int8","value":1,"tokens":[]}]})",
         "$.tokens[0]: expected \"value\" for this type, found \"tokens\""},
        {R"({"name":"r","version":[1,0],"tokens":[{"type":"struct","value":1,"tokens":[]}]})",
         "$.tokens[0]: expected \"tokens\" for this type, found \"value\""},
        {R"({"name":"r","version":[1,0],"tokens":[{"type":"int8","name":"","value":1}]})",
         "$.tokens[0].name: expected a name that is not empty"},
        {R"({"name":"r","version":[1,0],"tokens":[{"type":"sequence","tokens":[{"type":"int8","value":300}]}]})",
         "$.tokens[0].tokens[0].value: expected a whole number from -128 to 127, found 300"},
    };
    for (const auto &[text, error] : cases)
        EXPECT_EQ(json_error(text).find(error), 0U) << text << ": " << json_error(text);
}

TEST(BagJson, AWrongItemIsRefusedWithItsPlace) {
    const std::string bag = R"("bag":{"name":"r","version":[1,0],"tokens":[]})";
    EXPECT_EQ(items_error("{}"), "$: expected an array of items, found an object");
    EXPECT_EQ(items_error(R"([{"bind_point":"oper/","item":"a",)" + bag + "}]"),
              "$[0].bind_point: bind point \"oper/\": expected \"/\" at both ends");
    EXPECT_EQ(items_error(R"([{"bind_point":"/","item":"a/",)" + bag + "}]"),
              "$[0].item: item \"a/\": expected a name with \"/\" at neither end");
    EXPECT_EQ(items_error(R"([{"bind_point":"/","item":"a",)" + bag + R"(},{"bind_point":"/","item":"a","bag":1}])"),
              "$[1].bag: expected an object, found 1");
}

TEST(BagJson, NestingIsBounded) {
    const auto nested = [](std::size_t count) {
        std::string text = R"({"name":"r","version":[1,0],"tokens":[)";
        for (std::size_t i = 0; i < count; ++i)
            text += R"({"type":"struct","tokens":[)";
        for (std::size_t i = 0; i < count; ++i)
            text += "]}";
        return text + "]}";
    };
    EXPECT_EQ(json_error(nested(ocamp::bag_nesting_limit)), "");
    EXPECT_NE(json_error(nested(ocamp::bag_nesting_limit + 1)).find("nested deeper than 16"), std::string::npos);
    EXPECT_NE(json_error(std::string(100000, '[')).find("nested deeper than"), std::string::npos);
    EXPECT_EQ(items_error(R"([{"bind_point":"/","item":"a","bag":)" + nested(ocamp::bag_nesting_limit) + "}]"), "");
}

TEST(BagJson, AMillionObjectsInOneArrayAreReadOnce) {
    std::string text = "[{}";
    for (int i = 1; i < 1'000'000; ++i)
        text += ",{}";
    EXPECT_EQ(json_error(text + "]"), "$: expected an object, found an array");
}

TEST(BagJson, MembersOfAnObjectAreBounded) {
    const auto with_members = [](int count) {
        std::string text = "{\"name\":\"r\"";
        for (int i = 1; i < count; ++i)
            text += fmt::format(",\"{}\":0", i);
        return text + "}";
    };
    EXPECT_NE(json_error(with_members(500)).find("unknown member"), std::string::npos);
    EXPECT_EQ(json_error(with_members(501)), "$: an object with more than 500 members");
}

TEST(BagJson, ARecordThatWouldBeTooLongIsRefused) {
    EXPECT_NE(json_error(with_value("long-text", '"' + std::string(ocamp::bag_record_limit, 'x') + '"'))
                  .find("expected at most 1048576"),
              std::string::npos);
}

TEST(BagJson, AModelWithoutAJsonFormIsRefused) {
    EXPECT_THROW(ocamp::bag_to_json({"r", 1, 0, {{BagType::text, "v", std::string("\xff"), {}}}}), ocamp::BagError);
}

} // namespace
