// Native data: what a native request selects, how a native edit changes the configuration, and how answers are put
// together from what was written.
#include "node/answer.h"
#include "node/leaf_changes.h"
#include "node/native_data.h"
#include "node/native_document.h"
#include "node/native_edit.h"
#include "node/node.h"
#include "node/plugin.h"
#include "yang/error.h"
#include "yang/models.h"
#include "yang/request_error.h"

#include <gmock/gmock.h>

using namespace ocamp;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

constexpr const char *ifmgr_ns = "http://korvex.example/ns/yang/Korvex-ifmgr-cfg";
constexpr const char *optics_ns = "http://korvex.example/ns/yang/Korvex-controller-optics-cfg";
constexpr const char *pm_ns = "http://korvex.example/ns/yang/Korvex-pmengine-oper";
constexpr const char *openconfig_ns = "http://openconfig.net/yang/optical-amplfier";
constexpr const char *entry_path = "/interface-configurations/interface-configuration";

NativeData sample() {
    NativeData data;
    data.running = native_schema().parse(R"({"Korvex-ifmgr-cfg:interface-configurations": {"interface-configuration": [
        {"active": "act", "interface-name": "Ots0/1/0/0",
         "Korvex-controller-optics-cfg:optics": {"optics-ots-amplifier-gain": 175}},
        {"active": "act", "interface-name": "Ots0/1/0/1", "description": "booster"},
        {"active": "act", "interface-name": "GigabitEthernet0/0/0/1"}]}})",
                                         LYD_JSON);
    data.operational.push_back(native_schema().parse(
        R"({"Korvex-pmengine-oper:performance-management-history": {"global": {"periodic": {"optics-history":
            {"optics-port-histories": {"optics-port-history": [{"name": "Ots0/1/0/0", "optics-second30-history":
            {"optics-second30-optics-histories": {"optics-second30-optics-history": [{"number": 1,
            "optics-second30-optics-time-line-instances": {"optics-second30-optics-time-line-instance": [
            {"number": 1, "opt": {"average": " 2.05 "}}, {"number": 2, "opt": {"average": "9.99"}}]}}]}}}]}}}}}})",
        LYD_JSON));
    return data;
}

std::vector<NativeEntry> select(const NativeData &data, const std::vector<Write> &writes,
                                bool configuration_only = false) {
    return select_entries(native_schema(), data, OutputTree(writes).roots(), configuration_only);
}

std::vector<std::string> names(const std::vector<NativeEntry> &entries) {
    std::vector<std::string> shown;
    for (const NativeEntry &entry : entries)
        shown.push_back(entry.path.substr(entry.path.rfind("interface-name=")));
    return shown;
}

Write opened(const std::string &path, const char *ns) {
    return {.path = path, .ns = ns, .opens_list = true};
}

Write leaf(const std::string &path, const char *ns, const std::string &value) {
    return {.path = path, .ns = ns, .value = value};
}

TEST(NativeSelection, WrittenKeysSelectAndOthersDoNot) {
    const NativeData data = sample();
    EXPECT_THAT(names(select(data, {opened(entry_path, ifmgr_ns),
                                    leaf(std::string(entry_path) + "/interface-name", ifmgr_ns, "Ots0/1/0/1")})),
                ElementsAre("interface-name='Ots0/1/0/1']"));
    EXPECT_EQ(select(data, {opened(entry_path, ifmgr_ns)}).size(), 3U);
    EXPECT_THAT(select(data, {opened(entry_path, ifmgr_ns),
                              leaf(std::string(entry_path) + "/interface-name", ifmgr_ns, "Ots0/9/0/1")}),
                IsEmpty());
    EXPECT_THAT(select(data, {leaf("/no-such-root/leaf", ifmgr_ns, "1")}), IsEmpty());
}

