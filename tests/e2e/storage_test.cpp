// The node's database under many clients, foreign files, and outputs that cannot be written.
#include "ocamp_program.h"

#include <chrono>
#include <future>
#include <memory>
#include <thread>

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>

using namespace e2e;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

// A connection that has done `sql`, and holds what locks it took until it ends.
class Connection {
  public:
    Connection(const std::filesystem::path &file, const char *sql) {
        EXPECT_EQ(sqlite3_open(file.c_str(), &connection_), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(connection_, sql, nullptr, nullptr, nullptr), SQLITE_OK);
    }
    ~Connection() { sqlite3_close(connection_); }
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;

  private:
    sqlite3 *connection_ = nullptr;
};

std::string edit_of(const std::string &gain) {
    return "{\"openconfig-optical-amplifier:optical-amplifier\": {\"amplifiers\": {\"amplifier\": [{\"name\": "
           "\"0/2-AMP-BST\", \"config\": {\"target-gain\": \"" +
           gain + "\"}}]}}}";
}

class Storage : public NodeTest {
  protected:
    std::filesystem::path file() const { return folder() / "node" / "node.db"; }
    std::vector<Outcome> all_reads() const {
        return {get({}),
                ocamp({"explain", "get"}),
                ocamp({"explain", "edit"}, {"-"}, edit_of("12.0")),
                ocamp({"native", "get"}),
                ocamp({"sysdb", "list"}),
                ocamp({"sysdb", "get"}, {"/oper/ots/if/", "Ots0_1_0_0/ots_info"})};
    }
    std::string names() const {
        std::string all;
        for (const auto &entry : std::filesystem::directory_iterator(folder() / "node"))
            all += entry.path().filename().string() + " ";
        return all;
    }
};

TEST_F(Storage, ReadsAlterNothing) {
    const std::string before = data();
    const auto time = std::filesystem::last_write_time(file());
    for (const Outcome &outcome : all_reads())
        EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_TRUE(before == data());
    EXPECT_TRUE(time == std::filesystem::last_write_time(file()));
    EXPECT_EQ(names(), "node.db ");
}

TEST_F(Storage, ForeignFileIsRefusedAndLeftAlone) {
    std::filesystem::remove(file());
    { const Connection other(file(), "CREATE TABLE t(x);"); }
    const std::string before = data();
    for (const Outcome &outcome : all_reads()) {
        EXPECT_EQ(outcome.status, 2);
        EXPECT_THAT(outcome.err, HasSubstr("node.db: a database with application id 0x00000000, expected 0x4f434e44"));
    }
    EXPECT_EQ(ocamp({"edit"}, {"-"}, edit_of("12.0")).status, 2);
    EXPECT_TRUE(before == data());
}

TEST_F(Storage, EmptyFileIsRefusedAndStaysEmpty) {
    write_file(file(), "");
    for (const Outcome &outcome : all_reads()) {
        EXPECT_EQ(outcome.status, 2);
        EXPECT_THAT(outcome.err, HasSubstr("node.db: no SQLite database, expected the database of a node"));
    }
    EXPECT_EQ(data(), "");
    EXPECT_EQ(names(), "node.db ");
}

TEST_F(Storage, NewerFileIsRefused) {
    { const Connection newer(file(), "PRAGMA user_version = 3;"); }
    const Outcome outcome = get({});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, HasSubstr("node.db: a database of version 3, expected version 2"));
}

TEST_F(Storage, LockedNodeIsToldWithTheLimit) {
    const Connection holder(file(), "BEGIN EXCLUSIVE;");
    std::future<Outcome> read = std::async(std::launch::async, [&] { return get({}); });
    std::future<Outcome> write = std::async(std::launch::async, [&] {
        return ocamp({"sysdb", "rm"}, {"/oper/ots/if/", "Ots0_1_0_0/ots_info"});
    });
    for (std::future<Outcome> *client : {&read, &write}) {
        const Outcome outcome = client->get();
        EXPECT_EQ(outcome.status, 1);
        EXPECT_THAT(outcome.err, AllOf(HasSubstr("node.db: "), HasSubstr("longer than the busy limit of 5 s")));
    }
}

TEST_F(Storage, ManyWritersAtOnceAllHaveTheirTurn) {
    constexpr int writer_count = 16;
    write_file(folder() / "edit", edit_of("12.0"));
    std::vector<int> writers;
    for (int i = 0; i < writer_count; ++i)
        writers.push_back(
            start_ocamp({"edit", "--node", node(), "-"}, folder() / "edit", folder() / ("out" + std::to_string(i))));
    for (int i = 0; i < writer_count; ++i) {
        int status = -1;
        waitpid(writers[static_cast<std::size_t>(i)], &status, 0);
        EXPECT_EQ(status, 0);
        EXPECT_THAT(read_file(folder() / ("out" + std::to_string(i))), testing::EndsWith("\nok\n"));
    }
}

