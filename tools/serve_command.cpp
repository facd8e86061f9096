// ocamp serve: becomes the server, a program of its own. Knows none of its options.
#include "options.h"
#include "other_program.h"

namespace ocamp {

void add_serve_command(CLI::App &program) {
    CLI::App &command =
        *program.add_subcommand("serve", "Serve a node to network clients; 'ocamp serve --help' tells how");
    command.prefix_command();
    command.set_help_flag();
    command.footer(
        "'ocamp serve --help' tells the options; docs/server.md of the sources tells how the server is run.");
    command.callback([&command] { become_program("ocampd", "the server", command.remaining()); });
}

} // namespace ocamp
