// ocamp with closed or full standard descriptors: it never aborts, and nothing that it says gets into the node.
#include "ocamp_program.h"

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
        EXPECT_THAT(outcome.err, testing::StartsWith("ocamp: "));
        EXPECT_EQ(run_ocamp(words, "", full_output_and_error).status, 1) << words.front();
    }
}

} // namespace
