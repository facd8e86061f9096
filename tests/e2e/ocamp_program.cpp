// How ocamp is run. Knows nothing of what the commands answer.
#include "ocamp_program.h"

#include <cstdlib>
#include <fstream>
#include <sstream>

#include <fcntl.h>
#include <sys/wait.h>
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

struct NewFolder {
    fs::path path = new_folder();
    ~NewFolder() {
        std::error_code ignored;
        fs::remove_all(path, ignored);
    }
};

void redirect(const fs::path &file, int flags, int descriptor) {
    if (file.empty()) {
        close(descriptor);
        return;
    }
    const int opened = open(file.c_str(), flags | O_CLOEXEC, 0600);
    if (opened < 0 || dup2(opened, descriptor) < 0)
        _exit(126);
}

int start(const std::vector<std::string> &arguments, const fs::path &input, const fs::path &output,
          const fs::path &error) {
    std::vector<std::string> words{OCAMP_PROGRAM};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char *> argv;
    for (std::string &word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        redirect(input, O_RDONLY, STDIN_FILENO);
        redirect(output, O_WRONLY | O_CREAT | O_TRUNC, STDOUT_FILENO);
        redirect(error, O_WRONLY | O_CREAT | O_TRUNC, STDERR_FILENO);
        execv(OCAMP_PROGRAM, argv.data());
        _exit(127);
    }
    return child;
}

} // namespace

int start_ocamp(const std::vector<std::string> &arguments, const fs::path &input, const fs::path &output) {
    return start(arguments, input, output, "/dev/null");
}

Outcome run_ocamp(const std::vector<std::string> &arguments, const std::string &input) {
    const NewFolder folder;
    Outcome outcome = run_ocamp_onto(folder.path / "out", arguments, input);
    outcome.out = read_file(folder.path / "out");
    return outcome;
}

Outcome run_ocamp_onto(const fs::path &output, const std::vector<std::string> &arguments, const std::string &input) {
    const NewFolder folder;
    write_file(folder.path / "in", input);
    const int child = start(arguments, folder.path / "in", output, folder.path / "err");
    int status = 0;
    waitpid(child, &status, 0);
    return {.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1, .out = {}, .err = read_file(folder.path / "err")};
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
