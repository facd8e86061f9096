// ocamp line as its users run it, on a line of its own for each test; and what a kill leaves behind.
#include "support/files.h"
#include "support/program.h"

#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <regex>
#include <thread>

#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

using support::Outcome;
using testing::HasSubstr;

namespace {

class LineCommands : public testing::Test {
  protected:
    std::string line() const { return (temporary_.path() / "line").string(); }
    std::string node(const std::string &name) const { return line() + "/nodes/" + name; }

    static std::vector<std::string> words(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), OCAMP_PROGRAM);
        return arguments;
    }
    static Outcome ocamp(const std::vector<std::string> &arguments, const std::string &input = "") {
        return support::run({.words = words(arguments), .input = input});
    }
    void SetUp() override {
        const Outcome made = ocamp({"line", "init", line(), "--from", EXAMPLE_LINE});
        ASSERT_EQ(made.status, 0) << made.err;
    }
    Outcome run_until(int second, const std::vector<std::string> &more = {}) const {
        std::vector<std::string> arguments{"line", "run", line(), "--speed", "max", "--until", std::to_string(second)};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return ocamp(arguments);
    }

    // Of line time; 0 before the line has run.
    int second() const {
        const std::string shown = ocamp({"line", "show", line()}).out, mark = "(second ";
        const std::size_t at = shown.find(mark);
        return at == std::string::npos ? 0 : std::stoi(shown.substr(at + mark.size()));
    }

    // False when a minute has not been enough.
    template <class Condition>
    static bool eventually(Condition condition) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
        while (!condition()) {
            if (std::chrono::steady_clock::now() > end)
                return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return true;
    }

    // Exit status of a process that is ending; -1 when a signal ends it.
    static int end_of(int process) {
        int status = 0;
        waitpid(process, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    // A leaf's number in the OpenConfig state of an amplifier.
    double state(const std::string &name, const std::string &amplifier, const std::string &leaf) const {
        const Outcome got = ocamp({"get", "--node", node(name), "--plugin", PLUGIN,
                                   "/optical-amplifier/amplifiers/amplifier[name='" + amplifier + "']/state/" + leaf});
        EXPECT_EQ(got.status, 0) << got.err;
        nlohmann::json at = nlohmann::json::parse(got.out);
        while (at.is_structured())
            at = nlohmann::json(at.is_array()                           ? at.at(0)
                                : at.size() > 1 && at.contains("state") ? at["state"]
                                                                        : *at.begin());
        return std::stod(at.get<std::string>());
    }

    support::TemporaryFolder temporary_;
};

TEST_F(LineCommands, AGainThatIsSetMovesThePowerDownstream) {
    ASSERT_EQ(run_until(30).status, 0);
    const double before = state("terminal-b", "0/1-AMP-PRE", "output-power-c-band/avg");
    const Outcome edited = ocamp({"edit", "--node", node("site-1"), "--plugin", PLUGIN, "-"},
                                 R"({"openconfig-optical-amplifier:optical-amplifier": {"amplifiers": {"amplifier": [
                                     {"name": "0/1-AMP-PRE", "config": {"name": "0/1-AMP-PRE", "target-gain": "18.4"}}]}}})");
    ASSERT_EQ(edited.status, 0) << edited.err;
    ASSERT_EQ(run_until(90).status, 0);
    EXPECT_NEAR(state("site-1", "0/1-AMP-PRE", "actual-gain/avg"), 18.4, 0.03);
    EXPECT_NEAR(state("terminal-b", "0/1-AMP-PRE", "output-power-c-band/avg") - before, 1, 0.05);
}

TEST_F(LineCommands, AnAmplifierThatIsNotEnabledIsDarkAndComesBack) {
    const std::string leaf = "/optical-amplifier/amplifiers/amplifier[name='0/1-AMP-PRE']/config/enabled";
    const auto enable = [&](const char *value) {
        const Outcome set = ocamp({"set", "--node", node("site-1"), "--plugin", PLUGIN, leaf, value});
        EXPECT_EQ(set.status, 0) << set.err;
    };
    enable("false");
    ASSERT_EQ(run_until(1).status, 0);
    EXPECT_EQ(state("site-1", "0/1-AMP-PRE", "output-power-c-band/instant"), -40);
    enable("true");
    ASSERT_EQ(run_until(40).status, 0);
    EXPECT_NEAR(state("site-1", "0/1-AMP-PRE", "output-power-c-band/instant"), 14, 0.5);
}

