// Reads of the example node through ocamp; the answers are compared in full.
#include "ocamp_program.h"

#include <gmock/gmock.h>

#include <unistd.h>

using namespace e2e;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

constexpr const char *no_data = "{}\n";
constexpr const char *pre_1_path = "/optical-amplifier/amplifiers/amplifier[name='0/1-AMP-PRE']";

std::string filter(const std::string &content) {
    return "<filter type=\"subtree\"><optical-amplifier xmlns=\"http://openconfig.net/yang/optical-amplfier\">" +
           content + "</optical-amplifier></filter>";
}

// A read and the file with its whole answer.
struct FullRead {
    const char *test_name;
    std::vector<std::string> arguments;
    std::string input;
    const char *answer;
};

void PrintTo(const FullRead &shown, std::ostream *to) {
    *to << shown.test_name;
}

class FullReads : public NodeTest, public testing::WithParamInterface<FullRead> {};

TEST_P(FullReads, GiveTheWholeAnswer) {
    const Outcome outcome = get(GetParam().arguments, GetParam().input);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_SAME_TEXT(outcome.out, expected(GetParam().answer));
}

const FullRead full_reads[] = {
    {"OneAmplifier", {pre_1_path}, "", "amplifier.json"},
    {"OneAmplifierConfiguration", {"--config", pre_1_path}, "", "amplifier_config.json"},
    {"StateOfOneAmplifier", {std::string(pre_1_path) + "/state"}, "", "amplifier_state.json"},
    {"OneAmplifierAsXml", {"--format", "xml", pre_1_path}, "", "amplifier.xml"},
    {"OneStateLeaf", {std::string(pre_1_path) + "/state/actual-gain/instant"}, "", "leaf_state.json"},
    {"OneConfigurationLeaf", {"--config", std::string(pre_1_path) + "/config/target-gain"}, "", "leaf_config.json"},
    {"ConfigurationLeafInAFullRead", {std::string(pre_1_path) + "/config/target-gain"}, "", "leaf_config.json"},
    {"AllAmplifiers", {"/optical-amplifier/amplifiers"}, "", "amplifiers.json"},
    {"AllAmplifiersByTheirList", {"/optical-amplifier/amplifiers/amplifier"}, "", "amplifiers.json"},
    {"ConfigurationOfAllAmplifiers", {"--config", "/optical-amplifier/amplifiers"}, "", "config.json"},
    {"OneLeafOfAllAmplifiers", {"/optical-amplifier/amplifiers/amplifier/state/enabled"}, "", "leaf_of_all.json"},
    {"WholeModel", {}, "", "whole.json"},
    {"WholeModelByItsRoot", {"/optical-amplifier"}, "", "whole.json"},
    {"WholeModelAsXml", {"--format", "xml"}, "", "whole.xml"},
    {"WholeConfiguration", {"--config"}, "", "config.json"},
    {"OneChannel",
     {"/optical-amplifier/supervisory-channels/supervisory-channel[interface='Optics0/2/0/4']"},
     "",
     "channel.json"},
    {"AllChannels", {"/optical-amplifier/supervisory-channels"}, "", "channels.json"},
    {"StatisticsOfOneChannel",
     {"/optical-amplifier/supervisory-channels/supervisory-channel[interface='Optics0/1/0/4']/state/input-power"},
     "",
     "channel_input.json"},
    {"FilterWithTwoAmplifiersAndAChannel",
     {"--filter", "-"},
     filter("<amplifiers>"
            "<amplifier><name>0/2-AMP-PRE</name><config/></amplifier>"
            "<amplifier><name>0/1-AMP-BST</name><state><output-power-c-band/><type/></state></amplifier>"
            "</amplifiers><supervisory-channels><supervisory-channel><interface>Optics0/1/0/4</interface>"
            "<state><output-power><instant/></output-power></state></supervisory-channel></supervisory-channels>"),
     "filter_several.json"},
    {"FilterByContent",
     {"--filter", "-", "--config"},
     filter("<amplifiers><amplifier><config><enabled>false</enabled></config></amplifier></amplifiers>"),
     "filter_content.json"},
};

INSTANTIATE_TEST_SUITE_P(Reads, FullReads, testing::ValuesIn(full_reads),
                         [](const auto &read) { return std::string(read.param.test_name); });

