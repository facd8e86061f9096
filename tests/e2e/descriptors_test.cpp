// ocamp with closed or full standard descriptors: it never aborts, and nothing that it says gets into the node.
#include "ocamp_program.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>

using namespace e2e;
using testing::HasSubstr;

namespace {

using Redirected = std::map<int, std::filesystem::path>;

const Redirected closed_error{{STDERR_FILENO, ""}};
const Redirected closed_output{{STDOUT_FILENO, ""}};
const Redirected all_closed{{STDIN_FILENO, ""}, {STDOUT_FILENO, ""}, {STDERR_FILENO, ""}};
const Redirected full_output{{STDOUT_FILENO, "/dev/full"}};
const Redirected full_output_and_error{{STDOUT_FILENO, "/dev/full"}, {STDERR_FILENO, "/dev/full"}};

class Descriptors : public NodeTest {
  protected:
    Outcome edit(const std::string &leaf, const std::string &value, const Redirected &redirected) const {
        return run_ocamp({"edit", "--node", node(), "-"},
                         "{\"openconfig-optical-amplifier:optical-amplifier\": {\"amplifiers\": {\"amplifier\": [{"
                         "\"name\": \"0/2-AMP-BST\", \"config\": {\"" +
                             leaf + "\": \"" + value + "\"}}]}}}",
                         redirected);
    }

    // Runs ocamp with the descriptor as a pipe whose reader is gone before anything is written: it waits for its input
    // until then. Standard error is kept unless it is the pipe.
    Outcome run_into_closed_pipe(int descriptor, const std::vector<std::string> &words,
                                 const std::string &input) const {
        const std::filesystem::path in = folder() / "in", pipe = folder() / "pipe", err = folder() / "err";
        for (const std::filesystem::path &fifo : {in, pipe})
            EXPECT_EQ(mkfifo(fifo.c_str(), 0600), 0);
        write_file(err, "");
        const int writer = open(in.c_str(), O_RDWR | O_CLOEXEC);
        const int reader = open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        support::Launch launch{.words = {OCAMP_PROGRAM}};
        launch.words.insert(launch.words.end(), words.begin(), words.end());
        launch.redirected = {{STDIN_FILENO, in}, {STDERR_FILENO, err}};
        launch.redirected[descriptor] = pipe;
        const int child = support::start(launch);
        close(reader);
        EXPECT_EQ(write(writer, input.data(), input.size()), ssize_t(input.size()));
        close(writer);
        int status = 0;
        waitpid(child, &status, 0);
        for (const std::filesystem::path &fifo : {in, pipe})
            std::filesystem::remove(fifo);
        return {.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1,
                .out = "",
                .err = read_file(err),
                .signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0};
    }
};

TEST_F(Descriptors, ErrorsThatNobodyHearsKeepTheirStatus) {
    for (const Redirected &redirected :
         {closed_error, Redirected{{STDERR_FILENO, "/dev/full"}}, Redirected{{0, ""}, {2, ""}}}) {
        EXPECT_EQ(run_ocamp({"get", "--node", "nosuch"}, "", redirected).status, 2);
        EXPECT_EQ(run_ocamp({"get", "--node", node(), "/no/such"}, "", redirected).status, 2);
        EXPECT_EQ(run_ocamp({"get", "--node", node(), "/optical-amplifier/amplifiers/amplifier/state/min-gain"}, "",
                            redirected)
                      .status,
                  1);
        EXPECT_EQ(run_ocamp({}, "", redirected).status, 2);
    }
}

TEST_F(Descriptors, AnswersWithoutOutputAreFailures) {
    for (const Redirected &redirected :
         {closed_output, all_closed, Redirected{{0, ""}, {1, ""}}, Redirected{{1, ""}, {2, ""}}}) {
        EXPECT_EQ(run_ocamp({"get", "--node", node()}, "", redirected).status, 1);
        EXPECT_EQ(run_ocamp({"explain", "get", "--node", node()}, "", redirected).status, 1);
        EXPECT_EQ(run_ocamp({"--help"}, "", redirected).status, 1);
    }
    EXPECT_THAT(run_ocamp({"get", "--node", node()}, "", closed_output).err, HasSubstr("standard output: closed"));
}

TEST_F(Descriptors, ClosedInputMattersOnlyToWhoReadsIt) {
    const Redirected closed_input{{STDIN_FILENO, ""}};
    EXPECT_EQ(run_ocamp({"get", "--node", node()}, "", closed_input).status, 0);
    const Outcome outcome = edit("target-gain", "11.1", closed_input);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, HasSubstr("standard input: Bad file descriptor"));
}

// The database would be opened as the lowest free descriptor, and what is told of the refusal would be written into it.
TEST_F(Descriptors, MessagesNeverGetIntoTheNode) {
    const std::string before = data();
    EXPECT_EQ(edit("min-gain", "3.0", closed_error).status, 1);
    EXPECT_EQ(run_ocamp({"get", "--node", node(), "--debug-log", "-", "--trace", "-"}, "", closed_error).status, 0);
    EXPECT_TRUE(before == data());
    EXPECT_EQ(edit("target-gain", "11.1", closed_error).status, 0);
    EXPECT_THAT(get({"--config"}).out, HasSubstr("\"target-gain\": \"11.1\""));
}

