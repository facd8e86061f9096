// Behaviour at the edges: where documents become too deep, what may stand before them, keys that are not the first
// child, reads of configuration alone, nodes that libyang adds by itself, and what refused text calls tell the log.
#include "framework/mapping_run.h"
#include "framework/output_tree.h"
#include "log/log.h"
#include "node/answer.h"
#include "node/filter.h"
#include "node/leaf_changes.h"
#include "node/native_data.h"
#include "node/native_edit.h"
#include "node/node.h"
#include "seam/json_error.h"
#include "seam/json_text.h"
#include "seam/late_library.h"
#include "seam/nearest_word.h"
#include "seam/path_text.h"
#include "support/files.h"
#include "yang/client_document.h"
#include "yang/error.h"
#include "yang/models.h"
#include "yang/request_error.h"

#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>

using namespace ocamp;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

namespace {

constexpr const char *openconfig_ns = "http://openconfig.net/yang/optical-amplfier";

// Client documents

std::string repeated(const std::string &text, std::size_t times) {
    std::string all;
    for (std::size_t i = 0; i < times; ++i)
        all += text;
    return all;
}

// What a document is refused with; empty when it is read.
std::string document_refusal(const std::string &document) {
    try {
        read_document(document, format_of(document), openconfig_schema());
    } catch (const DocumentError &error) {
        return error.what();
    }
    return "";
}

TEST(DocumentDepth, XmlMayBe200LevelsDeep) {
    const auto nested = [](std::size_t levels) {
        return "<a xmlns=\"urn:a\">" + repeated("<a>", levels - 1) + repeated("</a>", levels);
    };
    EXPECT_EQ(document_refusal(nested(200)), "");
    EXPECT_EQ(document_refusal(nested(201)), "nested more than 200 levels deep, expected at most 200");
    // The parser tells of the end of an empty element also when its beginning was refused.
    EXPECT_EQ(document_refusal("<a xmlns=\"urn:a\">" + repeated("<a>", 199) + "<b/>" + repeated("</a>", 200)),
              "nested more than 200 levels deep, expected at most 200");
}

TEST(DocumentDepth, SiblingsAndEmptyElementsDoNotAddUp) {
    EXPECT_EQ(document_refusal("<a xmlns=\"urn:a\">" + repeated("<b></b><c/>", 300) + "</a>"), "");
    EXPECT_EQ(document_refusal("{\"m:a\": [" + repeated("{\"b\": 1}, ", 300) + "{\"b\": [1]}]}"), "");
}

TEST(DocumentDepth, JsonObjectsMayBe200LevelsDeep) {
    const auto nested = [](std::size_t levels) {
        return "{\"m:a\": " + repeated("{\"a\": ", levels - 1) + "1" + repeated("}", levels);
    };
    EXPECT_EQ(document_refusal(nested(200)), "");
    EXPECT_EQ(document_refusal(nested(201)), "nested more than 200 levels deep, expected at most 200");
}

TEST(DocumentDepth, JsonArraysDoNotLieInsideOneAnother) {
    EXPECT_THROW(document_refusal("{\"m:a\": [[1]]}"), RequestError);
    EXPECT_EQ(document_refusal("{\"m:a\": " + repeated("[", 100000) + "1" + repeated("]", 100000) + "}"),
              "nested more than 200 levels deep, expected at most 200");
}

TEST(DocumentStart, ByteOrderMarkIsPassedOver) {
    const std::string mark = "\xEF\xBB\xBF";
    EXPECT_EQ(format_of(mark + "<a/>"), DocumentFormat::xml);
    EXPECT_EQ(format_of(mark + " {}"), DocumentFormat::json);
    EXPECT_EQ(read_document(mark + "{\"m:a\": 1}", DocumentFormat::json, openconfig_schema()).at(0).name, "a");
    EXPECT_EQ(read_document(mark + "<a xmlns=\"urn:a\"/>", DocumentFormat::xml, openconfig_schema()).at(0).module,
              "urn:a");
    EXPECT_EQ(read_document(mark + "<a/>", DocumentFormat::xml, openconfig_schema()).at(0).name, "a");
    EXPECT_THROW(format_of(mark), DocumentError);
}

TEST(NearestWord, IsTheOneWithTheFewestMistakes) {
    const std::vector<std::string> known{"edit", "explain", "history", "cart", "cat", "car"};
    const std::pair<const char *, std::optional<std::string>> rows[] = {
        {"edit", "edit"},        {"edti", "edit"},       {"eit", "edit"},        {"eddit", "edit"},
        {"exit", "edit"},        {"explian", "explain"}, {"hstry", "history"},   {"cat", "cat"},
        {"caz", "cat"},          {"hsty", std::nullopt}, {"tide", std::nullopt}, {"", std::nullopt},
        {"editor", std::nullopt}};
    for (const auto &[word, nearest] : rows)
        EXPECT_EQ(nearest_word(word, known), nearest) << word;
}

TEST(JsonText, MembersAreGivenOnceAlsoBehindWhatIsNested) {
    for (const char *text : {R"({"b": 1, "b": 2})", R"({"a": [], "b": 1, "b": 2})", R"({"a": {}, "b": 1, "b": 2})",
                             R"([{"a": [1, "c", true, null, 1.5, -1]}, {"b": 1, "b": 2}])"})
        EXPECT_THAT([&] { parse_json(text, 8); },
                    testing::ThrowsMessage<JsonError>("$: the member \"b\" is given twice in one object"))
            << text;
}

TEST(LateLibrary, ThatTheSystemLacksIsNamed) {
    EXPECT_THAT([] { LateLibrary("libno-such.so"); }, testing::ThrowsMessage<std::runtime_error>(testing::StartsWith(
                                                          "a library of the system: libno-such.so: ")));
}

TEST(DocumentStart, XmlDeclarationMayStandBeforeElementsWithoutNamespace) {
    const auto nodes =
        read_document("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<a>1</a>", DocumentFormat::xml, openconfig_schema());
    ASSERT_THAT(nodes, SizeIs(1));
    EXPECT_EQ(nodes[0].name, "a");
    EXPECT_EQ(nodes[0].module, "");
    EXPECT_EQ(nodes[0].value, "1");
    EXPECT_THAT(document_refusal("<?xml version=\"1.0\"<a/>"), HasSubstr("not well-formed XML"));
}

TEST(DocumentStart, XmlDeclarationSaysVersionOneAndUtf8) {
    for (const char *declaration : {"<?xml version='1.0'?>", "<?xml version=\"1.0\" encoding='utf-8'?>",
                                    "<?xml version='1.1' encoding='UTF-8' standalone='yes' ?>", "<?xml-style sheet?>"})
        EXPECT_EQ(document_refusal(std::string(declaration) + "<a/>"), "") << declaration;
    const struct {
        const char *declaration, *refusal;
    } rows[] = {
        {"<?xml version='1.0' encoding='ISO-8859-1'?>", "encoding 'ISO-8859-1', expected 'UTF-8'"},
        {"<?xml version='1.0' encoding='UTF-16'?>", "encoding 'UTF-16', expected 'UTF-8'"},
        {"<?xml version='1.0' encoding='utf-88'?>", "encoding 'utf-88', expected 'UTF-8'"},
        {"<?xml version='1.0' encoding='ascii'?>", "encoding 'ascii', expected 'UTF-8'"},
        {"<?xml version='1.0' encoding='ATF-8'?>", "encoding 'ATF-8', expected 'UTF-8'"},
        {"<?xml version='1.0' encoding='U1F-8'?>", "encoding 'U1F-8', expected 'UTF-8'"},
        {"<?xml version='1.0' encoding='u_f-8'?>", "encoding 'u_f-8', expected 'UTF-8'"},
        {"<?xml version='9.9'?>", "XML version '9.9', expected '1.0'"},
        {"<?xml version='1.'?>", "XML version '1.', expected '1.0'"},
        {"<?xml version='1.x'?>", "XML version '1.x', expected '1.0'"},
        {"<?xml nonsense ?>", "not well-formed XML: line 1: XML declaration not well-formed"},
        {"<?xml encoding='UTF-8'?>", "not well-formed XML: line 1: XML declaration not well-formed"},
        {"<?xml?>", "not well-formed XML"},
        {"<?xml version='1.0'?><?xml version='1.0'?>", "not well-formed XML"},
    };
    for (const auto &row : rows)
        EXPECT_THAT(document_refusal(std::string(row.declaration) + "<a/>"), HasSubstr(row.refusal)) << row.declaration;
}

// Keys

RequestNode leaf(const std::string &tag, const std::string &value, bool key = false) {
    return {.tag = tag, .ns = "urn:m", .value = value, .key = key};
}

// An entry whose key comes after another leaf.
RequestNode entry_with_late_key() {
    return {.tag = "entry",
            .ns = "urn:m",
            .children = {leaf("colour", "red"), leaf("name", "late", true), leaf("size", "1")}};
}

TEST(LateKey, IsFoundInTextsAndPaths) {
    EXPECT_EQ(key_predicates(entry_with_late_key()), "[name='late']");
    const DataTree tree(entry_with_late_key());
    std::string line;
    append_node_text(line, tree.root());
    EXPECT_EQ(line, "<entry name=\"late\">");
    EXPECT_EQ(tree.path_of(&tree.root()->children[2]), "/entry[name='late']/size");
}

TEST(LateKey, IsGivenAsNodeInformation) {
    MappingRun run(YFW_KIND_GET, entry_with_late_key());
    const char *value = nullptr;
    EXPECT_EQ(yfw_map_get_node_info(run.context(), run.request(), "/entry", "name", &value), CERR_SUCCESS);
    EXPECT_STREQ(value, "late");
}

TEST(LateKey, SecondKeyOfAnEntrySelectsIt) {
    NativeData data;
    data.running = native_schema().parse(R"({"Korvex-ifmgr-cfg:interface-configurations": {"interface-configuration": [
        {"active": "act", "interface-name": "Ots0/1/0/0"}, {"active": "pre", "interface-name": "Ots0/1/0/0"},
        {"active": "act", "interface-name": "Ots0/1/0/1"}]}})",
                                         LYD_JSON);
    const std::string list = "/interface-configurations/interface-configuration";
    const std::vector<Write> writes{
        {.path = list, .ns = "n", .opens_list = true},
        {.path = list + "/interface-name", .ns = "n", .value = "Ots0/1/0/0"},
        {.path = list + "/active", .ns = "n", .value = "pre"},
    };
    const auto entries = select_entries(native_schema(), data, OutputTree(writes).roots(), true);
    ASSERT_THAT(entries, SizeIs(1));
    EXPECT_THAT(entries[0].path, HasSubstr("[active='pre'][interface-name='Ots0/1/0/0']"));
}

