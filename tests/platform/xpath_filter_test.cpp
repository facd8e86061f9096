// XPath filters: what stays of a tree, and which expressions cost too much.
#include "node/filter.h"
#include "node/xpath_filter.h"
#include "yang/models.h"

#include <gmock/gmock.h>

using namespace ocamp;
using testing::HasSubstr;
using testing::Not;

namespace {

std::string cut(const std::string &expression) {
    YangTree tree = openconfig_schema().parse(
        R"({"openconfig-optical-amplifier:optical-amplifier":{"amplifiers":{"amplifier":[
        {"name":"a","config":{"name":"a","enabled":true,"target-gain":"1.5"}},
        {"name":"b","config":{"name":"b","enabled":false}}]}}})",
        LYD_JSON);
    XPathFilter(openconfig_schema(), expression, {{"o", "http://openconfig.net/yang/optical-amplfier"}}).cut(tree);
    std::string text = tree.print(LYD_JSON);
    std::erase_if(text, [](char character) { return character == ' ' || character == '\n'; });
    constexpr std::string_view head =
        R"({"openconfig-optical-amplifier:optical-amplifier":{"amplifiers":{"amplifier":)";
    return text.starts_with(head) ? text.substr(head.size(), text.size() - head.size() - 3) : text;
}

TEST(XPathCut, WhatIsSelectedStaysWithAllBelowAndTheKeysAbove) {
    EXPECT_EQ(cut("/o:optical-amplifier/o:amplifiers/o:amplifier[o:name='b']"),
              R"([{"name":"b","config":{"name":"b","enabled":false}}])");
    EXPECT_EQ(cut("//o:enabled"),
              R"([{"name":"a","config":{"enabled":true}},{"name":"b","config":{"enabled":false}}])");
    EXPECT_EQ(cut("//o:target-gain"), R"([{"name":"a","config":{"target-gain":"1.5"}}])");
    EXPECT_EQ(cut("//o:amplifier[o:name='c']"), "");
}

// What is said of an expression that is refused. The prefix "u" stands for a namespace of no module.
std::string refusal_of(const std::string &expression) {
    YangTree tree = openconfig_schema().parse(R"({"openconfig-optical-amplifier:optical-amplifier":{}})", LYD_JSON);
    try {
        XPathFilter(openconfig_schema(), expression, {{"u", "urn:unknown"}}).cut(tree);
    } catch (const FilterError &error) {
        return error.what();
    }
    return "taken";
}

TEST(XPathNames, HaveModulesForPrefixes) {
    const std::string b = R"([{"name":"b","config":{"name":"b","enabled":false}}])";
    EXPECT_EQ(cut("//openconfig-optical-amplifier:amplifier[o:name=\"b\"]"), b) << "a name of a module";
    EXPECT_EQ(cut("/child::o:optical-amplifier/descendant::o:amplifier[o:name='b']"), b) << "an axis is no prefix";
    EXPECT_EQ(cut("//o:amplifier[o:name='o:b']"), "") << "nor is what stands in quotes";
    EXPECT_EQ(cut("(//o:amplifier)[2]"), b);
    EXPECT_EQ(refusal_of("//u:amplifier"), "taken");
    EXPECT_EQ(refusal_of("//p:amplifier"), "XPath: the prefix 'p' stands for no namespace");
    EXPECT_EQ(refusal_of("//_p.1-2:amplifier"), "XPath: the prefix '_p.1-2' stands for no namespace");
}

TEST(XPathText, IsBoundedAndText) {
    const std::string longest = "/" + std::string(8191, 'a');
    EXPECT_THAT(refusal_of(longest), Not(HasSubstr("expected at most")));
    EXPECT_EQ(refusal_of(longest + "a"), "XPath: 8193 bytes, expected at most 8192");
    EXPECT_EQ(refusal_of(std::string("/a\0", 3)), "XPath: not UTF-8 text");
    EXPECT_EQ(refusal_of("/\xFF"), "XPath: not UTF-8 text");
    const std::string levels(64, '(');
    EXPECT_THAT(refusal_of(levels), Not(HasSubstr("levels")));
    EXPECT_THAT(refusal_of(levels + ")["), Not(HasSubstr("64 levels")));
    EXPECT_EQ(refusal_of(levels + "["), "XPath: more than 64 levels, expected at most that");
}

