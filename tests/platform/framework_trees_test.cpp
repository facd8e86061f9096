// Request trees as walkers get them, and the trees that their writes make.
#include "framework/output_tree.h"
#include "framework/provenance.h"
#include "framework/request_tree.h"
#include "seam/path_text.h"
#include "sysdb/bag_record.h"

#include <algorithm>
#include <array>

#include <gmock/gmock.h>

using namespace ocamp;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

RequestNode leaf(const std::string &tag, std::optional<std::string> value = {}, bool key = false) {
    return {.tag = tag, .ns = "urn:m", .value = std::move(value), .key = key};
}

RequestNode node(const std::string &tag, std::vector<RequestNode> children) {
    return {.tag = tag, .ns = "urn:m", .children = std::move(children)};
}

RequestNode amplifier_request() {
    return node("optical-amplifier",
                {node("amplifiers", {node("amplifier", {leaf("name", "0/1-AMP-PRE", true),
                                                        node("config", {leaf("target-gain", "15.5")})})})});
}

TEST(RequestTree, ChildrenLieInOneArrayWithFlagsInStep) {
    const DataTree tree(amplifier_request());
    const yfw_datatree &entry = tree.root()->children[0].children[0];
    EXPECT_EQ(entry.node_flags, YFW_NODE_PRESENT | YFW_NODE_HAS_CHILDREN);
    ASSERT_EQ(entry.child_count, 2U);
    EXPECT_STREQ(entry.children[0].tag, "name");
    EXPECT_EQ(entry.children[0].node_flags, YFW_NODE_PRESENT | YFW_NODE_KEY);
    EXPECT_STREQ(entry.children[1].tag, "config");
    EXPECT_STREQ(entry.children[1].ns, "urn:m");
    EXPECT_EQ(entry.children[1].value, nullptr);
}

TEST(RequestTree, NodeWithoutChildrenHasNoArray) {
    const DataTree tree(node("optical-amplifier", {}));
    EXPECT_EQ(tree.root()->node_flags, YFW_NODE_PRESENT);
    EXPECT_EQ(tree.root()->children, nullptr);
    EXPECT_EQ(tree.root()->child_count, 0U);
}

TEST(RequestTree, ValuesAreTheTreesOwnAndWritable) {
    DataTree tree(leaf("average", " -3.20 "));
    tree.root()->value[5] = '\0';
    EXPECT_STREQ(tree.root()->value, " -3.2");
}

TEST(RequestTree, PathsCarryKeysAndSurviveDetachedChildren) {
    DataTree tree(amplifier_request());
    yfw_datatree &entry = tree.root()->children[0].children[0];
    const yfw_datatree *gain = &entry.children[1].children[0];
    entry.children = nullptr;
    entry.child_count = 0;
    EXPECT_EQ(tree.path_of(gain), "/optical-amplifier/amplifiers/amplifier[name='0/1-AMP-PRE']/config/target-gain");
    EXPECT_EQ(tree.path_of(&entry), "/optical-amplifier/amplifiers/amplifier[name='0/1-AMP-PRE']");
    EXPECT_EQ(tree.path_of(nullptr), "");
    const yfw_datatree stranger = {};
    EXPECT_EQ(tree.path_of(&stranger), "");
}

TEST(RequestTree, TextShowsKeysValuesAndOperations) {
    RequestNode request = amplifier_request();
    request.children[0].children[0].operation = YFW_OP_CREATE;
    EXPECT_EQ(tree_text(*DataTree(request).root()), "<optical-amplifier>\n"
                                                    "  <amplifiers>\n"
                                                    "    <amplifier name=\"0/1-AMP-PRE\">  operation create\n"
                                                    "      <name> \"0/1-AMP-PRE\"\n"
                                                    "      <config>\n"
                                                    "        <target-gain> \"15.5\"\n");
}

TEST(RequestTree, TextTakesWhatComesFromOutside) {
    yfw_datatree bare = {};
    bare.child_count = 3; // without an array
    bare.operation = 77;
    EXPECT_EQ(tree_text(bare), "<>  operation unknown\n");
    std::string line;
    append_node_text(line, nullptr);
    EXPECT_EQ(line, "NULL");
    char value[] = "v";
    std::array<yfw_datatree, 3> keys{};
    for (yfw_datatree &key : keys)
        key.node_flags = YFW_NODE_KEY;
    keys[0].value = value; // without tag
    keys[1].tag = "unnamed";
    keys[2].tag = "name";
    keys[2].value = value;
    bare.tag = "entry";
    bare.children = keys.data();
    line.clear();
    append_node_text(line, &bare);
    EXPECT_EQ(line, "<entry name=\"v\">");
}