TEST(LateKey, AnswerTakesItWhereverItWasWritten) {
    const std::string list = "/optical-amplifier/amplifiers/amplifier";
    const std::vector<Write> writes{{.path = list, .ns = openconfig_ns, .opens_list = true},
                                    {.path = list + "/config/enabled", .ns = openconfig_ns, .value = "true"},
                                    {.path = list + "/name", .ns = openconfig_ns, .value = "late"}};
    Answer answer(openconfig_schema(), false);
    answer.add(OutputTree(writes));
    EXPECT_THAT(answer.dropped(), IsEmpty());
    EXPECT_THAT(answer.take_tree().print(LYD_JSON), HasSubstr("\"late\""));
}

TEST(LoneKey, FailureOfTheRequestIsThatOfItsEntry) {
    const MappingRun run(
        YFW_KIND_GET,
        RequestNode{.tag = "list",
                    .ns = "urn:m",
                    .children = {{.tag = "entry", .ns = "urn:m", .children = {leaf("name", "a", true)}}}});
    EXPECT_EQ(run.error_path(), "/list/entry[name='a']");
}

// Output trees and answers

TEST(OutputEntries, FoundOrAddedByKeyAreListEntries) {
    const std::vector<Write> writes{{.path = "/l/e", .ns = "n", .value = "a", .key_name = "name"},
                                    {.path = "/l/e/leaf", .ns = "n", .value = "1"},
                                    {.path = "/l/e", .ns = "n", .value = "a", .key_name = "name"}};
    const OutputTree tree(writes);
    ASSERT_THAT(tree.roots()[0].children, SizeIs(1));
    const OutputNode &entry = tree.roots()[0].children[0];
    EXPECT_TRUE(entry.list_entry);
    EXPECT_TRUE(entry.child("name")->addressed);
    EXPECT_FALSE(entry.child("name")->list_entry);
    EXPECT_FALSE(tree.roots()[0].list_entry);
}

