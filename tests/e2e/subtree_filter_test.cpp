// Subtree filters as section 6 of RFC 6241 describes them, kind by kind: each row is one filter over the example node
// and the whole of its answer.
#include "ocamp_program.h"

#include <algorithm>

#include <gmock/gmock.h>

using namespace e2e;

namespace {

constexpr const char *model = "http://openconfig.net/yang/optical-amplfier";

std::string without_blanks(std::string text) {
    std::erase_if(text, [](char character) { return character == ' ' || character == '\n'; });
    return text;
}

std::string root(const std::string &content) {
    return std::string("<optical-amplifier xmlns=\"") + model + "\">" + content + "</optical-amplifier>";
}

std::string filter(const std::string &content) {
    return "<filter type=\"subtree\">" + content + "</filter>";
}

// A filter whose elements stand in the list of amplifiers.
std::string amplifiers(const std::string &entries) {
    return filter(root("<amplifiers>" + entries + "</amplifiers>"));
}

std::string amplifier(const std::string &content) {
    return amplifiers("<amplifier>" + content + "</amplifier>");
}

// Answers without blanks.
std::string answer(const std::string &content) {
    return "{\"openconfig-optical-amplifier:optical-amplifier\":{" + content + "}}";
}

std::string entries(const std::string &content) {
    return answer("\"amplifiers\":{\"amplifier\":[" + content + "]}");
}

const std::string pre_1 = "{\"name\":\"0/1-AMP-PRE\",\"config\":{\"name\":\"0/1-AMP-PRE\",\"target-gain\":\"17.5\","
                          "\"target-gain-tilt\":\"-0.5\",\"enabled\":true}}";
const std::string bst_1 = "{\"name\":\"0/1-AMP-BST\",\"config\":{\"name\":\"0/1-AMP-BST\",\"target-gain\":\"13.1\","
                          "\"target-gain-tilt\":\"0.3\",\"enabled\":false}}";
const std::string pre_2 = "{\"name\":\"0/2-AMP-PRE\",\"config\":{\"name\":\"0/2-AMP-PRE\",\"target-gain\":\"23.2\","
                          "\"target-gain-tilt\":\"-0.9\",\"enabled\":true}}";
const std::string bst_2 = "{\"name\":\"0/2-AMP-BST\",\"config\":{\"name\":\"0/2-AMP-BST\",\"target-gain\":\"14.2\","
                          "\"target-gain-tilt\":\"-0.8\",\"enabled\":true}}";
const std::string all = pre_1 + "," + bst_1 + "," + pre_2 + "," + bst_2;
const std::string names =
    R"({"name":"0/1-AMP-PRE"},{"name":"0/1-AMP-BST"},{"name":"0/2-AMP-PRE"},{"name":"0/2-AMP-BST"})";
const std::string channels = R"("supervisory-channels":{"supervisory-channel":[{"interface":"Optics0/1/0/4"},)"
                             R"({"interface":"Optics0/2/0/4"}]})";
constexpr const char *nothing = "{}";

struct Row {
    const char *test_name;
    std::string filter; // none: a read without filter
    std::string answer; // without blanks
    bool configuration = true;
};

void PrintTo(const Row &shown, std::ostream *to) {
    *to << shown.test_name;
}

class SubtreeFilters : public NodeTest, public testing::WithParamInterface<Row> {};

TEST_P(SubtreeFilters, SelectExactlyThis) {
    std::vector<std::string> arguments;
    if (GetParam().configuration)
        arguments.emplace_back("--config");
    if (!GetParam().filter.empty())
        arguments.insert(arguments.end(), {"--filter", "-"});
    const Outcome outcome = get(arguments, GetParam().filter);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_SAME_TEXT(support::in_lines(without_blanks(outcome.out)), support::in_lines(GetParam().answer));
}

const Row rows[] = {
    // No filter, and a filter without content
    {"NoFilter", "", entries(all)},
    {"EmptyFilter", filter(""), nothing},
    {"EmptyFilterWithBlanks", filter(" \n "), nothing},
    // Selection of a subtree
    {"RootSelection", filter(root("")), entries(all)},
    {"ContainerSelection", amplifiers(""), entries(all)},
    {"ListSelection", amplifier(""), entries(all)},
    {"ListSelectionAmongState", amplifier("<name/>"), entries(names), false},
    {"WithoutFilterElement", root("<amplifiers/>"), entries(all)},
    {"SelectionOfAnEmptyContainer", filter(root("<supervisory-channels/>")), nothing},
    // Namespaces
    {"AnyNamespace", filter("<optical-amplifier xmlns=\"\"><amplifiers/></optical-amplifier>"), entries(all)},
    {"ForeignRoot", filter("<optical-amplifier xmlns=\"urn:foreign\"/>"), nothing},
    {"ModuleNameForANamespace", filter("<optical-amplifier xmlns=\"openconfig-optical-amplifier\"/>"), nothing},
    {"ForeignChild", filter(root("<amplifiers xmlns=\"urn:foreign\"/>")), nothing},
    {"ForeignChildBesideAKnownOne", amplifier("<name/><config xmlns=\"urn:foreign\"/>"), entries(names)},
    {"PrefixedNames",
     filter(std::string("<p:optical-amplifier xmlns:p=\"") + model + "\"><p:amplifiers/></p:optical-amplifier>"),
     entries(all)},
    // Attribute matches: no node of this model has attributes
    {"AttributeMatch", amplifiers("<amplifier><name kind=\"x\"/></amplifier>"), nothing},
    {"AttributeMatchOfAnAncestor", filter(root("<amplifiers kind=\"x\"><amplifier/></amplifiers>")), nothing},
    {"AttributeMatchBesideASelection", amplifier("<name/><config kind=\"x\"/>"), entries(names)},
    // Containment
    {"SelectionOfOneLeaf", amplifier("<config><enabled/></config>"),
     entries(R"({"name":"0/1-AMP-PRE","config":{"enabled":true}},{"name":"0/1-AMP-BST","config":{"enabled":false}},)"
             R"({"name":"0/2-AMP-PRE","config":{"enabled":true}},{"name":"0/2-AMP-BST","config":{"enabled":true}})")},
    {"SelectionOfTheKeyAlone", amplifier("<name/>"), entries(names)},
    {"SelectionTwice", amplifier("<name/><name/>"), entries(names)},
    {"ContainmentOfAnUnknownName", amplifier("<colour/>"), nothing},
    {"UnknownNameBesideAKnownOne", amplifier("<colour/><name/>"), entries(names)},
    {"StateInAReadOfConfiguration", amplifier("<state/>"), nothing},
    {"TwoLevelsOfContainment", amplifier("<state><actual-gain><max/></actual-gain></state>"),
     entries(R"({"name":"0/1-AMP-PRE","state":{"actual-gain":{"max":"17.71"}}},)"
             R"({"name":"0/1-AMP-BST","state":{"actual-gain":{"max":"13.26"}}},)"
             R"({"name":"0/2-AMP-PRE","state":{"actual-gain":{"max":"23.45"}}},)"
             R"({"name":"0/2-AMP-BST","state":{"actual-gain":{"max":"14.38"}}})"),
     false},
    // Leaves that the device does not serve are passed over like unknown ones
    {"UnservedLeaf", amplifier("<state><component/></state>"), nothing, false},
    {"UnservedLeafBesideAServedOne", amplifier("<name>0/1-AMP-PRE</name><config><min-gain/><enabled/></config>"),
     entries(R"({"name":"0/1-AMP-PRE","config":{"enabled":true}})")},
    {"UnservedLeafInAContainerOfItsOwn",
     amplifier("<name/><state><input-power-total><avg/></input-power-total></state>"), entries(names), false},
    {"MatchOfAnUnservedLeaf", amplifier("<name/><config><min-gain>1.0</min-gain><enabled/></config>"), entries(names)},
    {"UnservedLeafOfAChannel",
     filter(root("<supervisory-channels><supervisory-channel><interface/><state><output-frequency/></state>"
                 "</supervisory-channel></supervisory-channels>")),
     answer(channels), false},
    // Content matches
    {"KeyMatch", amplifier("<name>0/1-AMP-BST</name>"), entries(bst_1)},
    {"KeyMatchWithBlanks", amplifier("<name> 0/1-AMP-BST\n</name>"), entries(bst_1)},
    {"KeyMatchTwice", amplifier("<name>0/1-AMP-BST</name><name>0/1-AMP-BST</name>"), entries(bst_1)},
    {"KeyMatchesThatContradict", amplifier("<name>0/1-AMP-BST</name><name>0/2-AMP-BST</name>"), nothing},
    {"KeyMatchOfNoEntry", amplifier("<name>0/3-AMP-BST</name>"), nothing},
    {"KeyMatchAndSelection", amplifier("<name>0/1-AMP-BST</name><config><target-gain/></config>"),
     entries(R"({"name":"0/1-AMP-BST","config":{"target-gain":"13.1"}})")},
    {"KeyMatchAndSelectionOfTheKey", amplifier("<name>0/1-AMP-BST</name><name/>"),
     entries(R"({"name":"0/1-AMP-BST"})")},
    {"KeyMatchAndUnknownName", amplifier("<name>0/1-AMP-BST</name><colour/>"), entries(R"({"name":"0/1-AMP-BST"})")},
    {"MatchOfAnotherLeaf", amplifier("<config><enabled>false</enabled></config>"), entries(bst_1)},
    {"MatchInAnotherForm", amplifier("<config><target-gain>+13.10</target-gain></config>"), entries(bst_1)},
    {"MatchOfNoValueOfTheLeaf", amplifier("<config><target-gain>-</target-gain></config>"), nothing},
    {"TwoMatches", amplifier("<config><enabled>true</enabled><target-gain>23.2</target-gain></config>"),
     entries(pre_2)},
    {"TwoMatchesOfDifferentEntries",
     amplifier("<config><enabled>true</enabled><target-gain>13.1</target-gain></config>"), nothing},
    {"MatchAndSelectionInside", amplifier("<config><enabled>false</enabled><target-gain-tilt/></config>"),
     entries(R"({"name":"0/1-AMP-BST","config":{"target-gain-tilt":"0.3","enabled":false}})")},
    {"IdentityMatch",
     amplifier(std::string("<name>0/1-AMP-PRE</name><state><type xmlns:p=\"") + model +
               "\">p:EDFA</type><enabled/></state>"),
     entries(R"({"name":"0/1-AMP-PRE","state":)"
             R"({"type":"openconfig-optical-amplifier:EDFA","enabled":true}})"),
     false},
    {"IdentityMatchWithUnknownPrefix", amplifier("<state><type>p:EDFA</type></state>"), nothing, false},
    {"IdentityMatchWithForeignPrefix", amplifier("<state><type xmlns:p=\"urn:foreign\">p:EDFA</type></state>"), nothing,
     false},
    {"TextInAContainer", filter(root("<amplifiers>all</amplifiers>")), nothing},
    // Several subtrees
    {"TwoEntries",
     amplifiers("<amplifier><name>0/2-AMP-BST</name></amplifier>"
                "<amplifier><name>0/1-AMP-PRE</name></amplifier>"),
     entries(bst_2 + "," + pre_1)},
    {"TwoEntriesWithDifferentSelections",
     amplifiers("<amplifier><name>0/1-AMP-PRE</name><config><enabled/></config></amplifier>"
                "<amplifier><name>0/2-AMP-BST</name><config><target-gain/></config></amplifier>"),
     entries(
         R"({"name":"0/1-AMP-PRE","config":{"enabled":true}},{"name":"0/2-AMP-BST","config":{"target-gain":"14.2"}})")},
    {"OneEntryTwice",
     amplifiers("<amplifier><name>0/1-AMP-PRE</name><config><enabled/></config></amplifier>"
                "<amplifier><name>0/1-AMP-PRE</name><config><target-gain/></config></amplifier>"),
     entries(R"({"name":"0/1-AMP-PRE","config":{"target-gain":"17.5","enabled":true}})")},
    {"TwoLists",
     filter(root("<amplifiers><amplifier><name/></amplifier></amplifiers><supervisory-channels>"
                 "<supervisory-channel><interface/></supervisory-channel></supervisory-channels>")),
     answer("\"amplifiers\":{\"amplifier\":[" + names + "]}," + channels), false},
    {"TwoRoots",
     filter(root("<amplifiers><amplifier><name>0/1-AMP-PRE</name></amplifier></amplifiers>") +
            root("<amplifiers><amplifier><name>0/1-AMP-BST</name></amplifier></amplifiers>")),
     entries(pre_1 + "," + bst_1)},
    {"UnknownRootBesideAKnownOne", filter("<unknown xmlns=\"urn:foreign\"/>" + root("<amplifiers/>")), entries(all)},
};

INSTANTIATE_TEST_SUITE_P(Reads, SubtreeFilters, testing::ValuesIn(rows),
                         [](const auto &row) { return std::string(row.param.test_name); });

// What is no subtree filter at all.
struct RefusedRow {
    const char *test_name;
    std::string filter;
    std::string message;
};

void PrintTo(const RefusedRow &shown, std::ostream *to) {
    *to << shown.test_name;
}

class RefusedFilters : public NodeTest, public testing::WithParamInterface<RefusedRow> {};

TEST_P(RefusedFilters, SayWhatIsExpected) {
    const Outcome outcome = get({"--filter", "-"}, GetParam().filter);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "ocamp: standard input: " + GetParam().message + "\n");
}

const RefusedRow refused_rows[] = {
    {"OtherType", "<filter type=\"xpath\"/>", "<filter type=xpath>: expected type=\"subtree\""},
    {"OtherAttribute", "<filter select=\"/\"/>", "<filter select=/>: expected type=\"subtree\""},
    {"Operation", "<filter xmlns:n=\"urn:ietf:params:xml:ns:netconf:base:1.0\" n:operation=\"delete\"/>",
     "<filter>: carries an operation, expected none"},
    {"Json", "{}", "not XML, expected a <filter> element or its content"},
    {"NotClosed", "<filter>", "not well-formed XML: line 1: mismatched tag"},
};

INSTANTIATE_TEST_SUITE_P(Reads, RefusedFilters, testing::ValuesIn(refused_rows),
                         [](const auto &row) { return std::string(row.param.test_name); });

} // namespace
