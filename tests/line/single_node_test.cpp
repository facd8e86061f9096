// Nodes that live by themselves: the line that is made of a node's own data, and what it leaves alone.
#include "line_fixture.h"
#include "node_contents.h"

#include "line/folder.h"
#include "line/node_data.h"
#include "line/run.h"
#include "line/single_node.h"
#include "node/native_data.h"
#include "node/node.h"
#include "support/files.h"
#include "yang/models.h"

#include <algorithm>
#include <filesystem>

#include <fmt/format.h>
#include <gmock/gmock.h>

using namespace ocamp;
using namespace line_tests;
using testing::HasSubstr;
using testing::ThrowsMessage;

namespace fs = std::filesystem;

namespace {

// Five times the noise of a reading, in hundredths.
constexpr int noise = 15;

class SingleNodes : public testing::Test {
  protected:
    void SetUp() override { Node::init(node(), EXAMPLE_NODE); }
    fs::path node() const { return temporary_.path() / "node"; }
    const AmplifierReading &reading(const LineRun &run, unsigned slot, bool booster) const {
        return line_tests::reading(run.simulation(), "node", slot, booster);
    }

    support::TemporaryFolder temporary_;
};

TEST_F(SingleNodes, EveryAmplifierReceivesForGoodWhatItReceivedAtFirst) {
    LineRun run(line_of_node(node()), {});
    for (int second = 0; second < 3; ++second)
        run.step();
    EXPECT_NEAR(reading(run, 1, false).input, -1543, noise) << "lane-data/receive-power of the example";
    EXPECT_NEAR(reading(run, 2, false).input, -2218, noise) << "lane-data/receive-power-dbm";
    EXPECT_NEAR(reading(run, 3, true).input, -981, noise) << "a booster's";
    EXPECT_EQ(port(native(node()), "Ots0/1/0/0").at("ampli-gain"), reading(run, 1, false).gain) << "in the node's data";
}

TEST_F(SingleNodes, AGainThatIsSetMovesThePowerOfThatAmplifierAlone) {
    LineRun run(line_of_node(node()), {});
    run.step();
    const AmplifierReading before = reading(run, 1, false), other = reading(run, 1, true);
    configure(node(), "Ots0/1/0/0", "optics-ots-amplifier-gain", 194);
    for (int second = 0; second < 3; ++second)
        run.step();
    EXPECT_NEAR(reading(run, 1, false).gain, 1940, noise);
    EXPECT_NEAR(reading(run, 1, false).output - before.output, 1940 - before.gain, 2 * noise);
    EXPECT_NEAR(reading(run, 1, true).output, other.output, 2 * noise);
}

TEST_F(SingleNodes, SettingsThatWaitForHardwareAreNotTaken) {
    configure(node(), "Ots0/1/0/0", "optics-ots-amplifier-gain", 194);
    configure_ahead(node(), "Ots0/1/0/0", "optics-ots-amplifier-gain", 250, Place::last);
    EXPECT_DOUBLE_EQ(line_of_folder(line_of_node(node())).nodes[0].slots[0].pre_amplifier->gain, 19.4);
}

// The power in lanes, else that of all light, else darkness; no gain, no configuration.
TEST_F(SingleNodes, WhatTheNodeDoesNotTellHasItsValue) {
    const fs::path bare = temporary_.path() / "bare";
    Node::init_with(bare, [](Database &database) {
        constexpr const char *ports = R"({"Korvex-controller-orvo8-ots-oper:ots-oper": {"ots-ports": {"ots-port": [
            {"name": "Ots0/1/0/0", "ots-info": {"total-rx-power": -1200}},
            {"name": "Ots0/2/0/0", "ots-info": {"total-rx-power": -900, "lane-data": [{"transmit-power": 500}]}},
            {"name": "Ots0/3/0/1"}]}}})";
        store_operational(database, amplifier_module, native_schema().parse(ports, LYD_JSON));
        store_running(database, native_schema().parse("{}", LYD_JSON));
    });
    const LineDescription line = line_of_folder(line_of_node(bare));
    ASSERT_EQ(line.directions.size(), 3U);
    EXPECT_DOUBLE_EQ(line.directions[0].channel_power, -12);
    EXPECT_DOUBLE_EQ(line.directions[1].channel_power, -9);
    EXPECT_DOUBLE_EQ(line.directions[2].channel_power, darkness);
    EXPECT_EQ(line.nodes[0].slots[0].pre_amplifier->gain, 0);
    EXPECT_EQ(line.nodes[0].slots[2].booster->tilt, 0);
    EXPECT_FALSE(line.nodes[0].slots[2].pre_amplifier);
    EXPECT_FALSE(line.nodes[0].slots[2].supervisory_power);
}

