// Names and numbers are read and written by hand; here is what the C library's formats make of the same texts.
#include "plugin_fixture.h"
#include "short_text.h"

#include <sys/mman.h>
#include <unistd.h>

#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr size_t value_size = 200;
constexpr size_t key_size = 20;

using Convert = int (*)(const char *, char *);

struct Printed {
    std::string text;
    int length;
    bool operator==(const Printed &other) const = default;
};

void PrintTo(const Printed &printed, std::ostream *stream) {
    *stream << '"' << printed.text << "\" of " << printed.length;
}

// ---- Names
// -----------------------------------------------------------------------------------------------------------

Printed converted(const char *function, const std::string &name) {
    char buffer[value_size] = "";
    const int length = plugin().function<Convert>(function)(name.c_str(), buffer);
    return {buffer, length};
}

Printed controller_by_format(const std::string &amplifier, const char *format) {
    int slot = -1;
    std::sscanf(amplifier.c_str(), "0/%d-AMP-", &slot);
    int port = -1;
    if (amplifier.find("PRE") != std::string::npos)
        port = 0;
    else if (amplifier.find("BST") != std::string::npos)
        port = 1;
    char buffer[value_size];
    const int length = std::snprintf(buffer, sizeof buffer, format, slot, port);
    return {buffer, length};
}

Printed amplifier_by_format(const std::string &controller) {
    int slot = -1;
    int port = -1;
    std::sscanf(controller.c_str(), "Ots0/%d/0/%d", &slot, &port);
    char buffer[key_size];
    const int length = std::snprintf(buffer, sizeof buffer, "0/%d-AMP-%s", slot, port == 0 ? "PRE" : "BST");
    return {buffer, length};
}

void expect_name_as_formats_make_it(const std::string &name) {
    ASSERT_EQ(converted("ampli_key_to_ots_ctrl_key", name), controller_by_format(name, "Ots0/%d/0/%d")) << name;
    ASSERT_EQ(converted("ampli_key_to_sysdb_ots_ctrl_key", name), controller_by_format(name, "Ots0_%d_0_%d")) << name;
    ASSERT_EQ(converted("ots_ctrl_key_to_ampli_key", name), amplifier_by_format(name)) << name;
}

/// A random one of `choices`.
template <class Choices>
auto any_of(std::mt19937 &random, const Choices &choices) {
    return choices[random() % std::size(choices)];
}

TEST(NamesByHand, EverySlotAndPortIsAsFormatsMakeIt) {
    constexpr int furthest = 300;
    for (int slot = -furthest; slot <= furthest; ++slot) {
        const std::string before_type = "0/" + std::to_string(slot) + "-AMP-";
        expect_name_as_formats_make_it(before_type + "PRE");
        expect_name_as_formats_make_it(before_type + "BST");
        for (int port = -3; port <= 12; ++port)
            expect_name_as_formats_make_it("Ots0/" + std::to_string(slot) + "/0/" + std::to_string(port));
    }
}

TEST(NamesByHand, TextsOfTheSameLettersAreAsFormatsMakeThem) {
    constexpr const char *pieces[] = {
        "0/", "Ots0/", "/0/",        "-AMP-",      "PRE",        "BST",           "1",
        "23", " ",     "\t\n",       "+",          "-",          "Ots",           "/",
        "_",  "00007", "4294967297", "2147483648", "-999999999", "9999999999999", "123456789",
        "x",  "Ots0_", "_0_",        "0x1f",       "1234567890", "\xff"};
    std::mt19937 random(8);
    for (int i = 0; i < 200'000; ++i) {
        std::string name = any_of(random, std::vector<std::string>{"0/", "Ots0/", ""});
        for (auto more = random() % 6; more > 0; --more)
            name += any_of(random, pieces);
        expect_name_as_formats_make_it(name);
    }
}

// ---- Pieces
// ----------------------------------------------------------------------------------------------------------

