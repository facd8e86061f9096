// Records of the system database: fetching them, finding a field, turning a token into text, and the fixed getters.
#include <arpa/inet.h>

#include <array>
#include <cstdlib>
#include <deque>
#include <utility>

#include "plugin_fixture.h"

namespace {

using recording::Bag;
using recording::Token;

using GetData = cerrno (*)(yfw_map_ctx, const char *, const char *, void **, uint32_t *);
using GetValue = cerrno (*)(yfw_map_ctx, const char *, bag_token_type_td, void *, uint32_t, char *);
using TokenToText = void (*)(yfw_map_ctx, bag_token_td *, char *);
using KeyIsDefined = int (*)(yfw_map_ctx, char *);
using Getter = cerrno (*)(yfw_map_ctx, const char *, char *);
using PowerGetter = cerrno (*)(yfw_map_ctx, const char *, bag_token_type_td, const char *, char *);

constexpr const char *ots_bind = "/oper/ots/if/";
constexpr const char *pm_bind = "/oper/perfmgmt/gl/periodic/optics/interface/";
const Token end_of_record{BAG_TOKEN_END, nullptr};

// The bag is released with free, as every getter does.
struct BagBlock {
    void *data = nullptr;
    uint32_t length = 0;
    BagBlock() = default;
    BagBlock(const BagBlock &) = delete;
    BagBlock &operator=(const BagBlock &) = delete;
    ~BagBlock() { std::free(data); }
};

class SystemDatabase : public PluginTest {
  protected:
    cerrno fetch(const char *item_path) {
        return plugin().function<GetData>("sysdb_get_data")(ctx, ots_bind, item_path, &bag.data, &bag.length);
    }

    // Looks a field up in a record that holds these tokens.
    cerrno look_up(const char *field, bag_token_type_td type, const std::vector<Token> &tokens) {
        platform.put_item(ots_bind, "record", {"ots_info", 120, 2, 7, tokens});
        fetch("record");
        platform.forget_calls();
        return plugin().function<GetValue>("get_value_in_bag")(ctx, field, type, bag.data, bag.length, text.data());
    }

    int key_is_defined(const std::string &key) {
        std::string copy = key;
        return plugin().function<KeyIsDefined>("sysdb_key_is_defined")(ctx, copy.data());
    }

    cerrno get(const std::string &getter, const char *key) {
        return plugin().function<Getter>(getter)(ctx, key, text.data());
    }

    Lines bag_walk(size_t tokens) const {
        Lines calls{"bag_header_info", trc("[bag (len 120)] \t (ots_info v2.7)"), "bag_generic_init 8"};
        calls.insert(calls.end(), tokens, "bag_generic_token");
        append(calls, Lines{trc("bag_generic_destroy"), "bag_generic_destroy"});
        return calls;
    }

