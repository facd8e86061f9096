// How the server is started and looked at. Knows no protocol.
#include "support/server_program.h"

#include "support/program.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

namespace support {

namespace {

void must_run(const std::vector<std::string> &words, const std::string &input = "") {
    const Outcome outcome = run({.words = words, .input = input});
    if (outcome.status != 0)
        throw std::runtime_error(words[0] + ": " + outcome.err);
}

} // namespace

ServerProgram::ServerProgram(const ServerFiles &files, std::vector<std::string> options,
                             std::vector<std::string> environment)
    : files_(files), options_(std::move(options)), environment_(std::move(environment)) {
    must_run({files_.ocamp, "node", "init", node(), "--from", files_.example});
    must_run({files_.ocamp, "user", "add", "--node", node(), user, "--role", "admin"}, std::string(password) + "\n");
    start();
}

ServerProgram::~ServerProgram() {
    // One that is killed is gone at once, but writes no counts of what it has run.
    if (process_ > 0)
        end(std::getenv("OCAMP_COUNTS") != nullptr ? SIGTERM : SIGKILL);
}

void ServerProgram::start() {
    const std::filesystem::path out = folder_.path() / "out";
    std::filesystem::remove(out);
    std::vector<std::string> words{files_.ocampd, "--node", node(), "--netconf", "127.0.0.1:0"};
    words.insert(words.end(), options_.begin(), options_.end());
    process_ = support::start(
        {.words = words, .environment = environment_, .redirected = {{1, out}, {2, folder_.path() / "log"}}});
    for (int i = 0; i < 3000; ++i) {
        std::ifstream file(out);
        std::string line;
        if (std::getline(file, line) && !file.eof() && line.starts_with("ready")) {
            port_ = static_cast<std::uint16_t>(std::stoi(line.substr(line.rfind(':') + 1)));
            return;
        }
        if (!runs())
            break;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    throw std::runtime_error("ocampd is not ready: " + log());
}

void ServerProgram::kill() {
    end(SIGKILL);
}

int ServerProgram::stop() {
    return end(SIGTERM);
}

int ServerProgram::end(int signal) {
    ::kill(process_, signal);
    int status = 0;
    ::waitpid(process_, &status, 0);
    process_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool ServerProgram::runs() const noexcept {
    siginfo_t information = {};
    return process_ > 0 &&
           ::waitid(P_PID, static_cast<id_t>(process_), &information, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           information.si_pid == 0;
}

std::string ServerProgram::log() const {
    return read_file(folder_.path() / "log");
}

std::size_t ServerProgram::status_field(const std::string &name) const {
    std::ifstream file("/proc/" + std::to_string(process_) + "/status");
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with(name + ":"))
            return std::stoul(line.substr(name.size() + 1)) * 1024;
    }
    throw std::runtime_error("no " + name + " of the server");
}

std::size_t ServerProgram::memory() const {
    return status_field("VmRSS");
}

std::size_t ServerProgram::peak_memory() const {
    return status_field("VmHWM");
}

long ServerProgram::processor_time() const {
    std::ifstream file("/proc/" + std::to_string(process_) + "/stat");
    std::string line;
    std::getline(file, line);
    // Behind the name, which may hold anything: state, and the 12th and 13th field are ticks.
    std::istringstream fields(line.substr(line.rfind(')') + 2));
    std::string skipped;
    for (int i = 0; i < 11; ++i)
        fields >> skipped;
    long user_ticks = 0, system_ticks = 0;
    fields >> user_ticks >> system_ticks;
    return (user_ticks + system_ticks) * 1000 / ::sysconf(_SC_CLK_TCK);
}

} // namespace support