TEST_F(LineCommands, ACutShutsAmplifiersDownAndRepairBringsThemBack) {
    ASSERT_EQ(run_until(3).status, 0);
    ASSERT_EQ(ocamp({"line", "event", line(), "cut", "site-1/site-2"}).status, 0);
    EXPECT_THAT(run_until(4).out, HasSubstr("second 3: cut site-1/site-2"));
    EXPECT_EQ(state("site-3", "0/1-AMP-BST", "output-power-c-band/instant"), -40);
    EXPECT_THAT(ocamp({"line", "show", line()}).out, HasSubstr("fibre cut"));
    ASSERT_EQ(ocamp({"line", "event", line(), "repair", "site-1/site-2"}).status, 0);
    ASSERT_EQ(run_until(60).status, 0);
    EXPECT_NEAR(state("site-3", "0/1-AMP-BST", "output-power-c-band/instant"), 14, 0.5);
}

TEST_F(LineCommands, WrongUsesAreToldWithStatusTwo) {
    const auto refused = [](const Outcome &outcome, const char *complaint) {
        EXPECT_EQ(outcome.status, 2) << outcome.err;
        EXPECT_THAT(outcome.err, HasSubstr(complaint));
        EXPECT_EQ(outcome.out, "");
    };
    refused(ocamp({"line", "init", line(), "--from", EXAMPLE_LINE}), "expected a new or empty folder");
    refused(ocamp({"line", "init", line() + "2", "--from", "-"}, "{}"),
            "standard input: $: the member \"name\" is missing");
    refused(ocamp({"line", "run", temporary_.path()}), "expected a folder made with 'ocamp line init'");
    refused(ocamp({"line", "run", line(), "--speed", "fast"}), "expected 'max' or a number");
    refused(ocamp({"line", "run", line(), "--speed", "0"}), "expected 'max' or a number");
    const char *whole = "expected a whole number from 0 to ";
    for (const char *option : {"--until", "--seed"})
        for (const char *number : {"-5", "18446744073709551616", "1.5"})
            refused(ocamp({"line", "run", line(), "--speed", "max", option, number}), whole);
    for (const char *number : {"-5", "9223372036854775808"})
        refused(ocamp({"line", "event", line(), "--at", number, "cut", "site-1/site-2"}), whole);
    refused(ocamp({"line", "event", line(), "cut", "x/y"}), "no node 'x'");
    refused(ocamp({"line", "show", line(), "--svg", "-"}), "has not run yet, expected a line with powers to draw");
    ASSERT_EQ(run_until(1).status, 0);
    refused(ocamp({"line", "show", line(), "--svg", "/no/such/folder/x.svg"}),
            "/no/such/folder/x.svg: cannot be written");
    refused(run_until(1, {"--script", "/no/such/script"}), "/no/such/script: No such file");
    refused(run_until(1, {"--netconf-base", "99999"}), "--netconf-base: '99999', expected PORT or ADDRESS:PORT");
    refused(run_until(1, {"--gnmi-base", "99999"}), "--gnmi-base: '99999', expected PORT");
    support::write_file(temporary_.path() / "script", "1 cut\n");
    refused(run_until(1, {"--script", (temporary_.path() / "script").string()}), "script: line 1: expected: cut SPAN");
}

// Standard output says what happens, and is read by programs; standard error what the user did not ask for.
TEST_F(LineCommands, WarningsAreOnStandardError) {
    ASSERT_EQ(run_until(2).status, 0);
    support::write_file(node("site-1") + "/node.live", "no database");
    support::write_file(temporary_.path() / "script", "1 cut site-1/site-2\n2 repair site-1/site-2\n");
    const Outcome warned = run_until(3, {"--script", (temporary_.path() / "script").string()});
    EXPECT_EQ(warned.status, 0);
    EXPECT_EQ(warned.out, "second 2: 5 nodes run\nsecond 2: repair site-1/site-2\nsecond 3: stopped\n");
    EXPECT_THAT(warned.err, HasSubstr("site-1: node.live was damaged and begins anew\n"));
    EXPECT_THAT(warned.err, HasSubstr("ocamp: 1 of the script's 2 events are before second 2"));
    const Outcome past = run_until(2);
    EXPECT_EQ(past.status, 0);
    EXPECT_EQ(past.err, "ocamp: --until 2: line time is past it, at second 3; nothing is computed\n");
    EXPECT_EQ(run_until(3).err, "") << "it is there";
}

