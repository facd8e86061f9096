// Lines that run: what goes from their nodes' configuration into the simulation, and what comes out of it into their
// native data and records.
#include "line_fixture.h"
#include "node_contents.h"

#include "line/folder.h"
#include "line/node_data.h"
#include "line/run.h"
#include "node/live_data.h"
#include "node/native_change.h"
#include "node/node.h"
#include "support/files.h"
#include "sysdb/record_reader.h"
#include "yang/models.h"
#include "yang/request_error.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

using namespace ocamp;
using namespace line_tests;
using testing::HasSubstr;

namespace fs = std::filesystem;

namespace {

using Json = nlohmann::json;

class Lines : public testing::Test {
  protected:
    void make(const std::string &description) { init_line(folder(), description); }
    fs::path folder() const { return temporary_.path() / "line"; }
    fs::path node(const std::string &name) const { return folder() / "nodes" / name; }

    void run_until(std::uint64_t second, RunSettings settings = {}) const {
        LineRun run(folder(), std::move(settings));
        run_at_pace(run, {.speed = 0, .until = second});
    }

    std::string refusal_of_run() const {
        try {
            LineRun(folder(), {});
        } catch (const LineError &error) {
            return error.what();
        }
        return "no refusal";
    }

    // The intervals of a port, the latest first.
    static std::vector<Json> intervals(const Json &native, const std::string &name) {
        const Json &histories = native.at("Korvex-pmengine-oper:performance-management-history")
                                    .at("global")
                                    .at("periodic")
                                    .at("optics-history")
                                    .at("optics-port-histories")
                                    .at("optics-port-history");
        for (const Json &entry : histories)
            if (entry.at("name") == name)
                return entry.at("optics-second30-history")
                    .at("optics-second30-optics-histories")
                    .at("optics-second30-optics-history")
                    .at(0)
                    .at("optics-second30-optics-time-line-instances")
                    .at("optics-second30-optics-time-line-instance")
                    .get<std::vector<Json>>();
        return {};
    }

