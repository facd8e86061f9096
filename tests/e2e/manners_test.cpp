// How ocamp treats those who type: hints, defaults, what changes tell, and what is read being written back.
#include "ocamp_program.h"

#include <algorithm>
#include <csignal>
#include <thread>

#include <gmock/gmock.h>
#include <sys/wait.h>

using namespace e2e;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

#define BOOSTER "/optical-amplifier/amplifiers/amplifier[name='0/2-AMP-BST']"
constexpr const char *gain = BOOSTER "/config/target-gain";
constexpr const char *tilt = BOOSTER "/config/target-gain-tilt";
constexpr const char *native_gain = "/ots-oper/ots-ports/ots-port[name='Ots0/1/0/0']/ots-info/ampli-gain";

class Manners : public NodeTest {
  protected:
    std::string value_of(const std::string &path) const { return get({path}).out; }
    // As `ocamp`, with OCAMP_NODE in the environment and no --node.
    Outcome with_environment(std::vector<std::string> words, const std::string &usual) const {
        words.insert(words.begin(), OCAMP_PROGRAM);
        return support::run({.words = words, .environment = {"OCAMP_NODE=" + usual}});
    }
};

TEST_F(Manners, UnknownCommandIsToldWithTheNearestOne) {
    EXPECT_EQ(run_ocamp({"gte"}).err, "ocamp: no command 'gte', did you mean 'get'? 'ocamp --help' tells more\n");
    EXPECT_EQ(run_ocamp({"sysdb", "lst"}).err,
              "ocamp: no command 'sysdb lst', did you mean 'list'? 'ocamp sysdb --help' tells more\n");
    EXPECT_EQ(run_ocamp({"gte"}).status, 2);
}

TEST_F(Manners, UnknownOptionIsToldWithTheNearestOneAndTheCommandsOwnHelp) {
    EXPECT_EQ(get({"--fromat", "xml"}).err,
              "ocamp: no option '--fromat', did you mean '--format'? 'ocamp get --help' tells more\n");
    EXPECT_EQ(ocamp({"sysdb", "list"}, {"--qqq"}).err,
              "ocamp: no option '--qqq'; 'ocamp sysdb list --help' tells more\n");
    // Known to another command only.
    EXPECT_EQ(get({"--dry-run"}).err, "ocamp: no option '--dry-run'; 'ocamp get --help' tells more\n");
}

TEST_F(Manners, UnknownWordOfAnOptionIsToldWithThoseThatThereAre) {
    EXPECT_EQ(get({"--format", "yaml"}).err,
              "ocamp: --format: 'yaml', expected one of: json, xml; 'ocamp get --help' tells more\n");
    EXPECT_THAT(ocamp({"edit"}, {"--default-operation", "delete", "-"}).err,
                HasSubstr("'delete', expected one of: merge, none, replace"));
}

TEST_F(Manners, OptionsMayStandBeforeTheCommand) {
    const std::string usual = get({"--format", "xml", gain}).out;
    ASSERT_THAT(usual, StartsWith("<data"));
    EXPECT_EQ(run_ocamp({"--node", node(), "--format", "xml", "get", gain}).out, usual);
    EXPECT_EQ(run_ocamp({"--node=" + node(), "get", "--format=xml", gain}).out, usual);
    EXPECT_THAT(run_ocamp({"--help", "get"}).out, HasSubstr("Read OpenConfig data"));
    EXPECT_EQ(run_ocamp({"--fast", "get"}).status, 2);
    // What only another command has is not taken for this one's.
    EXPECT_THAT(run_ocamp({"--calls", "get", "--node", node()}).err, HasSubstr("no option '--calls'"));
    EXPECT_THAT(run_ocamp({"--node", node(), "sysdb", "list", "/oper/ots/if/"}).out, HasSubstr("Ots0_1_0_0/ots_info"));
}

TEST_F(Manners, NodeMayComeFromTheEnvironmentOrItsShortOption) {
    const std::string usual = value_of(gain);
    EXPECT_EQ(run_ocamp({"get", "-n", node(), gain}).out, usual);
    EXPECT_EQ(run_ocamp({"get", "-n" + node(), gain}).out, usual);
    EXPECT_EQ(with_environment({"get", gain}, node()).out, usual);
    EXPECT_EQ(with_environment({"get", "--node", node(), gain}, "/nowhere").out, usual);
    EXPECT_EQ(with_environment({"sysdb", "list", "--node", node()}, "/nowhere").status, 0);
    EXPECT_THAT(with_environment({"get", gain}, "").err,
                HasSubstr("--node is required, expected --node DIR or OCAMP_NODE in the environment"));
}