TEST(DroppedValues, AreRecordedWithTheModelsReason) {
    const std::string list = "/optical-amplifier/amplifiers/amplifier";
    const std::vector<Write> writes{
        {.path = list, .ns = openconfig_ns, .value = "a", .key_name = "name"},
        {.path = list + "/state/target-gain", .ns = openconfig_ns, .value = "steep"},
    };
    Answer answer(openconfig_schema(), false);
    answer.add(OutputTree(writes));
    ASSERT_THAT(answer.dropped(), SizeIs(1));
    EXPECT_EQ(answer.dropped()[0].path, list + "[name='a']/state/target-gain");
    EXPECT_EQ(answer.dropped()[0].value, "steep");
    EXPECT_THAT(answer.dropped()[0].reason, HasSubstr("Invalid"));
}

// Configuration alone. The OpenConfig model stands for a native one here: it has configuration and state side by side.

NativeData configuration_and_state() {
    NativeData data;
    data.running = openconfig_schema().parse(R"({"openconfig-optical-amplifier:optical-amplifier": {"amplifiers":
        {"amplifier": [{"name": "a", "config": {"name": "a", "enabled": true}, "state": {"enabled": false}}]}}})",
                                             LYD_JSON);
    return data;
}

std::string selected(bool configuration_only) {
    const std::vector<Write> writes{
        {.path = "/optical-amplifier/amplifiers/amplifier", .ns = openconfig_ns, .opens_list = true}};
    const auto entries =
        select_entries(openconfig_schema(), configuration_and_state(), OutputTree(writes).roots(), configuration_only);
    return entries.size() == 1 ? tree_text(*DataTree(entries[0].tree).root()) : "";
}

