// ocampd line: runs a line and serves its nodes, if it is to.
#pragma once

namespace ocamp {

/// The words behind "ocampd line" are argv[1] and those behind it. Returns the exit status; throws what fails. The
/// awaited signals are blocked.
int run_line(int argc, char **argv);

} // namespace ocamp
