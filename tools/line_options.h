// How a run of a line is asked for, by ocamp or by the server. Knows not how a line runs.
#pragma once

#include "line/run.h"
#include "server/adapter.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>

namespace ocamp {

/// First argument of the server that runs a line instead of serving a node.
inline constexpr const char *run_line_word = "line";

/// Options that say where the first node is served.
inline constexpr const char *netconf_base_option = "--netconf-base", *gnmi_base_option = "--gnmi-base";

/// What `ocamp line run` takes.
struct LineRunOptions {
    std::string folder;
    std::string speed = "1"; ///< as it was typed
    std::optional<std::uint64_t> seed = {}, until = {};
    std::string script;
    /// Where the first node is served by a protocol; empty: by that one, no node is.
    std::string netconf_base, gnmi_base;
    server::TlsSettings tls = {};

    /// Whether nodes are served at all.
    bool serves() const noexcept { return !netconf_base.empty() || !gnmi_base.empty(); }
    /// Seconds of line time a second; 0: as fast as it goes. Throws InputError.
    double seconds_a_second() const;
    /// With the script, which is read, and with tell_of_run for events, warn_of_run for warnings. Throws InputError.
    RunSettings settings() const;
    /// Warns when the line is behind the second already that it is to end at.
    void warn_if_over(const LineRun &line) const;
    /// The options as another program takes them.
    std::vector<std::string> words() const;
};

/// Writes to standard output at once. Unlike finish_output it is for a run that goes on: memory that runs out later is
/// a failure of it. Throws OutputError.
void tell_of_run(std::string_view text);

/// Writes a line to standard error.
void warn_of_run(const std::string &text);

/// Writes to standard error that a run falls behind its pace.
void tell_of_lag(const Lag &lag);

/// DIR and the options.
void add_line_run_options(CLI::App &command, LineRunOptions &options);

} // namespace ocamp
