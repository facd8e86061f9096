// How differing texts are shown.
#include "same_text.h"

#include <sstream>
#include <vector>

namespace support {

namespace {

constexpr std::size_t lines_around = 2;

std::vector<std::string> lines_of(const std::string &text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    if (!text.empty() && text.back() != '\n')
        lines.push_back("(no newline at the end)");
    return lines;
}

} // namespace

std::string in_lines(const std::string &text) {
    std::string lines;
    for (const char character : text) {
        lines += character;
        if (character == ',' || character == '{' || character == '[')
            lines += '\n';
    }
    return lines;
}

testing::AssertionResult same_text(const char *actual_words, const char *expected_words, const std::string &actual,
                                   const std::string &expected) {
    if (actual == expected)
        return testing::AssertionSuccess();
    // GoogleTest's own comparison of lines, which EXPECT_EQ shows below both texts in full.
    return testing::AssertionFailure() << actual_words << " is not " << expected_words << ":\n"
                                       << testing::internal::edit_distance::CreateUnifiedDiff(
                                              lines_of(expected), lines_of(actual), lines_around);
}

} // namespace support
