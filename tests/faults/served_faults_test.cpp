// Fails calls of the C library while a server answers clients and while a line runs. Whatever fails, no program ends by
// a signal or hangs, every acknowledged edit is there and no half of one, and when nothing fails any more everything
// works again. Usually a sample that a seed draws (FAULTS_SEED, by default 1); with FAULTS_ALL set, every file call and
// an allocation from each place.
#include "sampled_calls.h"
#include "shim_report.h"
#include "support/files.h"
#include "support/netconf_client.h"
#include "support/program.h"
#include "support/server_program.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <set>
#include <thread>
#include <vector>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using faults::Call;
using faults::drawn;
using faults::Fault;
using support::ClientError;
using support::NetconfClient;
using support::Outcome;
using support::ServerProgram;
using testing::HasSubstr;
using namespace std::chrono_literals;

const support::ServerFiles files{OCAMP_PROGRAM, OCAMPD_PROGRAM, EXAMPLES "/node"};

constexpr Fault file_faults[] = {
    {Call::open, EMFILE, false},   {Call::read, EIO, false},   {Call::write, ENOSPC, false},
    {Call::write, EIO, false},     {Call::sync, EIO, false},   {Call::rename, EIO, false},
    {Call::unlink, EACCES, false}, {Call::open, EMFILE, true}, {Call::read, EIO, true},
    {Call::write, ENOSPC, true},   {Call::sync, EIO, true},    {Call::unlink, EACCES, true},
};
constexpr Fault allocation{Call::allocate, ENOMEM, false};

std::string name_of(const Fault &fault) {
    constexpr const char *kinds[] = {"allocation", "open", "mkdir", "read", "write", "sync", "rename", "unlink"};
    return fmt::format("{}{} ({})", kinds[static_cast<std::size_t>(fault.kind)],
                       fault.lasting ? " and all later ones" : "", std::strerror(fault.error));
}

// Clients' work on one amplifier's gain, which has a new value each time.
enum class Work { edit, confirmed_commit, log_in };

std::string amplifier(const std::string &content) {
    return fmt::format(
        "<optical-amplifier xmlns=\"http://openconfig.net/yang/optical-amplfier\"><amplifiers><amplifier>"
        "<name>0/1-AMP-BST</name><config>{}</config></amplifier></amplifiers></optical-amplifier>",
        content);
}

std::string set_gain(const std::string &value, const std::string &target) {
    return fmt::format("<edit-config><target><{}/></target><config>{}</config></edit-config>", target,
                       amplifier("<target-gain>" + value + "</target-gain>"));
}

// A server with the shim, and what its node must hold.
class ServedFaults : public testing::Test {
  protected:
    // The server's calls fail as `fault` says when they are told to.
    void start(const Fault &fault) {
        server_.emplace(files, std::vector<std::string>(), report_.environment(fault, 0));
        held_ = {value_on_disk()};
    }

    // Does the work once with the call failing, and looks at what came of it.
    void fail_one(const Fault &fault, Work work, std::uint64_t call) {
        SCOPED_TRACE(fmt::format("{}: call {} of work {}", name_of(fault), call, static_cast<int>(work)));
        connect();
        told_.clear();
        is_left_ = false;
        report_.fail_after(fault.kind, call);
        do_work(work);
        report_.fail_after(fault.kind, 0);
        ++failed_;
        if (has_ended())
            expect_told_end(fault);
        if (work == Work::confirmed_commit)
            take_back();
        expect_value();
        // Nothing of it stays behind: the next edit is made.
        do_work(Work::edit);
        ASSERT_EQ(held_.size(), 1U) << "an edit is not made although nothing fails any more: " << told_;
        expect_value();
    }

    // How often such calls are made by the work when none fails.
    std::uint64_t calls_of(Call kind, Work work) {
        connect();
        const std::uint64_t before = report_.calls(kind);
        do_work(work);
        return report_.calls(kind) - before;
    }

    // Of the allocations that a work makes, one from each place, or a sample.
    std::vector<std::uint64_t> places_of(Work work, std::size_t sample) {
        connect();
        const std::uint64_t before = report_.calls(Call::allocate);
        do_work(work);
        std::vector<std::uint64_t> places;
        std::set<std::uint64_t> seen;
        for (std::uint64_t i = before; i < std::min(report_.calls(Call::allocate), faults::most_stacks); ++i) {
            if (seen.insert(report_->stacks[i]).second)
                places.push_back(i - before + 1);
        }
        std::vector<std::uint64_t> chosen;
        for (const std::uint64_t index : drawn(places.size(), sample))
            chosen.push_back(places[index - 1]);
        return chosen;
    }