    BagBlock bag;
    std::array<char, 256> text{"untouched"};
};

// ---- Fetching ---------------------------------------------------------------------------------------------------

TEST_F(SystemDatabase, FetchBindsReadsAndUnbinds) {
    platform.put_item(ots_bind, "Ots0_1_0_0/ots_info", {});
    EXPECT_EQ(fetch("Ots0_1_0_0/ots_info"), CERR_SUCCESS);
    EXPECT_NE(bag.data, nullptr);
    EXPECT_NE(bag.length, 0U);
    expect_calls({trc("path Ots0_1_0_0/ots_info"), bind(ots_bind), item_get("Ots0_1_0_0/ots_info"), trc("sysdb_unbind"),
                  unbind, trc("return")});
}

TEST_F(SystemDatabase, FailedBindIsTracedAndReturned) {
    platform.answer("_sysdb_bind", 0x77);
    bag.length = 9;
    EXPECT_EQ(fetch("item"), 0x77U);
    EXPECT_EQ(bag.data, nullptr);
    EXPECT_EQ(bag.length, 0U);
    expect_calls({trc("path item"), bind(ots_bind), trc("sysdb_bind failed code 0x77")});
}

TEST_F(SystemDatabase, FailedReadUnbindsAndIsReturned) {
    platform.answer("sysdb_item_get", 0x55);
    EXPECT_EQ(fetch("item"), 0x55U);
    expect_calls({trc("path item"), bind(ots_bind), item_get("item"), trc("sysdb_item_get failed: code 0x55"),
                  trc("sysdb_unbind"), unbind, trc("return")});
}

TEST_F(SystemDatabase, ReadWithoutRecordSucceedsEmpty) {
    platform.put_empty_item(ots_bind, "item");
    EXPECT_EQ(fetch("item"), CERR_SUCCESS);
    EXPECT_EQ(bag.data, nullptr);
    expect_calls({trc("path item"), bind(ots_bind), item_get("item"), trc("sysdb_unbind"), unbind,
                  trc("bag_data == NULL"), trc("return")});
}

TEST_F(SystemDatabase, BindingWithoutHandleReadsNothing) {
    platform.bind_gives_handle = false;
    EXPECT_EQ(fetch("item"), CERR_SUCCESS);
    EXPECT_EQ(bag.data, nullptr);
    expect_calls({trc("path item"), bind(ots_bind), trc("bag_data == NULL"), trc("return")});
}

TEST_F(SystemDatabase, AbsentLibraryMakesEveryFetchUnavailable) {
    platform.library_present = false;
    const auto fresh = fresh_plugin();
    const auto get_data = fresh->function<GetData>("sysdb_get_data");
    EXPECT_EQ(get_data(ctx, ots_bind, "item", &bag.data, &bag.length), SYSDB_RC_UNAVAILABLE);
    expect_calls({trc("path item"), trc("sysdb_bind failed code 0x8081c200")});
    EXPECT_EQ(get_data(ctx, ots_bind, "item", &bag.data, &bag.length), SYSDB_RC_UNAVAILABLE);
    for (const char *getter : {"sysdb_get_amp_receive_power", "sysdb_get_amp_transmit_power",
                               "sysdb_get_amp_name_from_inventory", "sysdb_get_input_pm_30sec_avg_power",
                               "sysdb_get_input_pm_30sec_min_power", "sysdb_get_input_pm_30sec_max_power"})
        EXPECT_EQ(fresh->function<Getter>(getter)(ctx, "key", text.data()), SYSDB_RC_UNAVAILABLE) << getter;
    EXPECT_STREQ(text.data(), "untouched");
    EXPECT_TRUE(platform.calls_of({"_sysdb_bind", "_sysdb_unbind"}).empty());
}

TEST_F(SystemDatabase, AbsentLibraryMakesEveryKeyUndefined) {
    platform.library_present = false;
    platform.listing = {"Ots0_1_0_0/"};
    const auto fresh = fresh_plugin();
    std::string key = "Ots0_1_0_0";
    EXPECT_EQ(fresh->function<KeyIsDefined>("sysdb_key_is_defined")(ctx, key.data()), 0);
    expect_calls({trc("sysdb_bind failed code 0x8081c200")});
}

TEST_F(SystemDatabase, ProbeAsksForReadingUntilTheLibraryIsThereAndNeverAgain) {
    const std::string probe = "access /pkg/lib/libsysdb.so 4";
    platform.put_item(ots_bind, "item", {});
    platform.library_present = false;
    const auto fresh = fresh_plugin();
    const auto get_data = fresh->function<GetData>("sysdb_get_data");
    EXPECT_EQ(get_data(ctx, ots_bind, "item", &bag.data, &bag.length), SYSDB_RC_UNAVAILABLE);
    EXPECT_EQ(get_data(ctx, ots_bind, "item", &bag.data, &bag.length), SYSDB_RC_UNAVAILABLE);
    EXPECT_EQ(platform.calls_of({"access"}), Lines({probe, probe}));
    platform.library_present = true;
    EXPECT_EQ(get_data(ctx, ots_bind, "item", &bag.data, &bag.length), CERR_SUCCESS);
    EXPECT_EQ(platform.calls_of({"access"}), Lines({probe, probe, probe}));
    std::free(std::exchange(bag.data, nullptr));
    platform.library_present = false;
    EXPECT_EQ(get_data(ctx, ots_bind, "item", &bag.data, &bag.length), CERR_SUCCESS) << "the probe is latched";
    EXPECT_EQ(platform.calls_of({"access"}).size(), 3U);
}

// ---- Fields -----------------------------------------------------------------------------------------------------

TEST_F(SystemDatabase, FieldIsFoundByItsComponentsInOrder) {
    EXPECT_EQ(look_up("Info.Lane.Power", BAG_TOKEN_INT32,
                      {{BAG_TOKEN_UINT32, "Info"}, {BAG_TOKEN_UINT32, "Lane"}, {BAG_TOKEN_INT32, "Power", -1234}}),
              CERR_SUCCESS);
    EXPECT_STREQ(text.data(), "-1234");
    expect_calls(bag_walk(3));
}

TEST_F(SystemDatabase, TokensBetweenComponentsArePassedOver) {
    EXPECT_EQ(look_up("Info.Power", BAG_TOKEN_INT32,
                      {{BAG_TOKEN_TEXT, "Other", 0, "x"},
                       {BAG_TOKEN_UINT32, "Info"},
                       {BAG_TOKEN_INT32, nullptr, 1},
                       {BAG_TOKEN_INT32, "Gain", 2},
                       {BAG_TOKEN_INT32, "Power", 3}}),
              CERR_SUCCESS);
    EXPECT_STREQ(text.data(), "3");
    expect_calls(bag_walk(5));
}

TEST_F(SystemDatabase, ComponentsOutOfOrderDoNotMatch) {
    EXPECT_EQ(look_up("Info.Power", BAG_TOKEN_INT32,
                      {{BAG_TOKEN_INT32, "Power", 3}, {BAG_TOKEN_UINT32, "Info"}, end_of_record}),
              CERR_SUCCESS);
    EXPECT_STREQ(text.data(), "untouched");
    expect_calls(bag_walk(3));
}

TEST_F(SystemDatabase, ComponentMustBeTheWholeName) {
    EXPECT_EQ(look_up("Power", BAG_TOKEN_INT32,
                      {{BAG_TOKEN_INT32, "PowerMax", 3}, {BAG_TOKEN_INT32, "Pow", 4}, end_of_record}),
              CERR_SUCCESS);
    EXPECT_STREQ(text.data(), "untouched");
}

TEST_F(SystemDatabase, MatchedTokenIsConvertedWhateverItsType) {
    EXPECT_EQ(look_up("Name", BAG_TOKEN_INT32, {{BAG_TOKEN_TEXT, "Name", 0, "Pre"}}), CERR_SUCCESS);
    EXPECT_STREQ(text.data(), "Pre");
}

TEST_F(SystemDatabase, SequenceYieldsTheFirstElementOfTheTypeAsked) {
    EXPECT_EQ(look_up("Lane.Power", BAG_TOKEN_INT32,
                      {{BAG_TOKEN_UINT32, "Lane"},
                       {BAG_TOKEN_SEQUENCE, "Power"},
                       {BAG_TOKEN_UINT8, nullptr, 9},
                       {BAG_TOKEN_INT32, nullptr, -250},
                       {BAG_TOKEN_INT32, nullptr, -300},
                       {BAG_TOKEN_SEQUENCE_END, nullptr},
                       end_of_record}),
              CERR_SUCCESS);
    EXPECT_STREQ(text.data(), "-250");
    expect_calls(bag_walk(4));
}

TEST_F(SystemDatabase, SequenceWithoutElementOfTheTypeYieldsNothing) {
    EXPECT_EQ(look_up("Power", BAG_TOKEN_INT32,
                      {{BAG_TOKEN_SEQUENCE, "Power"},
                       {BAG_TOKEN_UINT8, nullptr, 9},
                       {BAG_TOKEN_SEQUENCE_END, nullptr},
                       {BAG_TOKEN_INT32, "Other", 5},
                       end_of_record}),
              CERR_SUCCESS);
    EXPECT_STREQ(text.data(), "untouched");
    expect_calls(bag_walk(3));
}

TEST_F(SystemDatabase, SequenceOnTheWayToTheFieldIsWalkedLikeAnyToken) {
    EXPECT_EQ(look_up("Lanes.Power", BAG_TOKEN_INT32,
                      {{BAG_TOKEN_SEQUENCE, "Lanes"}, {BAG_TOKEN_INT32, "Power", 7}, end_of_record}),
              CERR_SUCCESS);
    EXPECT_STREQ(text.data(), "7");
}

TEST_F(SystemDatabase, RecordThatEndsInsideASequenceIsReadNoFurther) {
    EXPECT_EQ(look_up("Power", BAG_TOKEN_INT32,
                      {{BAG_TOKEN_SEQUENCE, "Power"},
                       {BAG_TOKEN_UINT8, nullptr, 9},
                       end_of_record,
                       {BAG_TOKEN_INT32, "Power", 5},
                       {BAG_TOKEN_SEQUENCE_END, nullptr}}),
              CERR_SUCCESS);
    EXPECT_STREQ(text.data(), "untouched");
    expect_calls(bag_walk(3));
}

TEST_F(SystemDatabase, MissingFieldSucceedsAndLeavesTheTextAlone) {
    EXPECT_EQ(look_up("Info.Power", BAG_TOKEN_INT32, {{BAG_TOKEN_UINT32, "Info"}, end_of_record}), CERR_SUCCESS);
    EXPECT_STREQ(text.data(), "untouched");
    expect_calls(bag_walk(2));
}

TEST_F(SystemDatabase, EveryTokensAllocationsAreReleased) {
    look_up(
        "Name", BAG_TOKEN_TEXT,
        {{BAG_TOKEN_TEXT, "Other", 0, "a"}, {BAG_TOKEN_LONG_TEXT, "Long", 0, "b"}, {BAG_TOKEN_TEXT, "Name", 0, "c"}});
    EXPECT_STREQ(text.data(), "c");
    EXPECT_EQ(platform.live_token_texts(), 0U);
    EXPECT_GE(platform.calls_of({"bag_generic_free_token_allocations"}).size(), 3U);
}

TEST_F(SystemDatabase, NoRecordIsMinusOne) {
    EXPECT_EQ(plugin().function<GetValue>("get_value_in_bag")(ctx, "Name", BAG_TOKEN_TEXT, nullptr, 0, text.data()),
              0xffffffffU);
    EXPECT_STREQ(text.data(), "untouched");
    expect_calls({trc("NULL == bag_data")});
}

TEST_F(SystemDatabase, FieldNameIsCopiedBounded) {
    const std::string field(400, 'f');
    EXPECT_EQ(look_up(field.c_str(), BAG_TOKEN_INT32, {{BAG_TOKEN_INT32, field.c_str(), 1}, end_of_record}),
              CERR_SUCCESS);
    EXPECT_STREQ(text.data(), "untouched") << "a name cut to 199 characters does not equal the whole name";
    EXPECT_THAT(platform.calls_of({"yfw_strcpy_s"}),
                testing::Contains("yfw_strcpy_s \"get_value_in_bag\" 200 \"" + field + "\""));
}

TEST_F(SystemDatabase, UnreadableHeaderIsReturned) {
    platform.answer("bag_header_info", 0x31);
    EXPECT_EQ(look_up("Name", BAG_TOKEN_TEXT, {{BAG_TOKEN_TEXT, "Name", 0, "x"}}), 0x31U);
    EXPECT_STREQ(text.data(), "untouched");
    expect_calls({"bag_header_info", trc("bag_header_info failed: code 0x31")});
}

TEST_F(SystemDatabase, WalkThatCannotStartIsReturned) {
    platform.answer("bag_generic_init", 0x32);
    EXPECT_EQ(look_up("Name", BAG_TOKEN_TEXT, {{BAG_TOKEN_TEXT, "Name", 0, "x"}}), 0x32U);
    expect_calls({"bag_header_info", trc("[bag (len 120)] \t (ots_info v2.7)"), "bag_generic_init 8",
                  trc("bag_generic_init failed: code 0x32")});
}

TEST_F(SystemDatabase, WalkThatBreaksIsTracedAndReturned) {
    platform.answer("bag_generic_token", 0x33, 2);
    EXPECT_EQ(look_up("Info.Name", BAG_TOKEN_TEXT, {{BAG_TOKEN_UINT32, "Info"}, {BAG_TOKEN_TEXT, "Name", 0, "x"}}),
              0x33U);
    EXPECT_STREQ(text.data(), "untouched");
    EXPECT_THAT(messages(), testing::Contains(trc("bag_generic_token failed: code 0x33")));
}

TEST_F(SystemDatabase, WalkThatBreaksInsideASequenceIsReturned) {
    platform.answer("bag_generic_token", 0x34, 2);
    EXPECT_EQ(look_up("Name", BAG_TOKEN_TEXT, {{BAG_TOKEN_SEQUENCE, "Name"}, {BAG_TOKEN_TEXT, nullptr, 0, "x"}}),
              0x34U);
    EXPECT_STREQ(text.data(), "untouched");
    EXPECT_THAT(messages(), testing::Contains(trc("bag_generic_token failed: code 0x34")));
}

// ---- Token to text ----------------------------------------------------------------------------------------------

struct TokenText {
    bag_token_type_td type;
    int64_t number;
    const char *first, *second;
    const char *text;
};

class TokenTexts : public PluginTest {
  protected:
    static bag_token_td token_of(const TokenText &given) {
        bag_token_td token{};
        token.type = given.type;
        token.name = "Value";
        token.value.first.raw = static_cast<uint64_t>(given.number);
        if (given.first != nullptr)
            token.value.first.text = given.first;
        token.value.second = given.second;
        return token;
    }
};

class TokenConversion : public TokenTexts, public testing::WithParamInterface<TokenText> {};

TEST_P(TokenConversion, WritesTheTextOfItsType) {
    bag_token_td token = token_of(GetParam());
    std::array<char, 200> text{};
    plugin().function<TokenToText>("convert_bag_value_to_str")(ctx, &token, text.data());
    EXPECT_STREQ(text.data(), GetParam().text);
    expect_calls({});
}

TEST_F(TokenTexts, CutsTextsOfBothWordsToTheBuffer) {
    const std::string longer(300, 'x');
    for (const bag_token_type_td type : {BAG_TOKEN_TEXT, BAG_TOKEN_LONG_TEXT}) {
        bag_token_td token = token_of({type, 0, longer.c_str(), longer.c_str(), nullptr});
        std::array<char, 201> text{};
        text.back() = '!';
        plugin().function<TokenToText>("convert_bag_value_to_str")(ctx, &token, text.data());
        EXPECT_EQ(std::string(text.data()), std::string(199, 'x'));
        EXPECT_EQ(text.back(), '!');
    }
}

INSTANTIATE_TEST_SUITE_P(
    Types, TokenConversion,
    testing::Values(TokenText{0, -128, nullptr, nullptr, "-128"}, TokenText{0, 0x17f, nullptr, nullptr, "127"},
                    TokenText{1, 255, nullptr, nullptr, "255"}, TokenText{1, -1, nullptr, nullptr, "255"},
                    TokenText{2, -32768, nullptr, nullptr, "-32768"}, TokenText{3, 65535, nullptr, nullptr, "65535"},
                    TokenText{4, -2147483648LL, nullptr, nullptr, "-2147483648"},
                    TokenText{4, 2147483647, nullptr, nullptr, "2147483647"},
                    TokenText{5, 4294967295LL, nullptr, nullptr, "4294967295"},
                    TokenText{9, -7, nullptr, nullptr, "-7"}, TokenText{10, 0, nullptr, nullptr, "FALSE"},
                    TokenText{10, 1, nullptr, nullptr, "TRUE"}, TokenText{10, 256, nullptr, nullptr, "TRUE"},
                    TokenText{12, 0, "first", "second", "first"}, TokenText{13, 0, "first", "second", "second"},
                    TokenText{12, 0, nullptr, "second", ""}, TokenText{13, 0, "first", nullptr, ""}),
    [](const auto &test) { return case_name(test.index, "type " + std::to_string(test.param.type)); });

TEST_F(SystemDatabase, AddressIsWrittenDotted) {
    bag_token_td token{};
    token.type = BAG_TOKEN_IPV4;
    token.value.first.u32 = htonl(0xc0000201U);
    plugin().function<TokenToText>("convert_bag_value_to_str")(ctx, &token, text.data());
    EXPECT_STREQ(text.data(), "192.0.2.1");
}

class UnknownTokenType : public PluginTest, public testing::WithParamInterface<bag_token_type_td> {};

TEST_P(UnknownTokenType, WritesNothingAndIsTraced) {
    bag_token_td token{};
    token.type = GetParam();
    std::array<char, 200> text{"untouched"};
    plugin().function<TokenToText>("convert_bag_value_to_str")(ctx, &token, text.data());
    EXPECT_STREQ(text.data(), "untouched");
    expect_calls({trc("UNKNOWN TOKEN TYPE " + std::to_string(GetParam()) + " - ERROR]\n")});
}

INSTANTIATE_TEST_SUITE_P(Types, UnknownTokenType, testing::Values(6, 7, 11, 14, 15, 16, 18, 100));

TEST_F(SystemDatabase, FieldOfUnknownTypeYieldsTheTraceAndNoText) {
    EXPECT_EQ(look_up("Name", BAG_TOKEN_TEXT, {{7, "Name", 1}}), CERR_SUCCESS);
    EXPECT_STREQ(text.data(), "untouched");
    EXPECT_THAT(messages(), testing::Contains(trc("UNKNOWN TOKEN TYPE 7 - ERROR]\n")));
}

// ---- Existence of a controller ----------------------------------------------------------------------------------

TEST_F(SystemDatabase, KeyIsDefinedWhenItsFolderIsListed) {
    platform.listing = {"Ots0_1_0_0/", "Ots0_1_0_1/", "Ots0_2_0_0/"};
    EXPECT_EQ(key_is_defined("Ots0_1_0_1"), 1);
    expect_calls({bind(ots_bind), trc("key: Ots0_1_0_1/"), "sysdb_list handle \"\" 0", trc("found 3 object(s)"),
                  "sysdb_list_next listing 0", trc("Item: 'Ots0_1_0_0/', datatype: 7"), "sysdb_list_next listing 0",
                  trc("Item: 'Ots0_1_0_1/', datatype: 7"), trc("Object Ots0_1_0_1/ present in sysdb"),
                  "sysdb_list_free listing", unbind});
}

TEST_F(SystemDatabase, KeyIsNotDefinedWhenNothingMatches) {
    platform.listing = {"Ots0_1_0_0", "Ots0_1_0_0/x", "Ots0_1_0_00/", "xOts0_1_0_0/"};
    EXPECT_EQ(key_is_defined("Ots0_1_0_0"), 0);
    EXPECT_EQ(platform.calls_of({"sysdb_list_next"}).size(), 5U);
    EXPECT_EQ(platform.calls_of({"sysdb_list_free"}).size(), 1U);
}

TEST_F(SystemDatabase, KeyIsNotDefinedInAnEmptyListing) {
    EXPECT_EQ(key_is_defined("Ots0_1_0_0"), 0);
    expect_calls({bind(ots_bind), trc("key: Ots0_1_0_0/"), "sysdb_list handle \"\" 0", trc("found 0 object(s)"),
                  "sysdb_list_next listing 0", "sysdb_list_free listing", unbind});
}

TEST_F(SystemDatabase, KeyIsNotDefinedWhenTheBindFails) {
    platform.answer("_sysdb_bind", 0x77);
    EXPECT_EQ(key_is_defined("Ots0_1_0_0"), 0);
    expect_calls({bind(ots_bind), trc("sysdb_bind failed code 0x77")});
}

TEST_F(SystemDatabase, KeyIsNotDefinedWithoutAHandle) {
    platform.bind_gives_handle = false;
    platform.listing = {"Ots0_1_0_0/"};
    EXPECT_EQ(key_is_defined("Ots0_1_0_0"), 0);
    EXPECT_TRUE(platform.calls_of({"sysdb_list"}).empty());
}

TEST_F(SystemDatabase, KeyIsNotDefinedWhenListingFails) {
    platform.answer("sysdb_list", 0x66);
    platform.listing = {"Ots0_1_0_0/"};
    EXPECT_EQ(key_is_defined("Ots0_1_0_0"), 0);
    EXPECT_THAT(messages(), testing::Contains(trc("sysdb_list failed code 0x66")));
    EXPECT_TRUE(platform.calls_of({"sysdb_list_next", "sysdb_list_free"}).empty());
    EXPECT_EQ(platform.calls_of({"_sysdb_unbind"}).size(), 1U);
}

TEST_F(SystemDatabase, ListingThatFailsAndIsGivenAllTheSameIsFreed) {
    platform.answer("sysdb_list", 0x66);
    platform.failed_listing_is_given = true;
    platform.listing = {"Ots0_1_0_0/"};
    EXPECT_EQ(key_is_defined("Ots0_1_0_0"), 0);
    EXPECT_EQ(platform.calls_of({"sysdb_list_next", "sysdb_list_free"}), (Lines{"sysdb_list_free listing"}));
    EXPECT_EQ(platform.open_listings(), 0);
    EXPECT_EQ(platform.open_bindings(), 0);
}

TEST_F(SystemDatabase, ListingThatSucceedsWithoutAnythingIsSteppedThroughAndFreed) {
    key_is_defined("Ots0_1_0_0"); // messages are filed at their first use
    platform.forget_calls();
    key_is_defined("Ots0_1_0_0");
    size_t listing = 1;
    while (platform.function_of_call(listing) != "sysdb_list")
        ++listing;
    platform.forget_calls();
    platform.empty_call(listing);
    EXPECT_EQ(key_is_defined("Ots0_1_0_0"), 0);
    EXPECT_EQ(platform.calls_of({"sysdb_list_next", "sysdb_list_free"}),
              (Lines{"sysdb_list_next strange-listing 0", "sysdb_list_free strange-listing"}));
}

TEST_F(SystemDatabase, ListingThatBreaksIsFreedAndUnbound) {
    platform.answer("sysdb_list_next", 0x61, 2);
    platform.listing = {"Ots0_1_0_1/", "Ots0_1_0_0/"};
    EXPECT_EQ(key_is_defined("Ots0_1_0_0"), 0);
    EXPECT_EQ(platform.open_listings(), 0);
    EXPECT_EQ(platform.open_bindings(), 0);
}

TEST_F(SystemDatabase, LongKeyIsCutNotOverrun) {
    const std::string key(400, 'k');
    platform.listing = {key + "/"};
    EXPECT_EQ(key_is_defined(key), 0);
    EXPECT_THAT(messages(), testing::Contains(trc(long_text("key: ", 255, 'k'))));
}

// ---- Fixed getters ----------------------------------------------------------------------------------------------

struct GetterCase {
    std::string getter, bind_point, item, field;
    bag_token_type_td type;
};

class FixedGetter : public SystemDatabase, public testing::WithParamInterface<GetterCase> {
  protected:
    // The record with the field, a token for each component; the last holds the value.
    static Bag record(const GetterCase &getter) {
        static std::deque<std::string> names;
        Bag bag{"ots_info", 120, 2, 7, {}};
        size_t start = 0;
        for (size_t dot; (dot = getter.field.find('.', start)) != std::string::npos; start = dot + 1)
            bag.tokens.push_back(
                {BAG_TOKEN_UINT32, names.emplace_back(getter.field.substr(start, dot - start)).c_str()});
        bag.tokens.push_back({BAG_TOKEN_SEQUENCE, names.emplace_back(getter.field.substr(start)).c_str()});
        bag.tokens.push_back({BAG_TOKEN_UINT8, nullptr, 1});
        bag.tokens.push_back({getter.type, nullptr, -321, "-3.21"});
        bag.tokens.push_back(end_of_record);
        return bag;
    }
    std::string value() const { return GetParam().type == BAG_TOKEN_TEXT ? "-3.21" : "-321"; }
    Lines announced() const { return {trc("controller_key Ots0_1_0_0"), trc("path " + GetParam().item)}; }
};

TEST_P(FixedGetter, ReadsItsFieldAsItsType) {
    const Bag bag_record = record(GetParam());
    platform.put_item(GetParam().bind_point, GetParam().item, bag_record);
    EXPECT_EQ(get(GetParam().getter, "Ots0_1_0_0"), CERR_SUCCESS);
    EXPECT_EQ(text.data(), value());
    expect_calls(lines(announced(), bind(GetParam().bind_point), item_get(GetParam().item), trc("sysdb_unbind"), unbind,
                       trc("return"), bag_walk(bag_record.tokens.size() - 1)));
}

TEST_P(FixedGetter, ReturnsTheFailureOfTheFetch) {
    platform.answer("sysdb_item_get", 0x55);
    EXPECT_EQ(get(GetParam().getter, "Ots0_1_0_0"), 0x55U);
    EXPECT_STREQ(text.data(), "untouched");
    EXPECT_TRUE(platform.calls_of({"bag_header_info"}).empty());
}

TEST_P(FixedGetter, ReturnsTheFailureOfTheFieldLookup) {
    platform.put_item(GetParam().bind_point, GetParam().item, record(GetParam()));
    platform.answer("bag_generic_init", 0x32);
    EXPECT_EQ(get(GetParam().getter, "Ots0_1_0_0"), 0x32U);
    EXPECT_STREQ(text.data(), "untouched");
}

TEST_P(FixedGetter, FetchWithoutRecordIsTheLookupsMinusOne) {
    platform.put_empty_item(GetParam().bind_point, GetParam().item);
    EXPECT_EQ(get(GetParam().getter, "Ots0_1_0_0"), 0xffffffffU);
    EXPECT_STREQ(text.data(), "untouched");
}

TEST_P(FixedGetter, RecordWithoutTheFieldSucceedsEmpty) {
    platform.put_item(GetParam().bind_point, GetParam().item, {"ots_info", 120, 2, 7, {end_of_record}});
    EXPECT_EQ(get(GetParam().getter, "Ots0_1_0_0"), CERR_SUCCESS);
    EXPECT_STREQ(text.data(), "untouched");
}

TEST_P(FixedGetter, LongKeyIsCutNotOverrun) {
    const std::string key(300, 'k');
    EXPECT_NE(get(GetParam().getter, key.c_str()), CERR_SUCCESS);
    EXPECT_THAT(messages(), testing::Contains(trc(long_text("path ", 255, 'k'))));
}

const std::string pm_item = "Ots0_1_0_0/30sec/optics/1/timeline_rev/0x1";
INSTANTIATE_TEST_SUITE_P(Getters, FixedGetter,
                         testing::Values(GetterCase{"sysdb_get_amp_receive_power", ots_bind, "Ots0_1_0_0/ots_info",
                                                    "Ots_edm_info.LaneData.ReceivePower", BAG_TOKEN_INT32},
                                         GetterCase{"sysdb_get_amp_transmit_power", ots_bind, "Ots0_1_0_0/ots_info",
                                                    "Ots_edm_info.LaneData.TransmitPower", BAG_TOKEN_INT32},
                                         GetterCase{"sysdb_get_input_pm_30sec_avg_power", pm_bind, pm_item,
                                                    "pm_optics_paras.OPR.Average", BAG_TOKEN_TEXT},
                                         GetterCase{"sysdb_get_input_pm_30sec_min_power", pm_bind, pm_item,
                                                    "pm_optics_paras.OPR.Minimum", BAG_TOKEN_TEXT},
                                         GetterCase{"sysdb_get_input_pm_30sec_max_power", pm_bind, pm_item,
                                                    "pm_optics_paras.OPR.Maximum", BAG_TOKEN_TEXT}),
                         [](const auto &test) { return test.param.getter; });

TEST_F(SystemDatabase, ThirtySecondGetterTakesAnyFieldAndType) {
    platform.put_item(
        pm_bind, pm_item,
        {"ots_info",
         120,
         2,
         7,
         {{BAG_TOKEN_SEQUENCE, "OPT"}, {BAG_TOKEN_INT32, nullptr, 5}, {BAG_TOKEN_TEXT, nullptr, 0, "text"}}});
    const auto getter = plugin().function<PowerGetter>("sysdb_get_input_pm_30sec_power");
    EXPECT_EQ(getter(ctx, "OPT", BAG_TOKEN_TEXT, "Ots0_1_0_0", text.data()), CERR_SUCCESS);
    EXPECT_STREQ(text.data(), "text");
    EXPECT_EQ(getter(ctx, "OPT", BAG_TOKEN_INT32, "Ots0_1_0_0", text.data()), CERR_SUCCESS);
    EXPECT_STREQ(text.data(), "5");
    EXPECT_EQ(messages().front(), trc("controller_key Ots0_1_0_0"));
}

TEST_F(SystemDatabase, InventoryNameIsFoundUnderTheEscapedKey) {
    platform.put_amplifier("0/1-AMP-PRE");
    EXPECT_EQ(get("sysdb_get_amp_name_from_inventory", "0/1-AMP-PRE"), CERR_SUCCESS);
    EXPECT_STREQ(text.data(), "0/1-AMP-PRE");
    expect_calls(inventory_lookup("0/1-AMP-PRE", true));
}

TEST_F(SystemDatabase, MissingInventoryEntryIsTracedAndReturned) {
    EXPECT_EQ(get("sysdb_get_amp_name_from_inventory", "0/3-AMP-BST"), 2U);
    EXPECT_STREQ(text.data(), "untouched");
    expect_calls(inventory_lookup("0/3-AMP-BST", false));
}

struct EscapeCase {
    std::string key, item;
};

class InventoryKey : public SystemDatabase, public testing::WithParamInterface<EscapeCase> {};

TEST_P(InventoryKey, HasOnlyItsFirstSlashEscaped) {
    get("sysdb_get_amp_name_from_inventory", GetParam().key.c_str());
    EXPECT_EQ(platform.calls_of({"sysdb_item_get"}), Lines({item_get(GetParam().item)}));
}

INSTANTIATE_TEST_SUITE_P(Keys, InventoryKey,
                         testing::Values(EscapeCase{"0/1", "0%2f1/attrib/inv_basic_bag"},
                                         EscapeCase{"0/1/2", "0%2f1/2/attrib/inv_basic_bag"},
                                         EscapeCase{"/x", "%2fx/attrib/inv_basic_bag"},
                                         EscapeCase{"chassis", "chassis/attrib/inv_basic_bag"}),
                         [](const auto &test) { return case_name(test.index); });

TEST_F(SystemDatabase, LongInventoryKeyIsCutNotOverrun) {
    const std::string key = long_text("0/", 6000, 'k');
    EXPECT_NE(get("sysdb_get_amp_name_from_inventory", key.c_str()), CERR_SUCCESS);
    EXPECT_EQ(platform.calls_of({"sysdb_item_get"}), Lines({item_get(long_text("0%2f", 251, 'k'))}));
}

TEST(SystemDatabaseDeath, EveryFunctionAssertsTheContext) {
    GTEST_FLAG_SET(death_test_style, "fast");
    char text[200] = "key";
    void *data = nullptr;
    uint32_t length = 0;
    EXPECT_DEATH(plugin().function<GetData>("sysdb_get_data")(nullptr, ots_bind, "i", &data, &length),
                 "sysdb_get_data\\(yfw_map_ctx.*NULL != ctx");
    EXPECT_DEATH(plugin().function<GetValue>("get_value_in_bag")(nullptr, "f", BAG_TOKEN_TEXT, nullptr, 0, text),
                 "get_value_in_bag\\(yfw_map_ctx.*NULL != ctx");
    EXPECT_DEATH(plugin().function<KeyIsDefined>("sysdb_key_is_defined")(nullptr, text),
                 "sysdb_key_is_defined\\(yfw_map_ctx.*NULL != ctx");
    EXPECT_DEATH(
        plugin().function<PowerGetter>("sysdb_get_input_pm_30sec_power")(nullptr, "f", BAG_TOKEN_TEXT, "k", text),
        "sysdb_get_input_pm_30sec_power\\(yfw_map_ctx.*NULL != ctx");
    bag_token_td token{};
    EXPECT_DEATH(plugin().function<TokenToText>("convert_bag_value_to_str")(nullptr, &token, text),
                 "convert_bag_value_to_str\\(yfw_map_ctx.*NULL != ctx");
    for (const char *getter :
         {"sysdb_get_amp_receive_power", "sysdb_get_amp_transmit_power", "sysdb_get_amp_name_from_inventory"})
        EXPECT_DEATH(plugin().function<Getter>(getter)(nullptr, "key", text),
                     std::string(getter) + "\\(yfw_map_ctx.*NULL != ctx");
}

} // namespace