    support::TemporaryFolder temporary_;
};

std::string decimal(int hundredths) {
    return fmt::format("{:.2f}", hundredths / 100.0);
}

// The texts of a structure of a record, by name.
std::map<std::string, std::string> texts(const BagRecord &record, const std::string &structure) {
    std::map<std::string, std::string> found;
    for (const BagToken &token : record.tokens.at(0).tokens)
        if (token.name == structure)
            for (const BagToken &text : token.tokens)
                found[text.name] = std::get<std::string>(text.value);
    return found;
}

TEST_F(Lines, InitMakesNodesAsTheDescriptionSetsThem) {
    make(three_sites());
    for (const char *name : {"terminal-a", "site-1", "site-2", "site-3", "terminal-b"})
        EXPECT_TRUE(fs::exists(node(name) / "node.db")) << name;
    const Json data = native(node("site-1"));
    std::map<std::string, Json> optics;
    for (const Json &entry : data.at("Korvex-ifmgr-cfg:interface-configurations").at("interface-configuration"))
        optics[entry.at("interface-name")] = entry.at("Korvex-controller-optics-cfg:optics");
    EXPECT_EQ(optics.size(), 6U);
    EXPECT_EQ(optics.at("Ots0/1/0/0").at("optics-ots-amplifier-gain"), 174);
    EXPECT_EQ(optics.at("Ots0/2/0/1").at("optics-ots-amplifier-gain"), 90);
    EXPECT_EQ(optics.at("Optics0/2/0/4").at("optics-transmit-power"), 10);
    EXPECT_FALSE(data.contains("Korvex-controller-orvo8-ots-oper:ots-oper")) << "nothing is measured yet";
    EXPECT_TRUE(record(node("site-1"), inventory_bind_point, "0%2f2-AMP-BST/attrib/inv_basic_bag"));
}

TEST_F(Lines, InitLeavesNothingBehindWhenItIsRefused) {
    EXPECT_THROW(make("{}"), JsonError);
    EXPECT_FALSE(fs::exists(folder()));
    fs::create_directory(folder());
    support::write_file(folder() / "mine", "text");
    EXPECT_THROW(make(two_nodes()), NodeError);
    fs::remove(folder() / "mine");
    make(two_nodes());
    EXPECT_THROW(make(two_nodes()), NodeError);
    EXPECT_EQ(std::distance(fs::directory_iterator(temporary_.path()), {}), 1);
}

TEST_F(Lines, ASecondIsInTheNativeData) {
    make(two_nodes());
    run_until(1);
    const Json pre = port(native(node("b")), "Ots0/1/0/0");
    EXPECT_NEAR(pre.at("lane-data").at(0).at("receive-power").get<int>(), 603, 1);
    EXPECT_NEAR(pre.at("lane-data").at(0).at("transmit-power-dbm").get<int>(), 2303, 1);
    EXPECT_EQ(pre.at("ampli-gain"), 1700);
    EXPECT_EQ(pre.at("ampli-tilt"), -100);
    EXPECT_EQ(pre.at("osri"), false);
    EXPECT_EQ(pre.at("ampli-gain-range"), "amplifier-gain-range-normal");
    const Json channel =
        native(node("b")).at("Korvex-controller-optics-oper:optics-oper").at("optics-ports").at("optics-port").at(0);
    EXPECT_EQ(channel.at("name"), "Optics0/1/0/4");
    EXPECT_EQ(channel.at("optics-info").at("controller-state"), "up");
    EXPECT_EQ(channel.at("optics-lanes").at("optics-lane").at(0).at("receive-power"), -1600);
    const auto controller = record(node("b"), controllers_bind_point, "Ots0_1_0_0/ots_info");
    ASSERT_TRUE(controller);
    EXPECT_EQ(controller->name, "ots_info");
    EXPECT_TRUE(record(node("b"), inventory_bind_point, "0%2f1-AMP-PRE/attrib/inv_basic_bag"));
    EXPECT_FALSE(record(node("b"), inventory_bind_point, "0%2f1-AMP-BST/attrib/inv_basic_bag"));
}

// What is written must be what the native models take, whatever state the line is in.
TEST_F(Lines, EveryDocumentFitsItsModel) {
    make(three_sites());
    const LineDescription line = line_of_folder(folder());
    run_until(70, {.script = parse_script(line, "5 cut site-1/site-2\n8 pull site-2 1\n20 channels west 0\n"
                                                "40 insert site-2 1\n61 pull terminal-a 1\n")});
    for (const NodeDescription &described : line.nodes) {
        Node opened(node(described.name), Node::Access::read);
        const ReadTransaction snapshot(opened.database());
        const NativeData data = load_native(opened.database(), native_schema());
        for (const NativeDocument &document : data.operational)
            EXPECT_NO_THROW(document.tree()) << described.name;
    }
}

// Two intervals of thirty seconds, against what a reader saw in each second.
TEST_F(Lines, HistoriesAreMinimumAverageAndMaximumOfTheSeconds) {
    make(three_sites());
    std::vector<AmplifierReading> pre, booster;
    {
        LineRun run(folder(), {});
        while (run.second() < 60) {
            run.step();
            pre.push_back(reading(run.simulation(), "site-2", 1, false));
            booster.push_back(reading(run.simulation(), "site-2", 1, true));
            const Json seen = port(native(node("site-2")), "Ots0/1/0/0");
            ASSERT_EQ(seen.at("lane-data").at(0).at("receive-power"), pre.back().input);
        }
    }
    const auto expect = [](const std::vector<AmplifierReading> &readings, int AmplifierReading::*quantity,
                           std::size_t first, const std::map<std::string, std::string> &found) {
        OpenInterval expected;
        for (std::size_t i = first; i < first + interval_seconds; ++i)
            expected.add(readings[i].*quantity);
        const Statistics statistics = expected.close();
        EXPECT_EQ(found.at("minimum"), decimal(statistics.minimum));
        EXPECT_EQ(found.at("average"), decimal(statistics.average));
        EXPECT_EQ(found.at("maximum"), decimal(statistics.maximum));
    };
    const std::vector<Json> history = intervals(native(node("site-2")), "Ots0/1/0/0");
    ASSERT_EQ(history.size(), 2U);
    EXPECT_EQ(history[0].at("number"), 1);
    expect(pre, &AmplifierReading::output, 30, history[0].at("opt"));
    expect(pre, &AmplifierReading::input, 30, history[0].at("opr"));
    expect(pre, &AmplifierReading::gain, 30, history[0].at("ampli-gain"));
    expect(pre, &AmplifierReading::tilt, 30, history[0].at("ampli-gain-tilt"));
    expect(pre, &AmplifierReading::output, 0, history[1].at("opt"));
    // The record of a controller holds what its partner in the slot receives.
    const auto latest = record(node("site-2"), history_bind_point, "Ots0_1_0_1/30sec/optics/1/timeline_rev/0x1");
    ASSERT_TRUE(latest);
    const auto lower = [](std::map<std::string, std::string> texts) {
        return std::map<std::string, std::string>{
            {"minimum", texts.at("Minimum")}, {"average", texts.at("Average")}, {"maximum", texts.at("Maximum")}};
    };
    expect(pre, &AmplifierReading::input, 30, lower(texts(*latest, "OPR")));
    expect(booster, &AmplifierReading::output, 30, lower(texts(*latest, "OPT")));
}

TEST_F(Lines, ConfigurationActsFromTheNextSecond) {
    make(quiet_three_sites());
    LineRun run(folder(), {});
    run.step();
    const int before = reading(run.simulation(), "terminal-b", 1, false).output;
    configure(node("site-1"), "Ots0/1/0/0", "optics-ots-amplifier-gain", 184);
    run.step();
    EXPECT_EQ(reading(run.simulation(), "site-1", 1, false).gain, 1840);
    EXPECT_NEAR(reading(run.simulation(), "terminal-b", 1, false).output - before, 100, 2);
    configure(node("site-1"), "Ots0/1/0/0", "optics-ots-osri", true);
    configure(node("site-3"), "Optics0/1/0/4", "optics-transmit-power", -20);
    run.step();
    EXPECT_EQ(port(native(node("site-1")), "Ots0/1/0/0").at("osri-config-val"), true);
    EXPECT_EQ(port(native(node("site-1")), "Ots0/1/0/0").at("ampli-gain"), 0);
    EXPECT_EQ(port(native(node("site-2")), "Ots0/1/0/0").at("osri"), true) << "its input is lost";
    EXPECT_EQ(port(native(node("site-2")), "Ots0/1/0/0").at("osri-config-val"), false);
    EXPECT_EQ(run.simulation().channels().back().reading.input, -200 - 1638) << "15.375 km-dB and connectors";
}

// It gives what it was built with.
TEST_F(Lines, ANodeMayHaveNoConfiguration) {
    make(two_nodes());
    // None at all, and of another interface only.
    for (const char *running : {"{}", R"({"Korvex-ifmgr-cfg:interface-configurations": {"interface-configuration": [
            {"active": "act", "interface-name": "Ots0/2/0/0",
             "Korvex-controller-optics-cfg:optics": {"optics-ots-amplifier-gain": 120}}]}})"}) {
        {
            Node opened(node("b"), Node::Access::write);
            Transaction transaction(opened.database());
            store_running(opened.database(), native_schema().parse(running, LYD_JSON));
            transaction.commit();
        }
        run_until(1);
        EXPECT_EQ(port(native(node("b")), "Ots0/1/0/0").at("ampli-gain"), 1700) << running;
        fs::remove(folder() / line_database_name);
    }
}