TEST(NativeSelection, EachEntryStandsByItselfWithItsKeysFlagged) {
    const std::vector<NativeEntry> entries = select(sample(), {opened(entry_path, ifmgr_ns)});
    ASSERT_EQ(entries.size(), 3U);
    EXPECT_STREQ(entries[0].module->name, "Korvex-ifmgr-cfg");
    const DataTree tree(entries[0].tree);
    EXPECT_EQ(tree_text(*tree.root()), "<interface-configurations>\n"
                                       "  <interface-configuration active=\"act\" interface-name=\"Ots0/1/0/0\">\n"
                                       "    <active> \"act\"\n"
                                       "    <interface-name> \"Ots0/1/0/0\"\n"
                                       "    <optics>\n"
                                       "      <optics-ots-amplifier-gain> \"175\"\n");
    const yfw_datatree &optics = tree.root()->children[0].children[2];
    EXPECT_STREQ(optics.ns, optics_ns);
    EXPECT_STREQ(tree.root()->ns, ifmgr_ns);
}

TEST(NativeSelection, InnerKeysSelectToo) {
    const std::string history =
        "/performance-management-history/global/periodic/optics-history/optics-port-histories/optics-port-history";
    const std::string number =
        history + "/optics-second30-history/optics-second30-optics-histories/optics-second30-optics-history/"
                  "optics-second30-optics-time-line-instances/optics-second30-optics-time-line-instance/number";
    const std::vector<NativeEntry> entries = select(
        sample(), {opened(history, pm_ns), leaf(history + "/name", pm_ns, "Ots0/1/0/0"), leaf(number, pm_ns, "1")});
    ASSERT_EQ(entries.size(), 1U);
    const std::string text = tree_text(*DataTree(entries[0].tree).root());
    EXPECT_THAT(text, HasSubstr("\" 2.05 \""));
    EXPECT_THAT(text, Not(HasSubstr("9.99")));
}

TEST(NativeSelection, ConfigurationReadsSeeNoState) {
    EXPECT_THAT(select(sample(),
                       {opened("/performance-management-history/global/periodic/optics-history/optics-port-histories/"
                               "optics-port-history",
                               pm_ns)},
                       true),
                IsEmpty());
}

TEST(NativeSelection, LeavesOutsideOfListsAreNoEntries) {
    NativeData data;
    data.running = native_schema().parse(
        R"({"Korvex-ifmgr-cfg:global-interface-configuration": {"link-status": "all"}})", LYD_JSON);
    EXPECT_THAT(select(data, {leaf("/global-interface-configuration/link-status", ifmgr_ns, "")}), IsEmpty());
}

TEST(NativeSelection, NamedConfigurationEntryIsOneOfTheModels) {
    EXPECT_FALSE(named_configuration_entry(
        native_schema(), OutputTree(std::vector{leaf("/no-such-root/no-such-list/name", ifmgr_ns, "x")}).roots()));
    EXPECT_FALSE(named_configuration_entry(
        native_schema(), OutputTree(std::vector{leaf("/ots-oper/ots-ports/ots-port/name", "", "x")}).roots()))
        << "operational data";
}

TEST(NativeSelection, NamedConfigurationEntryIsItsKeysAlone) {
    const std::vector<Write> keyed{opened(entry_path, ifmgr_ns),
                                   leaf(std::string(entry_path) + "/interface-name", ifmgr_ns, "Ots0/1/0/0"),
                                   leaf(std::string(entry_path) + "/active", ifmgr_ns, "act")};
    const auto entry = named_configuration_entry(native_schema(), OutputTree(keyed).roots());
    ASSERT_TRUE(entry);
    EXPECT_EQ(tree_text(*DataTree(*entry).root()),
              "<interface-configuration active=\"act\" interface-name=\"Ots0/1/0/0\">\n"
              "  <active> \"act\"\n  <interface-name> \"Ots0/1/0/0\"\n");
    const std::vector<Write> keyless{opened(entry_path, ifmgr_ns)};
    EXPECT_FALSE(named_configuration_entry(native_schema(), OutputTree(keyless).roots()));
}