TEST_F(Storage, EditThatCouldNotBeAcknowledgedSaysThatItIsMade) {
    const std::string path = "/optical-amplifier/amplifiers/amplifier[name='0/2-AMP-BST']/config/target-gain";
    const std::pair<const char *, const char *> outputs[] = {{"/dev/full", "No space left on device"}, {"", "closed"}};
    for (const auto &[output, reason] : outputs) {
        const std::string gain = *output == '\0' ? "11.1" : "12.2";
        const Outcome outcome = run_ocamp_onto(output, {"edit", "--node", node(), "-"}, edit_of(gain));
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.err,
                  std::string("ocamp: the edit is made, but it could not be acknowledged: standard output: ") + reason +
                      "\n");
        EXPECT_THAT(get({"--config", path}).out, HasSubstr(gain));
    }
}

// Holds everyone's turn to write, as a writer that came first does.
class HeldQueue {
  public:
    explicit HeldQueue(const std::filesystem::path &file)
        : descriptor_(open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666)) {
        struct flock all = {};
        all.l_type = F_WRLCK;
        all.l_whence = SEEK_SET;
        EXPECT_EQ(fcntl(descriptor_, F_OFD_SETLK, &all), 0);
    }
    ~HeldQueue() { close(descriptor_); }
    HeldQueue(const HeldQueue &) = delete;
    HeldQueue &operator=(const HeldQueue &) = delete;

  private:
    int descriptor_;
};

// Whether the process has the file open.
bool has_open(int process, const std::filesystem::path &file) {
    std::error_code ignored;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/fd", ignored)) {
        if (std::filesystem::read_symlink(entry.path(), ignored) == file)
            return true;
    }
    return false;
}

TEST_F(Storage, WritersWaitForThoseInTheQueue) {
    using namespace std::chrono_literals;
    const std::filesystem::path queue = std::filesystem::canonical(folder()) / "node" / "node.queue";
    const std::string record = ocamp({"sysdb", "get"}, {"/oper/ots/if/", "Ots0_1_0_0/ots_info"}).out;
    write_file(folder() / "record", record);
    write_file(folder() / "edit", edit_of("12.0"));
    const std::pair<std::vector<std::string>, const char *> writers[] = {
        {{"edit", "--node", node(), "-"}, "edit"},
        {{"sysdb", "put", "--node", node(), "/oper/ots/if/", "Ots0_9_0_0/ots_info"}, "record"},
        {{"sysdb", "rm", "--node", node(), "/oper/ots/if/", "Ots0_1_0_0/ots_info"}, "edit"}};
    for (const auto &[words, input] : writers) {
        auto held = std::make_unique<HeldQueue>(queue);
        const std::string before = data();
        const int writer = start_ocamp(words, folder() / input, folder() / "out");
        int status = -1;
        pid_t ended = 0;
        while ((ended = waitpid(writer, &status, WNOHANG)) == 0 && !has_open(writer, queue))
            std::this_thread::sleep_for(1ms);
        // Much longer than the rest of its work takes.
        for (int i = 0; i < 100 && ended == 0; ++i) {
            std::this_thread::sleep_for(5ms);
            ended = waitpid(writer, &status, WNOHANG);
        }
        EXPECT_EQ(ended, 0) << words.front() << " did not wait";
        EXPECT_TRUE(before == data()) << words.front();
        held.reset();
        if (ended == 0)
            waitpid(writer, &status, 0);
        EXPECT_EQ(status, 0) << words.front();
        EXPECT_FALSE(before == data()) << words.front();
    }
}

TEST_F(Storage, OutputThatCouldNotBeWrittenIsAFailure) {
    const std::string record = ocamp({"sysdb", "get"}, {"/oper/ots/if/", "Ots0_1_0_0/ots_info"}).out;
    const std::vector<std::string> put = {"sysdb", "put", "--node", node(), "/oper/ots/if/", "Ots0_9_0_0/ots_info"};
    const Outcome written = run_ocamp_onto("", put, record);
    EXPECT_EQ(written.status, 1);
    EXPECT_THAT(written.err, StartsWith("ocamp: the record is written, but it could not be acknowledged: "));
    EXPECT_SAME_TEXT(ocamp({"sysdb", "get"}, {"/oper/ots/if/", "Ots0_9_0_0/ots_info"}).out, record);
    const Outcome removed =
        run_ocamp_onto("", {"sysdb", "rm", "--node", node(), "/oper/ots/if/", "Ots0_9_0_0/ots_info"});
    EXPECT_EQ(removed.status, 1);
    EXPECT_THAT(removed.err, HasSubstr("the record is removed, but"));
    const Outcome made =
        run_ocamp_onto("/dev/full", {"node", "init", (folder() / "new").string(), "--from", EXAMPLE_NODE});
    EXPECT_EQ(made.status, 1);
    EXPECT_THAT(made.err, HasSubstr("the node is made, but"));
    const std::pair<const char *, const char *> outputs[] = {{"/dev/full", "No space left on device"}, {"", "closed"}};
    for (const auto &[output, reason] : outputs) {
        for (const std::vector<std::string> &words :
             {std::vector<std::string>{"--help"}, {"--version"}, {"get", "--help"}, {"get", "--node", node()}}) {
            const Outcome outcome = run_ocamp_onto(output, words);
            EXPECT_EQ(outcome.status, 1) << words.front() << output;
            EXPECT_EQ(outcome.err,
                      std::string("ocamp: standard output: ") + reason + ", the answer could not be written\n");
        }
    }
}

} // namespace
