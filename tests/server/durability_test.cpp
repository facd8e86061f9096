// A server killed at any moment comes back with every edit that it acknowledged and no other, and without a commit that
// nobody confirmed; and ocampd as its users start and end it.
#include "served_node.h"

#include "support/program.h"

#include <cerrno>
#include <csignal>
#include <random>
#include <thread>

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fmt/format.h>

using namespace server_tests;
using testing::HasSubstr;

namespace {

// A child process with a core of its own on the node, which tells a byte for each thing that it did.
class Child {
  public:
    template <class Work>
    explicit Child(Work work) {
        int ends[2];
        if (pipe(ends) != 0)
            throw std::system_error(errno, std::generic_category(), "pipe");
        process_ = fork();
        if (process_ == 0) {
            close(ends[0]);
            work(ends[1]);
            _exit(0);
        }
        close(ends[1]);
        told_ = ends[0];
    }
    ~Child() { close(told_); }

    // Kills it after the time, and gives what it told before.
    std::string kill_after(std::chrono::microseconds time) {
        std::this_thread::sleep_for(time);
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
        std::string all;
        char part[4096];
        for (ssize_t got = 0; (got = read(told_, part, sizeof part)) > 0;)
            all.append(part, static_cast<std::size_t>(got));
        return all;
    }

    // Waits until it has told something.
    void wait_for_word() const {
        pollfd ready{told_, POLLIN, 0};
        poll(&ready, 1, 30000);
    }
    // The same, and takes it.
    char take_word() const {
        char word = '\0';
        return read(told_, &word, 1) == 1 ? word : '\0';
    }

  private:
    pid_t process_ = -1;
    int told_ = -1;
};

class Killed : public ServedNode {
  protected:
    void SetUp() override {
        ServedNode::SetUp();
        stop(); // threads do not outlast a fork
    }

    std::chrono::microseconds random_time(int most_milliseconds) {
        return std::chrono::microseconds(std::uniform_int_distribution<int>(0, most_milliseconds * 1000)(random_));
    }

    // Counts gains up from 10.0 by edits of a server of its own, and tells a dot for each that is acknowledged.
    Child counting() {
        return Child([settings = settings()](int told) {
            EventLog log(LogFormat::text, -1);
            Core core(settings, log);
            const SessionId id = core.open_session({"ada", Role::admin}, {"test", "127.0.0.1", 1}, {});
            for (int i = 100; i < 400; ++i) {
                const Outcome outcome =
                    core.carry_out(id, Edit{.steps = {{gain_edit(fmt::format("{}.{}", i / 10, i % 10))}}});
                if (!std::holds_alternative<Result>(outcome) || write(told, ".", 1) != 1)
                    return;
            }
        });
    }

    std::string gain_after_restart() {
        restart();
        const std::string now = gain(session());
        stop();
        return now;
    }

  private:
    std::mt19937 random_{4711};
};

TEST_F(Killed, ServersComeBackWithEveryAcknowledgedEditAndNoOther) {
    for (int round = 0; round < 8; ++round) {
        Child child = counting();
        child.wait_for_word();
        const std::size_t acknowledged = child.kill_after(random_time(200)).size();
        const std::string now = gain_after_restart();
        const int tenths = static_cast<int>(std::stod(now) * 10 + 0.5);
        const int last = 99 + static_cast<int>(acknowledged);
        // The edit that was under way may have been made, and no more.
        EXPECT_TRUE(tenths == last || tenths == last + 1)
            << "round " << round << ": " << now << ", acknowledged up to " << last;
        ASSERT_GT(acknowledged, 0U);
    }
}

TEST_F(Killed, ServersComeBackWithoutWhatNobodyConfirmed) {
    int pending = 0;
    for (int round = 0; round < 8; ++round) {
        const bool stays = round % 2 != 0; // at its first pending commit
        Child child([settings = settings(), stays](int told) {
            EventLog log(LogFormat::text, -1);
            Core core(settings, log);
            const SessionId id = core.open_session({"ada", Role::admin}, {"test", "127.0.0.1", 1}, {});
            if (write(told, "b", 1) != 1)
                return;
            for (int i = 0; i < 100; ++i) {
                core.carry_out(id, Edit{.target = Datastore::candidate, .steps = {{gain_edit("11.0")}}});
                core.carry_out(id, Commit{.confirmed = true, .persist = "word"});
                if (write(told, "c", 1) != 1)
                    return;
                if (stays)
                    pause();
                core.carry_out(id, CancelCommit{.persist_id = "word"});
            }
        });
        EXPECT_EQ(child.take_word(), 'b');
        if (stays)
            child.wait_for_word();
        child.kill_after(random_time(stays ? 0 : 200));
        pending += std::filesystem::exists(folder() / "server" / "confirmed-commit.json") ? 1 : 0;
        EXPECT_EQ(gain_after_restart(), "13.1") << "round " << round;
        EXPECT_FALSE(std::filesystem::exists(folder() / "server" / "confirmed-commit.json"));
    }
    EXPECT_GE(pending, 4);
}

// ocampd with its output in files.
class Daemon : public ServedNode {
  protected:
    void SetUp() override {
        ServedNode::SetUp();
        stop();
    }
    void TearDown() override {
        if (process_ > 0) {
            kill(process_, SIGKILL);
            waitpid(process_, nullptr, 0);
        }
    }