class NativeEdits : public testing::Test {
  protected:
    void apply(const std::vector<Write> &writes) {
        apply_native_edit(
            native_schema(), OutputTree(writes).roots(),
            [&](const std::string &path) {
                asked_for = path;
                return std::vector<std::string>{"/Korvex-ifmgr-cfg:interface-configurations/"
                                                "interface-configuration[active='act'][interface-name='Ots0/1/0/1']"};
            },
            data.running.to_change());
    }
    std::vector<Write> entry(const std::string &name, std::uint32_t operation) const {
        Write key = leaf(std::string(entry_path) + "/interface-name", ifmgr_ns, name);
        key.operation = operation;
        key.source_path = "/oc/name";
        return {opened(entry_path, ifmgr_ns), key, leaf(std::string(entry_path) + "/active", ifmgr_ns, "act")};
    }
    std::vector<Write> gain(const std::string &name, std::optional<std::string> value, std::uint32_t operation) const {
        std::vector<Write> writes = entry(name, YFW_OP_MERGE);
        writes.push_back({.path = std::string(entry_path) + "/optics/optics-ots-amplifier-gain",
                          .ns = optics_ns,
                          .value = std::move(value),
                          .operation = operation,
                          .source_path = "/oc/target-gain"});
        return writes;
    }
    std::vector<std::string> changed() const { return changes(before.running.tree(), data.running.tree()); }
    // The part of a refusal that the client needs: where.
    std::string refused_at(const std::vector<Write> &writes) {
        try {
            apply(writes);
        } catch (const RequestError &error) {
            return error.path();
        }
        return "not refused";
    }

    NativeData data = sample();
    const NativeData before = sample();
    std::string asked_for;
};

TEST_F(NativeEdits, MergeChangesAndAdds) {
    apply(gain("Ots0/1/0/0", "155", YFW_OP_MERGE));
    EXPECT_THAT(changed(), ElementsAre("~ /Korvex-ifmgr-cfg:interface-configurations/"
                                       "interface-configuration[active='act'][interface-name='Ots0/1/0/0']/"
                                       "Korvex-controller-optics-cfg:optics/optics-ots-amplifier-gain 175 -> 155"));
    apply(gain("Ots0/2/0/0", "155", YFW_OP_MERGE));
    EXPECT_EQ(changed().size(), 4U);
}

TEST_F(NativeEdits, DeleteTakesTheLeafAway) {
    apply(gain("Ots0/1/0/0", std::nullopt, YFW_OP_DELETE));
    EXPECT_THAT(changed(), ElementsAre(HasSubstr("optics-ots-amplifier-gain 175")));
    apply(gain("Ots0/1/0/0", std::nullopt, YFW_OP_REMOVE));
}

TEST_F(NativeEdits, WhatACreateFindsNativelyIsNotTheClients) {
    apply(entry("Ots0/1/0/0", YFW_OP_CREATE));
    EXPECT_THAT(changed(), IsEmpty());
    apply(gain("Ots0/1/0/0", "155", YFW_OP_CREATE));
    EXPECT_THAT(changed(), ElementsAre(HasSubstr("optics-ots-amplifier-gain 175 -> 155")));
}

TEST_F(NativeEdits, KeyDecidesTheOperationOfAnEntryThatWasOpenedWithoutOne) {
    apply(entry("Ots0/1/0/1", YFW_OP_REMOVE));
    EXPECT_EQ(changed().size(), 3U);
}

TEST_F(NativeEdits, EntryWithoutKeysIsRemovedWhereTheReadOfItsSourceSays) {
    Write open = opened(entry_path, ifmgr_ns);
    open.operation = YFW_OP_REMOVE;
    open.source_path = "/optical-amplifier/amplifiers";
    apply({open});
    EXPECT_EQ(asked_for, "/optical-amplifier/amplifiers");
    EXPECT_THAT(changed(), ElementsAre(HasSubstr("/active act"), HasSubstr("Ots0/1/0/1"), HasSubstr("booster")));
}

TEST_F(NativeEdits, EntryWithoutKeysThatAddsIsRefused) {
    Write open = opened(entry_path, ifmgr_ns);
    open.source_path = "/oc/list";
    EXPECT_EQ(refused_at({open}), "/oc/list");
}