TEST_F(LineCommands, WhatIsKeptOfAnotherLineIsRefused) {
    ASSERT_EQ(run_until(1).status, 0);
    std::string description = support::read_file(line() + "/line.json");
    description.replace(description.find("\"west\""), 6, "\"wets\"");
    for (std::size_t at; (at = description.find("\"west\"")) != std::string::npos;)
        description.replace(at, 6, "\"wets\"");
    support::write_file(line() + "/line.json", description);
    for (const Outcome &refused :
         {run_until(2), ocamp({"line", "show", line()}), ocamp({"line", "show", line(), "--svg", "-"})}) {
        EXPECT_EQ(refused.status, 2);
        EXPECT_EQ(refused.out, "");
        EXPECT_THAT(refused.err,
                    HasSubstr("line.db: the state is that of a line with other nodes, slots or directions"));
    }
}

TEST_F(LineCommands, ANodeWithoutItsFolderIsWrongUse) {
    std::filesystem::remove_all(node("site-2"));
    for (const Outcome &refused : {run_until(2), run_until(2, {"--netconf-base", "0"})}) {
        EXPECT_EQ(refused.status, 2);
        EXPECT_EQ(refused.out, "");
        EXPECT_THAT(refused.err, HasSubstr("nodes/site-2: no such folder"));
    }
}

TEST_F(LineCommands, ALineThatHasNotRunIsShownAsSuch) {
    const Outcome shown = ocamp({"line", "show", line()});
    EXPECT_EQ(shown.status, 0) << shown.err;
    EXPECT_EQ(shown.out, "three sites  has not run yet\n");
}

TEST_F(LineCommands, RunsInTheServerAndEndsOnASignal) {
    const std::filesystem::path told = temporary_.path() / "told";
    const int process =
        support::start({.words = words({"line", "run", line()}), .redirected = {{STDOUT_FILENO, told}}});
    ASSERT_TRUE(eventually([&] { return support::read_file(told) == "second 0: 5 nodes run\n"; }));
    EXPECT_EQ(std::filesystem::read_symlink("/proc/" + std::to_string(process) + "/exe").filename(), "ocampd");
    kill(process, SIGTERM);
    EXPECT_EQ(end_of(process), 0);
    EXPECT_THAT(support::read_file(told), testing::MatchesRegex("second 0: 5 nodes run\nsecond [0-9]+: stopped\n"));
    EXPECT_EQ(run_until(5).status, 0);
}

TEST_F(LineCommands, KeepsItsPace) {
    const auto begin = std::chrono::steady_clock::now();
    const Outcome run = ocamp({"line", "run", line(), "--speed", "60", "--until", "120"});
    const double took = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_GE(took, 2.0);
    // A machine that stands still for a second is told of.
    if (run.err.empty()) {
        EXPECT_LT(took, 4.0);
    } else {
        EXPECT_THAT(run.err, HasSubstr("line time goes at"));
    }
}

TEST_F(LineCommands, FallingBehindThePaceIsToldOnce) {
    const std::filesystem::path told = temporary_.path() / "told";
    const int process = support::start(
        {.words = words({"line", "run", line(), "--speed", "60"}), .redirected = {{STDERR_FILENO, told}}});
    const auto goes_on = [&] {
        const int before = second();
        EXPECT_TRUE(eventually([&] { return second() > before + 1; })) << "line time does not move";
    };
    for (int times = 0; times < 2; ++times) {
        goes_on();
        kill(process, SIGSTOP);
        std::this_thread::sleep_for(std::chrono::milliseconds(1300));
        kill(process, SIGCONT);
    }
    goes_on();
    kill(process, SIGTERM);
    EXPECT_EQ(end_of(process), 0);
    std::smatch found;
    const std::string text = support::read_file(told);
    const std::regex form(
        "ocamp: second [0-9]+ is ([0-9.]+) s late: line time goes at ([0-9.]+) seconds a second, not at 60\n");
    ASSERT_TRUE(std::regex_match(text, found, form)) << text;
    EXPECT_GE(std::stod(found[1]), 1.0);
    EXPECT_LT(std::stod(found[2]), 60);
}

