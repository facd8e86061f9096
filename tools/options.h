// The options that commands share. Knows no command.
#pragma once

#include "node/filter.h"
#include "node/service.h"

#include <optional>
#include <string>

#include <CLI/CLI.hpp>

namespace ocamp {

/// Options that every command has.
struct CommonOptions {
    std::string plugin;
    LogSettings logs{.debug_log = {}, .level = log_traces, .trace = {}};
};

/// --node DIR, which must be given.
void add_node_option(CLI::App &command, std::string &folder);
/// --plugin and those of the logs.
void add_common_options(CLI::App &command, CommonOptions &options);

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

    /// Reads the edit's file. Throws InputError, and RequestError for an edit that the model refuses.
    EditRequest request() const;
};
/// FILE and --default-operation.
void add_edit_options(CLI::App &command, EditOptions &options);

/// --format json|xml.
void add_format_option(CLI::App &command, LYD_FORMAT &format);

/// Each adds its command to the program's. The command runs when the command line has been read.
void add_get_command(CLI::App &program, CommonOptions &common);
void add_edit_command(CLI::App &program, CommonOptions &common);
void add_explain_command(CLI::App &program, CommonOptions &common);
void add_line_command(CLI::App &program);
void add_native_command(CLI::App &program, CommonOptions &common);
void add_node_command(CLI::App &program, CommonOptions &common);
void add_sysdb_command(CLI::App &program, CommonOptions &common);

} // namespace ocamp