TEST(RequestTree, TextShows64LevelsAtMost) {
    RequestNode request = leaf("deepest");
    for (int level = 1; level < 70; ++level)
        request = node("n", {request});
    const std::string text = tree_text(*DataTree(request).root());
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 64);
    EXPECT_THAT(text, testing::Not(testing::HasSubstr("deepest")));
}

TEST(PathText, StepsAreTagsWithoutPrefixes) {
    EXPECT_THAT(path_steps("/a1:interface-configurations/optics"), ElementsAre("interface-configurations", "optics"));
    EXPECT_THAT(path_steps("optical-amplifier/amplifiers"), IsEmpty());
    EXPECT_THAT(path_steps(""), IsEmpty());
    EXPECT_THAT(path_steps("/a//b"), IsEmpty());
    EXPECT_THAT(path_steps("/a/"), IsEmpty());
    EXPECT_THAT(path_steps("/a:b:c/d"), ElementsAre("b:c", "d"));
    EXPECT_EQ(last_step("/a/x:b"), "b");
    EXPECT_EQ(last_step("/a/"), "");
    EXPECT_EQ(last_step("x:b"), "b");
    EXPECT_EQ(step_with_key("port", "name", "it's"), "port[name=\"it's\"]");
}

TEST(PathText, LeadsSomewhereWhenNoStepIsEmpty) {
    for (const char *path : {"/a", "/a/b", "/p:a/p:b", "/a:b:c", "/:a", "/::"})
        EXPECT_TRUE(leads_somewhere(path)) << path;
    for (const char *path : {"", "a", "a/b", "/", "//", "/a/", "//a", "/a//b", "/p:", "/p:/a", "/a/p:", "/:"})
        EXPECT_FALSE(leads_somewhere(path)) << path;
}

TEST(PathText, KeysInQuotesHoldWhatEndsThemOutside) {
    EXPECT_EQ(without_modules("/m:a/b[n:name='x]/m:y']/m:c"), "/a/b[n:name='x]/m:y']/c");
    EXPECT_EQ(without_keys("/m:a/b[n:name='x]/m:y']/m:c"), "/m:a/b/m:c");
    EXPECT_EQ(without_keys("/m:a/b[n:name=\"it's]/m:y\"]/m:c"), "/m:a/b/m:c");
}

TEST(PathText, StepsAreTakenOneByOne) {
    std::string_view path = "/p:a/b";
    EXPECT_EQ(take_step(path), "a");
    EXPECT_EQ(take_step(path), "b");
    EXPECT_EQ(path, "");
}

TEST(Provenance, ANodesTextIsItsSourceAlsoWhereARecordHoldsTheSame) {
    const DataTree native(leaf("average", "5"));
    WalkTrace trace;
    ProvenanceRecorder recorder(trace, &native);
    recorder.on_match(native.root()->tag);
    recorder.on_item("/oper/", "item", CERR_SUCCESS, "");
    recorder.on_token({.kind = SeenToken::Kind::value, .name = "average", .text = "5"});
    char of_node[8], of_record[8];
    recorder.on_copy("converter", of_node, sizeof of_node, native.root()->value);
    recorder.on_copy("converter", of_record, sizeof of_record, "5");
    recorder.on_write(0, "/one", of_node);
    recorder.on_write(1, "/other", of_record);
    ASSERT_THAT(trace, testing::SizeIs(2));
    ASSERT_THAT(trace[1].writes, testing::SizeIs(2));
    EXPECT_EQ(trace[1].writes[0].source, TracedWrite::Source::node);
    EXPECT_EQ(trace[1].writes[1].source, TracedWrite::Source::database);
}