    std::string out() const { return support::read_file(folder() / "out"); }
    std::string err() const { return support::read_file(folder() / "err"); }

    void start(std::vector<std::string> words) {
        words.insert(words.end(), {"--node", folder().string()});
        process_ = support::start({.words = words, .redirected = {{1, folder() / "out"}, {2, folder() / "err"}}});
        for (int i = 0; i < 1000 && (!std::filesystem::exists(folder() / "out") || out().empty()); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    // Its exit status, within two seconds of the signal.
    int end_by(int signal) {
        const auto begin = std::chrono::steady_clock::now();
        kill(process_, signal);
        int status = -1;
        waitpid(process_, &status, 0);
        process_ = -1;
        EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    void send(int signal) const { kill(process_, signal); }
    void wait_for_event(const std::string &word) const {
        for (int i = 0; i < 1000 && err().find(word) == std::string::npos; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        EXPECT_THAT(err(), HasSubstr(word));
    }

  private:
    int process_ = -1;
};

TEST_F(Daemon, SaysThatItIsReadyAndEndsOnSignals) {
    for (const int signal : {SIGTERM, SIGINT}) {
        start({OCAMP_PROGRAM, "serve", "--netconf", "127.0.0.1:0"});
        EXPECT_THAT(out(), testing::StartsWith("ready"));
        EXPECT_EQ(end_by(signal), 0);
        EXPECT_THAT(err(), HasSubstr(" info ended\n"));
    }
}

TEST_F(Daemon, ReadsUsersAnewOnHangUp) {
    start({OCAMPD_PROGRAM, "--netconf", "127.0.0.1:0", "--log-format", "json"});
    send(SIGHUP);
    wait_for_event("\"event\":\"reloaded\"");
    support::write_file(folder() / "server" / "users.json", "{}");
    std::filesystem::permissions(folder() / "server" / "users.json", std::filesystem::perms(0600));
    send(SIGHUP);
    wait_for_event("\"event\":\"reload-failed\"");
    EXPECT_EQ(end_by(SIGTERM), 0);
}

TEST_F(Daemon, RefusesWrongUse) {
    EXPECT_EQ(support::run({.words = {OCAMPD_PROGRAM, "--node", "/nowhere"}}).status, 2);
    EXPECT_EQ(support::run({.words = {OCAMPD_PROGRAM}}).status, 2);
    EXPECT_EQ(support::run({.words = {OCAMP_PROGRAM, "serve", "--no-such-option"}}).status, 2);
    for (const char *option : {"--max-sessions", "--max-message", "--log-in-time", "--change-poll"}) {
        for (const char *number : {"-1", "2147483648", "18446744073709551616", "1.5", "x"}) {
            const support::Outcome refused =
                support::run({.words = {OCAMPD_PROGRAM, "--node", folder().string(), option, number}});
            EXPECT_EQ(refused.status, 2) << option << ' ' << number;
            EXPECT_THAT(refused.err, HasSubstr(fmt::format("{}: '{}', expected a whole number", option, number)));
        }
    }
    EXPECT_THAT(support::run({.words = {OCAMP_PROGRAM, "serve", "--help"}}).out, HasSubstr("--max-sessions"));
}

} // namespace
