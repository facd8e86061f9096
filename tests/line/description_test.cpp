// Line descriptions: what is read from them, and what is refused with its place.
#include "line_fixture.h"

#include <functional>

#include <fmt/format.h>
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

TEST(LineDescriptions, MembersHaveTheirForms) {
    EXPECT_THAT(refusal_of([](Json &line) { line["name"] = 5; }), HasSubstr("$.name: expected a text, found 5"));
    EXPECT_THAT(refusal_of([](Json &line) { line["spans"] = 5; }),
                HasSubstr("$.spans: expected an array of 1 to 1 members, found 5"));
    EXPECT_THAT(refusal_of([](Json &line) { line["amplifier-types"] = 5; }),
                HasSubstr("$.amplifier-types: expected an object, found 5"));
    const Json wrong_pairs[] = {Json(5), Json::array({1}), Json::array({1, 2, 3})};
    for (const Json &wrong : wrong_pairs) {
        EXPECT_THAT(refusal_of([&](Json &line) { line["spans"][0]["connector-loss-db"] = wrong; }),
                    HasSubstr("$.spans[0].connector-loss-db: expected one loss for each end, found "));
        EXPECT_THAT(refusal_of([&](Json &line) { line["nodes"][0]["slots"][0]["booster"]["gain-range-db"] = wrong; }),
                    HasSubstr("booster.gain-range-db: expected [lowest, highest], found "));
    }
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
    EXPECT_THAT(refusal_of([](Json &line) {
                    Json second = line["nodes"][1]["slots"][0];
                    second["slot"] = 2;
                    line["nodes"][1]["slots"].push_back(second);
                }),
                HasSubstr("$.nodes[1].slots[1]: another slot receives east, expected one"));
    EXPECT_THAT(refusal_of([](Json &line) { line["nodes"][1]["slots"][0]["direction"] = "east"; }),
                HasSubstr("expected \"direction\", or"));
    EXPECT_THAT(refusal_of([](Json &line) { line["nodes"][1]["slots"][0].erase("receives"); }),
                HasSubstr("expected the direction that the pre-amplifier receives"));
    EXPECT_THAT(slot_refusal([](Json &slot) { slot["slot"] = 1.5; }),
                HasSubstr("$.nodes[0].slots[0].slot: expected a whole number, found 1.5"));
    EXPECT_THAT(slot_refusal([](Json &slot) { slot["booster"]["gain-db"] = 5; }),
                HasSubstr("booster.gain-db: expected a gain in the range from 10 to 25, found 5"));
    EXPECT_THAT(slot_refusal([](Json &slot) { slot["booster"] = 5; }),
                HasSubstr("$.nodes[0].slots[0].booster: expected an object, found 5"));
}

TEST(LineDescriptions, AnAmplifiersOwnMembersGoBeforeThoseOfItsType) {
    Json document = Json::parse(two_nodes());
    Json &booster = document["nodes"][0]["slots"][0]["booster"];
    document["amplifier-types"]["usual"] = {{"gain-db", 11}, {"tilt-db", 2}};
    booster["type"] = "usual";
    const AmplifierDescription read = read_line(document.dump()).nodes[0].slots[0].booster.value();
    EXPECT_EQ(read.gain, 20) << "its own";
    EXPECT_EQ(read.tilt, 2) << "its type's";
}

// Where each number of a description stands, and what it may be.
TEST(LineDescriptions, NumbersHaveTheirRanges) {
    struct Number {
        const char *place;
        double lowest, highest;
    };
    const Number numbers[] = {
        {"/start", 0, 4e9},
        {"/measurement-noise-db", 0, 1},
        {"/directions/0/channels/count", 0, 192},
        {"/directions/0/channels/power-dbm", -40, 10},
        {"/spans/0/length-km", 0, 500},
        {"/spans/0/loss-db-per-km", 0, 5},
        {"/spans/0/connector-loss-db/0", 0, 10},
        {"/spans/0/drift-db", 0, 3},
        {"/nodes/0/slots/0/slot", 1, 3},
        {"/nodes/0/slots/0/supervisory-power-dbm", -40, 10},
        {"/nodes/0/slots/0/booster/noise-figure-db", 0, 20},
        {"/nodes/0/slots/0/booster/maximum-output-dbm", -10, 30},
        {"/nodes/0/slots/0/booster/gain-db", 0, 40},
        {"/nodes/0/slots/0/booster/tilt-db", -5, 5},
        {"/nodes/0/slots/0/booster/input-loss-db", 0, 40},
        {"/nodes/0/slots/0/booster/loss-threshold-dbm", -39, 10},
        {"/nodes/0/slots/0/booster/tilt-slope", -2, 2},
        {"/nodes/0/slots/0/booster/gain-range-db/0", 0, 40},
        {"/nodes/0/slots/0/booster/extended-gain-range-db/1", 0, 40},
    };
    for (const Number &number : numbers) {
        const auto with = [&](const Json &value) {
            return refusal_of([&](Json &line) {
                Json &booster = line["nodes"][0]["slots"][0]["booster"];
                booster["gain-db"] = 40;
                booster["gain-range-db"] = booster["extended-gain-range-db"] = {0, 40};
                line[Json::json_pointer(number.place)] = value;
            });
        };
        const std::string range = fmt::format("expected a number from {} to {}, found ", number.lowest, number.highest);
        EXPECT_EQ(with(number.lowest), "no refusal") << number.place;
        EXPECT_EQ(with(number.highest), "no refusal") << number.place;
        EXPECT_THAT(with(number.lowest - 0.5), HasSubstr(range)) << number.place;
        EXPECT_THAT(with(number.highest + 0.5), HasSubstr(range)) << number.place;
        EXPECT_THAT(with("x"), HasSubstr(range + "\"x\"")) << number.place;
    }
}