// A plug-in may look into records that it asked nobody for, or step through one while it looks for another.
TEST(Provenance, WhatBelongsToNoLookIsLeftOut) {
    WalkTrace trace;
    ProvenanceRecorder recorder(trace, nullptr);
    recorder.on_record("record");
    recorder.on_token({.kind = SeenToken::Kind::value, .name = "Power", .text = "5"});
    recorder.on_listed("name");
    ASSERT_THAT(trace, testing::SizeIs(1));
    EXPECT_THAT(trace[0].looks, IsEmpty());
    recorder.on_item("/oper/", "item", CERR_SUCCESS, "");
    recorder.on_listed("name");
    recorder.on_token({.kind = SeenToken::Kind::closes, .name = "", .text = ""});
    ASSERT_THAT(trace[0].looks, testing::SizeIs(1));
    EXPECT_EQ(trace[0].looks[0].element, "");
    EXPECT_EQ(trace[0].looks[0].result, DatabaseLook::Result::found);
}

TEST(Provenance, ElementsOfUnnamedStructuresGoByWhatIsNamed) {
    WalkTrace trace;
    ProvenanceRecorder recorder(trace, nullptr);
    recorder.on_item("/oper/", "item", CERR_SUCCESS, "");
    recorder.on_token({.kind = SeenToken::Kind::opens, .name = "Lanes", .text = ""});
    recorder.on_token({.kind = SeenToken::Kind::opens, .name = "", .text = ""});
    recorder.on_token({.kind = SeenToken::Kind::value, .name = "Power", .text = "5"});
    EXPECT_EQ(trace[0].looks[0].element, "Lanes.Power");
    EXPECT_EQ(trace[0].looks[0].text, "5");
}

// What is written from a copy of `from` into a buffer, by a caller that may have no name.
TracedWrite written_from(const std::string &record, const char *caller, const std::string &from) {
    WalkTrace trace;
    ProvenanceRecorder recorder(trace, nullptr);
    recorder.on_item("/oper/", "item", CERR_SUCCESS, "");
    recorder.on_token({.kind = SeenToken::Kind::value, .name = "Text", .text = record});
    char copy[200];
    recorder.on_copy(caller, copy, sizeof copy, from.c_str());
    recorder.on_write(0, "/leaf", copy);
    return trace.at(0).writes.at(0);
}

// The plug-in's buffers hold 199 bytes.
TEST(Provenance, ACopyThatWasCutIsOneAllTheSame) {
    const std::string text = std::string(150, 'a') + std::string(150, 'b');
    EXPECT_EQ(written_from(text, "converter", text.substr(0, 199)).source, TracedWrite::Source::database);
    EXPECT_EQ(written_from(text, "converter", text.substr(0, 198)).source, TracedWrite::Source::converter);
    EXPECT_EQ(written_from(text, "converter", text.substr(1, 199)).source, TracedWrite::Source::converter);
    EXPECT_EQ(written_from("5", "converter", "5").converter, "converter");
    EXPECT_EQ(written_from("5", nullptr, "5").converter, "");
}

TEST(Provenance, NodesWithoutTextAreNoSource) {
    DataTree native(node("port", {leaf("name", std::nullopt, true)}));
    WalkTrace trace;
    ProvenanceRecorder recorder(trace, &native);
    recorder.on_match(native.root()->tag);
    EXPECT_EQ(trace.at(1).path, "/port") << "its key has no value";
    char text[] = "5", copy[8];
    recorder.on_copy("converter", copy, sizeof copy, text);
    native.root()->value = text; // as a walker may
    recorder.on_copy("converter", copy, sizeof copy, text);
    recorder.on_write(0, "/leaf", copy);
    native.root()->value = nullptr;
    EXPECT_EQ(trace.at(1).writes.at(0).source, TracedWrite::Source::converter);
}

// What is read of a record while a listing is the last look is not taken for a text of the listing.
TEST(Provenance, AListingHasNoText) {
    WalkTrace trace;
    ProvenanceRecorder recorder(trace, nullptr);
    recorder.on_listing("/oper/", "");
    recorder.on_token({.kind = SeenToken::Kind::value, .name = "Text", .text = "5"});
    char copy[8];
    recorder.on_copy("converter", copy, sizeof copy, "5");
    recorder.on_write(0, "/leaf", copy);
    EXPECT_EQ(trace.at(0).writes.at(0).source, TracedWrite::Source::converter);
}