TEST(ConfigurationRead, LeavesOutContainersThatAreNone) {
    const std::string configuration = "<optical-amplifier>\n  <amplifiers>\n    <amplifier name=\"a\">\n"
                                      "      <name> \"a\"\n      <config>\n        <name> \"a\"\n"
                                      "        <enabled> \"true\"\n";
    EXPECT_EQ(selected(true), configuration);
    EXPECT_EQ(selected(false), configuration + "      <state>\n        <enabled> \"false\"\n");
}

TEST(ConfigurationRead, StateNamesNoConfigurationEntry) {
    const std::string port = "/ots-oper/ots-ports/ots-port";
    const std::vector<Write> state{{.path = port, .ns = "n", .opens_list = true},
                                   {.path = port + "/name", .ns = "n", .value = "Ots0/1/0/0"}};
    EXPECT_FALSE(named_configuration_entry(native_schema(), OutputTree(state).roots()));
}

// Nodes that libyang adds by itself

TEST(ImplicitNodes, AreNotSelected) {
    YangTree tree = openconfig_schema().parse(R"({"openconfig-optical-amplifier:optical-amplifier": {"amplifiers":
        {"amplifier": [{"name": "a", "config": {"name": "a"}, "state": {"enabled": true}},
                       {"name": "b", "config": {"name": "b"}}]}}})",
                                              LYD_JSON);
    Filter::from_path(openconfig_schema(), "/optical-amplifier/amplifiers/amplifier/state").cut(tree);
    const std::string text = tree.print(LYD_JSON);
    EXPECT_THAT(text, HasSubstr("\"a\""));
    EXPECT_THAT(text, Not(HasSubstr("\"b\"")));
}