// What a terminal without anything on it shows after these bytes: text, line feeds, and the sequences that begin a
// screen and clear what was there.
std::string screen_after(std::string_view bytes) {
    std::vector<std::string> lines(1);
    std::size_t row = 0, column = 0;
    const auto takes = [&](std::string_view sequence) {
        const bool is_next = bytes.starts_with(sequence);
        bytes.remove_prefix(is_next ? sequence.size() : 0);
        return is_next;
    };
    while (!bytes.empty()) {
        if (takes("\033[2J")) {
            lines.assign(1, "");
        } else if (takes("\033[H")) {
            row = column = 0;
        } else if (takes("\033[K")) {
            lines[row].resize(column);
        } else if (takes("\033[J")) {
            lines.resize(row + 1);
            lines[row].resize(column);
        } else if (takes("\n")) {
            column = 0;
            if (++row == lines.size())
                lines.emplace_back();
        } else {
            if (lines[row].size() <= column)
                lines[row].resize(column + 1);
            lines[row][column++] = bytes.front();
            bytes.remove_prefix(1);
        }
    }
    std::string screen;
    for (std::size_t i = 0; i < lines.size(); ++i)
        screen += lines[i] + (i + 1 < lines.size() ? "\n" : "");
    return screen;
}

// A row of a dark amplifier is longer than that of one that is well.
TEST_F(LineCommands, WatchingLeavesNothingOfWhatWasShown) {
    ASSERT_EQ(run_until(3).status, 0);
    ASSERT_EQ(ocamp({"line", "event", line(), "cut", "site-1/site-2"}).status, 0);
    ASSERT_EQ(run_until(4).status, 0);
    const std::filesystem::path file = temporary_.path() / "screen";
    const int process =
        support::start({.words = words({"line", "show", line(), "--watch"}), .redirected = {{STDOUT_FILENO, file}}});
    const auto wait_until_shown = [&](const std::string &shown) {
        eventually([&] { return screen_after(support::read_file(file)) == shown; });
        EXPECT_EQ(screen_after(support::read_file(file)), shown);
    };
    const std::string dark = ocamp({"line", "show", line()}).out;
    EXPECT_THAT(dark, HasSubstr("input lost, shut down"));
    wait_until_shown(dark);
    EXPECT_EQ(ocamp({"line", "event", line(), "repair", "site-1/site-2"}).status, 0);
    EXPECT_EQ(run_until(60).status, 0);
    const std::string well = ocamp({"line", "show", line()}).out;
    EXPECT_THAT(well, testing::Not(HasSubstr("input lost, shut down")));
    wait_until_shown(well);
    kill(process, SIGTERM);
    EXPECT_EQ(end_of(process), 0);
}

