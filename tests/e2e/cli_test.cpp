// Wrong use of ocamp: each case with its exit status and its message.
#include "ocamp_program.h"

#include <chrono>
#include <future>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace e2e;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

class CommandLine : public NodeTest {};

struct WrongUse {
    const char *test_name;
    std::vector<std::string> command;
    std::vector<std::string> arguments;
    const char *message; // part of what is told
};

void PrintTo(const WrongUse &shown, std::ostream *to) {
    *to << shown.test_name;
}

class WrongUses : public NodeTest, public testing::WithParamInterface<WrongUse> {};

TEST_P(WrongUses, AreToldWithStatusTwo) {
    const Outcome outcome = ocamp(GetParam().command, GetParam().arguments, "x");
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, StartsWith("ocamp: "));
    EXPECT_THAT(outcome.err, HasSubstr(GetParam().message));
}

class LongValues : public NodeTest {};

TEST_F(LongValues, AreShortenedWhereverTheyStand) {
    const std::string value(100000, 'v');
    const std::string example = (folder() / "example").string();
    std::filesystem::copy(EXAMPLE_NODE, example, std::filesystem::copy_options::recursive);
    write_file(folder() / "example" / "native" / "running.json",
               "{\"Korvex-ifmgr-cfg:interface-configurations\": {\"interface-configuration\": [{\"active\": \"act\", "
               "\"interface-name\": \"" +
                   value + "\"}]}}");
    write_file(folder() / "filter.xml", "<filter type=\"" + value + "\"/>");
    const struct {
        const char *entrance;
        Outcome outcome;
    } rows[] = {
        {"native value", run_ocamp({"node", "init", (folder() / "new").string(), "--from", example})},
        {"choice", get({"--format", value})},
        {"folder", run_ocamp({"get", "--node", value})},
        {"JSON", ocamp({"edit"}, {"-"}, "{\"" + value + "\" x")},
        {"record", ocamp({"sysdb", "put"}, {"/oper/ots/if/", "x", "-"}, "{\"" + value + "\" x")},
        {"filter", get({"--filter", (folder() / "filter.xml").string()})},
        {"path", get({"/" + value})},
        {"file", ocamp({"edit"}, {value})},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(row.outcome.status, 2) << row.entrance;
        EXPECT_THAT(row.outcome.err, StartsWith("ocamp: ")) << row.entrance;
        EXPECT_THAT(row.outcome.err, HasSubstr(" bytes] ... ")) << row.entrance;
        EXPECT_LT(row.outcome.err.size(), 2000U) << row.entrance;
    }
}

