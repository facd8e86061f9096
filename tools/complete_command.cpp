// ocamp complete: what the beginning of a data path can become, for completion on the command line. Knows no shell.
#include "options.h"
#include "output.h"

#include "node/path_completion.h"
#include "yang/models.h"

#include <exception>
#include <memory>

#include <fmt/format.h>

namespace ocamp {

namespace {

struct CompleteOptions {
    std::string node;
    std::string begun;
    bool native = false;
};

void collect_keys(const lyd_node *first, const lysc_node &list, std::vector<std::string> &keys) {
    for (const lyd_node *node = first; node != nullptr; node = node->next) {
        if (node->schema == &list)
            keys.push_back(leaf_text(*lyd_child(node)));
        collect_keys(lyd_child(node), list, keys);
    }
}

YangTree read(const CompleteOptions &options, const CommonOptions &common, const Filter &filter) {
    if (!options.native)
        return Service({.node = options.node, .plugin = common.plugin, .logs = common.logs})
            .read(YFW_KIND_GET, filter)
            .answer;
    Node node(options.node, Node::Access::read);
    const ReadTransaction snapshot(node.database());
    NativeData data = load_native(node.database(), native_schema());
    YangTree tree = data.running.tree().copy();
    for (NativeDocument &document : data.operational)
        tree.add(std::move(document.to_change()));
    filter.cut(tree);
    return tree;
}

// Whoever presses a key wants what there is, and no message.
std::vector<std::string> entry_keys(const CompleteOptions &options, const CommonOptions &common,
                                    const std::string &path) {
    std::vector<std::string> keys;
    if (options.node.empty())
        return keys;
    try {
        const Filter filter = Filter::from_path(options.native ? native_schema() : openconfig_schema(), path);
        const YangTree tree = read(options, common, filter);
        collect_keys(tree.first(), *filter.path_target(), keys);
    } catch (const std::exception &) {
        keys.clear();
    }
    return keys;
}

void run(const CompleteOptions &options, const CommonOptions &common) {
    const Schema &schema = options.native ? native_schema() : openconfig_schema();
    const auto keys = [&](const std::string &path) { return entry_keys(options, common, path); };
    for (const std::string &path : completed_paths(schema, options.begun, keys))
        print("{}\n", path);
}

} // namespace

void add_complete_command(CLI::App &program, CommonOptions &common) {
    CLI::App &command = *program.add_subcommand("complete", "What the beginning of a data path can become");
    // Hidden: it is asked by completion, not by people.
    command.group("");
    auto options = std::make_shared<CompleteOptions>();
    add_node_option(command, options->node);
    command.get_option("--node")->required(false);
    command.add_flag("--native", options->native, "A path in the native models");
    command.add_option("BEGUN", options->begun, "The beginning of a path; default: none");
    add_common_options(command, common, errors_as_json);
    command.callback([options, &common] { run(*options, common); });
}

} // namespace ocamp