// Reads that select nothing.
struct EmptyRead {
    const char *test_name;
    std::vector<std::string> arguments;
    std::string input = {};
};

void PrintTo(const EmptyRead &shown, std::ostream *to) {
    *to << shown.test_name;
}

class EmptyReads : public NodeTest, public testing::WithParamInterface<EmptyRead> {};

TEST_P(EmptyReads, GiveAnEmptyAnswer) {
    const Outcome outcome = get(GetParam().arguments, GetParam().input);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.out, no_data);
}

const EmptyRead empty_reads[] = {
    {"SlotWithoutCard", {"/optical-amplifier/amplifiers/amplifier[name='0/3-AMP-PRE']"}},
    {"FilterForASlotThatCannotBe",
     {"--filter", "-"},
     filter("<amplifiers><amplifier><name>0/4-AMP-PRE</name></amplifier></amplifiers>")},
    {"NameOfNoKind", {"/optical-amplifier/amplifiers/amplifier[name='nothing']"}},
    {"EmptyName", {"/optical-amplifier/amplifiers/amplifier[name='']"}},
    {"ConfigurationOfSlotWithoutCard", {"--config", "/optical-amplifier/amplifiers/amplifier[name='0/3-AMP-BST']"}},
    {"StateInAConfigurationRead", {"--config", std::string(pre_1_path) + "/state"}},
    {"ChannelsInAConfigurationRead", {"--config", "/optical-amplifier/supervisory-channels"}},
    {"ChannelOfSlotWithoutCard",
     {"/optical-amplifier/supervisory-channels/supervisory-channel[interface='Optics0/3/0/4']"}},
    {"EthernetPortAsChannel",
     {"/optical-amplifier/supervisory-channels/supervisory-channel[interface='GigabitEthernet0/0/0/1']"}},
    {"EmptyFilter", {"--filter", "-"}, "<filter/>"},
    {"FilterOfAnotherModel", {"--filter", "-"}, "<interfaces xmlns=\"http://openconfig.net/yang/interfaces\"/>"},
    {"FilterWithUnknownName", {"--filter", "-"}, filter("<attenuators/>")},
    {"FilterWithAttribute", {"--filter", "-"}, filter("<amplifiers kind=\"edfa\"/>")},
    {"FilterWithContradiction",
     {"--filter", "-"},
     filter("<amplifiers><amplifier><name>0/1-AMP-PRE</name><name>0/1-AMP-BST</name></amplifier></amplifiers>")},
};

INSTANTIATE_TEST_SUITE_P(Reads, EmptyReads, testing::ValuesIn(empty_reads),
                         [](const auto &read) { return std::string(read.param.test_name); });

class Reads : public NodeTest {};

TEST_F(Reads, EmptyAnswerAsXmlIsAnEmptyDataElement) {
    EXPECT_EQ(get({"--format", "xml", "/optical-amplifier/amplifiers/amplifier[name='0/3-AMP-PRE']"}).out,
              "<data xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\"/>\n");
}

TEST_F(Reads, PathToAnUnservedLeafIsRefusedByName) {
    const std::string channel =
        "/optical-amplifier/supervisory-channels/supervisory-channel[interface='Optics0/1/0/4']";
    for (const std::string &path : {std::string(pre_1_path) + "/state/min-gain",
                                    std::string(pre_1_path) + "/state/component", channel + "/config/interface"}) {
        const Outcome outcome = get({path});
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err, "ocamp: " + path + ": not served by this device [operation-not-supported]\n");
    }
}

TEST_F(Reads, PathIntoASlotThatThePlatformDoesNotHaveIsRefused) {
    const std::string entry = "/optical-amplifier/amplifiers/amplifier[name='0/4-AMP-PRE']";
    for (const std::vector<std::string> &arguments :
         {std::vector<std::string>{entry}, {entry + "/state/enabled"}, {"--config", entry}}) {
        const Outcome outcome = get(arguments);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err, "ocamp: " + entry + ": this platform has slots 1 to 3 [invalid-value]\n");
    }
}

