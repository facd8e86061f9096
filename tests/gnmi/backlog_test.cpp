// What waits for a client that reads slowly.
#include "server/gnmi/subscription.h"

#include "messages.h"

#include <chrono>

using namespace gnmi_tests;
using testing::ElementsAre;
using testing::SizeIs;

namespace {

const std::string amplifier = "optical-amplifier/amplifiers/amplifier[name=a]";

std::chrono::system_clock::time_point at(int second) {
    return std::chrono::system_clock::time_point(std::chrono::seconds(second));
}

// A leaf of the entry "a" by the words below it, such as "config/target-gain".
LeafPointer leaf(const std::string &below, const std::string &value) {
    const Path path = joined({}, path_of(amplifier + "/" + below));
    std::vector<Step> container = path.steps;
    container.pop_back();
    return std::make_shared<Leaf>(Leaf{"/a/" + below, std::move(container), schema_nodes(path).at(0), value});
}

// Responses in words: "time prefix: leaf=value*duplicates -leaf", or "sync".
std::vector<std::string> taken(Backlog &backlog) {
    std::vector<std::string> all;
    while (const std::optional<::gnmi::SubscribeResponse> response = backlog.take(::gnmi::ASCII, "t")) {
        if (response->sync_response()) {
            all.emplace_back("sync");
            continue;
        }
        const ::gnmi::Notification &told = response->update();
        EXPECT_EQ(told.prefix().target(), "t");
        std::string words = std::to_string(told.timestamp() / 1000000000) + " " +
                            told.prefix().elem(told.prefix().elem_size() - 1).name() + ":";
        for (const ::gnmi::Update &update : told.update()) {
            words += " " + update.path().elem(0).name() + "=" + update.val().ascii_val();
            if (update.duplicates() != 0)
                words += "*" + std::to_string(update.duplicates());
        }
        for (const ::gnmi::Path &path : told.delete_())
            words += " -" + path.elem(0).name();
        all.push_back(words);
    }
    EXPECT_TRUE(backlog.empty());
    return all;
}

TEST(GnmiBacklog, LeavesOfOneContainerAndTimeAreOneResponse) {
    Backlog backlog;
    backlog.update(leaf("config/enabled", "true"), at(1));
    backlog.update(leaf("config/target-gain", "1.0"), at(1));
    backlog.update(leaf("state/enabled", "true"), at(1));
    backlog.sync();
    backlog.update(leaf("config/enabled", "false"), at(2));
    // Newer values have the place in line of the older ones.
    EXPECT_THAT(taken(backlog),
                ElementsAre("2 config: enabled=false*1", "1 config: target-gain=1.0", "1 state: enabled=true", "sync"));
}

TEST(GnmiBacklog, TheNewestValueTakesThePlaceOfOlderOnesAndCountsThem) {
    Backlog backlog;
    for (int second = 1; second <= 1000; ++second)
        backlog.update(leaf("config/target-gain", std::to_string(second)), at(second));
    EXPECT_THAT(backlog, SizeIs(1));
    EXPECT_THAT(taken(backlog), ElementsAre("1000 config: target-gain=1000*999"));
    backlog.update(leaf("config/target-gain", "1.0"), at(1001));
    EXPECT_THAT(taken(backlog), ElementsAre("1001 config: target-gain=1.0"));
}

TEST(GnmiBacklog, TwoSubscriptionsToOneLeafTellItOnce) {
    Backlog backlog;
    backlog.update(leaf("config/target-gain", "1.0"), at(1));
    backlog.update(leaf("config/target-gain", "1.0"), at(1));
    EXPECT_THAT(taken(backlog), ElementsAre("1 config: target-gain=1.0"));
}

TEST(GnmiBacklog, ADeleteIsMergedAsAValueIs) {
    Backlog backlog;
    backlog.update(leaf("config/target-gain", "1.0"), at(1));
    EXPECT_THAT(taken(backlog), ElementsAre("1 config: target-gain=1.0"));
    backlog.update(leaf("config/target-gain", "1.5"), at(2));
    backlog.remove(leaf("config/target-gain", "1.5"), at(3));
    EXPECT_THAT(taken(backlog), ElementsAre("3 config: -target-gain"));
    backlog.update(leaf("config/target-gain", "1.0"), at(4));
    taken(backlog);
    backlog.remove(leaf("config/target-gain", "1.0"), at(5));
    backlog.update(leaf("config/target-gain", "2.0"), at(6));
    EXPECT_THAT(taken(backlog), ElementsAre("6 config: target-gain=2.0*1"));
}

TEST(GnmiBacklog, WhatCameAndWentUntoldIsForgotten) {
    Backlog backlog;
    for (int second = 1; second <= 1000; ++second) {
        const LeafPointer one = leaf("config/target-gain", "1.0");
        Leaf another = *one;
        another.path += std::to_string(second);
        backlog.update(std::make_shared<Leaf>(another), at(second));
        backlog.remove(std::make_shared<Leaf>(another), at(second + 1));
        // A second subscription sees it go, too.
        backlog.remove(std::make_shared<Leaf>(another), at(second + 2));
    }
    EXPECT_TRUE(backlog.empty());
}

TEST(GnmiBacklog, ADeleteOfWhatTheClientKnowsIsToldOnce) {
    Backlog backlog;
    backlog.know(leaf("config/target-gain", "1.0"));
    EXPECT_TRUE(backlog.empty());
    backlog.remove(leaf("config/target-gain", "1.0"), at(1));
    EXPECT_THAT(taken(backlog), ElementsAre("1 config: -target-gain"));
    backlog.remove(leaf("config/target-gain", "1.0"), at(2));
    EXPECT_TRUE(backlog.empty());
}

TEST(GnmiBacklog, SyncComesBehindWhatWaited) {
    Backlog backlog;
    backlog.sync();
    backlog.sync();
    EXPECT_THAT(taken(backlog), ElementsAre("sync"));
    EXPECT_FALSE(backlog.take(::gnmi::JSON, ""));
}

TEST(GnmiBacklog, OneResponseIsBounded) {
    Backlog backlog;
    for (int i = 0; i < 1000; ++i) {
        const LeafPointer one = leaf("config/target-gain", "1.0");
        Leaf another = *one;
        another.path += std::to_string(i);
        backlog.update(std::make_shared<Leaf>(another), at(1));
    }
    const auto first = backlog.take(::gnmi::PROTO, "");
    ASSERT_TRUE(first);
    EXPECT_LE(first->update().update_size(), 256);
    EXPECT_THAT(backlog, SizeIs(1000 - first->update().update_size()));
}

TEST(GnmiReading, SelectionsAndDifferencesAreMadeOnce) {
    const Path gains = joined({}, path_of("optical-amplifier/amplifiers/amplifier/config"));
    const Reading first(two_amplifiers(), at(1));
    const auto before = first.select(gains, 0, LeafKind::all);
    EXPECT_EQ(first.select(gains, 0, LeafKind::all), before);
    const Reading second(openconfig_schema().parse(R"({"openconfig-optical-amplifier:optical-amplifier": {"amplifiers":
        {"amplifier": [{"name": "a", "config": {"name": "a", "target-gain": "18.0", "target-gain-tilt": "0.5"}},
                       {"name": "b", "config": {"name": "b", "target-gain": "3.0"}}]}}})",
                                                   LYD_JSON),
                         at(2));
    const auto now = second.select(gains, 0, LeafKind::all);
    const auto difference = second.difference(before, now);
    EXPECT_EQ(second.difference(before, now), difference);
    const auto names = [](const Leaves &leaves) {
        std::vector<std::string> all;
        for (const LeafPointer &one : leaves)
            all.push_back(std::string(one->schema->name) + "=" + one->value);
        return all;
    };
    EXPECT_THAT(names(difference->changed), ElementsAre("target-gain=18.0", "target-gain-tilt=0.5"));
    EXPECT_THAT(names(difference->gone), ElementsAre("enabled=true"));
}

TEST(GnmiReading, MeasuredAndSettledLeavesAreAll) {
    const Reading reading(two_amplifiers(), at(1));
    const Path everything = joined({}, {});
    const std::size_t measured = reading.select(everything, 0, LeafKind::measured)->size();
    EXPECT_EQ(measured, 1U); // actual-gain/instant
    EXPECT_EQ(measured + reading.select(everything, 0, LeafKind::settled)->size(),
              reading.select(everything, 0, LeafKind::all)->size());
}

} // namespace
