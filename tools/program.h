// The program as its command line has it: every command with its options and its help. Knows nothing of what they do.
#pragma once

#include "options.h"

#include <CLI/CLI.hpp>

namespace ocamp {

/// Adds every command. `common` outlives the program. Commands run while the program parses.
void add_commands(CLI::App &program, CommonOptions &common);

} // namespace ocamp
