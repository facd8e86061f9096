// What a running line asks of the disk: a second of a node is one transaction that waits for no disk, while an edit of
// its configuration does wait. The power shim notes all writes and syncs.
#include "faults/power_steps.h"
#include "support/files.h"
#include "support/program.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include <gmock/gmock.h>

namespace {

namespace fs = std::filesystem;
using power::Action;
using power::Step;

class LinesOnDisk : public testing::Test {
  protected:
    fs::path folder() const { return temporary_.path() / "disk"; }
    std::string line() const { return (folder() / "line").string(); }

    void SetUp() override {
        fs::create_directory(folder());
        ocamp({"line", "init", line(), "--from", EXAMPLE_LINE});
    }

    static void ocamp(std::vector<std::string> words, const std::vector<std::string> &environment = {}) {
        words.insert(words.begin(), OCAMP_PROGRAM);
        const support::Outcome outcome = support::run({.words = std::move(words), .environment = environment});
        ASSERT_EQ(outcome.status, 0) << outcome.err;
    }

    // What a command does in the line's folder; names are relative to that.
    std::vector<Step> steps_of(const std::vector<std::string> &words) const {
        const fs::path log = temporary_.path() / "log";
        support::write_file(log, "");
        ocamp(words, {"LD_PRELOAD=" POWER_SHIM_NAME, "LD_LIBRARY_PATH=" POWER_SHIM_FOLDER,
                      std::string(power::folder_variable) + "=" + line(),
                      std::string(power::log_variable) + "=" + log.string()});
        return power::steps_of(support::read_file(log));
    }
    std::vector<Step> run_until(int second) const {
        return steps_of({"line", "run", line(), "--speed", "max", "--until", std::to_string(second)});
    }

    support::TemporaryFolder temporary_;
};

// A transaction ends when its journal is cut to nothing.
std::map<std::string, int> transactions(const std::vector<Step> &steps) {
    std::map<std::string, int> ended;
    for (const Step &step : steps)
        if (const std::string_view journal = "-journal";
            step.action == Action::truncate && step.at == 0 && step.name.ends_with(journal))
            ++ended[step.name.substr(0, step.name.size() - journal.size())];
    return ended;
}

bool is_sync(const Step &step) {
    return step.action == Action::sync;
}

TEST_F(LinesOnDisk, ASecondOfANodeIsOneTransactionAndWaitsForNoDisk) {
    run_until(1); // makes what is not there yet
    constexpr int seconds = 40;
    const std::vector<Step> steps = run_until(1 + seconds);
    EXPECT_EQ(std::count_if(steps.begin(), steps.end(), is_sync), 0);
    std::map<std::string, int> expected{{"line.db", seconds}};
    for (const char *node : {"terminal-a", "site-1", "site-2", "site-3", "terminal-b"})
        expected[std::string("nodes/") + node + "/node.live"] = seconds;
    EXPECT_EQ(transactions(steps), expected);
}

TEST_F(LinesOnDisk, AnEditOfTheLineIsOnTheDiskBeforeItsSecond) {
    run_until(1);
    const std::string leaf = "/optical-amplifier/amplifiers/amplifier[name='0/1-AMP-PRE']/config/target-gain";
    ocamp({"line", "event", line(), "--at", "3", "set", "site-1", leaf, "18.4"});
    const std::vector<Step> steps = run_until(5);
    const std::string database = "nodes/site-1/node.db";
    // Counted from 1; 0: never.
    const auto last = [&](const auto &condition) {
        return steps.rend() - std::find_if(steps.rbegin(), steps.rend(), condition);
    };
    const auto written = last([&](const Step &step) { return step.action == Action::write && step.name == database; });
    const auto synced = last([&](const Step &step) { return is_sync(step) && step.name == database; });
    ASSERT_NE(written, 0) << "no edit";
    EXPECT_LT(written, synced) << "written, but not to the disk";
    // Of the seconds themselves nothing is.
    for (const Step &step : steps) {
        if (is_sync(step)) {
            EXPECT_TRUE(step.name.starts_with("nodes/site-1/node.db") || step.name == "nodes/site-1") << step.name;
        }
    }
}

} // namespace
