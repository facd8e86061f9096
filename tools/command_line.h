// The words of the command line before they are parsed: which command is meant, options that stand before it, and what
// is wrong with either, told with the nearest known word. Knows no command.
#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace ocamp {

/// A command line that the program's parser takes.
struct CommandLine {
    CLI::App *command;              ///< the innermost command that is named; the program when none is
    std::vector<std::string> words; ///< the commands first, then options and arguments in their order
};

/// Throws InputError for a command or an option that there is not.
CommandLine read_command_line(CLI::App &program, int argc, const char *const *argv);

/// The command as it is typed, such as "ocamp sysdb get".
std::string typed_name(const CLI::App &command);

/// The commands of an application that people are told of.
std::vector<CLI::App *> shown_commands(CLI::App &application);

} // namespace ocamp