TEST_F(Lines, ANodeMayHaveNoCards) {
    Json description = Json::parse(two_nodes());
    description["nodes"][1]["slots"] = {{{"slot", 2}}};
    make(description.dump());
    EXPECT_FALSE(native(node("b")).contains("Korvex-ifmgr-cfg:interface-configurations"));
    run_until(1);
    EXPECT_FALSE(native(node("b")).contains("Korvex-controller-orvo8-ots-oper:ots-oper"));
    {
        LiveData live(node("b"));
        Statement document = live.database().prepare("SELECT document FROM native_data WHERE name = ?1");
        ASSERT_TRUE(document.bind(1, amplifier_module).step());
        EXPECT_EQ(document.text(0), "{}") << "an empty list is none in a valid document";
    }
    EXPECT_EQ(port(native(node("a")), "Ots0/1/0/1").at("ampli-gain"), 2000);
}

TEST_F(Lines, ASeedStaysUntilAnotherIsGiven) {
    make(two_nodes());
    run_until(1, {.seed = 4});
    EXPECT_EQ(LineRun(folder(), {}).simulation().seed(), 4U);
    EXPECT_EQ(LineRun(folder(), {.seed = 5}).simulation().seed(), 5U);
}

TEST_F(Lines, GoAtTheirPaceWithoutAnybodyWhoStopsThem) {
    make(two_nodes());
    LineRun run(folder(), {});
    const auto begin = std::chrono::steady_clock::now();
    run_at_pace(run, {.speed = 20, .until = 3});
    EXPECT_EQ(run.second(), 3U);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(3 * 50));
}

// Of a line that another program keeps events for: those were never checked here.
TEST_F(Lines, AnEventThatIsNoneIsToldAndDropped) {
    make(two_nodes());
    LineStore(folder(), false).add_event(std::nullopt, "cut a/z");
    std::vector<std::string> told;
    run_until(2, {.tell = [&](const std::string &text) { told.push_back(text); }});
    EXPECT_THAT(told, testing::ElementsAre(testing::AllOf(testing::StartsWith("second 0: 'cut a/z' is dropped: "),
                                                          HasSubstr("no node 'z'"))));
    EXPECT_TRUE(LineStore(folder(), false).events().empty());
}

