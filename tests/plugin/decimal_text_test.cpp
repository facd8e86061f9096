// The conversion of numbers by digits gives what the C library gives, or leaves the text to it. Every value of
// eight digits is compared by scripts/prove_decimals.sh; here are samples and the edges.
#include "c_library_decimal.h"
#include "ymap_values.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>

namespace {

using ymap::NativeDecimals;

constexpr NativeDecimals both[] = {NativeDecimals::tenths, NativeDecimals::hundredths};

/// The text by digits, or "left to the C library".
std::string by_digits(const std::string &text, NativeDecimals native) {
    char out[ymap::divided_integer_size];
    return ymap::divided_integer(text.c_str(), native, out) ? out : "left to the C library";
}

void expect_as_c_library(const std::string &text) {
    for (const NativeDecimals native : both)
        ASSERT_EQ(by_digits(text, native), c_library_decimal(text.c_str(), native)) << text;
}

TEST(DecimalText, EveryValueOfFourDigitsIsAsTheCLibraryPrintsIt) {
    for (int value = -9999; value <= 9999; ++value)
        expect_as_c_library(std::to_string(value));
}

TEST(DecimalText, RandomValuesOfUpToThirteenWholeDigitsAreAsTheCLibraryPrintsThem) {
    std::mt19937_64 random(20);
    constexpr std::uint64_t bound = 100'000'000'000'000;
    for (std::uint64_t below = 10; below <= bound; below *= 10)
        for (int i = 0; i < 5000; ++i) {
            const std::string digits = std::to_string(random() % below);
            expect_as_c_library(digits);
            expect_as_c_library("-" + digits);
        }
}

TEST(DecimalText, ZeroKeepsItsSignAndLeadingZerosGo) {
    for (const char *text : {"0", "-0", "00", "-00", "007", "-0070", "00000000000000", "-00000000000001"})
        expect_as_c_library(text);
}

TEST(DecimalText, ThirteenDigitsBeforeThePointAreTheMost) {
    expect_as_c_library("99999999999999");
    expect_as_c_library("-99999999999999");
    EXPECT_EQ(by_digits("999999999999999", NativeDecimals::hundredths), "9999999999999.99");
    EXPECT_EQ(by_digits("-999999999999999", NativeDecimals::hundredths), "-9999999999999.99");
    EXPECT_EQ(by_digits("100000000000000", NativeDecimals::tenths), "left to the C library");
    EXPECT_EQ(by_digits("000000000000001", NativeDecimals::tenths), "left to the C library");
    EXPECT_EQ(by_digits("1000000000000000", NativeDecimals::hundredths), "left to the C library");
}

TEST(DecimalText, WhatIsNoPlainIntegerIsLeftToTheCLibrary) {
    for (const char *text :
         {"", "-", "+5", " 5", "5 ", "--5", "1.5", "1e3", "0x10", "inf", "nan", "12a", "5\n", "/", ":"})
        for (const NativeDecimals native : both)
            EXPECT_EQ(by_digits(text, native), "left to the C library") << '"' << text << '"';
}

// ---- OpenConfig decimals read
// ----------------------------------------------------------------------------------------

constexpr double untouched = -77.5;

void expect_read_as_c_library(const std::string &text) {
    double expected = untouched;
    std::sscanf(text.c_str(), "%lf", &expected);
    double read = untouched;
    ASSERT_TRUE(ymap::short_decimal(text.c_str(), read)) << text;
    ASSERT_EQ(std::bit_cast<std::uint64_t>(read), std::bit_cast<std::uint64_t>(expected)) << text;
}

TEST(ShortDecimal, EveryValueOfFourDigitsIsAsTheCLibraryReadsIt) {
    for (int value = 0; value <= 9999; ++value) {
        const std::string digits = std::to_string(value);
        for (size_t whole = 1; whole <= digits.size(); ++whole) {
            const std::string text =
                digits.substr(0, whole) + (whole < digits.size() ? "." : "") + digits.substr(whole);
            expect_read_as_c_library(text);
            expect_read_as_c_library("-" + text);
        }
    }
}

TEST(ShortDecimal, RandomValuesOfUpToFifteenDigitsAreAsTheCLibraryReadsThem) {
    std::mt19937_64 random(21);
    for (int i = 0; i < 200'000; ++i) {
        std::string digits;
        for (auto count = 1 + random() % ymap::safe_decimal_digits; count > 0; --count)
            digits.push_back(static_cast<char>('0' + random() % 10));
        expect_read_as_c_library(digits);
        if (digits.size() > 1)
            digits.insert(1 + random() % (digits.size() - 1), ".");
        expect_read_as_c_library("-" + digits);
    }
}

TEST(ShortDecimal, TheEdgesAreAsTheCLibraryReadsThem) {
    for (const char *text : {"0", "-0", "0.0", "-0.00", "007.50", "999999999999999", "-0.00000000000001",
                             "9.99999999999999", "99999999999999.9"})
        expect_read_as_c_library(text);
}

TEST(ShortDecimal, OtherTextsAreLeftToTheCLibrary) {
    for (const char *text : {"",
                             "-",
                             ".",
                             ".5",
                             "5.",
                             "-.5",
                             "1..5",
                             "1.5.2",
                             "+5",
                             " 5",
                             "5 ",
                             "1e3",
                             "0x10",
                             "inf",
                             "nan",
                             "1,5",
                             "12a",
                             "--5",
                             "1000000000000000",
                             "0.000000000000001"}) {
        double read = untouched;
        EXPECT_FALSE(ymap::short_decimal(text, read)) << '"' << text << '"';
        EXPECT_EQ(read, untouched) << '"' << text << '"';
    }
}

TEST(DecimalText, TheLongestNumberEndsWhateverStoodBehindIt) {
    ymap::Value value;
    std::memset(value.text, 'x', sizeof value.text);
    std::snprintf(value.text, sizeof value.text, "%s", "-123456789012345");
    value.to_openconfig(NativeDecimals::hundredths);
    EXPECT_STREQ(value.text, "-1234567890123.45");
}

} // namespace
