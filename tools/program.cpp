// Which commands there are, and what all of them have in common. Knows nothing of what they do.
#include "program.h"

#include "command_line.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace ocamp {

namespace {

using AddCommand = void (*)(CLI::App &program, CommonOptions &common);
constexpr std::pair<std::string_view, AddCommand> commands[] = {
    {"get", add_get_command},
    {"edit", add_edit_command},
    {"set", add_set_command},
    {"rm", add_rm_command},
    {"why", add_why_command},
    {"explain", add_explain_command},
    {"watch", add_watch_command},
    {"history", add_history_command},
    {"native", add_native_command},
    {"node", add_node_command},
    {"sysdb", add_sysdb_command},
    {"line", [](CLI::App &program, CommonOptions & /*common*/) { add_line_command(program); }},
    {"serve", [](CLI::App &program, CommonOptions & /*common*/) { add_serve_command(program); }},
    {"gnmi", [](CLI::App &program, CommonOptions & /*common*/) { add_gnmi_command(program); }},
    {"user", [](CLI::App &program, CommonOptions & /*common*/) { add_user_command(program); }},
};

} // namespace

void add_commands(CLI::App &program, CommonOptions &common, std::string_view asked) {
    program.require_subcommand(1);
    program.footer("'ocamp COMMAND --help' tells more of each command.");
    const auto is_asked = [&](const auto &command) { return command.first == asked; };
    const bool known = std::any_of(std::begin(commands), std::end(commands), is_asked);
    for (const auto &command : commands) {
        if (!known || is_asked(command))
            command.second(program, common);
    }
    if (!known)
        add_complete_command(program, common);
    finish_commands(program);
}

} // namespace ocamp