TEST(TextReader, ReadsTheNumbersThatTheCLibraryReads) {
    const std::vector<std::string> texts = {"0",
                                            "7",
                                            "007",
                                            "123456789",
                                            "1234567890",
                                            "2147483647",
                                            "2147483648",
                                            "4294967295",
                                            "4294967296",
                                            "-1",
                                            "-2147483648",
                                            "-2147483649",
                                            "+5",
                                            " 12",
                                            "\n-3",
                                            "- 3",
                                            "",
                                            "x",
                                            "-",
                                            "+-1",
                                            "999999999x",
                                            "12/34",
                                            "0x10",
                                            "1.5",
                                            "9999999999999999999999",
                                            "-9999999999999999999999"};
    for (const std::string &text : texts) {
        int expected = -77;
        int used = 0;
        const bool found = std::sscanf(text.c_str(), "%d%n", &expected, &used) == 1;
        ymap::TextReader reader(text.c_str());
        int read = -77;
        ASSERT_EQ(reader.number(read), found) << text;
        EXPECT_EQ(read, expected) << text;
        EXPECT_TRUE(!found || reader.passes(text.c_str() + used)) << text;
    }
}

/// A copy of a text whose terminator is the last byte that can be read.
class TextAtTheEndOfAPage {
  public:
    explicit TextAtTheEndOfAPage(const std::string &text) : page_(static_cast<size_t>(sysconf(_SC_PAGESIZE))) {
        void *both = mmap(nullptr, 2 * page_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        start_ = static_cast<char *>(both);
        mprotect(start_ + page_, page_, PROT_NONE);
        text_ = start_ + page_ - text.size() - 1;
        std::memcpy(text_, text.c_str(), text.size() + 1);
    }
    TextAtTheEndOfAPage(const TextAtTheEndOfAPage &) = delete;
    TextAtTheEndOfAPage &operator=(const TextAtTheEndOfAPage &) = delete;
    ~TextAtTheEndOfAPage() { munmap(start_, 2 * page_); }
    const char *text() const { return text_; }

  private:
    size_t page_;
    char *start_;
    char *text_;
};

TEST(NamesByHand, AreNotReadBehindTheirEnds) {
    for (const char *name :
         {"", "0/", "0/1", "0/-", "0/1-AMP-", "0/1-AMP-PRE", "Ots0/", "Ots0/1", "Ots0/1/0/", "Ots0/1/0/1"}) {
        const TextAtTheEndOfAPage at_the_end(name);
        char buffer[value_size];
        for (const char *function :
             {"ampli_key_to_ots_ctrl_key", "ampli_key_to_sysdb_ots_ctrl_key", "ots_ctrl_key_to_ampli_key"})
            EXPECT_EQ(plugin().function<Convert>(function)(at_the_end.text(), buffer),
                      plugin().function<Convert>(function)(std::string(name).c_str(), buffer))
                << function << " of " << name;
    }
}

TEST(TextReader, PassesOverWhatIsThereOnly) {
    ymap::TextReader reader("Ots0/1");
    EXPECT_FALSE(reader.passes("Ots0_"));
    EXPECT_TRUE(reader.passes("Ots0/")) << "a piece that is not there is not passed in part";
    EXPECT_FALSE(reader.passes("1/"));
    EXPECT_TRUE(reader.passes("1"));
    EXPECT_TRUE(reader.passes(""));
    EXPECT_FALSE(reader.passes("1"));
}

TEST(TextWriter, WritesNumbersAsTheCLibraryDoes) {
    std::mt19937 random(9);
    std::vector<int32_t> numbers = {0, 1, -1, 9, 10, -10, 99, 100, INT_MAX, INT_MIN, INT_MAX - 1, INT_MIN + 1};
    for (int i = 0; i < 20'000; ++i)
        numbers.push_back(static_cast<int32_t>(random()) >> random() % 31);
    for (const int32_t number : numbers) {
        char expected[2 * key_size];
        const int length = std::snprintf(expected, sizeof expected, "%d %u", number, static_cast<uint32_t>(number));
        char written[sizeof expected];
        ymap::TextWriter writer(written, sizeof written);
        ASSERT_EQ(writer.number(number).literal(" ").number(static_cast<uint32_t>(number)).finish(), length);
        ASSERT_STREQ(written, expected);
    }
}

TEST(TextWriter, CutsWhereTheCLibraryCuts) {
    constexpr const char *texts[] = {"", "a", "0/1-AMP-PRE"};
    char expected[2 * key_size];
    char written[sizeof expected];
    for (const char *first : texts)
        for (const char *second : texts)
            for (size_t size = 1; size <= sizeof expected; ++size) {
                const int length = std::snprintf(expected, size, "%s/%d%s", first, -12, second);
                ymap::TextWriter writer(written, size);
                ASSERT_EQ(writer.text(first).literal("/").number(-12).text(second).finish(), length) << size;
                ASSERT_STREQ(written, expected) << size;
            }
}

} // namespace