    ServerProgram &server() { return *server_; }
    std::size_t failed() const { return failed_; }

  private:
    void connect() {
        if (client_)
            return;
        client_ = std::make_unique<NetconfClient>(server_->port(), ServerProgram::user, ServerProgram::password);
        client_->greet();
    }

    // The server's answer; none when it left. Notes it for messages.
    std::optional<std::string> ask(const std::string &operation) {
        try {
            connect();
            const std::string reply = client_->ask(operation);
            told_ += "\n" + operation + "\n" + reply;
            return reply;
        } catch (const ClientError &error) {
            told_ += "\n" + operation + "\n" + error.what();
            client_.reset();
            is_left_ = true;
            return std::nullopt;
        }
    }

    // What the gain may be when `value` was asked for and this was told.
    void note(const std::string &value, const std::optional<std::string> &told) {
        if (told && told->find("<ok ") != std::string::npos)
            held_ = {value};
        else if (!told || told->find("is made, but") != std::string::npos)
            held_.insert(value);
    }

    // Whatever came of the commit, nobody confirms it: the value is as before.
    void take_back() {
        ask("<cancel-commit><persist-id>word</persist-id></cancel-commit>");
        ask("<discard-changes/>");
    }

    void do_work(Work work) {
        const std::string value = fmt::format("{}.{}", 10 + next_ / 10 % 10, next_ % 10);
        ++next_;
        if (work == Work::edit)
            note(value, ask(set_gain(value, "running")));
        if (work == Work::log_in)
            client_.reset();
        if (work == Work::confirmed_commit) {
            ask(set_gain(value, "candidate"));
            ask("<commit><confirmed/><persist>word</persist></commit>");
            take_back();
        }
        ask("<get-config><source><running/></source><filter>" + amplifier("<target-gain/>") + "</filter></get-config>");
    }

    std::string value_on_disk() const {
        const Outcome got =
            support::run({.words = {OCAMP_PROGRAM, "get", "--config", "--node", server_->node(),
                                    "/optical-amplifier/amplifiers/amplifier[name='0/1-AMP-BST']/config/target-gain"}});
        const std::size_t at = got.out.find("target-gain\": \"");
        return got.status == 0 && at != std::string::npos
                   ? got.out.substr(at + 15, got.out.find('"', at + 15) - at - 15)
                   : "not readable: " + got.err;
    }

    // A server that has left its client may be about to end.
    bool has_ended() const {
        for (int i = 0; is_left_ && server_->runs() && i < 100; ++i)
            std::this_thread::sleep_for(10ms);
        return !server_->runs();
    }

    // A server that cannot go on says so, and begins anew.
    void expect_told_end(const Fault &fault) {
        client_.reset();
        const std::string log = server_->log();
        EXPECT_EQ(fault.kind, Call::allocate) << "the server ended: " << log;
        EXPECT_EQ(server_->stop(), 1) << log;
        EXPECT_THAT(log, HasSubstr("out of memory"));
        server_->start();
    }

    void expect_value() {
        const std::string now = value_on_disk();
        EXPECT_TRUE(held_.contains(now)) << now << ", not " << *held_.begin() << "; the server told: " << told_;
        held_ = {now};
    }

    support::TemporaryFolder folder_;
    faults::ShimReport report_{folder_.path() / "report"};
    std::optional<ServerProgram> server_;
    std::unique_ptr<NetconfClient> client_;
    std::set<std::string> held_; // the values that the gain may have
    bool is_left_ = false;
    std::string told_; // what was asked since the failure, and answered
    int next_ = 0;
    std::size_t failed_ = 0;
};

TEST_F(ServedFaults, FileCallsThatFail) {
    for (const Fault &fault : file_faults) {
        start(fault);
        for (const Work work : {Work::edit, Work::confirmed_commit, Work::log_in}) {
            for (const std::uint64_t call : drawn(calls_of(fault.kind, work), 2))
                ASSERT_NO_FATAL_FAILURE(fail_one(fault, work, call));
        }
        EXPECT_EQ(server().stop(), 0) << server().log();
    }
    std::printf("file calls of a server failed: %zu\n", failed());
    EXPECT_GT(failed(), 30U);
}

TEST_F(ServedFaults, AllocationsThatFail) {
    start(allocation);
    for (const Work work : {Work::edit, Work::confirmed_commit, Work::log_in}) {
        for (const std::uint64_t call : places_of(work, 6))
            ASSERT_NO_FATAL_FAILURE(fail_one(allocation, work, call));
    }
    EXPECT_EQ(server().stop(), 0) << server().log();
    std::printf("allocations of a server failed: %zu\n", failed());
    EXPECT_GT(failed(), 10U);
}

} // namespace