const WrongUse wrong_uses[] = {
    {"UnknownNode",
     {"get"},
     {"/optical-amplifier/amplifierz"},
     "ocamp: /optical-amplifier/amplifierz: at character 20: no node 'amplifierz' in 'optical-amplifier', expected one "
     "of: "
     "amplifiers, supervisory-channels [unknown-element]\n"},
    {"UnknownRoot", {"get"}, {"/interfaces"}, "no node 'interfaces' at the top, expected one of: optical-amplifier"},
    {"UnknownModule", {"get"}, {"/oc-if:optical-amplifier"}, "no module 'oc-if' [unknown-namespace]\n"},
    {"RelativePath",
     {"get"},
     {"optical-amplifier"},
     "ocamp: optical-amplifier: at character 1: expected '/' [invalid-value]\n"},
    {"EmptyPath", {"get"}, {""}, "PATH: is empty, expected: Absolute data path to read"},
    {"EmptyFilter", {"get"}, {"--filter", ""}, "--filter: is empty, expected: NETCONF subtree filter"},
    {"EmptyPlugin", {"get"}, {"--plugin", ""}, "--plugin: is empty, expected: Plug-in to run"},
    {"EmptyDebugLog", {"get"}, {"--debug-log", ""}, "--debug-log: is empty, expected: Append the debug log to FILE"},
    {"EmptyTrace", {"get"}, {"--trace", ""}, "--trace: is empty"},
    {"EmptyNativePath", {"native", "get"}, {""}, "PATH: is empty, expected: Absolute data path in the native models"},
    {"EmptyBindPoint", {"sysdb", "list"}, {""}, "BIND_POINT: is empty"},
    {"PathThatEndsInASlash", {"get"}, {"/optical-amplifier/"}, "expected a name"},
    {"PathBeyondALeaf", {"get"}, {"/optical-amplifier/amplifiers/amplifier/name/x"}, "'name' is a leaf"},
    {"KeyOfNoList", {"get"}, {"/optical-amplifier/amplifiers[name='x']"}, "'amplifiers' is no list with keys"},
    {"UnknownKey",
     {"get"},
     {"/optical-amplifier/amplifiers/amplifier[nam='x']"},
     "'nam' is no key of 'amplifier', expected 'name'"},
    {"KeyWithoutQuotes", {"get"}, {"/optical-amplifier/amplifiers/amplifier[name=x]"}, "expected a value in quotes"},
    {"KeyThatDoesNotEnd", {"get"}, {"/optical-amplifier/amplifiers/amplifier[name='x"}, "expected the closing '"},
    {"KeyTwice", {"get"}, {"/optical-amplifier/amplifiers/amplifier[name='x'][name='y']"}, "'name' is given twice"},
    {"PathAndFilter", {"get"}, {"--filter", "-", "/optical-amplifier"}, "excludes"},
    {"UnknownFormat", {"get"}, {"--format", "yaml"}, "--format"},
    {"FormatByNumber", {"get"}, {"--format", "2"}, "--format"},
    {"DefaultOperationByNumber", {"edit"}, {"--default-operation", "1", "-"}, "--default-operation"},
    {"MissingFilterFile", {"get"}, {"--filter", "no-such-file"}, "no-such-file: No such file"},
    {"FilterThatIsNoXml", {"get"}, {"--filter", "-"}, "standard input: neither XML nor JSON"},
    {"FolderAsFilter", {"get"}, {"--filter", "/"}, "/: Is a directory"},
    {"FolderAsPlugin", {"get"}, {"--plugin", "/"}, "plug-in /: not a regular file"},
    {"MissingPlugin", {"get"}, {"--plugin", "no-such-plugin.so"}, "plug-in no-such-plugin.so: no such file"},
    {"PluginThatIsNone", {"get"}, {"--plugin", "/etc/passwd"}, "plug-in /etc/passwd: "},
    {"LogThatCannotBeWritten", {"get"}, {"--debug-log", "/no-such-folder/log"}, "/no-such-folder/log"},
    {"LevelThatIsNoNumber", {"get"}, {"--log-level", "all"}, "--log-level"},
    {"UnknownOption", {"get"}, {"--fast"}, "--fast"},
    {"UnknownCommand",
     {"fetch"},
     {},
     "no command 'fetch', expected one of: get, edit, set, rm, why, explain, watch, history, native, node, sysdb, "
     "line, serve, gnmi, user; 'ocamp --help' tells more"},
    {"CommandOfAnother", {"explain", "sysdb"}, {}, "no command 'explain sysdb', expected one of: get, edit; "},
    {"EditWithoutFile", {"edit"}, {}, "FILE"},
    {"UnknownDefaultOperation", {"edit"}, {"--default-operation", "delete", "-"}, "--default-operation"},
    {"UnknownNativePath",
     {"native", "get"},
     {"/interface-configurations/interface"},
     "expected one of: interface-configuration"},
    {"InitWithNode", {"node", "init"}, {}, "no option '--node'; 'ocamp node init --help' tells more"},
};

INSTANTIATE_TEST_SUITE_P(CommandLine, WrongUses, testing::ValuesIn(wrong_uses),
                         [](const auto &use) { return std::string(use.param.test_name); });