TEST(LineDescriptions, WhatIsLeftOutHasItsValue) {
    Json document = Json::parse(two_nodes());
    document.erase("measurement-noise-db");
    document["spans"][0].erase("drift-db");
    document["spans"][0].erase("connector-loss-db");
    const LineDescription line = read_line(document.dump());
    EXPECT_EQ(line.start, 1735689600);
    EXPECT_EQ(line.measurement_noise, 0.03);
    EXPECT_EQ(line.spans[0].drift, 0.1);
    EXPECT_EQ(line.spans[0].connectors, 0);
    const AmplifierDescription &booster = line.nodes[0].slots[0].booster.value();
    EXPECT_FALSE(booster.extended_gain_range);
    EXPECT_EQ(booster.tilt, 0);
    EXPECT_EQ(booster.input_loss, 0);
    EXPECT_EQ(booster.loss_threshold, -35);
    EXPECT_EQ(booster.tilt_slope, 0.7);
}

// Names of `count` nodes from n0 on, with the spans between them.
Json nodes_in_a_row(std::size_t count) {
    Json line = Json::parse(two_nodes());
    const Json node = line["nodes"][0], span = line["spans"][0];
    line["nodes"] = line["spans"] = Json::array();
    for (std::size_t i = 0; i < count; ++i) {
        line["nodes"].push_back(node);
        line["nodes"].back()["name"] = "n" + std::to_string(i);
        if (i > 0)
            line["spans"].push_back(span);
    }
    return line;
}

TEST(LineDescriptions, HaveUpToAThousandNodesAndSixDirections) {
    EXPECT_EQ(read_line(nodes_in_a_row(1000).dump()).nodes.size(), 1000U);
    EXPECT_THAT(refusal(nodes_in_a_row(1001).dump()),
                HasSubstr("$.nodes: expected an array of 1 to 1000 members, found 1001"));
    Json line = nodes_in_a_row(1);
    for (int i = 1; i < 6; ++i) {
        line["directions"].push_back(line["directions"][0]);
        line["directions"].back()["name"] = "d" + std::to_string(i);
    }
    EXPECT_EQ(refusal(line.dump()), "no refusal");
    line["directions"].push_back(line["directions"][0]);
    EXPECT_THAT(refusal(line.dump()), HasSubstr("$.directions: expected an array of 1 to 6 members, found 7"));
    line["directions"] = Json::array();
    EXPECT_THAT(refusal(line.dump()), HasSubstr("$.directions: expected an array of 1 to 6 members, found 0"));
}

TEST(LineDescriptions, NamesOfNodesAreThoseOfFolders) {
    const auto named = [](const std::string &name) {
        return refusal_of([&](Json &line) { line["nodes"][0]["name"] = name; });
    };
    EXPECT_EQ(named("azAZ09-_."), "no refusal");
    EXPECT_EQ(named(std::string(64, 'n')), "no refusal");
    const std::string expected = "$.nodes[0].name: expected up to 64 letters, digits, '-', '_' and '.', the first no "
                                 "'.', found ";
    for (const std::string &name : {std::string(65, 'n'), std::string(".a"), std::string("`"), std::string("{"),
                                    std::string("@"), std::string("["), std::string("/"), std::string(":")})
        EXPECT_THAT(named(name), HasSubstr(expected)) << name;
}

// What a look-up of a name is refused with.
template <class LookUp>
std::string wrong_name(LookUp look_up) {
    try {
        look_up();
    } catch (const InputError &error) {
        return error.what();
    }
    return "no refusal";
}

TEST(LineDescriptions, WrongNamesAreAnsweredWithThoseThatThereAre) {
    const LineDescription two = read_line(two_nodes()), twelve = read_line(nodes_in_a_row(12).dump()),
                          thirteen = read_line(nodes_in_a_row(13).dump()), one = read_line(nodes_in_a_row(1).dump());
    EXPECT_EQ(wrong_name([&] { two.node_named("c"); }), "no node 'c', expected one of: a, b");
    EXPECT_EQ(wrong_name([&] { two.direction_named("west"); }), "no direction 'west', expected one of: east");
    EXPECT_EQ(wrong_name([&] { twelve.node_named("c"); }),
              "no node 'c', expected one of: n0, n1, n2, n3, n4, n5, n6, n7, n8, n9, n10, n11");
    EXPECT_EQ(wrong_name([&] { thirteen.node_named("c"); }),
              "no node 'c', expected one of: n0, n1, n2, n3, n4, n5, n6, n7, n8, n9, n10, n11, ...");
    EXPECT_EQ(two.span_named("b/a"), 0U);
    EXPECT_EQ(twelve.span_named("n3/n4"), 3U);
    EXPECT_EQ(wrong_name([&] { two.span_named("a"); }), "no span 'a', expected the names of two neighbours, as in a/b");
    EXPECT_EQ(wrong_name([&] { one.span_named("n0"); }),
              "no span 'n0', expected the names of two neighbours, as in a/b");
    EXPECT_EQ(wrong_name([&] { twelve.span_named("n0/n2"); }), "no span 'n0/n2', expected the names of two neighbours");
    EXPECT_EQ(wrong_name([&] { twelve.span_named("n1/n1"); }), "no span 'n1/n1', expected the names of two neighbours");
}

} // namespace