TEST_F(SingleNodes, InventoryAndConfigurationStayTheNodesOwn) {
    constexpr const char *item = "0%2f1-AMP-PRE/attrib/inv_basic_bag";
    const auto inventory = [&] {
        Node opened(node(), Node::Access::read);
        return opened.system_database().get(inventory_bind_point, item);
    };
    constexpr const char *configuration = "Korvex-ifmgr-cfg:interface-configurations";
    const auto before = inventory();
    const nlohmann::json configured = native(node()).at(configuration);
    LineRun(line_of_node(node()), {}).step();
    ASSERT_TRUE(before);
    EXPECT_EQ(inventory(), before);
    EXPECT_EQ(native(node()).at(configuration), configured);
}

// As on a line: what the node itself holds of the card does not show through.
TEST_F(SingleNodes, APulledCardIsInNeitherInventoryNorData) {
    const auto items = [&] {
        Node opened(node(), Node::Access::read);
        const ReadTransaction snapshot(opened.database());
        std::vector<std::string> found;
        for (const std::string &bind_point : opened.system_database().bind_points())
            for (const std::string &item : opened.system_database().items(bind_point))
                found.push_back(bind_point + item);
        return found;
    };
    const auto of_slot_1 = [](const std::string &item) {
        return item.find("0%2f1-AMP") != std::string::npos || item.find("Ots0_1_") != std::string::npos;
    };
    LineRun run(line_of_node(node()), {});
    run.step();
    const std::vector<std::string> before = items();
    EXPECT_EQ(std::count_if(before.begin(), before.end(), of_slot_1), 6) << "inventory, controllers and histories";
    LineStore(node() / "live", false).add_event(std::nullopt, "pull node 1");
    run.step();
    std::vector<std::string> others = before;
    std::erase_if(others, of_slot_1);
    EXPECT_EQ(items(), others);
    EXPECT_THROW(port(native(node()), "Ots0/1/0/0"), std::runtime_error);
    LineStore(node() / "live", false).add_event(std::nullopt, "insert node 1");
    run.step();
    std::vector<std::string> again = items();
    // What it measured is gone with the card.
    std::erase_if(again, [](const std::string &item) { return item.find("/30sec/") != std::string::npos; });
    EXPECT_THAT(again, testing::IsSubsetOf(before));
    EXPECT_EQ(std::count_if(again.begin(), again.end(), of_slot_1), 4);
    EXPECT_EQ(port(native(node()), "Ots0/1/0/0").at("osri"), false);
}

TEST_F(SingleNodes, HistoriesFill) {
    LineRun run(line_of_node(node()), {});
    int highest = dark_reading;
    while (run.second() < 30) {
        run.step();
        highest = std::max(highest, reading(run, 1, false).output);
    }
    EXPECT_THAT(native(node()).at("Korvex-pmengine-oper:performance-management-history").dump(),
                HasSubstr(fmt::format(R"("maximum":"{:.2f}")", highest / 100.0)));
}

TEST_F(SingleNodes, TimeGoesOnWhereItStopped) {
    const fs::path line = line_of_node(node());
    LineRun(line, {}).step();
    EXPECT_EQ(line_of_node(node()), line);
    EXPECT_EQ(LineRun(line, {}).second(), 1U);
}

TEST_F(SingleNodes, ANodeWhoseLineIsGoneIsToldFromOneOfALine) {
    const fs::path line = line_of_node(node());
    LineRun(line, {}).step();
    fs::remove_all(line);
    EXPECT_THAT([&] { line_of_node(node()); }, ThrowsMessage<LineError>(HasSubstr("has node.live, but not the line")));
    fs::remove(node() / "node.live");
    EXPECT_EQ(LineRun(line_of_node(node()), {}).second(), 0U);
}

TEST_F(SingleNodes, NodesOfALineAndThoseWithoutAmplifiersAreRefused) {
    const fs::path folder = temporary_.path() / "line";
    init_line(folder, two_nodes());
    EXPECT_THAT([&] { line_of_node(folder / "nodes" / "a"); }, ThrowsMessage<LineError>(HasSubstr("a node of a line")));
    const fs::path bare = temporary_.path() / "bare";
    Node::init_with(bare, [](Database &) {});
    EXPECT_THAT([&] { line_of_node(bare); }, ThrowsMessage<LineError>(HasSubstr("no amplifiers")));
    EXPECT_FALSE(fs::exists(bare / "live"));
    for (const char *document : {"{}", R"({"Korvex-controller-orvo8-ots-oper:ots-oper":{}})"}) {
        fs::remove_all(bare);
        Node::init_with(bare, [&](Database &database) { store_document(database, amplifier_module, document); });
        EXPECT_THAT([&] { line_of_node(bare); }, ThrowsMessage<LineError>(HasSubstr("no amplifiers"))) << document;
    }
    EXPECT_THROW(line_of_node(temporary_.path()), NodeError);
}

} // namespace
