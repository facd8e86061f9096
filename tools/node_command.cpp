// ocamp node: makes nodes, and writes them out. Knows nothing of what a node holds.
#include "options.h"
#include "output.h"

#include "node/node_export.h"
#include "seam/text.h"

#include <memory>

#include <fmt/format.h>

namespace ocamp {

namespace {

struct InitOptions {
    std::string folder;
    std::string example;
};

struct ExportOptions {
    std::string node;
    std::string folder;
};

void add_export(CLI::App &node, CommonOptions &common) {
    CLI::App &command = *node.add_subcommand("export", "Write a node out as an example that nodes can be made from");
    auto options = std::make_shared<ExportOptions>();
    command.add_option("DIR", options->folder, "Folder to write; it is made if need be")->required();
    add_node_option(command, options->node);
    add_common_options(command, common, errors_as_json);
    command.footer("Example: a copy of a node\n"
                   "  ocamp node export --node demo-node saved && ocamp node init copy --from saved");
    command.callback([options, &common] {
        const LogSession logs(logs_outside(options->node, common.logs));
        const std::string made = escaped(fmt::format("{}: {} written out", options->folder, options->node)) + "\n";
        Node source(options->node, Node::Access::read);
        export_node(source, options->folder);
        finish_output(made, "the node is written out");
    });
}

// With a word each: whoever put them there may have meant them to count.
void tell_passed_over(const std::vector<std::filesystem::path> &files) noexcept {
    try {
        for (const std::filesystem::path &file : files)
            write_error(escaped(fmt::format("ocamp: {}: passed over, no document of the example", file.string())) +
                        "\n");
    } catch (const std::bad_alloc &) {
        write_error("ocamp: out of memory for the names of files that were passed over\n");
    }
}

} // namespace

void add_node_command(CLI::App &program, CommonOptions &common) {
    CLI::App &command = *program.add_subcommand("node", "Make nodes and write them out");
    command.require_subcommand(1);
    CLI::App &init = *command.add_subcommand("init", "Make a node from an example");
    auto options = std::make_shared<InitOptions>();
    init.add_option("DIR", options->folder, "Folder of the new node; it is made if need be")->required();
    init.add_option("--from", options->example, "Example: native data in native/, system-database records in sysdb/")
        ->type_name("EXAMPLE")
        ->required();
    add_common_options(init, common, errors_as_json);
    init.footer("Example:\n  ocamp node init demo-node --from examples/node");
    init.callback([options, &common] {
        const LogSession logs(logs_outside(options->folder, common.logs));
        const std::string made =
            escaped(fmt::format("{}: node made from {}", options->folder, options->example)) + "\n";
        logged([&] { tell_passed_over(Node::init(options->folder, options->example)); });
        finish_output(made, "the node is made");
    });
    add_export(command, common);
}

} // namespace ocamp
