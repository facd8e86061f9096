// ocamp native: the native data as they stand, and changes of them by hand. Knows nothing of OpenConfig.
#include "answer_text.h"
#include "change_text.h"
#include "options.h"
#include "output.h"
#include "text_io.h"

#include "node/native_change.h"
#include "node/native_document.h"
#include "yang/error.h"
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

struct NativeChangeOptions {
    std::string node;
    std::string path;
    std::string value;
    std::string file;
    YangTree document; // that of the file
    TellOptions tell;
};

YangTree document_of(const std::string &text) {
    try {
        return parse_native_document(text, format_of(text));
    } catch (const YangError &error) {
        throw DocumentError(error.what());
    }
}

using Change = void (*)(Node &, const NativeChangeOptions &, const TellChanges &);

void run_change(Change change, NativeChangeOptions &options, const CommonOptions &common) {
    // Read first: other writers do not wait for this one's input.
    if (!options.file.empty())
        options.document = named_input(options.file, document_of);
    const LogSession logs(logs_outside(options.node, common.logs));
    Node node(options.node, Node::Access::write);
    std::string text;
    change(node, options, [&](const std::vector<LeafChange> &changed) {
        text = told_text({.changed = changed}, options.tell, common.json);
    });
    finish_output(text, "the native data are changed");
}

CLI::App &add_change(CLI::App &native, const char *name, const char *description, const char *example,
                     const std::shared_ptr<NativeChangeOptions> &options, CommonOptions &common, Change change) {
    CLI::App &command = *native.add_subcommand(name, description);
    add_node_option(command, options->node);
    add_quiet_option(command, options->tell);
    add_common_options(command, common);
    command.footer(std::string("Example:\n  ") + example);
    command.callback([options, &common, change] { run_change(change, *options, common); });
    return command;
}

void add_changes(CLI::App &native, CommonOptions &common) {
    const auto options = std::make_shared<NativeChangeOptions>();
    CLI::App &set =
        add_change(native, "set", "Give one native leaf a value, configuration or operational data",
                   "ocamp native set --node demo-node "
                   "\"/ots-oper/ots-ports/ots-port[name='Ots0/1/0/0']/ots-info/ampli-gain\" 1725",
                   options, common, [](Node &node, const NativeChangeOptions &chosen, const TellChanges &tell) {
                       set_native(node, chosen.path, chosen.value, tell);
                   });
    set.add_option("PATH", options->path, "Data path of a leaf in the native models, with all keys")->required();
    set.add_option("VALUE", options->value, "The value as the native model writes it")->required();

    CLI::App &put =
        add_change(native, "put", "Put a native document into the native data",
                   "ocamp native put --node demo-node measured.json\n"
                   "What the document does not hold stays as it is. What 'ocamp native get' shows can be put.",
                   options, common, [](Node &node, const NativeChangeOptions &chosen, const TellChanges &tell) {
                       put_native(node, chosen.document, tell);
                   });
    put.add_option("FILE", options->file, "Instance document of native models, JSON or XML; '-' for standard input")
        ->required();

    CLI::App &remove = add_change(
        native, "rm", "Take native data away, configuration or operational data",
        "ocamp native rm --node demo-node \"/ots-oper/ots-ports/ots-port[name='Ots0/1/0/0']/ots-info/ampli-gain\"",
        options, common, [](Node &node, const NativeChangeOptions &chosen, const TellChanges &tell) {
            remove_native(node, chosen.path, tell);
        });
    remove
        .add_option("PATH", options->path,
                    "Data path in the native models; a key that is left out or '*' stands for all entries")
        ->required();
}

} // namespace

void add_native_command(CLI::App &program, CommonOptions &common) {
    CLI::App &command = *program.add_subcommand("native", "Look at and change a node's native data");
    command.require_subcommand(1);
    CLI::App &get = *command.add_subcommand("get", "Show the native data as they stand");
    auto options = std::make_shared<NativeOptions>();
    add_node_option(get, options->node);
    get.add_option(
        "PATH", options->path,
        "Absolute data path in the native models; keys that are left out or '*' stand for all entries; default: all");
    add_format_option(get, options->format);
    add_common_options(get, common, errors_as_json);
    get.footer("Example:\n"
               "  ocamp native get --node demo-node \"/interface-configurations/"
               "interface-configuration[interface-name='Ots0/1/0/0']/optics\"");
    get.callback([options, &common] { run(*options, common); });
    add_changes(command, common);
}

} // namespace ocamp