TEST_F(LineCommands, WatchingScrollsNoTerminalThatIsTooSmall) {
    ASSERT_EQ(run_until(3).status, 0);
    winsize size{.ws_row = 12, .ws_col = 40, .ws_xpixel = 0, .ws_ypixel = 0};
    int terminal = -1, other_end = -1;
    std::array<char, 64> name{};
    ASSERT_EQ(openpty(&terminal, &other_end, name.data(), nullptr, &size), 0);
    const int process = support::start(
        {.words = words({"line", "show", line(), "--watch"}), .redirected = {{STDOUT_FILENO, name.data()}}});
    std::string bytes;
    const auto read_until = [&](std::string_view wanted) {
        std::array<char, 4096> part{};
        pollfd readable{.fd = terminal, .events = POLLIN, .revents = 0};
        while (bytes.find(wanted) == std::string::npos && poll(&readable, 1, 60'000) == 1) {
            const ssize_t count = read(terminal, part.data(), part.size());
            if (count <= 0)
                break;
            bytes.append(part.data(), static_cast<std::size_t>(count));
        }
    };
    read_until("no room\033[K\r\n\033[J");
    const std::string text = ocamp({"line", "show", line()}).out;
    const auto rows = std::count(text.begin(), text.end(), '\n');
    EXPECT_THAT(bytes, testing::StartsWith("\033[?7l\033[2J\033[H"));
    EXPECT_THAT(bytes, HasSubstr("... and " + std::to_string(rows - 10) + " rows for which this terminal has no room"));
    EXPECT_EQ(std::count(bytes.begin(), bytes.end(), '\n'), 11);
    kill(process, SIGTERM);
    EXPECT_EQ(end_of(process), 0);
    read_until("\033[?7h");
    EXPECT_THAT(bytes, testing::EndsWith("\033[?7h"));
    close(terminal);
    close(other_end);
}

// Runs the line without an end, and kills it some time after it has begun to move.
class KilledLines : public LineCommands {
  protected:
    void run_and_kill(std::chrono::milliseconds after) const {
        const int begin = second();
        const int process = support::start({.words = words({"line", "run", line(), "--speed", "max"})});
        EXPECT_TRUE(eventually([&] { return second() > begin; })) << "line time does not move";
        std::this_thread::sleep_for(after);
        kill(process, SIGKILL);
        int status = 0;
        waitpid(process, &status, 0);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << "the line had ended by itself: " << status;
    }

    // Every node opens.
    void expect_whole_nodes() const {
        for (const char *name : {"terminal-a", "site-1", "site-2", "site-3", "terminal-b"}) {
            const Outcome got = ocamp({"native", "get", "--node", node(name)});
            EXPECT_EQ(got.status, 0) << got.err;
        }
    }
};

// What an edit was told to have done is there, whatever moment the line was killed at.
TEST_F(KilledLines, EditsThatWereAcknowledgedAreThere) {
    const std::string leaf = "/optical-amplifier/amplifiers/amplifier[name='0/1-AMP-PRE']/config/target-gain";
    int edits = 0;
    for (int round = 0; round < 4; ++round) {
        std::atomic<bool> enough = false;
        std::string acknowledged;
        std::thread editor([&] {
            while (!enough) {
                const std::string gain = std::to_string(12 + edits / 10 % 6) + "." + std::to_string(edits % 10);
                const Outcome set = ocamp({"set", "--node", node("site-1"), "--plugin", PLUGIN, leaf, gain});
                EXPECT_EQ(set.status, 0) << set.err;
                acknowledged = gain;
                ++edits;
            }
        });
        run_and_kill(std::chrono::milliseconds(150 + 37 * round));
        enough = true;
        editor.join();
        expect_whole_nodes();
        const Outcome kept = ocamp({"get", "--node", node("site-1"), "--plugin", PLUGIN, leaf});
        EXPECT_THAT(kept.out, HasSubstr("\"" + acknowledged + "\"")) << kept.err;
    }
    EXPECT_GE(edits, 4);
    EXPECT_EQ(run_until(second() + 1).status, 0);
}

// Killed at any moment: every node opens, its configuration is whole, and the line goes on to the very same data as one
// that was never killed.
TEST_F(KilledLines, NothingIsTorn) {
    std::string configuration;
    for (int round = 0; round < 12; ++round) {
        run_and_kill(std::chrono::milliseconds(7 * round));
        expect_whole_nodes();
        const Outcome kept = ocamp({"get", "--node", node("site-2"), "--plugin", PLUGIN, "--config"});
        ASSERT_EQ(kept.status, 0) << kept.err;
        if (round == 0)
            configuration = kept.out;
        EXPECT_EQ(kept.out, configuration);
    }
    EXPECT_THAT(configuration, HasSubstr("15.3"));
    const int last_second = second() + 30;
    const Outcome ended = run_until(last_second);
    ASSERT_EQ(ended.status, 0) << ended.err;
    const std::string killed = ocamp({"native", "get", "--node", node("site-2")}).out;
    std::filesystem::remove_all(line());
    SetUp();
    ASSERT_EQ(run_until(last_second).status, 0);
    EXPECT_EQ(ocamp({"native", "get", "--node", node("site-2")}).out, killed);
}

TEST_F(LineCommands, TheDiagramIsWritten) {
    ASSERT_EQ(run_until(1).status, 0);
    const std::string file = (temporary_.path() / "line.svg").string();
    ASSERT_EQ(ocamp({"line", "show", line(), "--svg", file}).status, 0);
    EXPECT_THAT(support::read_file(file), testing::EndsWith("</svg>\n"));
    EXPECT_EQ(ocamp({"line", "show", line(), "--svg", "-"}).out, support::read_file(file));
}

} // namespace
