// How ocamp is run. Knows nothing of what the commands answer.
#include "ocamp_program.h"

#include <unistd.h>

namespace e2e {

namespace fs = std::filesystem;

namespace {

support::Launch launch(const std::vector<std::string> &arguments) {
    support::Launch launch{.words = {OCAMP_PROGRAM}};
    launch.words.insert(launch.words.end(), arguments.begin(), arguments.end());
    return launch;
}

} // namespace

int start_ocamp(const std::vector<std::string> &arguments, const fs::path &input, const fs::path &output) {
    support::Launch started = launch(arguments);
    started.redirected = {{STDIN_FILENO, input}, {STDOUT_FILENO, output}};
    return support::start(started);
}

Outcome run_ocamp(const std::vector<std::string> &arguments, const std::string &input,
                  const std::map<int, fs::path> &redirected) {
    support::Launch started = launch(arguments);
    started.input = input;
    started.redirected = redirected;
    return support::run(started);
}

Outcome run_ocamp_onto(const fs::path &output, const std::vector<std::string> &arguments, const std::string &input) {
    return run_ocamp(arguments, input, {{STDOUT_FILENO, output}});
}

std::string expected(const std::string &name) {
    return read_file(fs::path(EXPECTED_ANSWERS) / name);
}

void NodeTest::SetUp() {
    folder_.emplace();
    const Outcome made = run_ocamp({"node", "init", node(), "--from", EXAMPLE_NODE});
    ASSERT_EQ(made.status, 0) << made.err;
}

void NodeTest::TearDown() {
    folder_.reset();
}

Outcome NodeTest::ocamp(const std::vector<std::string> &command, const std::vector<std::string> &arguments,
                        const std::string &input) const {
    std::vector<std::string> words = command;
    words.insert(words.end(), {"--node", node()});
    words.insert(words.end(), arguments.begin(), arguments.end());
    return run_ocamp(words, input);
}

} // namespace e2e
