// Fails every call of the C library that a command makes, one run of the command for each, and looks at what is left:
// the node is as before, or as was acknowledged; the command never crashes, never keeps a failure to itself, and never
// gives half an answer. Usually a sample of the calls; with FAULTS_ALL set, all of them.
#include "shim_report.h"
#include "support/files.h"
#include "support/program.h"
#include "support/same_text.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <set>
#include <sstream>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;
using faults::Call;
using faults::Fault;
using support::Outcome;
using support::read_file;
using support::write_file;

// Calls of one command and kind that are failed in a usual run, spread over all that there are.
constexpr std::size_t sample_size = 1500;

std::string replaced(std::string text, const std::string &what, const std::string &by) {
    for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += by.size())
        text.replace(at, what.size(), by);
    return text;
}

// A folder with a node of its own and the file of the shim's report.
class Bench {
  public:
    fs::path node() const { return folder_.path() / "node"; }
    faults::Report &report() const { return *report_; }

    // Makes the folder hold a node with this database, or none.
    void restore(const std::string &database) const {
        fs::remove_all(node());
        if (database.empty())
            return;
        fs::create_directory(node());
        write_file(node() / "node.db", database);
    }

    std::vector<std::string> words(const std::vector<std::string> &words) const {
        std::vector<std::string> result{OCAMP_PROGRAM};
        for (const std::string &word : words)
            result.push_back(word == "NODE" ? node().string() : word);
        return result;
    }
    Outcome run(const std::vector<std::string> &command) const { return support::run({.words = words(command)}); }

    // `at`: 0 fails nothing and records the stacks.
    Outcome run_with(const std::vector<std::string> &command, const Fault &fault, std::uint64_t at) const {
        std::fill(std::begin(report_->calls), std::end(report_->calls), 0);
        report_->failed = 0;
        return support::run({.words = words(command), .environment = report_.environment(fault, at)});
    }

    // The whole native data as the node shows them; empty for no node.
    std::string native_data() const {
        if (!fs::exists(node() / "node.db"))
            return "";
        const Outcome shown = run({"native", "get", "--node", "NODE"});
        const Outcome records = run({"sysdb", "list", "--node", "NODE"});
        return shown.status == 0 && records.status == 0 ? shown.out + records.out
                                                        : "not readable: " + shown.err + records.err;
    }

  private:
    support::TemporaryFolder folder_;
    faults::ShimReport report_{folder_.path() / "report"};
};

// A command, and what it does when nothing fails.
struct Command {
    const char *name;
    std::vector<std::string> words;
    bool on_new_node; // else on a node made from the example
};

const Command commands[] = {
    {"Get",
     {"get", "--node", "NODE", "/optical-amplifier/amplifiers/amplifier[name='0/1-AMP-PRE']/state/actual-gain"},
     false},
    {"Edit", {"edit", "--node", "NODE", EXAMPLES "/requests/edit-two-amplifiers.xml"}, false},
    {"Init", {"node", "init", "NODE", "--from", EXAMPLES "/node"}, true},
};

void PrintTo(const Command &command, std::ostream *to) {
    *to << command.name;
}

struct Expected {
    std::string database_before;
    std::string data_before, data_after;
    std::string database_after;
    std::string out;
};

// What came of the failed calls.
struct Tally {
    std::uint64_t calls = 0;    // made by the command when nothing fails
    std::uint64_t failed = 0;   // runs in which one failed, or all from one on
    std::uint64_t done = 0;     // of them: the command did its work all the same
    std::uint64_t refused = 0;  // of them: it failed with status 1 and a message
    std::uint64_t lost = 0;     // of them: the node is neither as before nor as acknowledged
    std::uint64_t crashed = 0;  // of them: ended by a signal
    std::uint64_t silent = 0;   // of them: a failure without message, or success without the whole answer
    std::uint64_t misnamed = 0; // of them: told as wrong use
    std::map<std::string, std::string> complaints; // of the last four, each with the calls
};

// Looks at one run.
class Judge {
  public:
    Judge(const Expected &expected, const Bench &bench, const Fault &fault)
        : expected_(expected), bench_(bench), fault_(fault) {}