TEST_F(NativeEdits, ReplaceOfAnEntryLeavesNothingOfTheOldOne) {
    apply(entry("Ots0/1/0/1", YFW_OP_REPLACE));
    EXPECT_THAT(changed(), ElementsAre(HasSubstr("/description booster")));
}

TEST_F(NativeEdits, ContainersAreReplacedAndTakenAway) {
    const auto container = [&](std::uint32_t operation) {
        std::vector<Write> writes = entry("Ots0/1/0/0", YFW_OP_MERGE);
        writes.push_back({.path = std::string(entry_path) + "/optics", .ns = optics_ns, .operation = operation});
        return writes;
    };
    std::vector<Write> replace = container(YFW_OP_REPLACE);
    replace.push_back({.path = std::string(entry_path) + "/optics/optics-ots-osri", .ns = optics_ns, .value = "true"});
    apply(replace);
    EXPECT_THAT(changed(), ElementsAre(HasSubstr("- "), HasSubstr("/optics-ots-osri true")));
    EXPECT_THAT(changed().front(), HasSubstr("optics-ots-amplifier-gain 175"));
    apply(container(YFW_OP_DELETE));
    EXPECT_THAT(changed(), ElementsAre(HasSubstr("optics-ots-amplifier-gain 175")));
    apply(container(YFW_OP_REMOVE));
    EXPECT_EQ(changed().size(), 1U) << "it is gone already";
}

TEST_F(NativeEdits, ValueThatTheNativeModelRefusesIsToldOfItsSource) {
    EXPECT_EQ(refused_at(gain("Ots0/1/0/0", "1555", YFW_OP_MERGE)), "/oc/target-gain");
    EXPECT_EQ(refused_at(gain("Ots0/1/0/0", "much", YFW_OP_MERGE)), "/oc/target-gain");
    EXPECT_EQ(refused_at(gain("Ots0/1/0/0", std::nullopt, YFW_OP_MERGE)), "/oc/target-gain");
    EXPECT_EQ(refused_at(entry("nothing", YFW_OP_MERGE)), "/oc/name");
    EXPECT_EQ(refused_at({leaf("/no-such-root/leaf", ifmgr_ns, "1")}), "");
}

// Answers

std::vector<std::string> dropped(const Answer &answer) {
    std::vector<std::string> shown;
    for (const DroppedLeaf &one : answer.dropped())
        shown.push_back(one.path + ": " + one.reason);
    return shown;
}

TEST(AnswerBuilding, OutputsOfSeveralWalksMeetInOneEntry) {
    const std::string list = "/optical-amplifier/amplifiers/amplifier";
    const std::vector<Write> first{opened(list, openconfig_ns), leaf(list + "/name", openconfig_ns, "a"),
                                   leaf(list + "/state/enabled", openconfig_ns, "true")};
    const std::vector<Write> second{
        {.path = list, .ns = openconfig_ns, .value = "a", .key_name = "name"},
        leaf(list + "/state/actual-gain/instant", openconfig_ns, "17.50"),
        leaf(list + "/state/enabled", openconfig_ns, "false"),
    };
    Answer answer(openconfig_schema(), false);
    answer.add(OutputTree(first));
    answer.add(OutputTree(second));
    EXPECT_THAT(answer.dropped(), IsEmpty());
    std::string text = answer.take_tree().print(LYD_JSON);
    std::erase_if(text, [](char character) { return character == ' ' || character == '\n'; });
    EXPECT_EQ(text, R"({"openconfig-optical-amplifier:optical-amplifier":{"amplifiers":{"amplifier":[{"name":"a",)"
                    R"("state":{"enabled":false,"actual-gain":{"instant":"17.5"}}}]}}})");
}