TEST_F(CommandLine, NoCommandIsWrongUse) {
    const Outcome outcome = run_ocamp({});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, HasSubstr("ocamp --help"));
}

TEST_F(CommandLine, CommandThatNeedsAnotherIsWrongUseByItself) {
    for (const char *command : {"sysdb", "native", "node", "explain"}) {
        const Outcome outcome = run_ocamp({command});
        EXPECT_EQ(outcome.status, 2) << command;
        EXPECT_EQ(outcome.out, "") << command;
        EXPECT_THAT(outcome.err, StartsWith("ocamp: ")) << command;
        EXPECT_THAT(outcome.err, HasSubstr("subcommand is required")) << command;
    }
}

TEST_F(CommandLine, NativeDataAreConfigurationAndOperationalData) {
    const std::string all = ocamp({"native", "get"}).out;
    for (const char *root :
         {"Korvex-ifmgr-cfg:interface-configurations", "Korvex-controller-orvo8-ots-oper:ots-oper",
          "Korvex-controller-optics-oper:optics-oper", "Korvex-pmengine-oper:performance-management-history"})
        EXPECT_THAT(all, HasSubstr(std::string("\"") + root + "\": {"));
    const Outcome port =
        ocamp({"native", "get"}, {"/ots-oper/ots-ports/ots-port[name='Ots0/1/0/0']/ots-info/ampli-gain"});
    EXPECT_EQ(port.status, 0) << port.err;
    EXPECT_THAT(port.out, HasSubstr("\"ampli-gain\": 1750"));
    EXPECT_THAT(port.out, Not(HasSubstr("interface-configurations")));
}

TEST_F(CommandLine, ConfigurationMayComeInOneFileForEachRoot) {
    std::filesystem::copy(EXAMPLE_NODE, folder() / "example", std::filesystem::copy_options::recursive);
    write_file(folder() / "example/native/running.json",
               R"({"Korvex-ifmgr-cfg:interface-configurations": {"interface-configuration": [
                  {"active": "act", "interface-name": "Ots0/1/0/0"}]}})");
    write_file(folder() / "example/native/global.json",
               R"({"Korvex-ifmgr-cfg:global-interface-configuration": {"link-status": "physical"}})");
    const std::string made = (folder() / "new").string();
    const Outcome outcome = run_ocamp({"node", "init", made, "--from", (folder() / "example").string()});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const std::string native = run_ocamp({"native", "get", "--node", made}).out;
    EXPECT_THAT(native, HasSubstr("\"link-status\": \"physical\""));
    EXPECT_THAT(native, HasSubstr("\"interface-name\": \"Ots0/1/0/0\""));
}

TEST_F(CommandLine, ConfigurationMayHaveOneRootAlone) {
    const std::pair<const char *, const char *> roots[] = {
        {"interface-name", R"({"Korvex-ifmgr-cfg:interface-configurations": {"interface-configuration": [
            {"active": "act", "interface-name": "Ots0/1/0/0"}]}})"},
        {"link-status", R"({"Korvex-ifmgr-cfg:global-interface-configuration": {"link-status": "physical"}})"}};
    for (const auto &[leaf, running] : roots) {
        std::filesystem::copy(EXAMPLE_NODE, folder() / "example", std::filesystem::copy_options::recursive);
        write_file(folder() / "example/native/running.json", running);
        const std::string made = (folder() / "new").string();
        const Outcome outcome = run_ocamp({"node", "init", made, "--from", (folder() / "example").string()});
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_THAT(run_ocamp({"native", "get", "--node", made}).out, HasSubstr(leaf));
        std::filesystem::remove_all(made);
        std::filesystem::remove_all(folder() / "example");
    }
}

