// The options that commands share. Knows no command.
#pragma once

#include "log/log.h"
#include "node/edit_request.h"
#include "node/filter.h"
#include "node/service.h"
#include "yfw_platform.h"

#include <cstdint>
#include <optional>
#include <string>

#include <CLI/CLI.hpp>
#include <libyang/libyang.h>

namespace ocamp {

/// Options that every command has.
struct CommonOptions {
    bool json = false;
    std::string plugin;
    LogSettings logs{.debug_log = {}, .level = log_traces, .trace = {}};
};

/// -n, --node DIR, which must be given unless OCAMP_NODE is in the environment.
void add_node_option(CLI::App &command, std::string &folder);
/// What --json is for in commands that tell nothing but their answer.
inline constexpr const char *errors_as_json = "Errors as JSON";

/// --json, --plugin and those of the logs. `json_description`: what --json is for.
void add_common_options(CLI::App &command, CommonOptions &options,
                        const char *json_description = "Errors, and what the command tells, as JSON");

/// What a read asks for: PATH or --filter FILE, and --config.
struct ReadOptions {
    std::optional<std::string> path;
    std::string filter_file;
    bool configuration_only = false;

    /// YFW_KIND_GET or YFW_KIND_GET_CONFIG.
    std::uint32_t kind() const noexcept { return configuration_only ? YFW_KIND_GET_CONFIG : YFW_KIND_GET; }
    /// Reads the filter's file. Throws InputError.
    Filter filter() const;
};
/// PATH, --filter FILE and --config.
void add_read_options(CLI::App &command, ReadOptions &options);

/// What an edit asks for: FILE and --default-operation.
struct EditOptions {
    std::string file;
    DefaultOperation default_operation = DefaultOperation::merge;

    /// Reads the edit's file; state that was read beside configuration is passed over. Throws InputError, and
    /// RequestError for an edit that the model refuses.
    EditRequest request() const;
};
/// FILE and --default-operation.
void add_edit_options(CLI::App &command, EditOptions &options);

/// What an edit tells: everything, nothing, or what it would do if it were made.
struct TellOptions {
    bool quiet = false;
    bool dry_run = false;
};
/// --quiet and, where a change can be tried, --dry-run.
void add_quiet_option(CLI::App &command, TellOptions &options);
void add_dry_run_option(CLI::App &command, TellOptions &options);

/// Reads the command line of a program that has one command, by whose name it is called. A status when the program is
/// to end with it: help has been printed. Throws InputError for what cannot be meant.
std::optional<int> read_command_line(CLI::App &program, int argc, char **argv);

/// --format json|xml.
void add_format_option(CLI::App &command, LYD_FORMAT &format);

/// Each adds its command to the program's. The command runs when the command line has been read.
void add_get_command(CLI::App &program, CommonOptions &common);
void add_edit_command(CLI::App &program, CommonOptions &common);
void add_set_command(CLI::App &program, CommonOptions &common);
void add_rm_command(CLI::App &program, CommonOptions &common);
void add_explain_command(CLI::App &program, CommonOptions &common);
void add_watch_command(CLI::App &program, CommonOptions &common);
void add_history_command(CLI::App &program, CommonOptions &common);
void add_native_command(CLI::App &program, CommonOptions &common);
void add_node_command(CLI::App &program, CommonOptions &common);
void add_sysdb_command(CLI::App &program, CommonOptions &common);
void add_why_command(CLI::App &program, CommonOptions &common);
/// The command that completion asks; no help tells of it.
void add_complete_command(CLI::App &program, CommonOptions &common);
/// These run neither the plug-in nor a log of it.
void add_line_command(CLI::App &program);
void add_serve_command(CLI::App &program);
void add_gnmi_command(CLI::App &program);
void add_user_command(CLI::App &program);

} // namespace ocamp
