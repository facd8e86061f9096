// Which native nodes of a walk belong to what a request asks for.
#include "node/filter.h"
#include "node/mapping_rows.h"
#include "node/reach.h"
#include "yang/models.h"

#include <algorithm>

#include <gtest/gtest.h>

using namespace ocamp;

namespace {

TEST(Reach, NodesAreReachedByRequestsForWhatTheyWrite) {
    RunReport run;
    run.request =
        Filter::from_path(openconfig_schema(), "/optical-amplifier/amplifiers/amplifier[name='a']/config/target-gain")
            .requests()
            .front();
    const auto reached = [&](const std::string &leaf) {
        TakenNode node;
        node.writes = {{.number = 0, .path = "/optical-amplifier/amplifiers/amplifier/config/" + leaf}};
        return is_reached(run, node);
    };
    EXPECT_TRUE(reached("target-gain"));
    EXPECT_FALSE(reached("enabled"));
    EXPECT_FALSE(is_reached(run, {}));
}

TEST(Reach, NodesArePassedOverForTheDatabaseWhereItMayHoldTheirValueAlone) {
    const auto row_with = [](bool getter) {
        const auto row = std::find_if(mapping_rows().begin(), mapping_rows().end(), [&](const MappingRow &each) {
            return !each.native.empty() && each.getter.empty() != getter;
        });
        return std::string(row->native);
    };
    const auto passed_over = [](const TakenNode &node) {
        NativeWalkReport walk;
        walk.trace = {node};
        return passed_over_leaves(walk).size() == 1;
    };
    TakenNode node{.path = "/a", .place = row_with(true), .looks = {{}}};
    EXPECT_TRUE(passed_over(node));
    node.writes = {{.number = 0, .source = TracedWrite::Source::node}};
    EXPECT_FALSE(passed_over(node));
    EXPECT_FALSE(passed_over({.path = "/a", .place = row_with(true)}));
    EXPECT_FALSE(passed_over({.path = "/a", .place = row_with(false), .looks = {{}}}));
}

} // namespace
