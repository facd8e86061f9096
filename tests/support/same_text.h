// Compares long texts; where they differ, only the lines that do are shown. Knows nothing of what the texts are.
#pragma once

#include <string>

#include <gtest/gtest.h>

namespace support {

/// A text without line ends as one of many lines, broken behind each comma and opening bracket, so that a comparison
/// can show the parts that differ.
std::string in_lines(const std::string &text);

/// For EXPECT_SAME_TEXT.
testing::AssertionResult same_text(const char *actual_words, const char *expected_words, const std::string &actual,
                                   const std::string &expected);

} // namespace support

/// Like EXPECT_EQ, for texts of many lines: a failure shows the lines that differ with two around each, "-" before
/// what was expected and "+" before what there was.
#define EXPECT_SAME_TEXT(actual, expected) EXPECT_PRED_FORMAT2(support::same_text, actual, expected)