TEST_F(Reads, OtherInterfacesNeverAppear) {
    for (const Outcome &outcome : {get({}), get({"--config"})}) {
        EXPECT_THAT(outcome.out, Not(HasSubstr("Ethernet")));
        EXPECT_THAT(outcome.out, Not(HasSubstr("TenGigE")));
        EXPECT_THAT(outcome.out, Not(HasSubstr("Mgmt")));
        EXPECT_THAT(outcome.out, Not(HasSubstr("Loopback")));
        EXPECT_THAT(outcome.out, Not(HasSubstr("0/3")));
    }
}

TEST_F(Reads, InputStatisticsOfAnAmplifierComeFromItsPartnersRecord) {
    const char *bind_point = "/oper/perfmgmt/gl/periodic/optics/interface/";
    const std::string path = std::string(pre_1_path) + "/state/input-power-c-band";
    ASSERT_THAT(get({path}).out, HasSubstr("\"avg\""));
    ASSERT_EQ(ocamp({"sysdb", "rm"}, {bind_point, "Ots0_1_0_1/30sec/optics/1/timeline_rev/0x1"}).status, 0);
    const std::string without_record = get({path}).out;
    EXPECT_THAT(without_record, HasSubstr("\"instant\""));
    EXPECT_THAT(without_record, Not(HasSubstr("\"avg\"")));
}

TEST_F(Reads, AnswerIsTheSameWhicheverWayItIsAskedFor) {
    const std::string by_filter =
        get({"--filter", "-"}, filter("<amplifiers><amplifier><name> 0/1-AMP-PRE </name></amplifier></amplifiers>"))
            .out;
    EXPECT_SAME_TEXT(by_filter, expected("amplifier.json"));
    const std::string with_prefixes = get({"/openconfig-optical-amplifier:optical-amplifier/oc-opt-amp:amplifiers/"
                                           "amplifier[ name = \"0/1-AMP-PRE\" ]"})
                                          .out;
    EXPECT_SAME_TEXT(with_prefixes, expected("amplifier.json"));
}

TEST_F(Reads, ReadingChangesNothing) {
    const std::string before = data();
    get({});
    ocamp({"explain", "get"}, {});
    EXPECT_TRUE(before == data());
}