TEST_F(Manners, EditTellsChangedLeavesAndRoundingAloud) {
    const Outcome outcome = ocamp({"set"}, {gain, "15.56"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, std::string("~ ") + gain + " 14.2 -> 15.5 dB (rounded: 15.56 was asked for)\nok\n");
    EXPECT_EQ(ocamp({"set"}, {gain, "15.56"}).out,
              std::string("nothing changed\n= ") + gain + " 15.5 dB (rounded: 15.56 was asked for)\nok\n");
    EXPECT_EQ(ocamp({"set"}, {gain, "15.5"}).out, "nothing changed\nok\n");
}

TEST_F(Manners, EditIsSilentWithQuietAndTellsMachinesWithJson) {
    EXPECT_EQ(ocamp({"set"}, {"--quiet", gain, "15.0"}).out, "");
    EXPECT_THAT(value_of(gain), HasSubstr("\"15.0\""));
    const std::string json = ocamp({"set"}, {"--json", gain, "15.56"}).out;
    EXPECT_THAT(json, AllOf(HasSubstr("\"old\": \"15.0\""), HasSubstr("\"new\": \"15.5\""),
                            HasSubstr("\"asked\": \"15.56\""), HasSubstr("\"dry-run\": false")));
}

TEST_F(Manners, DryRunChangesNothing) {
    const std::string before = data();
    const Outcome outcome = ocamp({"set"}, {"--dry-run", gain, "15.5"});
    EXPECT_EQ(outcome.out, std::string("~ ") + gain + " 14.2 -> 15.5 dB\ndry run: the node is as before\n");
    EXPECT_EQ(ocamp({"set"}, {"--dry-run", "--quiet", gain, "15.5"}).out, "");
    EXPECT_EQ(ocamp({"set"}, {"--dry-run", gain, "99"}).status, 1);
    EXPECT_EQ(ocamp({"set"}, {"--dry-run", "--quiet", gain, "99"}).status, 1);
    EXPECT_TRUE(before == data());
}

TEST_F(Manners, SetAndRmAreForOneLeaf) {
    EXPECT_EQ(ocamp({"set"}, {tilt, "-0.5"}).out, std::string("~ ") + tilt + " -0.8 -> -0.5 dB\nok\n");
    EXPECT_EQ(ocamp({"rm"}, {tilt}).out, std::string("- ") + tilt + " -0.5 dB\nok\n");
    const Outcome again = ocamp({"rm"}, {tilt});
    EXPECT_EQ(again.status, 1);
    EXPECT_EQ(again.err,
              std::string("ocamp: ") + tilt + ": does not exist, 'delete' expects that it does [data-missing]\n");
    const std::string before = data();
    EXPECT_THAT(ocamp({"rm"}, {BOOSTER}).err, HasSubstr("leads to a list entry, expected a leaf"));
    EXPECT_THAT(ocamp({"set"}, {BOOSTER "/name", "x"}).err, HasSubstr("leads to the key of an entry"));
    EXPECT_THAT(ocamp({"set"}, {"/", "x"}).err, HasSubstr("leads to the whole model"));
    EXPECT_THAT(ocamp({"set"}, {"/optical-amplifier/amplifiers/amplifier/config/target-gain", "1"}).err,
                HasSubstr("names no entry, expected the key 'name' [missing-element]"));
    EXPECT_THAT(ocamp({"set"}, {BOOSTER "/state/target-gain", "1"}).err, HasSubstr("is state, which cannot be edited"));
    EXPECT_TRUE(before == data());
}

TEST_F(Manners, WhatIsReadCanBeWritten) {
    const std::string before = get({}).out;
    for (const char *format : {"json", "xml"}) {
        const std::string read = get({"--format", format}).out;
        ASSERT_EQ(ocamp({"rm"}, {tilt}).status, 0);
        ASSERT_NE(get({}).out, before);
        const Outcome outcome = ocamp({"edit"}, {"-"}, read);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_THAT(outcome.out, AllOf(HasSubstr(std::string("+ ") + tilt + " -0.8 dB\n"),
                                       HasSubstr(" leaves of state passed over: state cannot be edited\n")));
        EXPECT_EQ(get({}).out, before) << format;
    }
}

TEST_F(Manners, StateIsRefusedWhereItIsAllThatIsAskedFor) {
    const std::string before = data();
    for (const char *format : {"json", "xml"}) {
        const Outcome outcome = ocamp({"edit"}, {"-"}, get({"--format", format, BOOSTER "/state/enabled"}).out);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_THAT(outcome.err, HasSubstr(BOOSTER "/state: is state, which cannot be edited"));
    }
    // In a <config> document it is meant as an edit.
    std::string config = get({"--format", "xml", BOOSTER}).out;
    for (const std::string &word : {std::string("<data"), std::string("/data")})
        config.replace(config.find(word), word.size(), word.front() + std::string("config"));
    EXPECT_THAT(ocamp({"edit"}, {"-"}, config).err, HasSubstr("/state: is state, which cannot be edited"));
    EXPECT_TRUE(before == data());
}

TEST_F(Manners, PathsTakeWildcardsMissingKeysAndALeadingModule) {
    const std::string all = value_of("/optical-amplifier/amplifiers/amplifier/config/target-gain");
    EXPECT_THAT(all, AllOf(HasSubstr("0/1-AMP-PRE"), HasSubstr("0/2-AMP-BST")));
    EXPECT_EQ(value_of("/optical-amplifier/amplifiers/amplifier[name='*']/config/target-gain"), all);
    for (const char *prefix :
         {"openconfig-optical-amplifier:/", "openconfig-optical-amplifier:", "oc-opt-amp:/", "/oc-opt-amp:"})
        EXPECT_EQ(value_of(prefix + std::string("optical-amplifier/amplifiers/amplifier/config/target-gain")), all)
            << prefix;
    EXPECT_THAT(get({"nowhere:/optical-amplifier"}).err, HasSubstr("at character 1: no module 'nowhere'"));
}

TEST_F(Manners, NativeLeafCanBeSetPutAndTakenAway) {
    EXPECT_EQ(ocamp({"native", "set"}, {native_gain, "1725"}).out,
              std::string("~ ") + native_gain + " 1750 -> 1725 x 0.01 dB\nok\n");
    const std::string instant = "/optical-amplifier/amplifiers/amplifier[name='0/1-AMP-PRE']/state/actual-gain/instant";
    EXPECT_THAT(value_of(instant), HasSubstr("\"17.25\""));
    for (const char *format : {"json", "xml"}) {
        const std::string read = ocamp({"native", "get"}, {"--format", format, native_gain}).out;
        EXPECT_EQ(ocamp({"native", "rm"}, {native_gain}).out,
                  std::string("- ") + native_gain + " 1725 x 0.01 dB\nok\n");
        EXPECT_EQ(value_of(instant), "{}\n");
        EXPECT_EQ(ocamp({"native", "put"}, {"-"}, read).out, std::string("+ ") + native_gain + " 1725 x 0.01 dB\nok\n");
    }
    EXPECT_EQ(ocamp({"native", "rm"}, {"--quiet", "/ots-oper"}).out, "");
    EXPECT_EQ(value_of(instant), "{}\n");
}

TEST_F(Manners, NativeConfigurationCanBeSetToo) {
    const std::string path =
        "/interface-configurations/interface-configuration[active='act'][interface-name='Ots0/2/0/1']"
        "/optics/optics-ots-amplifier-gain";
    EXPECT_EQ(ocamp({"native", "set"}, {path, "155"}).status, 0);
    EXPECT_THAT(value_of(gain), HasSubstr("\"15.5\""));
}

TEST_F(Manners, NativeDataThatTheModelsRefuseChangeNothing) {
    const std::string before = data();
    const struct {
        std::vector<std::string> words;
        int status;
        const char *message;
    } rows[] = {
        {{"set", native_gain, "much"}, 1, "the native model refuses it"},
        {{"set", "/ots-oper/ots-ports/ots-port/ots-info/ampli-gain", "1"}, 2, "expected its key 'name'"},
        {{"set", "/ots-oper/ots-ports/ots-port[name='Ots0/1/0/0']/name", "x"}, 2, "leads to a key"},
        {{"set", "/ots-oper/ots-ports", "x"}, 2, "expected a leaf"},
        {{"rm", "/ots-oper/ots-ports/ots-port[name='Ots9/9/9/9']"}, 1, "does not exist in the native data"},
        {{"rm", "/"}, 2, "leads to all data"},
        {{"put", "-"}, 2, "neither XML nor JSON"},
    };
    for (const auto &row : rows) {
        const Outcome outcome =
            ocamp({"native", row.words.front()}, {row.words.begin() + 1, row.words.end()}, "no document");
        EXPECT_EQ(outcome.status, row.status) << row.message;
        EXPECT_THAT(outcome.err, HasSubstr(row.message));
    }
    EXPECT_TRUE(before == data());
}

TEST_F(Manners, ExportedNodeMakesTheSameNode) {
    ASSERT_EQ(ocamp({"set"}, {gain, "15.5"}).status, 0);
    const std::string saved = (folder() / "saved").string(), copy = (folder() / "copy").string();
    const Outcome outcome = ocamp({"node", "export"}, {saved});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, saved + ": " + node() + " written out\n");
    ASSERT_EQ(run_ocamp({"node", "init", copy, "--from", saved}).status, 0);
    EXPECT_EQ(run_ocamp({"native", "get", "--node", copy}).out, ocamp({"native", "get"}).out);
    EXPECT_EQ(run_ocamp({"sysdb", "list", "--node", copy}).out, ocamp({"sysdb", "list"}).out);
    EXPECT_EQ(run_ocamp({"get", "--node", copy}).out, get({}).out);
    // Written again it is the same to the byte; what is there is never written over.
    const std::string again = (folder() / "again").string();
    ASSERT_EQ(run_ocamp({"node", "export", again, "--node", copy}).status, 0);
    for (const char *file : {"/native/running.json", "/sysdb/items.json"})
        EXPECT_EQ(read_file(again + file), read_file(saved + file));
    const Outcome second = ocamp({"node", "export"}, {saved});
    EXPECT_EQ(second.status, 2);
    EXPECT_THAT(second.err, HasSubstr("saved: is there already, expected a new or empty folder"));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder()), {}), 4);
}

