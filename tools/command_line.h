// The words of the command line before they are parsed: which command is meant, options that stand before it, and what
// is wrong with either, told with the nearest known word. Knows no command.
#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace ocamp {

/// Asks for errors, and for what a command tells, as JSON.
inline constexpr const char *json_option = "--json";

/// Runs the command that is named, or prints the help that is asked for. Throws InputError for a command line that is
/// wrong, and what the command throws.
void run_command_line(CLI::App &program, int argc, const char *const *argv);

/// What holds for all commands, when all are added: arguments that are empty are refused, and each help tells of the
/// exit statuses.
void finish_commands(CLI::App &program);

/// The command as it is typed, such as "ocamp sysdb get".
std::string typed_name(const CLI::App &command);

/// The commands of an application that people are told of.
std::vector<CLI::App *> shown_commands(CLI::App &application);

} // namespace ocamp