TEST_F(Lines, ADescriptionThatWasSpoiltIsNamed) {
    make(two_nodes());
    support::write_file(folder() / "line.json", "{}");
    try {
        LineRun(folder(), {});
        ADD_FAILURE() << "it runs";
    } catch (const JsonError &error) {
        EXPECT_THAT(error.what(), HasSubstr("line.json: $: the member \"name\" is missing"));
    }
}

// Channels that nobody sends to, receive or have been shut.
TEST_F(Lines, StatesOfSupervisoryChannelsAreTold) {
    make(two_nodes());
    const auto state = [&](const char *name) {
        return native(node(name))
            .at("Korvex-controller-optics-oper:optics-oper")
            .at("optics-ports")
            .at("optics-port")
            .at(0)
            .at("optics-info")
            .at("controller-state");
    };
    LineRun run(folder(), {});
    run.step();
    EXPECT_EQ(state("a"), "up") << "it sends";
    EXPECT_EQ(state("b"), "up") << "it receives";
    LineStore(folder(), false).add_event(std::nullopt, "cut a/b");
    run.step();
    EXPECT_EQ(state("a"), "up");
    EXPECT_EQ(state("b"), "down");
    configure(node("a"), "Optics0/1/0/4", "optics-transmit-shutdown", Json::array({nullptr}));
    run.step();
    EXPECT_EQ(state("a"), "admin-down");
}

TEST_F(Lines, SettingsThatWaitForHardwareDoNotAct) {
    make(two_nodes());
    configure_ahead(node("b"), "Ots0/1/0/0", "optics-ots-amplifier-gain", 200, Place::first);
    run_until(5);
    EXPECT_EQ(port(native(node("b")), "Ots0/1/0/0").at("ampli-gain"), 1700);
}

TEST_F(Lines, TheInterlockKeepsAnAmplifierDarkUntilItIsTakenBack) {
    make(two_nodes());
    const auto pre = [&] { return port(native(node("b")), "Ots0/1/0/0"); };
    configure(node("b"), "Ots0/1/0/0", "optics-ots-osri", true);
    run_until(1);
    EXPECT_EQ(pre().at("lane-data").at(0).at("transmit-power-dbm"), dark_reading);
    configure(node("b"), "Ots0/1/0/0", "optics-ots-osri", false);
    run_until(10);
    EXPECT_NEAR(pre().at("lane-data").at(0).at("transmit-power-dbm").get<int>(), 2303, 1);
}

TEST_F(Lines, TheTiltIsConfigured) {
    make(two_nodes());
    configure(node("b"), "Ots0/1/0/0", "optics-ots-amplifier-tilt", 15);
    run_until(1);
    EXPECT_EQ(port(native(node("b")), "Ots0/1/0/0").at("ampli-tilt"), 150);
}

// A single channel and a low gain of the booster keep the output from its limit: -3 dBm + 10 dB - 17 dB are -10 dBm.
TEST_F(Lines, TheExtendedGainRangeIsConfigured) {
    make(two_nodes());
    LineStore(folder(), false).add_event(std::nullopt, "channels east 1");
    configure(node("a"), "Ots0/1/0/1", "optics-ots-amplifier-gain", 100);
    configure(node("b"), "Ots0/1/0/0", "optics-ots-amplifier-gain", 300);
    run_until(20);
    EXPECT_EQ(port(native(node("b")), "Ots0/1/0/0").at("ampli-gain"), 2500) << "the normal range ends here";
    configure(node("b"), "Ots0/1/0/0", "optics-ots-amplifier-gain-range", "extended");
    configure(node("b"), "Ots0/1/0/0", "optics-ots-osri", true);
    run_until(21);
    configure(node("b"), "Ots0/1/0/0", "optics-ots-osri", false);
    run_until(40);
    EXPECT_EQ(port(native(node("b")), "Ots0/1/0/0").at("ampli-gain"), 3000);
    EXPECT_EQ(port(native(node("b")), "Ots0/1/0/0").at("ampli-gain-range"), "amplifier-gain-range-ext-end-ed");
}

TEST_F(Lines, ASupervisoryChannelIsShutByConfiguration) {
    make(two_nodes());
    LineRun run(folder(), {});
    configure(node("a"), "Optics0/1/0/4", "optics-transmit-shutdown", Json::array({nullptr}));
    run.step();
    EXPECT_EQ(run.simulation().channels()[1].reading.input, dark_reading);
    configure(node("a"), "Optics0/1/0/4", "optics-transmit-shutdown", nullptr);
    run.step();
    EXPECT_EQ(run.simulation().channels()[1].reading.input, -1600);
}