TEST_F(CommandLine, LastConfigurationOfANodeMayBeDeleted) {
    std::filesystem::copy(EXAMPLE_NODE, folder() / "example", std::filesystem::copy_options::recursive);
    std::filesystem::remove(folder() / "example/native/running.json");
    const std::string made = (folder() / "new").string();
    ASSERT_EQ(run_ocamp({"node", "init", made, "--from", (folder() / "example").string()}).status, 0);
    const std::string edit = "{\"openconfig-optical-amplifier:optical-amplifier\": {\"amplifiers\": {\"amplifier\": "
                             "[{\"name\": \"0/1-AMP-PRE\", \"config\": {\"target-gain\": \"12.0\"}}]}}}";
    ASSERT_EQ(run_ocamp({"edit", "--node", made, "-"}, edit).status, 0);
    const Outcome outcome =
        run_ocamp({"edit", "--node", made, "-"},
                  "<config xmlns='urn:ietf:params:xml:ns:netconf:base:1.0' "
                  "xmlns:nc='urn:ietf:params:xml:ns:netconf:base:1.0'><optical-amplifier "
                  "xmlns='http://openconfig.net/yang/optical-amplfier'><amplifiers nc:operation='delete'/>"
                  "</optical-amplifier></config>");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(run_ocamp({"get", "--node", made, "--config"}).out, "{}\n");
}

TEST_F(CommandLine, EachCommandHasHelpWithAnExample) {
    EXPECT_THAT(run_ocamp({"--help"}).out, HasSubstr("explain"));
    const std::vector<std::vector<std::string>> commands = {{"get"},
                                                            {"edit"},
                                                            {"set"},
                                                            {"rm"},
                                                            {"explain", "get"},
                                                            {"explain", "edit"},
                                                            {"watch"},
                                                            {"history"},
                                                            {"native", "get"},
                                                            {"native", "set"},
                                                            {"native", "put"},
                                                            {"native", "rm"},
                                                            {"node", "init"},
                                                            {"node", "export"},
                                                            {"sysdb", "list"},
                                                            {"sysdb", "get"},
                                                            {"sysdb", "put"},
                                                            {"sysdb", "rm"}};
    for (std::vector<std::string> words : commands) {
        words.emplace_back("--help");
        const Outcome outcome = run_ocamp(words);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_THAT(outcome.out, HasSubstr("Example"));
        EXPECT_THAT(outcome.out, HasSubstr("--debug-log"));
        EXPECT_THAT(outcome.out, HasSubstr("--plugin"));
        EXPECT_THAT(outcome.out, HasSubstr("Exit status: 0 done, 1 the request failed, 2 wrong use."));
    }
}

TEST_F(CommandLine, FolderThatIsNoNodeIsToldByName) {
    const Outcome outcome = run_ocamp({"get", "--node", (folder() / "elsewhere").string()});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, HasSubstr("elsewhere: no node, expected a folder made with 'ocamp node init'"));
}

TEST_F(CommandLine, DatabaseThatIsNoneIsToldByName) {
    write_file(folder() / "node" / "node.db", std::string(4096, 'x'));
    const Outcome outcome = get({});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, HasSubstr("node.db"));
}

TEST_F(CommandLine, VersionTellsTheProjectsVersionAndThePluginThatRuns) {
    const Outcome outcome = run_ocamp({"--version"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "ocamp " OCAMP_VERSION "\nplug-in " PLUGIN "\n");
    EXPECT_EQ(outcome.err, "");
}

TEST_F(CommandLine, NodeIsNeverMadeOverAnother) {
    const std::string before = data();
    const Outcome outcome = run_ocamp({"node", "init", node(), "--from", EXAMPLE_NODE});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, HasSubstr("holds a node already"));
    EXPECT_TRUE(before == data());
}

// Makes a node from a copy of the example with one file changed.
Outcome init_with(const std::filesystem::path &folder, const std::string &file, const std::string &text) {
    std::filesystem::copy(EXAMPLE_NODE, folder / "example", std::filesystem::copy_options::recursive);
    write_file(folder / "example" / file, text);
    return run_ocamp({"node", "init", (folder / "new").string(), "--from", (folder / "example").string()});
}