    void judge(const Outcome &outcome, std::uint64_t call, Tally &tally) const {
        const bool acknowledged = outcome.status == 0;
        const auto complain = [&](std::uint64_t &count, const std::string &what) {
            ++count;
            tally.complaints[what + " [status " + std::to_string(outcome.status) + ", signal " +
                             std::to_string(outcome.signal) + ", out " + outcome.out.substr(0, 200) + ", err " +
                             without_node(outcome.err).substr(0, 300) + "]"] += " " + std::to_string(call);
        };
        if (outcome.signal != 0)
            complain(tally.crashed, "crashed");
        else if (acknowledged && without_node(outcome.out) != expected_.out)
            complain(tally.silent, "half an answer as a whole one");
        else if (!acknowledged && (outcome.err.rfind("ocamp: ", 0) != 0 || !outcome.out.empty()))
            complain(tally.silent, "no message, or a part of an answer");
        else if (outcome.status > 1)
            complain(tally.misnamed, "a failure told as wrong use");
        else
            ++(acknowledged ? tally.done : tally.refused);
        if (const std::string wrong = node_is_wrong(acknowledged, outcome.err); !wrong.empty())
            complain(tally.lost, wrong);
    }

  private:
    // The node's folder is not the same in each run.
    std::string without_node(const std::string &text) const { return replaced(text, bench_.node().string(), "NODE"); }

    // A command that changed the node and then failed says so. It has that excuse only where the acknowledgement did
    // not get out, or the folder could not be opened and synced.
    bool is_made(const std::string &told) const {
        if (fault_.kind == Call::write)
            return told.find(" is made, but it could not be acknowledged: ") != std::string::npos;
        return (fault_.kind == Call::sync || fault_.kind == Call::open) &&
               told.find(" is made, but it may not outlast a power cut") != std::string::npos;
    }

    // Nothing is left of a node that was not made, unless nothing can be removed.
    std::string leftovers() const {
        std::string names;
        if (fault_.kind == Call::unlink || !fs::exists(bench_.node()))
            return names;
        for (const fs::directory_entry &entry : fs::directory_iterator(bench_.node()))
            names += " " + entry.path().extension().string().substr(0, 4); // without the number of the process
        return names.empty() ? names : "left in the folder:" + names;
    }

    // What is wrong with the node; empty for nothing.
    std::string node_is_wrong(bool acknowledged, const std::string &told) const {
        const bool made = acknowledged || is_made(told);
        const std::string &database = made ? expected_.database_after : expected_.database_before;
        const std::string &data = made ? expected_.data_after : expected_.data_before;
        if (database.empty())
            return leftovers();
        const auto files = fs::exists(bench_.node()) ? std::distance(fs::directory_iterator(bench_.node()), {}) : 0;
        if (files == 1 && read_file(bench_.node() / "node.db") == database)
            return "";
        if (const std::string now = bench_.native_data(); now != data)
            return (made ? "the node is not as acknowledged: " : "the node is not as before: ") + now.substr(0, 300);
        return "";
    }

    const Expected &expected_;
    const Bench &bench_;
    const Fault &fault_;
};

struct FaultRow {
    const char *calls;
    Call kind;
    int error;
};
constexpr FaultRow file_calls[] = {
    {"opens", Call::open, EMFILE},    {"new folders", Call::make_folder, ENOSPC},
    {"reads", Call::read, EIO},       {"writes", Call::write, ENOSPC},
    {"writes", Call::write, EIO},     {"syncs", Call::sync, EIO},
    {"renamings", Call::rename, EIO}, {"removals", Call::unlink, EACCES},
};

class Faults : public testing::TestWithParam<Command> {
  protected:
    void SetUp() override {
        ASSERT_EQ(bench_.run({"node", "init", "NODE", "--from", EXAMPLES "/node"}).status, 0);
        if (!GetParam().on_new_node) {
            expected_.database_before = read_file(bench_.node() / "node.db");
            expected_.data_before = bench_.native_data();
        }
        bench_.restore(expected_.database_before);
        const Outcome usual = bench_.run(GetParam().words);
        ASSERT_EQ(usual.status, 0) << usual.err;
        expected_.out = replaced(usual.out, bench_.node().string(), "NODE");
        expected_.database_after = read_file(bench_.node() / "node.db");
        expected_.data_after = bench_.native_data();
        ASSERT_EQ(expected_.data_after.find("not readable"), std::string::npos);
    }

