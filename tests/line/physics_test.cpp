// The formulas against values worked out by hand in closed form, to 0.01 dB.
#include "line/noise.h"
#include "line/physics.h"

#include <cmath>

#include <gtest/gtest.h>

using namespace ocamp::physics;

namespace {

constexpr double tolerance = 0.01; // dB

TEST(Physics, DecibelsAndBack) {
    EXPECT_NEAR(from_decibels(3), 1.99526, 1e-5);
    EXPECT_NEAR(decibels(100), 20, 1e-12);
    EXPECT_TRUE(std::isinf(decibels(0)));
}

// h·ν = 1.28347e-19 J, times 4.8 THz = 6.1607e-7 W, times F = 3.1623 is 1.9482e-6 W; times G - 1 = 99 is 0.19287 mW.
TEST(Physics, SpontaneousEmissionOfTwentyDecibels) {
    EXPECT_NEAR(decibels(spontaneous_emission(100, from_decibels(5))), -7.147, tolerance);
    EXPECT_EQ(spontaneous_emission(1, from_decibels(5)), 0);
    EXPECT_EQ(spontaneous_emission(0.5, from_decibels(5)), 0);
}

// 0.01 mW times 100 and 0.19287 mW are 1.19287 mW.
TEST(Physics, OutputIsInputTimesGainAndNoise) {
    const Amplified amplified = amplify({0.01, 0}, 20, 5, 25).value();
    EXPECT_NEAR(decibels(amplified.output.total()), 0.766, tolerance);
    EXPECT_NEAR(decibels(amplified.output.signal), 0, tolerance);
    EXPECT_NEAR(amplified.gain, 20, tolerance);
}

// 1 mW in, 15 dBm = 31.623 mW at most: G = (31.623 + 0.00195) / (1 + 0.00195) is 14.992 dB.
TEST(Physics, LimitedOutputLowersTheGain) {
    const Amplified amplified = amplify({1, 0}, 20, 5, 15).value();
    EXPECT_NEAR(decibels(amplified.output.total()), 15, 1e-9);
    EXPECT_NEAR(amplified.gain, 14.992, tolerance);
    EXPECT_NEAR(decibels(amplified.output.signal), 14.992, tolerance);
}

// 15 dBm are 31.623 mW. With 31 mW in, G = (31.623 + 0.00195) / (31 + 0.00195) is 0.086 dB; with 32 mW it would be
// below 0 dB. At 0 dB nothing is limited, and no noise is added.
TEST(Physics, AnAmplifierThatCouldOnlyAttenuateIsDark) {
    EXPECT_NEAR(amplify({31, 0}, 20, 5, 15).value().gain, 0.086, tolerance);
    EXPECT_FALSE(amplify({32, 0}, 20, 5, 15));
    EXPECT_FALSE(amplify({16, 16}, 20, 5, 15)) << "noise counts, too";
    EXPECT_FALSE(amplify({32, 0}, 0, 5, 15));
    EXPECT_NEAR(decibels(amplify({31, 0}, 0, 5, 15).value().output.total()), decibels(31), 1e-9);
}

TEST(Physics, NoiseOfAmplifiersBeforeIsAmplifiedToo) {
    const Amplified amplified = amplify({0.01, 0.01}, 20, 5, 25).value();
    EXPECT_NEAR(decibels(amplified.output.total()), 3.410, tolerance); // 2 + 0.19287 mW
}

TEST(Physics, SpanLossDriftsWithinADay) {
    const SpanLoss loss{80, 0.2, 1.0, 0.5, 0, 2.0};
    EXPECT_NEAR(loss.at(0), 19.0, 1e-9);
    EXPECT_NEAR(loss.at(86400.0 / 4), 19.5, 1e-9);
    EXPECT_NEAR(loss.at(86400.0 * 3 / 4), 18.5, 1e-9);
    EXPECT_NEAR(loss.at(86400), 19.0, 1e-9);
}

TEST(Noise, IsNormal) {
    constexpr int count = 20000;
    double sum = 0, squares = 0;
    int within_one = 0;
    for (std::uint64_t i = 0; i < count; ++i) {
        const double value = ocamp::noise::normal(1, 5, i);
        sum += value;
        squares += value * value;
        within_one += std::abs(value) < 1 ? 1 : 0;
    }
    EXPECT_NEAR(sum / count, 0, 0.03);
    EXPECT_NEAR(squares / count, 1, 0.04);
    EXPECT_NEAR(within_one / double{count}, 0.6827, 0.015);
}

TEST(Noise, DependsOnSeedSourceAndSecond) {
    const double value = ocamp::noise::normal(1, 2, 3);
    EXPECT_EQ(ocamp::noise::normal(1, 2, 3), value);
    EXPECT_NE(ocamp::noise::normal(2, 2, 3), value);
    EXPECT_NE(ocamp::noise::normal(1, 3, 3), value);
    EXPECT_NE(ocamp::noise::normal(1, 2, 4), value);
}

} // namespace