TEST_F(CommandLine, FaultyExampleIsToldByFileAndPlaceAndLeavesNothing) {
    const struct {
        const char *file;
        std::string text;
        const char *message;
    } faults[] = {
        {"native/running.json", "{\"Korvex-ifmgr-cfg:interface-configurations\": {\"interface\": []}}",
         "native/running.json: "},
        {"native/ots.json", "{\"Korvex-controller-orvo8-ots-oper:ots-oper\": {\"ots-ports\": {\"ots-port\": [{}]}}}",
         "native/ots.json: "},
        {"native/optics.xml", "<optics-oper", "native/optics.xml: "},
        {"native/twice.json",
         "{\"Korvex-controller-orvo8-ots-oper:ots-oper\": {\"ots-ports\": {\"ots-port\": "
         "[{\"name\": \"Ots0/1/0/0\"}]}}}",
         "expected each root in one file"},
        {"native/empty.json", "{}", "native/empty.json: holds no data"},
        {"native/more.json", "{}}", "native/more.json: not well-formed JSON: parse error at line 1, column 3"},
        {"native/more.json", "{}\n{}", "native/more.json: not well-formed JSON: parse error at line 2, column 1"},
        {"native/more.json", "{} junk", "native/more.json: not well-formed JSON: parse error at line 1, column 4"},
        {"native/cut.json", "{\"a\":", "native/cut.json: not well-formed JSON: parse error at line 1, column 6"},
        {"native/zero.json", std::string("{}\0{}", 5), "native/zero.json: holds a zero byte"},
        {"native/zero.xml", std::string(1, '\0'), "native/zero.xml: holds a zero byte"},
        {"native/nothing.json", "", "native/nothing.json: not well-formed JSON: parse error at line 1, column 1"},
        {"native/nothing.xml", "", "native/nothing.xml: holds no data"},
        {"sysdb/nothing.json", "", "sysdb/nothing.json: $: not JSON: parse error at line 1, column 1"},
        {"sysdb/zero.json", std::string("[]\0[]", 5), "sysdb/zero.json: $: holds a zero byte"},
        {"native/0.json",
         R"({"Korvex-controller-orvo8-ots-oper:ots-oper": {"ots-ports": {"ots-port": [{"name": "X"}]}},
             "Korvex-controller-optics-oper:optics-oper": {"optics-ports": {"optics-port": [{"name": "X"}]}}})",
         "native/0.json: expected configuration alone or one root of operational data"},
        {"native/notes.txt", "", "native/notes.txt: expected a file whose name ends in .json or .xml"},
        {"sysdb/ots-if.json", "[{\"bind_point\": 1}]", "sysdb/ots-if.json: $[0].bind_point"},
    };
    for (const auto &fault : faults) {
        const Outcome outcome = init_with(folder(), fault.file, fault.text);
        EXPECT_EQ(outcome.status, 2) << fault.file;
        EXPECT_THAT(outcome.err, HasSubstr(fault.message));
        EXPECT_FALSE(std::filesystem::exists(folder() / "new")) << fault.file;
        std::filesystem::remove_all(folder() / "example");
    }
}

TEST_F(CommandLine, ItemOfAnExampleIsGivenOnce) {
    const std::string item = R"({"bind_point": "/a/", "item": "b/c", "bag": {"name": "r", "version": [1, 0],
                                "tokens": []}})";
    const Outcome in_one = init_with(folder(), "sysdb/more.json", "[" + item + "," + item + "]");
    const std::string files = (folder() / "example/sysdb/").string();
    EXPECT_EQ(in_one.status, 2);
    EXPECT_THAT(in_one.err, HasSubstr(files + "more.json: item /a/b/c is already in " + files + "more.json, expected"));
    std::filesystem::remove_all(folder() / "example");
    const Outcome again = init_with(folder(), "sysdb/again.json", read_file(EXAMPLE_NODE "/sysdb/inventory.json"));
    EXPECT_EQ(again.status, 2);
    EXPECT_THAT(again.err, StartsWith("ocamp: " + files + "inventory.json: item /oper/inventory/gl/entity/"));
    EXPECT_THAT(again.err, HasSubstr(" is already in " + files + "again.json, expected each item once"));
    EXPECT_FALSE(std::filesystem::exists(folder() / "new"));
    std::filesystem::remove_all(folder() / "example");
    const std::string other = R"({"bind_point": "/a/b/", "item": "c", "bag": {"name": "r", "version": [1, 0],
                                 "tokens": []}})";
    EXPECT_EQ(init_with(folder(), "sysdb/more.json", "[" + item + "," + other + "]").status, 0);
}