TEST_F(Manners, NotesAndBackupsInAnExampleArePassedOverWithAWord) {
    const std::filesystem::path example = folder() / "example";
    std::filesystem::copy(EXAMPLE_NODE, example, std::filesystem::copy_options::recursive);
    const std::vector<std::string> files = {"native/#ots.json#", "native/.ots.json.swp", "native/README.md",
                                            "native/Readme.MD",  "native/ots.json.orig", "native/running.json~",
                                            "sysdb/README"};
    std::string words;
    for (const std::string &file : files) {
        write_file(example / file, "not a document");
        words += "ocamp: " + (example / file).string() + ": passed over, no document of the example\n";
    }
    const Outcome outcome = run_ocamp({"node", "init", (folder() / "new").string(), "--from", example.string()});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, words);
}

TEST_F(Manners, WatchTellsValuesAndThenWhatChanges) {
    const std::filesystem::path output = folder() / "watched";
    const int watcher =
        start_ocamp({"watch", "--node", node(), "--interval", "0.05", "--config", gain}, "/dev/null", output);
    const auto wait_for = [&](const std::string &text) {
        for (int i = 0; i < 1000; ++i) {
            if (std::filesystem::exists(output) && read_file(output).find(text) != std::string::npos)
                return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        return false;
    };
    EXPECT_TRUE(wait_for(std::string(" + ") + gain + " 14.2 dB\n"));
    EXPECT_EQ(ocamp({"set"}, {gain, "15.5"}).status, 0);
    EXPECT_TRUE(wait_for(std::string(" ~ ") + gain + " 14.2 -> 15.5 dB\n"));
    EXPECT_EQ(ocamp({"rm"}, {gain}).status, 0);
    EXPECT_TRUE(wait_for(std::string(" - ") + gain + " 15.5 dB\n"));
    kill(watcher, SIGTERM);
    int status = 0;
    waitpid(watcher, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status));
}