TEST_F(Lines, APulledCardIsInNeitherInventoryNorData) {
    make(two_nodes());
    const LineDescription line = line_of_folder(folder());
    run_until(40, {.script = parse_script(line, "35 pull b 1")});
    EXPECT_FALSE(native(node("b")).contains("Korvex-controller-orvo8-ots-oper:ots-oper"));
    EXPECT_TRUE(intervals(native(node("a")), "Ots0/1/0/1").size() == 1U);
    EXPECT_FALSE(native(node("b")).contains("Korvex-pmengine-oper:performance-management-history"));
    for (const auto &[bind_point, item] : {std::pair(inventory_bind_point, "0%2f1-AMP-PRE/attrib/inv_basic_bag"),
                                           std::pair(controllers_bind_point, "Ots0_1_0_0/ots_info"),
                                           std::pair(history_bind_point, "Ots0_1_0_1/30sec/optics/1/timeline_rev/0x1")})
        EXPECT_FALSE(record(node("b"), bind_point, item)) << item;
    run_until(60, {.script = parse_script(line, "40 insert b 1")});
    EXPECT_EQ(port(native(node("b")), "Ots0/1/0/0").at("ampli-gain"), 1700);
    EXPECT_TRUE(record(node("b"), inventory_bind_point, "0%2f1-AMP-PRE/attrib/inv_basic_bag"));
    EXPECT_EQ(intervals(native(node("b")), "Ots0/1/0/0").size(), 1U);
}

TEST_F(Lines, EventsThatWaitHappenAtTheirSecond) {
    make(two_nodes());
    LineStore(folder(), false).add_event(std::nullopt, "add-loss a/b 3");
    LineStore(folder(), false).add_event(5, "cut a/b");
    std::vector<std::string> told;
    run_until(5, {.tell = [&](const std::string &line) { told.push_back(line); }});
    EXPECT_NEAR(port(native(node("b")), "Ots0/1/0/0").at("lane-data").at(0).at("receive-power").get<int>(), 303, 1);
    run_until(6, {.tell = [&](const std::string &line) { told.push_back(line); }});
    EXPECT_EQ(port(native(node("b")), "Ots0/1/0/0").at("lane-data").at(0).at("receive-power"), dark_reading);
    EXPECT_THAT(told, testing::ElementsAre("second 0: add-loss a/b 3", "second 5: cut a/b"));
    EXPECT_TRUE(LineStore(folder(), false).events().empty());
}

// Stopped anywhere and run on, a line comes to the same data as one that was never stopped.
TEST_F(Lines, TimeGoesOnWhereItStopped) {
    make(three_sites());
    const LineDescription line = line_of_folder(folder());
    const auto script = [&] { return parse_script(line, "12 cut site-2/site-3\n17 repair site-2/site-3"); };
    run_until(95, {.seed = 4, .script = script()});
    std::map<std::string, Json> whole;
    for (const NodeDescription &described : line.nodes)
        whole[described.name] = native(node(described.name));
    fs::remove_all(folder());
    make(three_sites());
    for (const std::uint64_t stop : {1U, 13U, 17U, 30U, 47U, 89U, 95U})
        run_until(stop, {.seed = stop == 1 ? std::optional<std::uint64_t>(4) : std::nullopt, .script = script()});
    for (const NodeDescription &described : line.nodes)
        EXPECT_EQ(native(node(described.name)), whole[described.name]) << described.name;
}

// Only what every second of the interval stands in is marked as valid, whether the line was stopped meanwhile or not.
TEST_F(Lines, AnIntervalThatTheCardWasNotThereAllTheTimeIsNotMarkedValid) {
    make(two_nodes());
    const LineDescription line = line_of_folder(folder());
    const auto is_valid = [&] {
        const auto latest = record(node("b"), history_bind_point, "Ots0_1_0_1/30sec/optics/1/timeline_rev/0x1");
        EXPECT_TRUE(latest);
        for (const BagToken &token : latest ? latest->tokens.at(0).tokens : std::vector<BagToken>())
            if (token.name == "Valid")
                return std::get<bool>(token.value);
        ADD_FAILURE() << "no token";
        return false;
    };
    run_until(17);
    run_until(30);
    EXPECT_TRUE(is_valid());
    run_until(60, {.script = parse_script(line, "35 pull b 1\n40 insert b 1")});
    EXPECT_FALSE(is_valid());
    run_until(62);
    EXPECT_FALSE(is_valid()) << "as it was before the stop";
    run_until(90);
    EXPECT_TRUE(is_valid());
}