TEST_F(CommandLine, ExampleFileThatIsNoFileIsRefusedAndNotWaitedFor) {
    std::filesystem::copy(EXAMPLE_NODE, folder() / "example", std::filesystem::copy_options::recursive);
    const auto init = [&] {
        return run_ocamp({"node", "init", (folder() / "new").string(), "--from", (folder() / "example").string()});
    };
    for (const char *name : {"native/pipe.json", "sysdb/pipe.json"}) {
        const std::filesystem::path pipe = folder() / "example" / name;
        ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
        // Whoever reads it waits until the other end is closed.
        const int writer = open(pipe.c_str(), O_RDWR | O_CLOEXEC);
        std::future<Outcome> run = std::async(std::launch::async, init);
        EXPECT_EQ(run.wait_for(std::chrono::seconds(10)), std::future_status::ready);
        close(writer);
        const Outcome outcome = run.get();
        EXPECT_EQ(outcome.status, 2);
        EXPECT_THAT(outcome.err, HasSubstr(std::string(name) + ": not a regular file"));
        std::filesystem::remove(pipe);
    }
    std::filesystem::create_directory(folder() / "example" / "native" / "folder.json");
    EXPECT_THAT(init().err, HasSubstr("native/folder.json: not a regular file"));
    EXPECT_FALSE(std::filesystem::exists(folder() / "new"));
}

// Runs ocamp, which must not wait for the other end of the pipe.
Outcome run_beside_pipe(const std::vector<std::string> &words, const std::filesystem::path &pipe) {
    EXPECT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    std::future<Outcome> run = std::async(std::launch::async, [&] { return run_ocamp(words); });
    EXPECT_EQ(run.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    // Lets whoever waits go on.
    close(open(pipe.c_str(), O_RDWR | O_CLOEXEC));
    const Outcome outcome = run.get();
    std::filesystem::remove(pipe);
    return outcome;
}

TEST_F(CommandLine, PipesAreNotWaitedFor) {
    const std::filesystem::path pipe = folder() / "pipe", journal = folder() / "node" / "node.db-journal";
    for (const char *option : {"--debug-log", "--trace"}) {
        const Outcome outcome = run_beside_pipe({"get", "--node", node(), option, pipe.string()}, pipe);
        EXPECT_EQ(outcome.status, 2) << option;
        EXPECT_THAT(outcome.err, HasSubstr("pipe: not a regular file"));
    }
    const Outcome plugin = run_beside_pipe({"get", "--node", node(), "--plugin", pipe.string()}, pipe);
    EXPECT_EQ(plugin.status, 2);
    EXPECT_THAT(plugin.err, HasSubstr("pipe: not a regular file, expected the shared library of the plug-in"));
    const Outcome outcome = run_beside_pipe({"get", "--node", node()}, journal);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, HasSubstr("node.db-journal: not a regular file"));
    EXPECT_EQ(get({"--debug-log", "/dev/null", "--trace", "/dev/stderr"}).status, 0);
}