TEST_F(Reads, ExplanationShowsTheStepsInOrder) {
    const Outcome outcome = ocamp({"explain", "get"}, {std::string(pre_1_path) + "/state/enabled"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_SAME_TEXT(outcome.out, expected("explain_leaf.txt"));
}

TEST_F(Reads, ExplanationShowsWhatWasReadInTheSystemDatabase) {
    const Outcome outcome = ocamp({"explain", "get"}, {std::string(pre_1_path) + "/state/input-power-c-band/avg"});
    EXPECT_THAT(outcome.out, HasSubstr("\n  /oper/perfmgmt/gl/periodic/optics/interface/ "
                                       "Ots0_1_0_1/30sec/optics/1/timeline_rev/0x1\n"
                                       "    pm_optics_bag pm_optics_paras.OPR.Average = \" -15.38 \"\n"
                                       "3. Native answer"));
    EXPECT_THAT(outcome.out, HasSubstr("<average> \" -16.85 \"  not used: the value is that of the system database\n"));
    EXPECT_THAT(outcome.out, Not(HasSubstr("OPR.Minimum"))) << "not asked for";
    EXPECT_THAT(outcome.out, Not(HasSubstr("<minimum>")));
}

TEST_F(Reads, ExplanationOfAllShowsWholeEntries) {
    const Outcome outcome = ocamp({"explain", "get"}, {"--all", std::string(pre_1_path) + "/state/enabled"});
    EXPECT_THAT(outcome.out, HasSubstr("\n3. Native answer ---"));
    EXPECT_THAT(outcome.out, HasSubstr("<description> \"line east, pre-amplifier\"\n"));
    EXPECT_THAT(outcome.out, HasSubstr("<ampli-gain> \"1750\"\n"));
}

TEST_F(Reads, ExplanationIsColouredWhenAsked) {
    const std::string path = std::string(pre_1_path) + "/state/enabled";
    EXPECT_THAT(ocamp({"explain", "get"}, {path}).out, Not(HasSubstr("\x1b")));
    EXPECT_THAT(ocamp({"explain", "get"}, {"--color", "always", path}).out, StartsWith("\x1b[1m1. Request tree"));
    EXPECT_EQ(ocamp({"explain", "get"}, {"--color", "sometimes", path}).status, 2);
}

TEST_F(Reads, ExplanationWithCallsShowsEachCall) {
    const Outcome outcome = ocamp({"explain", "get"}, {"--calls", std::string(pre_1_path) + "/state/enabled"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, HasSubstr("2. Calls to the platform"));
    EXPECT_THAT(outcome.out, Not(HasSubstr("2. Native request")));
    EXPECT_THAT(outcome.out, HasSubstr("  yfw_map_add_to_node_hierarchy(ctx, <optical-amplifier>, 1) = 0\n"
                                       "    yfw_map_do_these_match(\"amplifiers\", \"amplifiers\") = 1\n"));
    EXPECT_THAT(outcome.out, HasSubstr("\"/ots-oper/ots-ports/ots-port/ots-info/osri-config-val\", "
                                       "\"http://korvex.example/ns/yang/Korvex-controller-orvo8-ots-oper\", NULL"));
    EXPECT_THAT(outcome.out, HasSubstr("_sysdb_bind("));
}

TEST_F(Reads, KeyOfANamedEntryIsAnsweredAlone) {
    const Outcome outcome = get({"/optical-amplifier/amplifiers/amplifier[name='0/1-AMP-PRE']/name"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("\"name\": \"0/1-AMP-PRE\""));
    EXPECT_THAT(outcome.out, Not(HasSubstr("state")));
    EXPECT_THAT(outcome.out, Not(HasSubstr("config\"")));
}

TEST_F(Reads, AnswerThatCannotBeWrittenIsAFailure) {
    const Outcome outcome = run_ocamp({"get", "--node", node()}, "", {{STDOUT_FILENO, "/dev/full"}});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, StartsWith("ocamp: standard output: "));
}

TEST_F(Reads, LogsGoWhereTheyAreAsked) {
    const std::string log = (folder() / "debug.log").string(), trace = (folder() / "trace").string();
    EXPECT_EQ(get({"--debug-log", log, "--log-level", "0", "--trace", trace}).status, 0);
    EXPECT_THAT(read_file(log), HasSubstr("Amplifier_name [0/3-AMP-PRE] not present in sysdb inventory, discard it!"));
    EXPECT_THAT(read_file(log), Not(HasSubstr("TRC: ")));
    EXPECT_THAT(read_file(trace), HasSubstr("#1: TRC: "));
    EXPECT_THAT(get({"--debug-log", "-"}).err, HasSubstr("TRC: YFW: ctx="));
}

TEST_F(Reads, OnlyAReadByKeyReachesAnInterfaceByItsKey) {
    EXPECT_THAT(get({"--debug-log", "-", pre_1_path}).err, HasSubstr("interface_key: Ots0/1/0/0\n"));
    const Outcome keyless = get({"--debug-log", "-", "/optical-amplifier/amplifiers"});
    EXPECT_THAT(keyless.err, HasSubstr("TRC: YFW: "));
    EXPECT_THAT(keyless.err, Not(HasSubstr("interface_key: Ots")));
}

TEST_F(Reads, ExplanationOfSeveralRequestsShowsEachRun) {
    const Outcome outcome = ocamp({"explain", "get"}, {"--filter", "-"},
                                  filter("<amplifiers><amplifier><name>0/1-AMP-PRE</name><config/></amplifier>"
                                         "<amplifier><name>0/9-AMP-BST</name><config/></amplifier></amplifiers>"));
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("  run 1 of 2: get (kind 10)\n    <optical-amplifier>\n"));
    EXPECT_THAT(outcome.out, HasSubstr("  run 2 of 2: get (kind 10)\n    <optical-amplifier>\n"));
    EXPECT_THAT(outcome.out, HasSubstr("  run 1 of 2\n    <interface-configurations>\n"));
    EXPECT_THAT(outcome.out, HasSubstr("  run 2 of 2\n"));
    EXPECT_THAT(outcome.out, HasSubstr("  run 1 of 2: /Korvex-ifmgr-cfg:interface-configurations"));
    EXPECT_THAT(outcome.out, HasSubstr("  run 2 of 2: nothing\n"));
}

} // namespace
