// Which commands there are, and what all of them have in common. Knows nothing of what they do.
#include "program.h"

#include "command_line.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace ocamp {

namespace {

constexpr const char *exit_statuses = "Exit status: 0 done, 1 the request failed, 2 wrong use.";

// An empty argument is most likely a variable that was never set, and never means the default.
void refuse_empty_arguments(CLI::App &command) {
    for (CLI::Option *option : command.get_options()) {
        if (option->get_items_expected_max() == 0)
            continue;
        const auto check = [option](const std::string &argument) {
            return argument.empty() ? "is empty, expected: " + option->get_description() : std::string();
        };
        option->check(check, "");
    }
    for (CLI::App *inner : command.get_subcommands(nullptr))
        refuse_empty_arguments(*inner);
}

void tell_exit_statuses(CLI::App &command) {
    const std::string footer = command.get_footer();
    command.footer(footer.empty() ? exit_statuses : footer + "\n" + exit_statuses);
    for (CLI::App *inner : command.get_subcommands(nullptr))
        tell_exit_statuses(*inner);
}

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
    refuse_empty_arguments(program);
    tell_exit_statuses(program);
}

} // namespace ocamp