TEST_F(CommandLine, NoLogIsWrittenIntoTheNode) {
    const std::string before = data();
    std::filesystem::create_hard_link(folder() / "node" / "node.db", folder() / "link");
    for (const std::string &file : {node() + "/node.db", node() + "/../node/node.queue", node() + "/node.db-journal",
                                    (folder() / "link").string()}) {
        for (const char *option : {"--debug-log", "--trace"}) {
            for (const std::vector<std::string> &command :
                 {std::vector<std::string>{"get"}, {"native", "get"}, {"sysdb", "list"}}) {
                const Outcome outcome = ocamp(command, {option, file});
                EXPECT_EQ(outcome.status, 2) << file;
                EXPECT_THAT(outcome.err, HasSubstr(file + ": a file of the node's own, expected another"));
            }
        }
    }
    EXPECT_TRUE(before == data());
    EXPECT_FALSE(std::filesystem::exists(node() + "/node.queue"));
    EXPECT_FALSE(std::filesystem::exists(node() + "/node.db-journal"));
}

TEST_F(CommandLine, LeftoversOfKilledRunsGoAndThoseOfRunsAtWorkStay) {
    const std::filesystem::path target = folder() / "new", left = target / "node.db.new-1",
                                busy = target / "node.db.new-2", other = target / "node.db.new-x";
    std::filesystem::create_directory(target);
    for (const std::filesystem::path &file : {left, busy, other}) {
        write_file(file, "x");
        write_file(file.string() + "-journal", "x");
    }
    const int lock = open(busy.c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(flock(lock, LOCK_EX), 0);
    for (const int status : {0, 2}) {
        EXPECT_EQ(run_ocamp({"node", "init", target.string(), "--from", EXAMPLE_NODE}).status, status);
        EXPECT_FALSE(std::filesystem::exists(left));
        EXPECT_FALSE(std::filesystem::exists(left.string() + "-journal"));
        EXPECT_TRUE(std::filesystem::exists(busy));
        EXPECT_TRUE(std::filesystem::exists(busy.string() + "-journal"));
        EXPECT_TRUE(std::filesystem::exists(other));
        write_file(left, "");
        write_file(left.string() + "-journal", "");
    }
    close(lock);
    run_ocamp({"node", "init", target.string(), "--from", EXAMPLE_NODE});
    EXPECT_FALSE(std::filesystem::exists(busy));
}

TEST_F(CommandLine, JournalThatAKilledRunLeftAloneGoes) {
    const std::filesystem::path journal = folder() / "new" / "node.db.new-9-journal";
    std::filesystem::create_directory(folder() / "new");
    write_file(journal, "x");
    EXPECT_EQ(run_ocamp({"node", "init", (folder() / "new").string(), "--from", EXAMPLE_NODE}).status, 0);
    EXPECT_FALSE(std::filesystem::exists(journal));
}

TEST_F(CommandLine, SecondHistoryOfAPortIsRefused) {
    std::filesystem::copy(EXAMPLE_NODE, folder() / "example", std::filesystem::copy_options::recursive);
    const std::filesystem::path file = folder() / "example" / "native" / "history.xml";
    std::string text = read_file(file);
    const std::string entry = "<optics-second30-optics-history>";
    text.insert(text.find(entry), entry + "<number>2</number></optics-second30-optics-history>");
    write_file(file, text);
    const Outcome outcome =
        run_ocamp({"node", "init", (folder() / "new").string(), "--from", (folder() / "example").string()});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, HasSubstr("native/history.xml: "));
    EXPECT_THAT(outcome.err, HasSubstr("a port has one history, number 1"));
}

