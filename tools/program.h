// The program as its command line has it: every command with its options and its help. Knows nothing of what they do.
#pragma once

#include "options.h"

#include <string_view>

#include <CLI/CLI.hpp>

namespace ocamp {

/// Adds the command of the name `asked`, or every command when there is none of that name: to set up the options of all
/// takes as long as a part of a read. `common` outlives the program. Commands run while the program parses.
void add_commands(CLI::App &program, CommonOptions &common, std::string_view asked = "");

} // namespace ocamp