TEST_F(Manners, WatchEndsAfterTheReadsThatWereAskedFor) {
    const Outcome outcome = ocamp({"watch"}, {"--count", "2", "--interval", "0.01", "--json", "--config", gain});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, HasSubstr(std::string("\"path\":\"") + gain + "\",\"old\":null,\"new\":\"14.2\"}\n"));
    EXPECT_EQ(std::count(outcome.out.begin(), outcome.out.end(), '\n'), 2); // the key and the leaf, once
    EXPECT_EQ(ocamp({"watch"}, {"--interval", "0", gain}).status, 2);
}

constexpr const char *quantity = "/optical-amplifier/amplifiers/amplifier[name='0/1-AMP-PRE']/state/actual-gain";

TEST_F(Manners, WatchRefusesIntervalsAndCountsThatAreNone) {
    for (const char *interval : {"nan", "-nan", "NAN(1)", "0", "inf", "x"}) {
        const Outcome outcome = ocamp({"watch"}, {"--count", "1", "--interval", interval, gain});
        EXPECT_EQ(outcome.status, 2) << interval;
        EXPECT_THAT(outcome.err, StartsWith("ocamp: --interval: ")) << interval;
    }
    for (const char *count : {"-1", "-0", "18446744073709551616", "1.5", "x"}) {
        const Outcome outcome = ocamp({"watch"}, {"--count", count, gain});
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.err,
                  std::string("ocamp: --count: '") + count +
                      "', expected a whole number from 0 to 18446744073709551615; 'ocamp watch --help' tells more\n");
    }
}