TEST(XPathText, ThatIsNoExpressionIsToldByWhoEvaluatesIt) {
    for (const char *expression : {"//u:a['b", "\"", "]", ")", "a[1]]", "//", "1"})
        EXPECT_THAT(refusal_of(expression), testing::StartsWith("XPath: ")) << expression;
}

std::string cost_of(const std::string &expression) {
    try {
        check_cost_of_xpath(expression);
    } catch (const FilterError &error) {
        return error.what();
    }
    return "taken";
}

TEST(XPathCost, IsBoundedForEveryNode) {
    for (const char *expression : {"/a/b",
                                   "//a//b//c",
                                   "a[b]//c//d//e",
                                   "a[b][c]//d//e",
                                   "a[b=']']//c//d",
                                   "a[.//b]",
                                   "a[*]",
                                   "*[a]/*/*",
                                   "a[../b]",
                                   "a[b and c]/d",
                                   "a[1]/preceding::b",
                                   "count(a[b])*2",
                                   "(a[b]|c[d])//e//f",
                                   "a[b or c * 2 div 3 mod 4]",
                                   "a[node/current/*]",
                                   "a[b\t=\n'*'\r]/ *",
                                   "child ::*/_a[and/or/*]",
                                   "a[b='*",
                                   "]//*[*]",
                                   "a[current()/b]"})
        EXPECT_EQ(cost_of(expression), "taken") << expression;
    for (const char *expression :
         {"a[//b]", "a[b[*]]", "a[*/*]", "a[.//b//c]", "a[../*]", "a/preceding::b/following::c", "a[b[../c]]",
          "a[*][*]", "a[descendant::b/*]", "a[ancestor::b/*]", "a[deref(b)/*]", "a[node()/node()]", "a[current()/*]",
          "a[*/..]", "a[parent::b/*]", "a[b[current()]]", "a[. * *//b]"})
        EXPECT_THAT(cost_of(expression), HasSubstr("looks through the tree again for every node")) << expression;
}

TEST(XPathCost, PatternsAreNotMatched) {
    for (const char *expression : {"a[re-match(., 'x')]", "re-match (a, '(a+)+b')", "//a[1 = 1 and re-match(b, '[')]"})
        EXPECT_THAT(cost_of(expression), HasSubstr("the function re-match is not evaluated")) << expression;
    EXPECT_EQ(cost_of("a[re-match = 're-match(']"), "taken");
}

// A divisor of 0 would end the process.
TEST(XPathCost, DivisorsAreWholeNumbers) {
    for (const char *expression : {"1 mod 0", "1 mod 0.5", "1 mod a", "a mod(1)", "a[b mod -1]", "a mod 00", "* mod 0",
                                   "a modulation", "a mod0", "'a'mod 0", "(a)mod 0", "a[1]mod 0", ".. mod 0", "1mod 0",
                                   "\xc3\xa9 mod 0", "a mod 1.5", "a mod 1000000000", "a mod"})
        EXPECT_THAT(cost_of(expression), HasSubstr("expected a whole number of 1 to 999999999")) << expression;
    for (const char *expression :
         {"a mod 2", "a[position() mod 02 = 1]", "mod/mode", "a/mod", "1 mod\t999999999", "'mod 0'"})
        EXPECT_EQ(cost_of(expression), "taken") << expression;
    EXPECT_EQ(cut("//o:amplifier[position() mod 2 = 0]/o:name"), R"([{"name":"b"}])");
    EXPECT_EQ(cut("//o:\xc3\xa9"), "");
}

} // namespace
