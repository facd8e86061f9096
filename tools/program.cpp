// Which commands there are, and what all of them have in common. Knows nothing of what they do.
#include "program.h"

#include "command_line.h"

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

} // namespace

void add_commands(CLI::App &program, CommonOptions &common) {
    program.require_subcommand(1);
    program.footer("'ocamp COMMAND --help' tells more of each command.");
    add_get_command(program, common);
    add_edit_command(program, common);
    add_set_command(program, common);
    add_rm_command(program, common);
    add_why_command(program, common);
    add_explain_command(program, common);
    add_watch_command(program, common);
    add_history_command(program, common);
    add_native_command(program, common);
    add_node_command(program, common);
    add_sysdb_command(program, common);
    add_serve_command(program);
    add_user_command(program);
    add_complete_command(program, common);
    refuse_empty_arguments(program);
    tell_exit_statuses(program);
}

} // namespace ocamp
