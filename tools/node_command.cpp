// ocamp node init. Knows nothing of what a node holds.
#include "options.h"
#include "output.h"

#include "seam/text.h"

#include <memory>

#include <fmt/format.h>

namespace ocamp {

namespace {

struct InitOptions {
    std::string folder;
    std::string example;
};

} // namespace

void add_node_command(CLI::App &program, CommonOptions &common) {
    CLI::App &command = *program.add_subcommand("node", "Make nodes");
    command.require_subcommand(1);
    CLI::App &init = *command.add_subcommand("init", "Make a node from an example");
    auto options = std::make_shared<InitOptions>();
    init.add_option("DIR", options->folder, "Folder of the new node; it is made if need be")->required();
    init.add_option("--from", options->example, "Example: native data in native/, system-database records in sysdb/")
        ->type_name("EXAMPLE")
        ->required();
    add_common_options(init, common);
    init.footer("Example:\n  ocamp node init demo-node --from examples/node");
    init.callback([options, &common] {
        const LogSession logs(logs_outside(options->folder, common.logs));
        const std::string made =
            escaped(fmt::format("{}: node made from {}", options->folder, options->example)) + "\n";
        logged([&] { Node::init(options->folder, options->example); });
        finish_output(made, "the node is made");
    });
}

} // namespace ocamp
