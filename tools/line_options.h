// How a run of a line is asked for, by ocamp or by the server. Knows not how a line runs.
#pragma once

#include "line/run.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace ocamp {

/// First argument of the server that runs a line instead of a node.
inline constexpr const char *serve_line_word = "line";

/// What `ocamp line run` takes.
struct LineRunOptions {
    std::string folder;
    std::string speed = "1"; ///< as it was typed
    std::optional<std::uint64_t> seed = {}, until = {};
    std::string script;
    std::string netconf_base; ///< empty: the nodes are not served

    /// Seconds of line time a second; 0: as fast as it goes. Throws InputError.
    double seconds_a_second() const;
    /// With the script, which is read. Throws InputError.
    RunSettings settings() const;
    /// The options as another program takes them.
    std::vector<std::string> words() const;
};

/// DIR and the options.
void add_line_run_options(CLI::App &command, LineRunOptions &options);

} // namespace ocamp