class Edits : public Lines {
  protected:
    static constexpr const char *leaf =
        "/optical-amplifier/amplifiers/amplifier[name='0/1-AMP-PRE']/config/target-gain";

    // Runs with a script that sets the leaf of b to `value` at second 3; tells the gain each second.
    std::vector<int> gains_until(std::uint64_t second, const std::string &value) {
        const std::string script = fmt::format("3 set b {} {}", leaf, value);
        LineRun run(folder(), {.script = parse_script(line_of_folder(folder()), script),
                               .plugin = PLUGIN,
                               .tell = [&](const std::string &line) { told_.push_back(line); }});
        std::vector<int> gains;
        while (run.second() < second) {
            run.step();
            gains.push_back(reading(run.simulation(), "b", 1, false).gain);
        }
        return gains;
    }

    std::vector<std::string> told_;
};

TEST_F(Edits, TakeEffectAtTheirSecond) {
    make(two_nodes());
    EXPECT_THAT(gains_until(5, "16"), testing::ElementsAre(1700, 1700, 1700, 1600, 1600));
    EXPECT_THAT(told_, testing::ElementsAre(fmt::format("second 3: set b {} 16", leaf)));
    EXPECT_THAT(native(node("b")).dump(), HasSubstr(R"("optics-ots-amplifier-gain":160)"));
}

TEST_F(Edits, ThatTheNodeRefusesAreToldAndTheLineGoesOn) {
    make(two_nodes());
    EXPECT_THAT(gains_until(5, "90"), testing::Each(1700));
    EXPECT_THAT(told_, testing::ElementsAre(testing::AllOf(testing::StartsWith("second 3: 'set b /"),
                                                           HasSubstr("is refused: "), HasSubstr("[invalid-value]"))));
}

// It would be hidden by what the line writes in the next second.
TEST_F(Lines, WhatIsMeasuredIsNotChangedByHand) {
    make(two_nodes());
    run_until(1);
    const auto ignored = [](const std::vector<LeafChange> &) {};
    Node opened(node("b"), Node::Access::write);
    try {
        set_native(opened, "/ots-oper/ots-ports/ots-port[name='Ots0/1/0/0']/ots-info/ampli-gain", "1", ignored);
        ADD_FAILURE() << "a reading was changed";
    } catch (const RequestError &error) {
        EXPECT_THAT(error.what(), HasSubstr("is written by what measures the node, into"));
    }
    set_native(
        opened,
        "/interface-configurations/interface-configuration[active='act'][interface-name='Ots0/1/0/0']/description",
        "by hand", ignored);
    EXPECT_THAT(native(node("b")).dump(), HasSubstr("by hand"));
}

TEST_F(Lines, WhoListensIsToldOfEventsWhenTheirSecondIsInTheNodes) {
    make(two_nodes());
    LineStore(folder(), false).add_event(2, "cut a/b");
    std::vector<std::string> told;
    run_until(5, {.on_event = [&](std::uint64_t second, const std::string &words) {
                  told.push_back(fmt::format("{} {} {}", second, words,
                                             port(native(node("b")), "Ots0/1/0/0").at("ampli-gain").dump()));
              }});
    EXPECT_THAT(told, testing::ElementsAre("2 cut a/b 0"));
}

TEST_F(Lines, ALockThatCannotBeMadeIsNamed) {
    try {
        const LineLock lock(temporary_.path() / "nowhere");
        ADD_FAILURE() << "locked";
    } catch (const std::system_error &error) {
        EXPECT_THAT(error.what(), HasSubstr("nowhere"));
        EXPECT_THAT(error.what(), HasSubstr("No such file or directory"));
    }
}

TEST_F(Lines, OneProcessRunsALine) {
    make(two_nodes());
    const LineRun run(folder(), {});
    EXPECT_THROW(LineRun(folder(), {}), LineError);
    EXPECT_THROW(LineRun(temporary_.path(), {}), LineError);
}

// As a power cut may leave it: what was measured is lost, the configuration is not.
TEST_F(Lines, DamagedLiveDataBeginAnew) {
    make(two_nodes());
    run_until(3);
    support::write_file(node("b") / "node.live", "no database");
    // The header is whole, what follows is not.
    std::string database = support::read_file(folder() / line_database_name);
    constexpr std::size_t header_size = 100;
    database.replace(header_size, header_size, header_size, '\x7f');
    support::write_file(folder() / line_database_name, database);
    EXPECT_THROW(Node(node("b"), Node::Access::read), NodeError);
    EXPECT_THROW(LineStore(folder(), false), SqliteError) << "only who runs the line replaces it";
    std::vector<std::string> told;
    run_until(2, {.warn = [&](const std::string &line) { told.push_back(line); }});
    EXPECT_THAT(told, testing::Contains(HasSubstr("node.live was damaged and begins anew")));
    EXPECT_THAT(told, testing::Contains(HasSubstr("line.db was damaged and begins anew: line time, histories and "
                                                  "events that waited are lost")));
    EXPECT_EQ(port(native(node("b")), "Ots0/1/0/0").at("ampli-gain"), 1700);
    EXPECT_TRUE(native(node("b")).contains("Korvex-ifmgr-cfg:interface-configurations"));
}