TEST(AnswerBuilding, WhatTheModelDoesNotTakeIsDroppedAndCounted) {
    const std::string list = "/optical-amplifier/amplifiers/amplifier", entry = list + "[name='a']";
    const std::vector<Write> writes{
        opened(list, openconfig_ns),
        leaf(list + "/state/enabled", openconfig_ns, "true"), // no key
        opened(list, openconfig_ns),
        leaf(list + "/name", openconfig_ns, "a"),
        leaf(list + "/state/target-gain", openconfig_ns, ""),
        {.path = list + "/state/gain-range", .ns = openconfig_ns},
        leaf(list + "/state/target-gain-tilt", openconfig_ns, "steep"),
        leaf(list + "/state/actual-gain/avg", openconfig_ns, "-"),
        leaf(list + "/state/actual-gain/min", openconfig_ns, "+"),
        leaf(list + "/state/colour", openconfig_ns, "red"),
        leaf(list + "/state/enabled", "urn:other", "true"),
        leaf("optical-amplifier/no-slash", openconfig_ns, "x"),
    };
    Answer answer(openconfig_schema(), false);
    answer.add(OutputTree(writes));
    EXPECT_THAT(
        dropped(answer),
        ElementsAre(list + "/state/enabled: its list entry has no key", entry + "/state/target-gain: empty text",
                    entry + "/state/gain-range: no value", HasSubstr(entry + "/state/target-gain-tilt: "),
                    HasSubstr(entry + "/state/actual-gain/avg: "), HasSubstr(entry + "/state/actual-gain/min: "),
                    entry + "/state/colour: the model has no such node",
                    entry + "/state/enabled: the model has no such node",
                    "optical-amplifier/no-slash: the path is not absolute"));
    EXPECT_THAT(answer.take_tree().print(LYD_JSON), Not(HasSubstr("state")));
}

TEST(AnswerBuilding, EntriesWithoutContentOrKeyAreNone) {
    const std::string list = "/optical-amplifier/amplifiers/amplifier";
    const std::vector<Write> writes{opened("/no-such-list", openconfig_ns), opened(list, openconfig_ns),
                                    leaf(list + "/name", openconfig_ns, ""),
                                    leaf(list + "/state/enabled", openconfig_ns, "true")};
    Answer answer(openconfig_schema(), false);
    answer.add(OutputTree(writes));
    EXPECT_THAT(dropped(answer), ElementsAre(list + "/name: its list entry has no key",
                                             list + "/state/enabled: its list entry has no key"));
    EXPECT_TRUE(answer.take_tree().empty());
}

TEST(AnswerBuilding, KeysAndWhatIsOnTheWayAreNotPlacedAgain) {
    const std::string list = "/optical-amplifier/amplifiers/amplifier", entry = list + "[name='a']";
    const std::vector<Write> writes{opened(list, openconfig_ns), leaf(list + "/name", openconfig_ns, "a"),
                                    leaf(list + "/state/enabled/below", openconfig_ns, "x")};
    Answer answer(openconfig_schema(), false);
    std::vector<Placement> placements;
    answer.add(OutputTree(writes), &placements);
    EXPECT_THAT(dropped(answer), ElementsAre(entry + "/state/enabled/below: the model has no such node"));
    std::vector<std::string> placed;
    for (const Placement &placement : placements)
        placed.push_back(placement.path);
    EXPECT_THAT(placed, ElementsAre(entry + "/name", entry + "/state/enabled/below"));
}

TEST(AnswerBuilding, ConfigurationAnswersHoldNoState) {
    const std::string list = "/optical-amplifier/amplifiers/amplifier", entry = list + "[name='a']";
    const std::vector<Write> writes{opened(list, openconfig_ns), leaf(list + "/name", openconfig_ns, "a"),
                                    leaf(list + "/state/enabled", openconfig_ns, "true")};
    Answer answer(openconfig_schema(), true);
    answer.add(OutputTree(writes));
    EXPECT_THAT(dropped(answer), ElementsAre(entry + "/state/enabled: state in a read of configuration"));
}

TEST(PluginLoading, WalkersAreFoundByModuleAndRoot) {
    EXPECT_EQ(walker_name("ymap_xo_oc_opt_amp_", "Korvex-controller-orvo8-ots-oper", "ots-oper"),
              "ymap_xo_oc_opt_amp_korvexcontrollerorvo8otsoper_lvla_otsoper");
}

