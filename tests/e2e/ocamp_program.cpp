// How ocamp is run. Knows nothing of what the commands answer.
#include "ocamp_program.h"

#include <cstdlib>
#include <fstream>
#include <sstream>

#include <unistd.h>

namespace e2e {

namespace fs = std::filesystem;

namespace {

fs::path new_folder() {
    std::string name = (fs::temp_directory_path() / "ocamp-e2e-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr)
        throw fs::filesystem_error("mkdtemp", name, std::error_code(errno, std::generic_category()));
    return name;
}

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

std::string read_file(const fs::path &file) {
    std::ifstream stream(file, std::ios::binary);
    EXPECT_TRUE(stream) << file;
    std::ostringstream text;
    text << stream.rdbuf();
    return text.str();
}

void write_file(const fs::path &file, const std::string &text) {
    std::ofstream stream(file, std::ios::binary);
    EXPECT_TRUE(stream << text) << file;
}

std::string expected(const std::string &name) {
    return read_file(fs::path(EXPECTED_ANSWERS) / name);
}

void NodeTest::SetUp() {
    folder_ = new_folder();
    const Outcome made = run_ocamp({"node", "init", node(), "--from", EXAMPLE_NODE});
    ASSERT_EQ(made.status, 0) << made.err;
}

void NodeTest::TearDown() {
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
}

Outcome NodeTest::ocamp(const std::vector<std::string> &command, const std::vector<std::string> &arguments,
                        const std::string &input) const {
    std::vector<std::string> words = command;
    words.insert(words.end(), {"--node", node()});
    words.insert(words.end(), arguments.begin(), arguments.end());
    return run_ocamp(words, input);
}

} // namespace e2e
