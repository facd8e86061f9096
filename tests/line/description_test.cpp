// Line descriptions: what is read from them, and what is refused with its place.
#include "line_fixture.h"

#include <functional>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

using namespace ocamp;
using namespace line_tests;
using testing::HasSubstr;

namespace {

using Json = nlohmann::ordered_json;

std::string refusal(const std::string &document) {
    try {
        read_line(document);
    } catch (const JsonError &error) {
        return error.what();
    }
    return "no refusal";
}

std::string refusal_of(const std::function<void(Json &)> &spoil) {
    Json line = Json::parse(two_nodes());
    spoil(line);
    return refusal(line.dump());
}

TEST(LineDescriptions, TheExampleIsALine) {
    const LineDescription line = read_line(three_sites());
    ASSERT_EQ(line.nodes.size(), 5U);
    EXPECT_EQ(line.nodes[1].name, "site-1");
    EXPECT_EQ(line.spans.size(), 4U);
    ASSERT_EQ(line.nodes[1].slots.size(), 2U);
    const SlotDescription &slot = line.nodes[1].slots[0];
    EXPECT_EQ(slot.number, 1U);
    EXPECT_EQ(line.directions[*slot.receives].name, "east");
    EXPECT_EQ(slot.sends, slot.receives);
    EXPECT_EQ(slot.pre_amplifier->gain, 17.4) << "its own";
    EXPECT_EQ(slot.pre_amplifier->noise_figure, 5.5) << "its type's";
    EXPECT_EQ(slot.booster->input_loss, 9);
    EXPECT_FALSE(line.directions[1].forward);
    EXPECT_EQ(line.measurement_noise, 0.03);
    EXPECT_EQ(line.spans[0].connectors, 1.0);
    EXPECT_EQ(line.spans[0].drift, 0.1);
}

TEST(LineDescriptions, RefusalsTellThePlace) {
    EXPECT_THAT(refusal("{"), HasSubstr("$: not JSON"));
    EXPECT_THAT(refusal("[]"), HasSubstr("$: expected an object, found an array"));
    EXPECT_THAT(refusal(R"({"name": "x", "name": "y"})"), HasSubstr("given twice"));
    EXPECT_THAT(refusal_of([](Json &line) { line.erase("spans"); }), HasSubstr("$: the member \"spans\" is missing"));
    EXPECT_THAT(refusal_of([](Json &line) { line["spans"].push_back(line["spans"][0]); }),
                HasSubstr("$.spans: expected an array of 1 to 1 members, found 2"));
    EXPECT_THAT(refusal_of([](Json &line) { line["colour"] = "red"; }), HasSubstr("$: unknown member \"colour\""));
    EXPECT_THAT(refusal_of([](Json &line) { line["spans"][0]["length-km"] = -1; }),
                HasSubstr("$.spans[0].length-km: expected a number from 0 to 500, found -1"));
    EXPECT_THAT(refusal_of([](Json &line) { line["spans"][0]["length-km"] = "80"; }), HasSubstr("found \"80\""));
    EXPECT_THAT(refusal_of([](Json &line) { line["directions"][0]["order"] = "up"; }),
                HasSubstr("$.directions[0].order: expected \"forward\" or \"backward\""));
    EXPECT_THAT(refusal_of([](Json &line) { line["directions"][0]["channels"]["count"] = 1.5; }),
                HasSubstr("$.directions[0].channels.count: expected a whole number, found 1.5"));
    EXPECT_THAT(refusal_of([](Json &line) { line["nodes"][1]["name"] = "a"; }),
                HasSubstr("$.nodes[1].name: \"a\" is there already"));
    for (const char *name : {"a\nb", "\033[2J", "\x7f", "\u009b"})
        EXPECT_THAT(refusal_of([&](Json &line) { line["name"] = name; }),
                    HasSubstr("$.name: expected a text without control characters"));
    EXPECT_EQ(refusal_of([](Json &line) { line["name"] = "Z\u00fcrich \\ Bern"; }), "no refusal");
    for (const char *name : {"../x", ".", "", "a b", "a/b"})
        EXPECT_THAT(refusal_of([&](Json &line) { line["nodes"][1]["name"] = name; }), HasSubstr("$.nodes[1].name"));
}

// 80 km of 0.2 dB/km and connectors of 1 dB are 17 dB; without connectors, 10 km of 0.25 dB/km are 2.5 dB.
TEST(LineDescriptions, NoDriftMakesASpanAmplify) {
    const auto short_span = [](const Json &drift) {
        return [=](Json &line) {
            line["spans"][0] = {{"length-km", 10}, {"loss-db-per-km", 0.25}, {"drift-db", drift}};
        };
    };
    EXPECT_EQ(refusal_of(short_span(2.5)), "no refusal");
    EXPECT_THAT(refusal_of(short_span(2.6)),
                HasSubstr("$.spans[0].drift-db: expected at most the span's loss, 2.5 dB, found 2.6"));
    Json line = Json::parse(two_nodes());
    line["spans"][0] = {{"length-km", 0}, {"loss-db-per-km", 0.2}, {"connector-loss-db", {0.02, 0.03}}};
    EXPECT_EQ(read_line(line.dump()).spans[0].drift, 0.05) << "the usual one would be more than the loss";
    line["spans"][0]["length-km"] = 80;
    EXPECT_EQ(read_line(line.dump()).spans[0].drift, 0.1);
}

// Whether an amplifier uses them or not.
TEST(LineDescriptions, TypesOfAmplifiersAreChecked) {
    const auto type_refusal = [](const Json &type) {
        return refusal_of([&](Json &line) { line["amplifier-types"]["unused"] = type; });
    };
    EXPECT_EQ(type_refusal(Json::object()), "no refusal");
    EXPECT_EQ(type_refusal({{"gain-db", 30}, {"noise-figure-db", 5}}), "no refusal") << "the range is the amplifier's";
    EXPECT_THAT(type_refusal(5), HasSubstr("$.amplifier-types.unused: expected an object, found 5"));
    EXPECT_THAT(type_refusal({{"colour", 1}}), HasSubstr("$.amplifier-types.unused: unknown member \"colour\""));
    EXPECT_THAT(type_refusal({{"gain-db", 41}}),
                HasSubstr("$.amplifier-types.unused.gain-db: expected a number from 0 to 40, found 41"));
    EXPECT_THAT(type_refusal({{"gain-range-db", 5}}), HasSubstr("$.amplifier-types.unused.gain-range-db"));
}

TEST(LineDescriptions, SlotsAndAmplifiersAreChecked) {
    const auto slot_refusal = [](const std::function<void(Json &)> &spoil) {
        return refusal_of([&](Json &line) { spoil(line["nodes"][0]["slots"][0]); });
    };
    EXPECT_THAT(slot_refusal([](Json &slot) { slot["slot"] = 4; }),
                HasSubstr("$.nodes[0].slots[0].slot: expected a number from 1 to 3, found 4"));
    EXPECT_THAT(slot_refusal([](Json &slot) { slot["sends"] = "north"; }), HasSubstr("no direction \"north\""));
    EXPECT_THAT(slot_refusal([](Json &slot) { slot.erase("sends"); }),
                HasSubstr("expected the direction that the booster sends"));
    EXPECT_THAT(slot_refusal([](Json &slot) { slot["direction"] = "east"; }), HasSubstr("expected \"direction\", or"));
    EXPECT_THAT(slot_refusal([](Json &slot) { slot["booster"]["gain-db"] = 30; }),
                HasSubstr("booster.gain-db: expected a gain in the range from 10 to 25, found 30"));
    EXPECT_THAT(slot_refusal([](Json &slot) {
                    slot["booster"]["gain-range-db"] = {25, 10};
                }),
                HasSubstr("expected the lowest gain first"));
    EXPECT_THAT(slot_refusal([](Json &slot) { slot["booster"]["type"] = "big"; }),
                HasSubstr("no amplifier type \"big\""));
    EXPECT_THAT(slot_refusal([](Json &slot) { slot["booster"]["colour"] = 1; }), HasSubstr("unknown member"));
    EXPECT_THAT(refusal_of([](Json &line) {
                    Json second = line["nodes"][0]["slots"][0];
                    line["nodes"][0]["slots"].push_back(second);
                }),
                HasSubstr("$.nodes[0].slots[1]: slot 1 is there already"));
    EXPECT_THAT(refusal_of([](Json &line) {
                    Json second = line["nodes"][0]["slots"][0];
                    second["slot"] = 2;
                    line["nodes"][0]["slots"].push_back(second);
                }),
                HasSubstr("another slot sends east"));
}

} // namespace