TEST_F(Lines, ANodeWithoutItsFolderIsNamed) {
    make(two_nodes());
    fs::remove_all(node("b"));
    EXPECT_THAT(refusal_of_run(), HasSubstr("nodes/b: no such folder, expected that of the line's node b"));
    EXPECT_FALSE(fs::exists(node("b")));
}

TEST_F(Lines, WarnsOfEventsThatWillNotHappen) {
    make(two_nodes());
    const LineDescription line = line_of_folder(folder());
    std::vector<std::string> warnings;
    const auto run_with_script = [&](std::uint64_t until) {
        run_until(until, {.script = parse_script(line, "2 cut a/b\n4 repair a/b\n5 channels east 1"),
                          .warn = [&](const std::string &text) { warnings.push_back(text); }});
    };
    run_with_script(2);
    EXPECT_THAT(warnings, testing::IsEmpty());
    run_with_script(2);
    EXPECT_THAT(warnings, testing::IsEmpty()) << "the cut is in the next second";
    run_with_script(5);
    run_with_script(5);
    EXPECT_THAT(warnings, testing::ElementsAre(
                              "2 of the script's 3 events are before second 5 and do not happen, from '2 cut a/b' on"));
}

// What is kept goes with the names and the order of cards, not with how long the fibres are.
TEST_F(Lines, AStateGoesOnInAnEditedDescriptionWithTheSameCards) {
    make(two_nodes());
    run_until(3);
    Json edited = Json::parse(two_nodes());
    edited["spans"][0]["length-km"] = 85;
    support::write_file(folder() / "line.json", edited.dump());
    run_until(4);
    EXPECT_NEAR(port(native(node("b")), "Ots0/1/0/0").at("lane-data").at(0).at("receive-power").get<int>(), 503, 1);
    edited["nodes"][1]["name"] = "c";
    support::write_file(folder() / "line.json", edited.dump());
    fs::rename(node("b"), node("c"));
    EXPECT_THAT(refusal_of_run(),
                HasSubstr("line.db: the state is that of a line with other nodes, slots or directions than line.json"));
    fs::remove(folder() / line_database_name);
    run_until(1);
}

TEST_F(Lines, ADamagedStateIsRefused) {
    make(two_nodes());
    run_until(1);
    const std::string whole = LineStore(folder(), false).text(simulation_text).value();
    LineStore(folder(), false).save({{simulation_text, "{}"}}, {});
    EXPECT_THAT(refusal_of_run(), HasSubstr("line.db: the state is damaged"));
    LineStore(folder(), false).save({{simulation_text, whole}, {open_text, R"({"amplifiers": []})"}}, {});
    EXPECT_THAT(refusal_of_run(), HasSubstr("line.db: the histories are damaged"));
}

// A count of -1 would be 0 after the next reading, and the average divided by it.
TEST_F(Lines, DamagedHistoriesAreRefused) {
    make(two_nodes());
    run_until(30);
    const auto kept = [&](std::string_view name) { return Json::parse(LineStore(folder(), false).text(name).value()); };
    const Json open = kept(open_text), closed = kept(closed_text);
    const auto refusal_with = [&](std::string_view name, const char *place, const char *number) {
        Json spoilt = name == open_text ? open : closed;
        spoilt[Json::json_pointer(place)] = Json::parse(number);
        LineStore(folder(), false).save({{name, spoilt.dump()}}, {});
        const std::string refusal = refusal_of_run();
        LineStore(folder(), false).save({{open_text, open.dump()}, {closed_text, closed.dump()}}, {});
        return refusal;
    };
    for (const char *number : {"-1", "31", "1.5", "1e300", "\"1\""}) {
        EXPECT_THAT(refusal_with(open_text, "/amplifiers/1/3", number), HasSubstr("a whole number from 0 to 30"));
        EXPECT_THAT(refusal_with(closed_text, "/channels/0/0/0", number), HasSubstr("a whole number from 0 to 30"));
    }
    for (const char *number : {"-1000001", "1000001", "1e300"}) {
        EXPECT_THAT(refusal_with(open_text, "/channels/0/0", number), HasSubstr("from -1000000 to 1000000"));
        EXPECT_THAT(refusal_with(open_text, "/channels/0/1", number), HasSubstr("from -1000000 to 1000000"));
        EXPECT_THAT(refusal_with(closed_text, "/amplifiers/0/0/1/0/2", number), HasSubstr("from -1000000 to 1000000"));
    }
    Json short_of_one = closed;
    short_of_one["channels"][0][0][1].erase(0);
    LineStore(folder(), false).save({{closed_text, short_of_one.dump()}}, {});
    EXPECT_THAT(refusal_of_run(), HasSubstr("line.db: the state is damaged: expected 2 quantities of each interval"));
    EXPECT_THAT(refusal_with(open_text, "/amplifiers/0/2", "30000001"), HasSubstr("from -30000000 to 30000000"));
    EXPECT_EQ(refusal_with(open_text, "/amplifiers/0/3", "29"), "no refusal");
}

