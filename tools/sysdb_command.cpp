// ocamp sysdb: shows and changes the records of a node's system database. Knows nothing of what they mean.
#include "options.h"
#include "output.h"
#include "text_io.h"

#include "seam/text.h"
#include "sysdb/bag_json.h"
#include "sysdb/bag_record.h"
#include "sysdb/record_reader.h"

#include <functional>
#include <memory>

#include <fmt/format.h>

namespace ocamp {

namespace {

struct SysdbOptions {
    std::string node;
    std::string bind_point;
    std::string item;
    std::string file = "-";
};

void list_items(SystemDatabase &database, const std::string &bind_point) {
    for (const std::string &item : database.items(bind_point))
        print("{}\n", escaped(fmt::format("{} {}", bind_point, item)));
}

void list(SystemDatabase &database, const SysdbOptions &options) {
    if (!options.bind_point.empty()) {
        list_items(database, options.bind_point);
        return;
    }
    for (const std::string &bind_point : database.bind_points())
        list_items(database, bind_point);
}

[[noreturn]] void refuse_missing(const SysdbOptions &options) {
    throw InputError(fmt::format("{}: no item {} under {}, expected one that 'ocamp sysdb list' shows", options.node,
                                 options.item, options.bind_point));
}

void get(SystemDatabase &database, const SysdbOptions &options) {
    const auto bag = read_record(database, options.bind_point, options.item);
    if (!bag)
        refuse_missing(options);
    write_output(escaped_json(bag_to_json(decode_bag(*bag))));
}

using Read = void (*)(SystemDatabase &, const SysdbOptions &);

// Shows something of one state of the database.
void read_with(Read read, const SysdbOptions &options) {
    Node node(options.node, Node::Access::read);
    const ReadTransaction snapshot(node.database());
    read(node.system_database(), options);
}

void put(const SysdbOptions &options) {
    // Read first: other writers do not wait for this one's input.
    const BagRecord record = named_input(options.file, [](const std::string &text) { return bag_from_json(text); });
    Node node(options.node, Node::Access::write);
    Transaction transaction(node.database());
    write_record(node.system_database(), options.bind_point, options.item, record);
    transaction.commit();
    finish_output("", "the record is written");
}

void remove(const SysdbOptions &options) {
    Node node(options.node, Node::Access::write);
    Transaction transaction(node.database());
    if (!node.system_database().remove(options.bind_point, options.item))
        refuse_missing(options);
    transaction.commit();
    finish_output("", "the record is removed");
}

using Action = std::function<void(const SysdbOptions &)>;

CLI::App &add_action(CLI::App &parent, const char *name, const char *description, const char *example,
                     const std::shared_ptr<SysdbOptions> &options, CommonOptions &common, const Action &action) {
    CLI::App &command = *parent.add_subcommand(name, description);
    add_node_option(command, options->node);
    command.footer(std::string("Example:\n  ") + example);
    command.callback([options, &common, action] {
        const LogSession logs(logs_outside(options->node, common.logs));
        logged([&] { action(*options); });
    });
    return command;
}

void add_item_arguments(CLI::App &command, SysdbOptions &options) {
    command.add_option("BIND_POINT", options.bind_point, "Bind point, such as /oper/ots/if/")->required();
    command.add_option("ITEM", options.item, "Item under it, such as Ots0_1_0_0/ots_info")->required();
}

} // namespace

void add_sysdb_command(CLI::App &program, CommonOptions &common) {
    CLI::App &command = *program.add_subcommand("sysdb", "Look at and change a node's system database");
    command.require_subcommand(1);
    auto options = std::make_shared<SysdbOptions>();

    CLI::App &lister = add_action(command, "list", "List items, each with its bind point",
                                  "ocamp sysdb list --node demo-node /oper/ots/if/", options, common,
                                  [](const SysdbOptions &chosen) { read_with(list, chosen); });
    lister.add_option("BIND_POINT", options->bind_point, "Items of this bind point only");

    CLI::App &getter = add_action(command, "get", "Show a record as JSON",
                                  "ocamp sysdb get --node demo-node /oper/ots/if/ Ots0_1_0_0/ots_info", options, common,
                                  [](const SysdbOptions &chosen) { read_with(get, chosen); });
    add_item_arguments(getter, *options);

    CLI::App &putter = add_action(command, "put", "Write a record given as JSON",
                                  "ocamp sysdb put --node demo-node /oper/ots/if/ Ots0_1_0_0/ots_info record.json",
                                  options, common, put);
    add_item_arguments(putter, *options);
    putter.add_option("FILE", options->file, "The record, '-' for standard input")->capture_default_str();

    CLI::App &remover =
        add_action(command, "rm", "Remove a record",
                   "ocamp sysdb rm --node demo-node /oper/ots/if/ Ots0_1_0_0/ots_info", options, common, remove);
    add_item_arguments(remover, *options);

    for (CLI::App *action : {&lister, &getter, &putter, &remover})
        add_common_options(*action, common, errors_as_json);
}

} // namespace ocamp
