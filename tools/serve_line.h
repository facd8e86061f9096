// ocampd line: runs a line and serves its nodes.
#pragma once

namespace ocamp {

/// The words behind "ocampd line" are argv[1] and those behind it. Returns the exit status; throws what fails. The
/// awaited signals are blocked.
int serve_line(int argc, char **argv);

} // namespace ocamp
