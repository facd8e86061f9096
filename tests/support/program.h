// Starts programs with an argument list, never through a shell, and keeps what they write. Knows no program.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace support {

/// How a program ended, and what it wrote.
struct Outcome {
    int status = -1; ///< exit status; -1 when a signal ended it
    std::string out, err;
    int signal = 0; ///< the signal that ended it; 0: none
};

struct Launch {
    std::vector<std::string> words;            ///< the program's file and its arguments
    std::string input = {};                    ///< standard input
    std::vector<std::string> environment = {}; ///< "NAME=value" each, besides this program's own
    /// Standard descriptors that lead into a file, made if need be, or are closed (no file) instead of being kept.
    std::map<int, std::filesystem::path> redirected = {};
};

/// Runs the program and waits for its end. Throws std::system_error when it cannot be started.
Outcome run(const Launch &launch);

/// Starts the program, whose output is lost unless it is redirected, and gives its process number; the caller waits
/// for it. Throws std::system_error.
int start(const Launch &launch);

} // namespace support