TEST(Provenance, ValuesOfRecordsAreTextsAsThePluginWritesThem) {
    const std::vector<std::uint8_t> bag = encode_bag({"record",
                                                      1,
                                                      0,
                                                      {{BagType::boolean, "On", true, {}},
                                                       {BagType::boolean, "Off", false, {}},
                                                       {BagType::ipv4, "Address", std::uint64_t{0xc0000201}, {}}}});
    WalkTrace trace;
    ProvenanceRecorder recorder(trace, nullptr);
    recorder.on_item("/oper/", "item", CERR_SUCCESS, "");
    bag_walk_td walk = {};
    ASSERT_EQ(bag_generic_init(bag.data(), static_cast<std::uint32_t>(bag.size()), &walk), CERR_SUCCESS);
    std::vector<std::string> texts;
    bag_token_td token = {};
    while (bag_generic_token(&walk, &token) == CERR_SUCCESS && token.type != BAG_TOKEN_END)
        texts.push_back(trace.at(0).looks.at(0).text.value_or("none"));
    bag_generic_destroy(&walk);
    EXPECT_THAT(texts, ElementsAre("TRUE", "FALSE", "192.0.2.1"));
}

TEST(OutputTree, GroupsOfWritesGoOnAfterOthers) {
    const Write writes[] = {
        {.path = "/l/e", .ns = "urn:m", .opens_list = true}, {.path = "/l/e/c/one", .ns = "urn:m", .value = "1"},
        {.path = "/l/e/c/", .ns = "urn:m", .value = "lost"}, {.path = "/l/e/c/two", .ns = "urn:m", .value = "2"},
        {.path = "/l/e", .ns = "urn:m", .opens_list = true}, {.path = "/l/e/c/one", .ns = "urn:m", .value = "3"},
        {.path = "/l/x", .ns = "urn:m", .value = "4"},       {.path = "/l/e/c/two", .ns = "urn:m", .value = "5"},
    };
    const OutputTree tree(writes);
    EXPECT_EQ(output_text(tree.roots()), "<l>\n"
                                         "  <e>\n"
                                         "    <c>\n"
                                         "      <one> \"1\"\n"
                                         "      <two> \"2\"\n"
                                         "  <e>\n"
                                         "    <c>\n"
                                         "      <one> \"3\"\n"
                                         "      <two> \"5\"\n"
                                         "  <x> \"4\"\n");
    ASSERT_EQ(tree.unplaced().size(), 1U);
    EXPECT_EQ(tree.unplaced()[0].path, "/l/e/c/");
}

TEST(OutputTree, LeavesGoIntoTheEntryOpenedLast) {
    const std::vector<Write> writes{{.path = "/l/e", .ns = "n", .opens_list = true},
                                    {.path = "/l/e/name", .ns = "n", .value = "one"},
                                    {.path = "/l/e", .ns = "n", .opens_list = true},
                                    {.path = "/l/e/name", .ns = "n", .value = "two"},
                                    {.path = "/l/e/deep/leaf", .ns = "other", .value = "2"}};
    const OutputTree tree(writes);
    EXPECT_EQ(output_text(tree.roots()), "<l>\n"
                                         "  <e>\n"
                                         "    <name> \"one\"\n"
                                         "  <e>\n"
                                         "    <name> \"two\"\n"
                                         "    <deep>\n"
                                         "      <leaf> \"2\"\n");
    const OutputNode &second = tree.roots()[0].children[1];
    EXPECT_TRUE(second.list_entry);
    EXPECT_EQ(second.child("deep")->children[0].ns, "other");
}

TEST(OutputTree, EntryIsMadeWhereNoneIsOpen) {
    const std::vector<Write> writes{{.path = "/l/e/name", .ns = "n", .value = "one"},
                                    {.path = "/l/e/leaf", .ns = "n", .value = "1"}};
    EXPECT_EQ(output_text(OutputTree(writes).roots()), "<l>\n  <e>\n    <name> \"one\"\n    <leaf> \"1\"\n");
}

TEST(OutputTree, InnerListsOpenUnderTheEntryThatIsOpen) {
    const std::vector<Write> writes{{.path = "/l", .ns = "n", .opens_list = true},
                                    {.path = "/l/m", .ns = "n", .opens_list = true},
                                    {.path = "/l/m/number", .ns = "n", .value = "1"},
                                    {.path = "/l", .ns = "n", .opens_list = true},
                                    {.path = "/l/m/number", .ns = "n", .value = "2"}};
    EXPECT_EQ(output_text(OutputTree(writes).roots()),
              "<l>\n  <m>\n    <number> \"1\"\n<l>\n  <m>\n    <number> \"2\"\n");
}