// As kept by hand: each of the two amplifiers of a slot, and what its record lacks then.
TEST_F(Lines, AnAmplifiersPartnerMayHaveNoHistory) {
    make(three_sites());
    run_until(30);
    const Json closed = Json::parse(LineStore(folder(), false).text(closed_text).value());
    const LineDescription line = line_of_folder(folder());
    const Simulation simulation(line, 1);
    for (const bool booster : {false, true}) {
        Json without = closed;
        without["amplifiers"][amplifier_at(simulation, "site-2", 1, booster)] = Json::array();
        LineStore(folder(), false).save({{closed_text, without.dump()}}, {});
        LineRun(folder(), {}).step();
        const auto latest = record(node("site-2"), history_bind_point,
                                   fmt::format("Ots0_1_0_{}/30sec/optics/1/timeline_rev/0x1", booster ? 1 : 0));
        ASSERT_TRUE(latest);
        EXPECT_TRUE(texts(*latest, "OPT").empty()) << booster;
        EXPECT_FALSE(texts(*latest, "OPR").empty()) << booster;
        EXPECT_THAT(intervals(native(node("site-2")), booster ? "Ots0/1/0/1" : "Ots0/1/0/0"), testing::IsEmpty());
    }
}

// Whatever it holds, it is not this program's to delete.
TEST_F(Lines, ADatabaseOfAnotherProgramIsRefusedAndLeftAsItIs) {
    make(two_nodes());
    const fs::path file = folder() / line_database_name;
    fs::remove(file);
    constexpr FileMark other{0x12345678, 1};
    Database(file.string(), Database::Mode::create, &other).exec("CREATE TABLE theirs(text TEXT)");
    const std::string theirs = support::read_file(file);
    EXPECT_THROW(LineRun(folder(), {}), LineError);
    EXPECT_EQ(support::read_file(file), theirs);
    support::write_file(file, "no database");
    EXPECT_THROW(LineRun(folder(), {}), LineError);
    EXPECT_EQ(support::read_file(file), "no database");
    // What cannot be opened is not damaged.
    fs::remove(file);
    fs::create_directory(file);
    EXPECT_THROW(LineRun(folder(), {}), SqliteError);
    EXPECT_TRUE(fs::is_directory(file));
}

TEST_F(Lines, RecordsThatAreMeasuredCannotBeWritten) {
    make(two_nodes());
    run_until(1);
    Node opened(node("b"), Node::Access::write);
    Transaction transaction(opened.database());
    EXPECT_THROW(opened.system_database().remove(controllers_bind_point, "Ots0_1_0_0/ots_info"), SysdbNameError);
    EXPECT_THROW(opened.system_database().put(controllers_bind_point, "Ots0_1_0_0/ots_info", {}), SysdbNameError);
    opened.system_database().put("/oper/other/", "item", {});
    EXPECT_THAT(opened.system_database().bind_points(),
                testing::ElementsAre("/oper/inventory/gl/entity/", "/oper/other/", "/oper/ots/if/"));
    EXPECT_THAT(opened.system_database().list("/oper/ots/if/"), testing::ElementsAre("Ots0_1_0_0/"));
}

// An edit under way does not keep the line from writing, nor a second that is being written an edit from beginning.
TEST_F(Lines, ConfigurationAndMeasurementDoNotWaitForEachOther) {
    make(two_nodes());
    LineRun run(folder(), {});
    run.step();
    Node opened(node("b"), Node::Access::write);
    Transaction transaction(opened.database());
    opened.system_database().put("/oper/other/", "item", {});
    LiveData live(node("b"));
    Transaction second(live.database());
    live.put_document("Korvex-controller-optics-oper", "{}");
    transaction.commit();
}

} // namespace