TEST_F(Manners, JsonIsSaidToBeForErrorsWhereItIsForNothingElse) {
    for (const std::vector<std::string> &command : std::vector<std::vector<std::string>>{
             {"get"}, {"explain", "get"}, {"explain", "edit"}, {"sysdb", "get"}, {"native", "get"}, {"node", "init"}}) {
        std::vector<std::string> words = command;
        words.emplace_back("--help");
        EXPECT_THAT(run_ocamp(words).out, AllOf(HasSubstr("Errors as JSON"), Not(HasSubstr("what the command tells"))));
    }
    EXPECT_THAT(run_ocamp({"set", "--help"}).out, HasSubstr("Errors, and what the command tells, as JSON"));
}

TEST_F(Manners, HistoryPlotsTheIntervalsThatTheNodeKept) {
    const std::string heading = std::string(quantity) + ": 2 intervals of 30 s, the latest last\n";
    EXPECT_SAME_TEXT(ocamp({"history"}, {quantity}).out, heading + "  avg  ▇▂  17.53 to 18.14 dB, now 17.53\n"
                                                                   "  min  ▆▁  17.36 to 17.96 dB, now 17.36\n"
                                                                   "  max  █▄  17.71 to 18.28 dB, now 17.71\n");
    EXPECT_SAME_TEXT(ocamp({"history"}, {"--ascii", quantity}).out, heading +
                                                                        "  avg  *.  17.53 to 18.14 dB, now 17.53\n"
                                                                        "  min  +_  17.36 to 17.96 dB, now 17.36\n"
                                                                        "  max  #-  17.71 to 18.28 dB, now 17.71\n");
}

TEST_F(Manners, HistoryFollowsTheRecordsOfTheSystemDatabase) {
    const std::string bind_point = "/oper/perfmgmt/gl/periodic/optics/interface/",
                      item = "Ots0_1_0_1/30sec/optics/1/timeline_rev/0x";
    const std::string path = "/optical-amplifier/amplifiers/amplifier[name='0/1-AMP-PRE']/state/input-power-c-band/avg";
    EXPECT_THAT(ocamp({"history"}, {"--json", path}).out, HasSubstr("\"values\": [\n      null,\n      \"-15.38\"\n"));
    std::string record = ocamp({"sysdb", "get"}, {bind_point, item + "1"}).out;
    const std::size_t at = record.find("-15.38");
    ASSERT_NE(at, std::string::npos);
    record.replace(at, 6, "-16.07");
    ASSERT_EQ(ocamp({"sysdb", "put"}, {bind_point, item + "2"}, record).status, 0);
    EXPECT_THAT(ocamp({"history"}, {"--json", path}).out,
                HasSubstr("\"values\": [\n      \"-16.07\",\n      \"-15.38\"\n"));
}

TEST_F(Manners, HistoryIsDrawnAsSvg) {
    const std::string file = (folder() / "plot.svg").string();
    EXPECT_EQ(ocamp({"history"}, {"--svg", file, quantity}).status, 0);
    const std::string svg = read_file(file);
    EXPECT_THAT(svg, AllOf(StartsWith("<svg xmlns=\"http://www.w3.org/2000/svg\""),
                           HasSubstr("/state/actual-gain, dB<"), HasSubstr("<polyline class=\"avg\" points=\"80.0,")));
    EXPECT_EQ(ocamp({"history"}, {"--svg", "-", quantity}).out, svg);
    EXPECT_EQ(ocamp({"history"}, {"--svg", "/nowhere/x.svg", quantity}).status, 2);
    EXPECT_EQ(ocamp({"history"}, {gain}).out, "no minimum, average or maximum there\n");
}