TEST(OutputTree, EntryFoundByItsKeyIsFilledAgain) {
    const std::vector<Write> writes{{.path = "/l/e", .ns = "n", .value = "a", .key_name = "name"},
                                    {.path = "/l/e/leaf", .ns = "n", .value = "1"},
                                    {.path = "/l/e", .ns = "n", .value = "b", .key_name = "name"},
                                    {.path = "/l/e", .ns = "n", .value = "a", .key_name = "name"},
                                    {.path = "/l/e/more", .ns = "n", .value = "2"},
                                    {.path = "/l/e/name", .ns = "n", .value = "a"}};
    EXPECT_EQ(output_text(OutputTree(writes).roots()), "<l>\n"
                                                       "  <e>\n"
                                                       "    <name> \"a\"\n"
                                                       "    <leaf> \"1\"\n"
                                                       "    <more> \"2\"\n"
                                                       "  <e>\n"
                                                       "    <name> \"b\"\n");
}

TEST(OutputTree, EntriesWithoutTheKeyAreNotFoundByIt) {
    const std::vector<Write> writes{
        {.path = "/l/e", .ns = "n", .opens_list = true}, {.path = "/l/e/leaf", .ns = "n", .value = "1"},
        {.path = "/l/e", .ns = "n", .opens_list = true}, {.path = "/l/e/name", .ns = "n"},
        {.path = "/l/x", .ns = "n", .value = "2"},       {.path = "/l/e", .ns = "n", .value = "a", .key_name = "name"},
        {.path = "/l/e/leaf", .ns = "n", .value = "3"}};
    EXPECT_EQ(output_text(OutputTree(writes).roots()), "<l>\n"
                                                       "  <e>\n"
                                                       "    <leaf> \"1\"\n"
                                                       "  <e>\n"
                                                       "    <name>\n"
                                                       "  <x> \"2\"\n"
                                                       "  <e>\n"
                                                       "    <name> \"a\"\n"
                                                       "    <leaf> \"3\"\n");
}

TEST(OutputTree, EntryFoundByItsKeyIsTheOnlyOneThatIsOpen) {
    const std::vector<Write> writes{{.path = "/l/e", .ns = "n", .value = "a", .key_name = "name"},
                                    {.path = "/l/e", .ns = "n", .value = "b", .key_name = "name"},
                                    {.path = "/l/e", .ns = "n", .value = "c", .key_name = "name"},
                                    {.path = "/l/e", .ns = "n", .value = "a", .key_name = "name"},
                                    {.path = "/l/e/more", .ns = "n", .value = "1"}};
    EXPECT_EQ(output_text(OutputTree(writes).roots()), "<l>\n"
                                                       "  <e>\n"
                                                       "    <name> \"a\"\n"
                                                       "    <more> \"1\"\n"
                                                       "  <e>\n"
                                                       "    <name> \"b\"\n"
                                                       "  <e>\n"
                                                       "    <name> \"c\"\n");
}

TEST(OutputTree, OperationAndSourceStayWithTheirNode) {
    const std::vector<Write> writes{
        {.path = "/l/e", .ns = "n", .operation = YFW_OP_REMOVE, .source_path = "/oc/list", .opens_list = true},
        {.path = "/l/e/leaf", .ns = "n"}};
    const OutputTree tree(writes);
    const OutputNode &entry = tree.roots()[0].children[0];
    EXPECT_EQ(entry.operation, YFW_OP_REMOVE);
    EXPECT_EQ(entry.source_path, "/oc/list");
    EXPECT_EQ(entry.children[0].operation, std::nullopt);
    EXPECT_EQ(entry.children[0].value, std::nullopt);
    EXPECT_EQ(output_text(tree.roots()), "<l>\n  <e>  operation remove\n    <leaf>\n");
}

TEST(OutputTree, PathThatIsNotAbsoluteIsKeptAside) {
    const std::vector<Write> writes{{.path = "optical-amplifier/name", .ns = "n", .value = "x"}};
    const OutputTree tree(writes);
    EXPECT_THAT(tree.roots(), IsEmpty());
    ASSERT_EQ(tree.unplaced().size(), 1U);
    EXPECT_EQ(tree.unplaced()[0].value, "x");
}

} // namespace
