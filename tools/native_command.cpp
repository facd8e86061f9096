// ocamp native get: the native data as they stand. Knows nothing of OpenConfig.
#include "options.h"
#include "output.h"
#include "text_io.h"

#include "yang/models.h"

#include <memory>

namespace ocamp {

namespace {

struct NativeOptions {
    std::string node;
    std::string path;
    LYD_FORMAT format = LYD_JSON;
};

YangTree all_data(NativeData data) {
    for (NativeDocument &document : data.operational)
        data.running.to_change().add(std::move(document.to_change()));
    return std::move(data.running.to_change());
}

void run(const NativeOptions &options, const CommonOptions &common) {
    const Filter filter =
        options.path.empty() ? Filter(native_schema()) : Filter::from_path(native_schema(), options.path);
    const LogSession logs(logs_outside(options.node, common.logs));
    YangTree tree = logged([&] {
        Node node(options.node, Node::Access::read);
        const ReadTransaction snapshot(node.database());
        return all_data(load_native(node.database(), native_schema()));
    });
    filter.cut(tree);
    finish_output(answer_text(tree, options.format), "");
}

} // namespace

void add_native_command(CLI::App &program, CommonOptions &common) {
    CLI::App &command = *program.add_subcommand("native", "Look at a node's native data");
    command.require_subcommand(1);
    CLI::App &get = *command.add_subcommand("get", "Show the native data as they stand");
    auto options = std::make_shared<NativeOptions>();
    add_node_option(get, options->node);
    get.add_option("PATH", options->path, "Absolute data path in the native models; default: all");
    add_format_option(get, options->format);
    add_common_options(get, common);
    get.footer("Example:\n"
               "  ocamp native get --node demo-node \"/interface-configurations/"
               "interface-configuration[interface-name='Ots0/1/0/0']/optics\"");
    get.callback([options, &common] { run(*options, common); });
}

} // namespace ocamp