TEST_F(Manners, ErrorsAreJsonWithJson) {
    const Outcome refused = ocamp({"set"}, {"--json", gain, "80"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.out, "");
    EXPECT_EQ(refused.err, std::string("{\"error\":{\"path\":\"") + gain +
                               "\",\"reason\":\"'80.0': the node holds 0.0 to 40.0 dB\",\"tag\":\"invalid-value\","
                               "\"code\":null,\"status\":1}}\n");
    EXPECT_THAT(ocamp({"set"}, {"--json", BOOSTER "/config/min-gain", "3"}).err,
                HasSubstr("\"tag\":\"operation-not-supported\",\"code\":\"0xaaf2ee00\",\"status\":1}}\n"));
    const Outcome wrong = run_ocamp({"--json", "gte"});
    EXPECT_EQ(wrong.status, 2);
    EXPECT_EQ(wrong.err, "{\"error\":{\"path\":null,\"reason\":\"no command 'gte', did you mean 'get'? 'ocamp --help' "
                         "tells more\",\"tag\":null,\"code\":null,\"status\":2}}\n");
}

TEST_F(Manners, WrongPathIsTheSameRefusalAsTextAndAsJson) {
    const struct {
        std::vector<std::string> command, arguments;
        const char *path, *reason, *tag;
    } rows[] = {
        {{"get"},
         {"/x"},
         "/x",
         "at character 2: no node 'x' at the top, expected one of: optical-amplifier",
         "unknown-element"},
        {{"get"}, {"/x:y"}, "/x:y", "at character 2: no module 'x'", "unknown-namespace"},
        {{"set"}, {"/", "1"}, "/", "leads to the whole model, expected a leaf", "invalid-value"},
        {{"rm"},
         {BOOSTER "/name"},
         BOOSTER "/name",
         "leads to the key of an entry, expected another leaf",
         "invalid-value"},
        {{"native", "set"},
         {"/ots-oper/ots-ports/ots-port/ots-info/ampli-gain", "1"},
         "/ots-oper/ots-ports/ots-port/ots-info/ampli-gain",
         "names no entry of 'ots-port', expected its key 'name'",
         "missing-element"},
        {{"native", "set"},
         {"/ots-oper", "1"},
         "/ots-oper",
         "leads to more than one leaf, expected a leaf that is no key",
         "invalid-value"},
        {{"native", "rm"}, {"/"}, "/", "leads to all data, expected what can be taken away by itself", "invalid-value"},
    };
    for (const auto &row : rows) {
        const std::string path = row.path, reason = row.reason, tag = row.tag;
        EXPECT_EQ(ocamp(row.command, row.arguments).err, "ocamp: " + path + ": " + reason + " [" + tag + "]\n");
        std::vector<std::string> arguments = row.arguments;
        arguments.emplace_back("--json");
        const Outcome outcome = ocamp(row.command, arguments);
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.err, R"({"error":{"path":")" + path + R"(","reason":")" + reason + R"(","tag":")" + tag +
                                   R"(","code":null,"status":2}})"
                                   "\n");
    }
}

TEST_F(Manners, PathsAreCompletedFromTheModelAndTheNode) {
    EXPECT_EQ(run_ocamp({"complete"}).out, "/optical-amplifier/\n");
    EXPECT_EQ(run_ocamp({"complete", "/optical-amplifier/amplifiers/"}).out,
              "/optical-amplifier/amplifiers/amplifier/\n");
    EXPECT_EQ(ocamp({"complete"}, {"/optical-amplifier/amplifiers/amplifier[name='0/2"}).out,
              "/optical-amplifier/amplifiers/amplifier[name='0/2-AMP-PRE']/\n" BOOSTER "/\n");
    EXPECT_EQ(ocamp({"complete"}, {BOOSTER "/config/"}).out,
              std::string(BOOSTER "/config/name\n") + gain + "\n" + tilt + "\n" BOOSTER "/config/enabled\n");
    EXPECT_EQ(ocamp({"complete"}, {"--native", "/ots-oper/ots-ports/ots-port[name='Ots0/1"}).out,
              "/ots-oper/ots-ports/ots-port[name='Ots0/1/0/0']/\n/ots-oper/ots-ports/ots-port[name='Ots0/1/0/1']/\n");
    EXPECT_EQ(run_ocamp({"complete", "/nowhere/x"}).out, "");
    EXPECT_THAT(run_ocamp({"--help"}).out, Not(HasSubstr("complete ")));
}

} // namespace
