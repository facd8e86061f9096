// ocampd on a fresh example node, as its users run it. Knows no protocol.
#pragma once

#include "support/files.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace support {

/// Where the programs are and what a node is made from.
struct ServerFiles {
    std::string ocamp, ocampd, example;
};

/// The node and the server in front of it; both are gone when this ends.
class ServerProgram {
  public:
    /// Makes the node, with the user "ada", an admin, and starts the server. `options`: more of its command line.
    /// `environment`: "NAME=value" each, besides this program's own. Throws std::runtime_error.
    ServerProgram(const ServerFiles &files, std::vector<std::string> options = {},
                  std::vector<std::string> environment = {});
    ~ServerProgram();
    ServerProgram(const ServerProgram &) = delete;
    ServerProgram &operator=(const ServerProgram &) = delete;

    static constexpr const char *user = "ada";
    static constexpr const char *password = "correct horse";

    /// Starts it again after kill() or stop().
    void start();
    /// SIGKILL, and waits.
    void kill();
    /// SIGTERM, and waits. Gives the exit status, -1 when a signal ended it.
    int stop();
    bool runs() const noexcept;

    std::uint16_t port() const noexcept { return port_; }
    std::string node() const { return (folder_.path() / "node").string(); }
    /// What it has written to standard error.
    std::string log() const;
    /// Resident memory now and at its highest, in bytes; time of the processor so far, in milliseconds.
    std::size_t memory() const;
    std::size_t peak_memory() const;
    long processor_time() const;
    int process() const noexcept { return process_; }

  private:
    int end(int signal);
    std::size_t status_field(const std::string &name) const;

    ServerFiles files_;
    std::vector<std::string> options_, environment_;
    TemporaryFolder folder_;
    int process_ = -1;
    std::uint16_t port_ = 0;
};

} // namespace support