TEST_F(CommandLine, ReadingThatNoAnswerCanCarryIsRefused) {
    const std::string text = read_file(EXAMPLE_NODE "/native/history.xml"), before = "<average>";
    const std::size_t at = text.find(before) + before.size(), end = text.find("</average>");
    const auto init_with_reading = [&](const std::string &reading) {
        std::filesystem::remove_all(folder() / "example");
        std::filesystem::remove_all(folder() / "new");
        return init_with(folder(), "native/history.xml", text.substr(0, at) + reading + text.substr(end));
    };
    for (const char *reading : {"99999999999999999999999", "10000000000000000.5", "-0.125", "-"}) {
        const Outcome outcome = init_with_reading(reading);
        EXPECT_EQ(outcome.status, 2) << reading;
        EXPECT_THAT(outcome.err, HasSubstr("native/history.xml: a reading has up to 16 digits before the point"));
    }
    for (const char *reading : {"9999999999999999.99", "  -09999999999999999.990 ", "0"})
        EXPECT_EQ(init_with_reading(reading).status, 0) << reading;
}

TEST_F(CommandLine, PathThatCannotBeFollowedIsToldAndWrongUse) {
    const std::filesystem::path loop = folder() / "loop";
    std::filesystem::create_symlink(loop, loop);
    const std::string looped = "loop: Too many levels of symbolic links", example = EXAMPLE_NODE;
    const std::string made = (folder() / "new").string(), long_name(5000, 'x');
    std::filesystem::copy(EXAMPLE_NODE, folder() / "example", std::filesystem::copy_options::recursive);
    std::filesystem::create_symlink("loop.json", folder() / "example/native/loop.json");
    const struct {
        std::vector<std::string> words;
        std::string message;
    } cases[] = {
        {{"get", "--node", loop.string()}, "loop/node.db: Too many levels of symbolic links, expected"},
        {{"get", "--node", long_name}, "File name too long, expected"},
        {{"edit", "--node", loop.string(), "-"}, "loop/node.db: Too many levels of symbolic links, expected"},
        {{"get", "--node", node(), "--plugin", loop.string()}, looped + ", expected"},
        {{"node", "init", made, "--from", loop.string()}, looped + ", expected"},
        {{"node", "init", made, "--from", (folder() / "example").string()},
         "native/loop.json: Too many levels of symbolic links, expected"},
        {{"node", "init", "", "--from", example}, "DIR: is empty, expected: "},
        {{"node", "init", loop.string(), "--from", example}, "loop: "},
    };
    for (const auto &wrong : cases) {
        const Outcome outcome = run_ocamp(wrong.words, "{}");
        EXPECT_EQ(outcome.status, 2) << outcome.err;
        EXPECT_THAT(outcome.err, HasSubstr(wrong.message));
        EXPECT_THAT(outcome.err, Not(HasSubstr("filesystem error")));
    }
}

TEST_F(CommandLine, LinkInThePlaceOfANodeIsNoRoomForOne) {
    const std::filesystem::path target = folder() / "new";
    std::filesystem::create_directory(target);
    std::filesystem::create_symlink("nowhere", target / "node.db");
    const Outcome outcome = run_ocamp({"node", "init", target.string(), "--from", EXAMPLE_NODE});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, HasSubstr("new: holds a node already, expected a new or empty folder"));
}

TEST_F(CommandLine, NodesMadeAtOnceAreOne) {
    const std::string made = (folder() / "new").string();
    std::vector<std::future<Outcome>> runs;
    for (int i = 0; i < 4; ++i)
        runs.push_back(std::async(std::launch::async, [&] {
            return run_ocamp({"node", "init", made, "--from", EXAMPLE_NODE});
        }));
    int done = 0;
    for (std::future<Outcome> &run : runs) {
        const Outcome outcome = run.get();
        if (outcome.status == 0) {
            ++done;
            continue;
        }
        EXPECT_EQ(outcome.status, 2);
        EXPECT_THAT(outcome.err, HasSubstr("new: holds a node already"));
    }
    EXPECT_EQ(done, 1);
}

TEST_F(CommandLine, MissingExampleIsTold) {
    EXPECT_THAT(run_ocamp({"node", "init", (folder() / "new").string()}).err, HasSubstr("--from is required"));
    const Outcome outcome = run_ocamp({"node", "init", (folder() / "new").string(), "--from", "no-such-example"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, HasSubstr("no-such-example: no such folder"));
}

} // namespace