TEST_F(Descriptors, OutputThatIsFullIsAFailure) {
    for (const std::vector<std::string> &words : {std::vector<std::string>{"get", "--node", node()},
                                                  {"native", "get", "--node", node()},
                                                  {"--help"},
                                                  {"get", "--help"},
                                                  {"sysdb", "list", "--node", node()},
                                                  {"explain", "get", "--node", node()}}) {
        const Outcome outcome = run_ocamp(words, "", full_output);
        EXPECT_EQ(outcome.status, 1) << words.front();
        EXPECT_THAT(outcome.err, testing::StartsWith("ocamp: standard output: No space left on device"));
        EXPECT_EQ(run_ocamp(words, "", full_output_and_error).status, 1) << words.front();
    }
}

constexpr const char *gain_edit = R"({"openconfig-optical-amplifier:optical-amplifier": {"amplifiers": {"amplifier": [
    {"name": "0/2-AMP-BST", "config": {"target-gain": "11.1"}}]}}})";
constexpr const char *filter = "<optical-amplifier xmlns=\"http://openconfig.net/yang/optical-amplfier\"/>";

TEST_F(Descriptors, EditWhoseReaderIsGoneIsMadeAndSaysSo) {
    const Outcome outcome = run_into_closed_pipe(STDOUT_FILENO, {"edit", "--node", node(), "-"}, gain_edit);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "ocamp: the edit is made, but it could not be acknowledged: standard output: Broken pipe\n");
    EXPECT_THAT(get({"--config"}).out, HasSubstr("\"target-gain\": \"11.1\""));
}

TEST_F(Descriptors, AnswersWhoseReaderIsGoneAreFailures) {
    for (const std::vector<std::string> &words : {std::vector<std::string>{"get", "--node", node(), "--filter", "-"},
                                                  {"explain", "get", "--node", node(), "--filter", "-"}}) {
        const Outcome outcome = run_into_closed_pipe(STDOUT_FILENO, words, filter);
        EXPECT_EQ(outcome.status, 1) << words.front();
        EXPECT_THAT(outcome.err, HasSubstr("Broken pipe")) << words.front();
    }
}

TEST_F(Descriptors, MessagesWhoseReaderIsGoneKeepTheirStatus) {
    EXPECT_EQ(run_into_closed_pipe(STDERR_FILENO, {"get", "--node", node(), "--filter", "-"}, "no filter").status, 2);
    EXPECT_EQ(run_into_closed_pipe(
                  STDERR_FILENO, {"get", "--node", node(), "--filter", "-", "--debug-log", "-", "--trace", "-"}, filter)
                  .status,
              0);
}

TEST_F(Descriptors, WantOfDescriptorsIsNoWrongUse) {
    for (const std::vector<std::string> &words :
         {std::vector<std::string>{"get", "--node", node()},
          {"get", "--node", node(), "--debug-log", (folder() / "1").string(), "--trace", (folder() / "2").string()}}) {
        support::Launch launch{.words = {"/usr/bin/prlimit", "--nofile=4", OCAMP_PROGRAM}};
        launch.words.insert(launch.words.end(), words.begin(), words.end());
        const Outcome outcome = support::run(launch);
        EXPECT_EQ(outcome.status, 1) << outcome.err;
        EXPECT_THAT(outcome.err, HasSubstr("Too many open files"));
    }
}

// While it lives, no file of this process or of those that it starts grows beyond so many bytes.
class FileSizeLimit {
  public:
    explicit FileSizeLimit(rlim_t bytes) {
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit limit{.rlim_cur = bytes, .rlim_max = before_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &before_); }
    FileSizeLimit(const FileSizeLimit &) = delete;
    FileSizeLimit &operator=(const FileSizeLimit &) = delete;

  private:
    rlimit before_{};
};

TEST_F(Descriptors, WritesBeyondTheFileSizeLimitAreFailures) {
    const std::string before = data(), made = (folder() / "new").string();
    std::vector<Outcome> outcomes;
    {
        const FileSizeLimit limit(8192);
        outcomes.push_back(run_ocamp({"node", "init", made, "--from", EXAMPLE_NODE}));
        outcomes.push_back(run_ocamp({"edit", "--node", node(), "-"}, gain_edit));
    }
    for (const Outcome &outcome : outcomes) {
        EXPECT_EQ(outcome.status, 1) << "signal " << outcome.signal;
        EXPECT_THAT(outcome.err, testing::StartsWith("ocamp: "));
    }
    EXPECT_FALSE(std::filesystem::exists(made));
    EXPECT_TRUE(before == data());
    EXPECT_FALSE(std::filesystem::exists(folder() / "node" / "node.db-journal"));
}

} // namespace