TEST(PluginLoading, FileThatCannotBeLoadedIsToldByName) {
    EXPECT_THROW(Plugin("/no-such-folder/plugin.so"), PluginError);
    EXPECT_THROW(Plugin("/etc/hostname"), PluginError);
}

TEST(NativeDocuments, AreNoWiderThan10000Nodes) {
    const auto with_entries = [](std::size_t count) {
        std::string document = "<interface-configurations xmlns='http://korvex.example/ns/yang/Korvex-ifmgr-cfg'>";
        for (std::size_t i = 0; i < count; ++i)
            document += "<interface-configuration/>";
        return document + "</interface-configurations>";
    };
    EXPECT_THROW(parse_native_document(with_entries(10'000), DocumentFormat::xml), YangError) << "keys are missing";
    try {
        parse_native_document(with_entries(10'001), DocumentFormat::xml);
        FAIL() << "taken";
    } catch (const DocumentError &error) {
        EXPECT_STREQ(
            error.what(),
            "10001 nodes beside one another, the first of them 'interface-configuration', expected at most 10000");
    }
}

// What is in a native document, in one line.
std::string content_of(const std::string &document, DocumentFormat format = DocumentFormat::xml) {
    std::string text = parse_native_document(document, format).print(LYD_JSON);
    std::erase_if(text, [](char character) { return character == ' ' || character == '\n'; });
    return text;
}

const std::string interfaces = "<interface-configurations xmlns='http://korvex.example/ns/yang/Korvex-ifmgr-cfg'>"
                               "<!-- </data> </data> --><interface-configuration><active>act</active><interface-name>"
                               "Ots0/1/0/0</interface-name><description><![CDATA[<data>]]></description>"
                               "<shutdown/></interface-configuration></interface-configurations>";
const std::string in_json =
    R"({"Korvex-ifmgr-cfg:interface-configurations":{"interface-configuration":[)"
    R"({"active":"act","interface-name":"Ots0/1/0/0","description":"<data>","shutdown":[null]}]}})";
const std::string data_begin = "<data xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\"";

TEST(NativeDocuments, MayStandInADataElementWithWhatXmlAllowsAroundIt) {
    EXPECT_EQ(content_of(interfaces), in_json);
    for (const std::string before :
         {"", "<?xml version=\"1.0\"?>\n", "<!-- the <a> node's <b> -->", "<?program <a '?>", "\xEF\xBB\xBF "})
        for (const std::string attributes : {">", " a='\">' b=\"/>'\" >"})
            for (const std::string behind : {"", "\n", "<!-- </data> <data> -->", "<?program </data ?>"})
                EXPECT_EQ(content_of(before + data_begin + attributes + interfaces + "</data >" + behind), in_json)
                    << before << attributes << behind;
}

TEST(NativeDocuments, HoldNothingInAnEmptyDataElement) {
    for (const std::string end : {"/>", " />", "></data>", "><!-- <data> --></data>", "/><!-- <data></data> -->"})
        EXPECT_EQ(content_of(data_begin + end), "") << end;
}

TEST(NativeDocuments, AreOfTheNativeModelsWhateverStandsAroundThem) {
    EXPECT_THROW(content_of("<data>" + interfaces + "</data>"), YangError) << "another data element";
    EXPECT_THROW(content_of("<config>" + interfaces + "</config>"), YangError);
    EXPECT_THROW(content_of(data_begin + ">" + interfaces + "</data>" + interfaces), YangError) << "two elements";
    EXPECT_THROW(content_of(data_begin + ">text</data>"), YangError);
}

TEST(NativeDocuments, MayBeginWithAByteOrderMark) {
    EXPECT_EQ(content_of("\xEF\xBB\xBF" + interfaces), in_json);
    EXPECT_EQ(content_of("\xEF\xBB\xBF" + in_json, DocumentFormat::json), in_json);
}

} // namespace
