// Fails calls of the C library while a line runs. Whatever fails, the run ends with a message or goes on, and the next
// one makes of the line what it would have become anyway, with every acknowledged edit. A sample, as in
// served_faults_test.cpp.
#include "sampled_calls.h"
#include "shim_report.h"
#include "support/files.h"
#include "support/program.h"
#include "support/same_text.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <set>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;
using faults::Call;
using faults::Fault;
using support::Outcome;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr const char *begun_until = "5", *failing_until = "7", *ended_at = "9"; // seconds of the line

class LineFaults : public testing::Test {
  protected:
    void SetUp() override {
        const std::string begun = (folder_.path() / "begun").string();
        must_run({"line", "init", begun, "--from", EXAMPLES "/lines/three-sites.json"});
        must_run({"set", "--node", begun + "/nodes/site-1",
                  "/optical-amplifier/amplifiers/amplifier[name='0/1-AMP-PRE']/config/target-gain", "18.4"});
        must_run({"line", "run", begun, "--speed", "max", "--until", begun_until});
        renew();
        must_run(run_words(failing_until));
        acknowledged_ = state_of_line();
        expected_ = end_of_line();
    }

    // The line as it was when it had begun.
    void renew() const {
        fs::remove_all(line());
        fs::copy(folder_.path() / "begun", line(), fs::copy_options::recursive);
    }

    // Runs the line with the call failing, and looks at what came of it. 0: none fails.
    void fail_one(const Fault &fault, std::uint64_t call) {
        SCOPED_TRACE(std::string(std::strerror(fault.error)) + ", kind " +
                     std::to_string(static_cast<int>(fault.kind)) + ", call " + std::to_string(call) +
                     (fault.lasting ? " and all later ones" : ""));
        renew();
        report_->failed = 0;
        const std::uint64_t before = report_.calls(fault.kind);
        const Outcome outcome =
            support::run({.words = program(run_words(failing_until)),
                          .environment = report_.environment(fault, call == 0 ? 0 : before + call)});
        EXPECT_GE(report_->failed, call == 0 ? 0U : 1U) << "no such call";
        failed_ += report_->failed == 0 ? 0 : 1;
        EXPECT_EQ(outcome.signal, 0);
        EXPECT_THAT(outcome.err, Not(HasSubstr("begins anew")));
        if (outcome.status != 0) {
            EXPECT_EQ(outcome.status, 1) << outcome.err;
            EXPECT_THAT(outcome.err, StartsWith("ocamp"));
        } else {
            EXPECT_SAME_TEXT(state_of_line(), acknowledged_);
        }
        EXPECT_SAME_TEXT(end_of_line(), expected_);
    }

    std::uint64_t calls_of(Call kind) {
        const std::uint64_t before = report_.calls(kind);
        fail_one({kind, EIO, false}, 0);
        return report_.calls(kind) - before;
    }

    // Of a command that ends just before the line is opened: ocamp has become the server, whose libraries allocate
    // before any code of the project's own could tell of it.
    std::uint64_t allocations_of_the_start() {
        const std::uint64_t before = report_.calls(Call::allocate);
        std::vector<std::string> words = run_words(failing_until);
        words.insert(words.end(), {"--netconf-base", "99999"});
        EXPECT_EQ(support::run(
                      {.words = program(words), .environment = report_.environment({Call::allocate, ENOMEM, false}, 0)})
                      .status,
                  2);
        return report_.calls(Call::allocate) - before;
    }

    // Of the allocations of a run the first from each place.
    std::vector<std::uint64_t> places() {
        const std::uint64_t start = allocations_of_the_start();
        const std::uint64_t calls = calls_of(Call::allocate);
        const std::uint64_t first = report_.calls(Call::allocate) - calls;
        std::vector<std::uint64_t> found;
        std::set<std::uint64_t> seen;
        for (std::uint64_t i = start; i < calls && first + i < faults::most_stacks; ++i) {
            if (seen.insert(report_->stacks[first + i]).second)
                found.push_back(i + 1);
        }
        return found;
    }

    std::size_t failed() const { return failed_; }

  private:
    std::string line() const { return (folder_.path() / "line").string(); }
    std::vector<std::string> run_words(const char *until) const {
        return {"line", "run", line(), "--speed", "max", "--until", until};
    }
    static std::vector<std::string> program(std::vector<std::string> words) {
        words.insert(words.begin(), OCAMP_PROGRAM);
        return words;
    }
    static std::string must_run(const std::vector<std::string> &words) {
        const Outcome outcome = support::run({.words = program(words)});
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return outcome.out;
    }

    std::string state_of_line() const {
        std::string all = must_run({"line", "show", line()});
        for (const char *node : {"terminal-a", "site-1", "terminal-b"})
            all += must_run({"native", "get", "--node", line() + "/nodes/" + node});
        return all;
    }
    // Lets the line go on, and gives what it is then.
    std::string end_of_line() const {
        must_run(run_words(ended_at));
        return state_of_line();
    }

    support::TemporaryFolder folder_;
    faults::ShimReport report_{folder_.path() / "report"};
    std::string acknowledged_; // the line at the end of a run that tells no failure
    std::string expected_;     // later
    std::size_t failed_ = 0;
};

constexpr Fault file_faults[] = {
    {Call::open, EMFILE, false},   {Call::read, EIO, false}, {Call::write, ENOSPC, false}, {Call::sync, EIO, false},
    {Call::unlink, EACCES, false}, {Call::read, EIO, true},  {Call::write, ENOSPC, true},
};

TEST_F(LineFaults, FileCallsThatFail) {
    for (const Fault &fault : file_faults) {
        const std::uint64_t calls = calls_of(fault.kind);
        for (const std::uint64_t call : faults::drawn(calls, 2))
            fail_one(fault, call);
    }
    std::printf("file calls of a line that runs failed: %zu\n", failed());
    EXPECT_GE(failed(), std::size(file_faults));
}

// SQLite says of what it could not read that it is damaged, and what is damaged begins anew.
TEST_F(LineFaults, ADatabaseThatCannotBeReadIsKept) {
    for (const std::uint64_t call : {10, 14, 18}) {
        fail_one({Call::read, EIO, false}, call);
        fail_one({Call::read, EIO, true}, call);
    }
}

TEST_F(LineFaults, AllocationsThatFail) {
    const std::vector<std::uint64_t> all = places();
    for (const std::uint64_t index : faults::drawn(all.size(), 8))
        fail_one({Call::allocate, ENOMEM, false}, all[index - 1]);
    std::printf("allocations of a line that runs failed: %zu\n", failed());
    EXPECT_GE(failed(), 8U);
}

} // namespace
