// Light on whole lines: levels worked out by hand, ramps, shut-down and restart, events, and that nothing depends on
// anything but description, seed, settings and events.
#include "line_fixture.h"

#include "line/event.h"

#include <cmath>
#include <functional>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

using namespace ocamp;
using namespace line_tests;

namespace {

class TwoNodes : public testing::Test {
  protected:
    const AmplifierReading &booster() const { return reading(simulation_, "a", 1, true); }
    const AmplifierReading &pre() const { return reading(simulation_, "b", 1, false); }
    std::size_t booster_index() const { return amplifier_at(simulation_, "a", 1, true); }
    std::size_t pre_index() const { return amplifier_at(simulation_, "b", 1, false); }
    void change(std::size_t index, const std::function<void(AmplifierSettings &)> &by) {
        AmplifierSettings settings = simulation_.amplifiers()[index].settings;
        by(settings);
        simulation_.configure_amplifier(index, settings);
    }

    LineDescription line_ = read_line(two_nodes());
    Simulation simulation_{line_, 1};
};

// Four channels of 0.50119 mW are 2.00475 mW, 3.02 dBm. The booster makes 200.475 mW of it and adds
// 1.28347e-19 J · 4.8 THz · 3.98107 · 99 = 0.24281 mW: 23.03 dBm. Less 17 dB: 6.03 dBm. The pre-amplifier gives back
// 17 dB and adds 1.28347e-19 J · 4.8 THz · 3.16228 · 49.119 = 0.09569 mW: 23.03 dBm.
TEST_F(TwoNodes, LevelsAsWorkedOutByHand) {
    run(simulation_, 1);
    EXPECT_NEAR(booster().input, 302, 1);
    EXPECT_NEAR(booster().output, 2303, 1);
    EXPECT_NEAR(pre().input, 603, 1);
    EXPECT_NEAR(pre().output, 2303, 1);
    EXPECT_EQ(booster().gain, 2000);
    EXPECT_EQ(pre().gain, 1700);
    EXPECT_EQ(booster().tilt, 0);
    EXPECT_EQ(pre().tilt, -100);
}

// 1 dBm launched less 17 dB. The pre-amplifier's port receives it besides its own 6.03 dBm: 4.0086 + 0.0251 mW.
TEST_F(TwoNodes, SupervisoryChannelCrossesTheSpan) {
    run(simulation_, 1);
    ASSERT_EQ(simulation_.channels().size(), 2U);
    EXPECT_EQ(simulation_.channels()[0].reading.output, 100);
    EXPECT_EQ(simulation_.channels()[0].reading.input, dark_reading);
    EXPECT_EQ(simulation_.channels()[1].reading.input, -1600);
    EXPECT_EQ(simulation_.channels()[1].reading.output, dark_reading) << "no fibre leads on";
    EXPECT_NEAR(pre().total_input, 606, 1);
    EXPECT_NEAR(booster().total_input, 302, 1);
    simulation_.configure_channel(0, {.power = -2, .shut = false});
    run(simulation_, 1);
    EXPECT_EQ(simulation_.channels()[1].reading.input, -1900);
    simulation_.configure_channel(0, {.power = -2, .shut = true});
    run(simulation_, 1);
    EXPECT_EQ(simulation_.channels()[1].reading.input, dark_reading);
}

// With 3 dB inside the site, and 10 dBm launched, which are -7 dBm or 0.19953 mW behind the span:
// 0.50119 * (4.0086 + 0.19953) mW are 2.1091 mW, 3.24 dBm.
TEST(SupervisoryLight, IsMeasuredBehindTheLossInsideTheSite) {
    nlohmann::json document = nlohmann::json::parse(two_nodes());
    document["nodes"][1]["slots"][0]["pre-amplifier"]["input-loss-db"] = 3;
    const LineDescription line = read_line(document.dump());
    Simulation simulation(line, 1);
    simulation.configure_channel(0, {.power = 10, .shut = false});
    run(simulation, 1);
    EXPECT_NEAR(reading(simulation, "b", 1, false).input, 303, 1);
    EXPECT_NEAR(reading(simulation, "b", 1, false).total_input, 324, 1);
}

// A card without supervisory channel receives none, whatever those behind it receive.
TEST(SupervisoryLight, IsThatOfItsOwnCard) {
    nlohmann::json document = nlohmann::json::parse(quiet_three_sites());
    document["nodes"][1]["slots"][0].erase("supervisory-power-dbm");
    const LineDescription line = read_line(document.dump());
    Simulation simulation(line, 1);
    run(simulation, 1);
    const AmplifierReading &without = reading(simulation, "site-1", 1, false);
    EXPECT_EQ(without.total_input, without.input);
    const AmplifierReading &with = reading(simulation, "site-1", 2, false);
    EXPECT_GT(with.total_input, with.input);
}

TEST_F(TwoNodes, GainsMoveByOneDecibelASecond) {
    set_gain(simulation_, booster_index(), 17.5);
    std::vector<int> gains;
    for (int i = 0; i < 4; ++i) {
        run(simulation_, 1);
        gains.push_back(booster().gain);
    }
    EXPECT_THAT(gains, testing::ElementsAre(1900, 1800, 1750, 1750));
    EXPECT_NEAR(pre().input, 603 - 250, 1);
    EXPECT_EQ(booster().tilt, 0);
}

// While the gain is 1.5 dB above what is set, the tilt is 0.7 times that above what is set.
TEST_F(TwoNodes, TiltFollowsTheDeviationOfTheGain) {
    change(booster_index(), [](AmplifierSettings &settings) {
        settings.gain = 17.5;
        settings.tilt = 2.0;
    });
    run(simulation_, 1);
    EXPECT_EQ(booster().gain, 1900);
    EXPECT_EQ(booster().tilt, 200 + 105);
    run(simulation_, 2);
    EXPECT_EQ(booster().tilt, 200);
}

// One channel of -3 dBm leaves room for more than 25 dB below the maximum output.
TEST_F(TwoNodes, GainStaysInItsRange) {
    happen(simulation_, "channels east 1");
    set_gain(simulation_, booster_index(), 40);
    set_gain(simulation_, pre_index(), 3);
    run(simulation_, 30);
    EXPECT_EQ(pre().gain, 1000);
    EXPECT_EQ(booster().gain, 2500);
}

// 25 dBm is 316.23 mW: G = (316.23 + 0.0024527) / (2.00475 + 0.0024527), 21.97 dB.
TEST_F(TwoNodes, OutputIsLimitedAndTheGainReadsSo) {
    set_gain(simulation_, booster_index(), 25);
    run(simulation_, 10);
    EXPECT_EQ(booster().output, 2500);
    EXPECT_NEAR(booster().gain, 2197, 1);
    EXPECT_NEAR(booster().tilt, static_cast<int>(std::lround(0.7 * (2197 - 2500))), 1);
}

TEST_F(TwoNodes, AShutAmplifierEmitsNothingAndBeginsAnewAtTheLowestGain) {
    change(booster_index(), [](AmplifierSettings &settings) { settings.shut = true; });
    run(simulation_, 1);
    EXPECT_EQ(booster().output, dark_reading);
    EXPECT_EQ(booster().gain, 0);
    EXPECT_EQ(booster().tilt, 0);
    EXPECT_NEAR(booster().input, 302, 1);
    EXPECT_EQ(pre().output, dark_reading) << "its input is lost for longer than half a second";
    change(booster_index(), [](AmplifierSettings &settings) { settings.shut = false; });
    run(simulation_, 1);
    EXPECT_EQ(booster().gain, 1090) << "nine steps after the first tenth of a second";
    run(simulation_, 9);
    EXPECT_NEAR(booster().gain, 1990, 1);
    run(simulation_, 1);
    EXPECT_EQ(booster().gain, 2000);
    EXPECT_EQ(pre().gain, 1700);
}

// One channel, amplified by 10 dB, comes as -10 dBm: 30 dB are no more than the maximum output, and above the normal
// range.
TEST_F(TwoNodes, TheExtendedRangeIsTakenUpAtTheNextStart) {
    happen(simulation_, "channels east 1");
    set_gain(simulation_, booster_index(), 10);
    change(pre_index(), [](AmplifierSettings &settings) {
        settings.extended_range = true;
        settings.gain = 30;
    });
    run(simulation_, 20);
    EXPECT_EQ(pre().gain, 2500);
    EXPECT_FALSE(simulation_.amplifiers()[pre_index()].extended_range);
    change(pre_index(), [](AmplifierSettings &settings) { settings.shut = true; });
    run(simulation_, 1);
    change(pre_index(), [](AmplifierSettings &settings) { settings.shut = false; });
    run(simulation_, 20);
    EXPECT_TRUE(simulation_.amplifiers()[pre_index()].extended_range);
    EXPECT_EQ(pre().gain, 3000);
}

// The booster has none.
TEST_F(TwoNodes, AnExtendedRangeThatWasNotBuiltIsTheNormalOne) {
    happen(simulation_, "channels east 1");
    for (const bool shut : {true, false}) {
        change(booster_index(), [&](AmplifierSettings &settings) {
            settings.shut = shut;
            settings.extended_range = true;
            settings.gain = 30;
        });
        run(simulation_, shut ? 1 : 20);
    }
    EXPECT_TRUE(simulation_.amplifiers()[booster_index()].extended_range);
    EXPECT_EQ(booster().gain, 2500);
}

TEST_F(TwoNodes, ACutIsSeenWithinASecondAndAfterRepairAllComesBack) {
    run(simulation_, 5);
    happen(simulation_, "cut a/b");
    run(simulation_, 1);
    EXPECT_NEAR(booster().output, 2303, 1) << "what lies before the cut goes on";
    EXPECT_EQ(pre().input, dark_reading);
    EXPECT_EQ(pre().output, dark_reading);
    EXPECT_EQ(pre().gain, 0);
    EXPECT_TRUE(simulation_.amplifiers()[pre_index()].input_lost);
    EXPECT_EQ(simulation_.channels()[1].reading.input, dark_reading);
    happen(simulation_, "repair a/b");
    run(simulation_, 1);
    EXPECT_GT(pre().output, dark_reading);
    EXPECT_EQ(simulation_.channels()[1].reading.input, -1600);
    run(simulation_, 8);
    EXPECT_EQ(pre().gain, 1700);
    EXPECT_NEAR(pre().output, 2303, 1);
}

// The input is lost below -35 dBm: 3.02 dBm + 20 dB - 17 dB less 42 dB is lost, less 40 dB is not.
TEST_F(TwoNodes, ASignalIsLostBelowItsThreshold) {
    happen(simulation_, "add-loss a/b 40");
    run(simulation_, 2);
    EXPECT_FALSE(simulation_.amplifiers()[pre_index()].input_lost);
    EXPECT_NEAR(pre().input, 603 - 4000, 1);
    happen(simulation_, "add-loss a/b 42");
    run(simulation_, 1);
    EXPECT_TRUE(simulation_.amplifiers()[pre_index()].input_lost);
}

TEST_F(TwoNodes, AFailedPumpLowersTheMaximum) {
    happen(simulation_, "pump-failure a 0/1-AMP-BST 10");
    run(simulation_, 1);
    EXPECT_EQ(booster().output, 1500);
    happen(simulation_, "pump-repair a 0/1-AMP-BST");
    run(simulation_, 1);
    EXPECT_NEAR(booster().output, 2303, 1);
}

// The booster receives 3.02 dBm and could send 25 dBm. With 21.9 dB less, 3.1 dBm or 2.04174 mW, the gain is
// (2.04174 + 0.0024527) / (2.00475 + 0.0024527), 0.08 dB, and the tilt would be 0.7 * (0.08 - 20), which is steeper
// than can be read. With 22 dB less the gain would have to be below 0 dB.
TEST_F(TwoNodes, APumpThatFailsFurtherThanTheGainLeavesTheAmplifierDark) {
    happen(simulation_, "pump-failure a 0/1-AMP-BST 21.9");
    run(simulation_, 1);
    EXPECT_EQ(booster().output, 310);
    EXPECT_NEAR(booster().gain, 8, 1);
    EXPECT_EQ(booster().tilt, -500);
    for (const char *decibels : {"22", "60"}) {
        happen(simulation_, fmt::format("pump-failure a 0/1-AMP-BST {}", decibels));
        run(simulation_, 1);
        EXPECT_FALSE(simulation_.amplifiers()[booster_index()].emitting) << decibels;
        EXPECT_EQ(booster().output, dark_reading) << decibels;
        EXPECT_EQ(booster().gain, 0) << decibels;
        EXPECT_EQ(booster().tilt, 0) << decibels;
        EXPECT_TRUE(simulation_.amplifiers()[pre_index()].input_lost) << decibels;
    }
    happen(simulation_, "pump-repair a 0/1-AMP-BST");
    run(simulation_, 1);
    EXPECT_EQ(booster().gain, 1090) << "from the lowest gain on";
    run(simulation_, 10);
    EXPECT_NEAR(booster().output, 2303, 1);
}

// At a gain of 0 dB half of all errors of a reading would lead below it.
TEST(Readings, NoGainIsReadBelowZero) {
    nlohmann::json document = nlohmann::json::parse(two_nodes("\"measurement-noise-db\": 0.5,"));
    nlohmann::json &booster = document["nodes"][0]["slots"][0]["booster"];
    booster["gain-range-db"] = {0, 25};
    booster["gain-db"] = 0;
    booster["tilt-db"] = 5;
    const LineDescription line = read_line(document.dump());
    Simulation simulation(line, 1);
    for (int second = 0; second < 30; ++second) {
        run(simulation, 1);
        EXPECT_GE(reading(simulation, "a", 1, true).gain, 0);
        EXPECT_LE(reading(simulation, "a", 1, true).tilt, 500);
    }
}

TEST_F(TwoNodes, APulledCardLetsNothingPassAndComesBackCold) {
    happen(simulation_, "pull a 1");
    run(simulation_, 1);
    EXPECT_EQ(pre().input, dark_reading);
    EXPECT_EQ(simulation_.channels()[1].reading.input, dark_reading);
    happen(simulation_, "insert a 1");
    run(simulation_, 1);
    EXPECT_EQ(booster().gain, 1090);
}

TEST_F(TwoNodes, ACardThatIsPutInHasNeitherTheFailureNorTheAlarmOfTheOneBefore) {
    happen(simulation_, "pump-failure a 0/1-AMP-BST 10");
    happen(simulation_, "cut a/b");
    run(simulation_, 1);
    ASSERT_TRUE(simulation_.amplifiers()[pre_index()].input_lost);
    for (const char *event : {"pull a 1", "pull b 1", "repair a/b"})
        happen(simulation_, event);
    run(simulation_, 1);
    for (const char *event : {"insert a 1", "insert b 1"})
        happen(simulation_, event);
    run(simulation_, 1);
    EXPECT_EQ(pre().gain, 1090) << "it started with the first tenth of a second";
    run(simulation_, 10);
    EXPECT_NEAR(booster().output, 2303, 1) << "more than the failed pump gave";
}

// Eight channels instead of four: 3.01 dB more.
TEST_F(TwoNodes, ChannelsComeAndGo) {
    run(simulation_, 1);
    const int before = booster().input;
    happen(simulation_, "channels east 8");
    run(simulation_, 1);
    EXPECT_NEAR(booster().input - before, 301, 1);
    happen(simulation_, "channels east 0");
    run(simulation_, 1);
    EXPECT_EQ(booster().output, dark_reading);
}

TEST(ThreeSites, RaisingOneGainRaisesEveryPowerBehindUntilSaturation) {
    const LineDescription line = read_line(quiet_three_sites());
    Simulation before(line, 1), after(line, 1);
    const std::size_t raised = amplifier_at(after, "site-1", 1, false);
    run(before, 2);
    set_gain(after, raised, after.amplifiers()[raised].built.gain + 1);
    run(after, 2);
    bool behind = false;
    for (const Simulation::Passage &passage : after.path(0)) {
        if (passage.kind != Simulation::Passage::Kind::amplifier)
            continue;
        const int difference =
            after.amplifiers()[passage.index].reading.output - before.amplifiers()[passage.index].reading.output;
        behind = behind || passage.index == raised;
        // The noise that amplifiers behind add does not rise with the rest.
        EXPECT_NEAR(difference, behind ? 100 : 0, 2) << passage.index;
    }
    for (const Simulation::Passage &passage : after.path(1))
        if (passage.kind == Simulation::Passage::Kind::amplifier) {
            EXPECT_EQ(after.amplifiers()[passage.index].reading.output,
                      before.amplifiers()[passage.index].reading.output);
        }

    set_gain(after, raised, 26);
    run(after, 20);
    EXPECT_EQ(reading(after, "site-1", 1, false).output, 1800) << "its maximum";
    EXPECT_LT(reading(after, "site-1", 1, false).gain, 2600);
}

TEST(ThreeSites, APumpFailsInItsSlotAlone) {
    const LineDescription line = read_line(three_sites());
    Simulation simulation(line, 1);
    happen(simulation, "pump-failure site-2 0/2-AMP-BST 3");
    for (std::size_t i = 0; i < simulation.amplifiers().size(); ++i)
        EXPECT_EQ(simulation.amplifiers()[i].pump_loss, i == amplifier_at(simulation, "site-2", 2, true) ? 3 : 0) << i;
}

TEST(ThreeSites, ACutShutsAllBehindItWithinASecondAndNoOther) {
    const LineDescription line = read_line(three_sites());
    Simulation simulation(line, 3);
    run(simulation, 10);
    happen(simulation, "cut site-1/site-2 east");
    run(simulation, 1);
    bool behind = false;
    for (const Simulation::Passage &passage : simulation.path(0)) {
        if (passage.kind == Simulation::Passage::Kind::span) {
            behind = behind || passage.index == 1;
            continue;
        }
        const SimulatedAmplifier &amplifier = simulation.amplifiers()[passage.index];
        EXPECT_EQ(amplifier.emitting, !behind) << passage.index;
        EXPECT_EQ(amplifier.reading.output == dark_reading, behind) << passage.index;
    }
    for (const Simulation::Passage &passage : simulation.path(1))
        if (passage.kind == Simulation::Passage::Kind::amplifier) {
            EXPECT_TRUE(simulation.amplifiers()[passage.index].emitting);
        }
    happen(simulation, "repair site-1/site-2");
    run(simulation, 40);
    for (const SimulatedAmplifier &amplifier : simulation.amplifiers())
        EXPECT_NEAR(amplifier.reading.gain, amplifier.target_gain() * 100, 20);
}

// As restored after any second, a simulation goes on as if it had never been stopped.
TEST(Determinism, TheSameInputsGiveTheSameValues) {
    const LineDescription line = read_line(three_sites());
    const auto play = [&](Simulation &simulation, std::uint64_t until) {
        while (simulation.second() < until) {
            if (simulation.second() == 5)
                happen(simulation, "cut site-2/site-3");
            if (simulation.second() == 12)
                happen(simulation, "repair site-2/site-3");
            if (simulation.second() == 20)
                set_gain(simulation, 3, 14.3);
            simulation.step();
        }
    };
    Simulation whole(line, 7);
    play(whole, 60);
    for (const std::uint64_t stop : {0U, 3U, 6U, 13U, 15U, 21U, 59U}) {
        Simulation first(line, 7), second(line, 99);
        play(first, stop);
        second.restore(first.state());
        play(second, 60);
        EXPECT_EQ(second.state(), whole.state()) << stop;
    }
    Simulation other(line, 8);
    play(other, 60);
    EXPECT_NE(other.state(), whole.state());
}

TEST(Determinism, AStateOfAnotherLineIsRefused) {
    const LineDescription small = read_line(two_nodes()), large = read_line(three_sites());
    Simulation simulation(large, 1);
    EXPECT_THROW(simulation.restore(Simulation(small, 1).state()), JsonError);
    // As many of everything.
    nlohmann::json renamed = nlohmann::json::parse(three_sites());
    renamed["nodes"][1]["name"] = "elsewhere";
    nlohmann::json moved = nlohmann::json::parse(three_sites());
    moved["nodes"][1]["slots"][0]["slot"] = 3;
    for (const nlohmann::json &description : {renamed, moved}) {
        const LineDescription other = read_line(description.dump());
        EXPECT_THROW(simulation.restore(Simulation(other, 1).state()), OtherLineError);
    }
    for (const char *list : {"amplifiers", "channels", "fibres", "channel-counts", "pulled"}) {
        nlohmann::json state = nlohmann::json::parse(simulation.state());
        state[list].push_back(state[list][0]);
        EXPECT_THROW(simulation.restore(state.dump()), JsonError) << list;
        state[list] = 5;
        EXPECT_THROW(simulation.restore(state.dump()), JsonError) << list;
    }
    const auto told = [&](const nlohmann::json &state) {
        try {
            simulation.restore(state.dump());
        } catch (const JsonError &error) {
            return std::string(error.what());
        }
        return std::string("taken");
    };
    const auto whole = nlohmann::json::parse(simulation.state());
    for (const char *place : {"/second", "/seed", "/structure", "/amplifiers/0/4", "/amplifiers/0/7", "/channels/0/1",
                              "/channel-counts/0"}) {
        for (const char *number : {"1.5", "1e300", "-99999999999", "18446744073709551616"}) {
            nlohmann::json other = whole;
            other[nlohmann::json::json_pointer(place)] = nlohmann::json::parse(number);
            EXPECT_THAT(told(other), testing::HasSubstr("expected a whole number from")) << place << ' ' << number;
        }
    }
    // One number is no list of one.
    Simulation other(small, 1);
    nlohmann::json no_list = nlohmann::json::parse(other.state());
    no_list["channel-counts"] = 5;
    EXPECT_THROW(other.restore(no_list.dump()), JsonError);
    nlohmann::json more_slots = whole;
    more_slots["pulled"][1].push_back(false);
    EXPECT_THAT(told(more_slots), testing::HasSubstr("the state is damaged: expected 2 slots of site-1"));
    EXPECT_THROW(simulation.restore("{"), JsonError);
    EXPECT_THROW(simulation.restore("{}"), JsonError);
    for (const char *member : {"channel-counts", "pulled"}) {
        nlohmann::json state = nlohmann::json::parse(Simulation(large, 1).state());
        EXPECT_NO_THROW(simulation.restore(state.dump()));
        state[member].push_back(state[member][0]);
        EXPECT_THROW(simulation.restore(state.dump()), JsonError) << "one more of " << member;
    }
}

TEST(Measurement, ReadingsScatterAsTheDescriptionSays) {
    const LineDescription line = read_line(two_nodes("\"measurement-noise-db\": 0.03,"));
    Simulation simulation(line, 5);
    constexpr int seconds = 2000;
    double sum = 0, squares = 0;
    for (int i = 0; i < seconds; ++i) {
        simulation.step();
        const double deviation = reading(simulation, "a", 1, true).gain / 100.0 - 20;
        sum += deviation;
        squares += deviation * deviation;
    }
    EXPECT_NEAR(sum / seconds, 0, 0.003);
    EXPECT_NEAR(std::sqrt(squares / seconds), 0.03, 0.002);
}

} // namespace