    // The calls to fail: all, or the first from each place in the program, and of these an even sample.
    std::vector<std::uint64_t> choose(const Fault &fault, Tally &tally) {
        bench_.restore(expected_.database_before);
        EXPECT_EQ(bench_.run_with(GetParam().words, fault, 0).status, 0);
        const faults::Report &report = bench_.report();
        EXPECT_GT(report.calls[static_cast<std::size_t>(Call::allocate)], 0U) << "the shim is not in the program";
        tally.calls = report.calls[static_cast<std::size_t>(fault.kind)];
        EXPECT_LE(tally.calls, faults::most_stacks);
        const bool all = std::getenv("FAULTS_ALL") != nullptr;
        std::vector<std::uint64_t> chosen;
        std::set<std::uint64_t> seen;
        for (std::uint64_t i = 0; i < tally.calls; ++i) {
            if (all || tally.calls <= sample_size || seen.insert(report.stacks[i]).second)
                chosen.push_back(i + 1);
        }
        if (all || chosen.size() <= sample_size)
            return chosen;
        std::vector<std::uint64_t> sample;
        for (std::size_t i = 0; i < sample_size; ++i)
            sample.push_back(chosen[i * chosen.size() / sample_size]);
        return sample;
    }

    Tally fail_each(const Fault &fault) {
        Tally tally;
        const std::vector<std::uint64_t> chosen = choose(fault, tally);
        std::atomic<std::size_t> next = 0;
        std::mutex mutex;
        const auto work = [&] {
            const Bench bench;
            const Judge judge(expected_, bench, fault);
            for (std::size_t i; (i = next++) < chosen.size();) {
                bench.restore(expected_.database_before);
                const Outcome outcome = bench.run_with(GetParam().words, fault, chosen[i]);
                const bool failed = bench.report().failed != 0;
                const std::lock_guard lock(mutex);
                tally.failed += failed ? 1 : 0;
                judge.judge(outcome, chosen[i], tally);
            }
        };
        std::vector<std::thread> workers(std::max(1U, std::thread::hardware_concurrency()));
        for (std::thread &worker : workers)
            worker = std::thread(work);
        for (std::thread &worker : workers)
            worker.join();
        EXPECT_EQ(tally.failed, chosen.size()) << "calls that were to fail were not made";
        return tally;
    }

    void expect_no_harm(const char *calls, const Fault &fault) {
        const Tally tally = fail_each(fault);
        std::printf(
            "%s, %s%s (%s): %llu calls, %llu failed: %llu done all the same, %llu told; lost %llu, crashed %llu, "
            "silent %llu, misnamed %llu\n",
            GetParam().name, calls, fault.lasting ? " and all later ones" : "", std::strerror(fault.error),
            static_cast<unsigned long long>(tally.calls), static_cast<unsigned long long>(tally.failed),
            static_cast<unsigned long long>(tally.done), static_cast<unsigned long long>(tally.refused),
            static_cast<unsigned long long>(tally.lost), static_cast<unsigned long long>(tally.crashed),
            static_cast<unsigned long long>(tally.silent), static_cast<unsigned long long>(tally.misnamed));
        for (const auto &[complaint, places] : tally.complaints)
            ADD_FAILURE() << complaint << ": calls" << places.substr(0, 200);
    }

    Bench bench_;
    Expected expected_;
};

TEST_P(Faults, AllocationsThatFail) {
    expect_no_harm("allocations", {Call::allocate, ENOMEM, false});
}

TEST_P(Faults, AllocationsThatFailForGood) {
    expect_no_harm("allocations", {Call::allocate, ENOMEM, true});
}

TEST_P(Faults, FileCallsThatFail) {
    for (const FaultRow &row : file_calls) {
        expect_no_harm(row.calls, {row.kind, row.error, false});
        expect_no_harm(row.calls, {row.kind, row.error, true});
    }
}

TEST(FaultRows, EachFailsCallsOfSomeCommand) {
    const Bench bench;
    std::array<std::uint64_t, faults::call_kinds> all{};
    const Fault none{Call::kinds, 0, false};
    ASSERT_EQ(bench.run({"node", "init", "NODE", "--from", EXAMPLES "/node"}).status, 0);
    const std::string database = read_file(bench.node() / "node.db");
    for (const Command &command : commands) {
        bench.restore(command.on_new_node ? "" : database);
        ASSERT_EQ(bench.run_with(command.words, none, 0).status, 0);
        for (std::size_t kind = 0; kind < faults::call_kinds; ++kind)
            all[kind] += bench.report().calls[kind];
    }
    for (const FaultRow &row : file_calls)
        EXPECT_GT(all[static_cast<std::size_t>(row.kind)], 0U) << row.calls;
}

INSTANTIATE_TEST_SUITE_P(Commands, Faults, testing::ValuesIn(commands),
                         [](const auto &command) { return std::string(command.param.name); });

} // namespace