TEST(ImplicitNodes, AreNodesLikeOthersOnceAnEditFillsThem) {
    const char *document = R"({"Korvex-ifmgr-cfg:interface-configurations": {"interface-configuration": [
        {"active": "act", "interface-name": "Ots0/1/0/0"}]}})";
    const YangTree before = native_schema().parse(document, LYD_JSON);
    NativeData data;
    data.running = native_schema().parse(document, LYD_JSON);
    const std::string list = "/interface-configurations/interface-configuration";
    const std::vector<Write> writes{
        {.path = list, .ns = "n", .opens_list = true},
        {.path = list + "/interface-name", .ns = "n", .value = "Ots0/1/0/0"},
        {.path = list + "/active", .ns = "n", .value = "act"},
        {.path = list + "/optics/optics-ots-amplifier-gain", .ns = "n", .value = "155"},
    };
    const OutputTree edit(writes);
    apply_native_edit(
        native_schema(), edit.roots(), [](const std::string &) { return std::vector<std::string>(); },
        data.running.to_change());
    EXPECT_THAT(changes(before, data.running.tree()), ElementsAre(HasSubstr("optics-ots-amplifier-gain 155")));
    const auto entries = select_entries(native_schema(), data, edit.roots(), true);
    ASSERT_THAT(entries, SizeIs(1));
    EXPECT_THAT(tree_text(*DataTree(entries[0].tree).root()), HasSubstr("<optics-ots-amplifier-gain> \"155\""));
}

// Text calls

TEST(RefusedTextCalls, TellTheLogWhoCalledAndWhy) {
    const support::TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "log";
    {
        const LogSession logs({.debug_log = file.string(), .level = log_errors, .trace = {}});
        char buffer[4] = "abc";
        const char unterminated[3] = {'a', 'b', 'c'};
        yfw_strcpy_s("handler", nullptr, 4, "x");
        yfw_strcpy_s("handler", buffer, sizeof buffer, nullptr);
        yfw_strncpy_s("other", buffer, 0, "x", 1);
        yfw_strcat_s("third", buffer, sizeof buffer, nullptr);
        yfw_strcat_s("third", const_cast<char *>(unterminated), sizeof unterminated, "x");
        yfw_strcpy_s(nullptr, nullptr, 4, "x");
        yfw_strncpy_s(nullptr, nullptr, 4, "x", 1);
        yfw_strcat_s(nullptr, nullptr, 4, "x");
        yfw_strdup(nullptr, "label");
    }
    std::ifstream stream(file);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    EXPECT_THAT(lines, ElementsAre("ERR: platform: handler: no room to copy a text to", //
                                   "ERR: platform: handler: no text to copy",           //
                                   "ERR: platform: other: no room to copy a text to",
                                   "ERR: platform: third: a text to append or room for it is missing",
                                   "ERR: platform: third: the text to append to has no end",
                                   "ERR: platform: yfw_strcpy_s: no room to copy a text to",
                                   "ERR: platform: yfw_strncpy_s: no room to copy a text to",
                                   "ERR: platform: yfw_strcat_s: a text to append or room for it is missing",
                                   "ERR: platform: yfw_strdup: no text to copy"));
}

// Both live in one context.
TEST(Schemas, SeeTheirOwnModulesOnly) {
    const char *openconfig = R"({"openconfig-optical-amplifier:optical-amplifier": {}})";
    const char *native = R"({"Korvex-ifmgr-cfg:interface-configurations": {}})";
    EXPECT_NO_THROW(openconfig_schema().parse(openconfig, LYD_JSON));
    EXPECT_NO_THROW(native_schema().parse(native, LYD_JSON));
    EXPECT_THROW(openconfig_schema().parse(native, LYD_JSON), YangError);
    EXPECT_THROW(native_schema().parse(openconfig, LYD_JSON), YangError);
    EXPECT_EQ(openconfig_schema().find(nullptr, "interface-configurations"), nullptr);
    EXPECT_EQ(native_schema().module("openconfig-optical-amplifier"), nullptr);
}

} // namespace
