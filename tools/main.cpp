// ocamp: reads and edits the OpenConfig data of a node that speaks only its native models. This file reads the command
// line and turns failures into messages and exit statuses; the commands are in files of their own.
#include "options.h"
#include "out_of_memory.h"
#include "output.h"

#include "node/plugin.h"
#include "seam/input_error.h"
#include "seam/text.h"

#include <cstddef>
#include <cstdio>
#include <exception>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace {

constexpr int request_failed = 1;
constexpr int wrong_use = 2;

constexpr const char *footer_text = "Exit status: 0 done, 1 the request failed, 2 wrong use.\n"
                                    "'ocamp COMMAND --help' tells more of each command.";

// The buffer of standard output is there from the start, so that an answer never fails for want of one.
char output_buffer[BUFSIZ];

// One line, whatever a client's text in the message holds. Nothing here throws: the message may be about memory, and
// standard error may be gone.
int tell(std::string_view message, int status) noexcept {
    // In bytes: a refusal with its longest path and reason, and a little more.
    constexpr std::size_t longest_message = 1600;
    try {
        std::string line = "ocamp: ";
        ocamp::append_escaped(line, ocamp::shortened(message, longest_message));
        line += '\n';
        ocamp::write_error(line);
    } catch (...) {
        ocamp::write_error("ocamp: out of memory for the message of an error\n");
    }
    ocamp::outcome_is_told(status);
    return status;
}

// A missing plug-in is told and hides no version.
std::string version() {
    std::string plugin;
    try {
        plugin = "plug-in " + ocamp::Plugin::default_file();
    } catch (const ocamp::PluginError &error) {
        plugin = error.what();
    }
    return fmt::format("ocamp {}\n{}", OCAMP_VERSION, plugin);
}

// Command words are looked at before the rest: what is wrong with them, the library tells without naming them.
void check_commands(CLI::App &program, int argc, char **argv) {
    CLI::App *at = &program;
    for (int i = 1; i < argc && *argv[i] != '-' && at->get_require_subcommand_min() > 0; ++i) {
        const std::string_view word = argv[i];
        const auto named = at->get_subcommands([&](const CLI::App *command) { return command->get_name() == word; });
        if (named.empty()) {
            std::vector<std::string> names;
            for (const CLI::App *known : at->get_subcommands(nullptr))
                names.push_back(known->get_name());
            throw ocamp::InputError(fmt::format("no command '{}{}', expected one of: {}; 'ocamp --help' tells more",
                                                at == &program ? "" : at->get_name() + " ", word,
                                                fmt::join(names, ", ")));
        }
        at = named.front();
    }
}

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

int run(int argc, char **argv) {
    CLI::App program("Reads and edits the optical amplifiers of a node through OpenConfig.", "ocamp");
    program.require_subcommand(1);
    program.footer(footer_text);
    program.set_version_flag("--version", version, "The version, and the plug-in that runs when none is named");
    ocamp::CommonOptions common;
    ocamp::add_get_command(program, common);
    ocamp::add_edit_command(program, common);
    ocamp::add_explain_command(program, common);
    ocamp::add_line_command(program);
    ocamp::add_native_command(program, common);
    ocamp::add_node_command(program, common);
    ocamp::add_sysdb_command(program, common);
    refuse_empty_arguments(program);
    check_commands(program, argc, argv);
    try {
        program.parse(argc, argv);
    } catch (const CLI::Success &help) {
        program.exit(help);
    } catch (const CLI::Error &error) {
        return tell(std::string(error.what()) + "; 'ocamp --help' tells the commands", wrong_use);
    }
    ocamp::finish_output("", "");
    return 0;
}

} // namespace

int main(int argc, char **argv) {
    using namespace ocamp;
    reserve_standard_streams();
    let_writes_fail();
    std::setvbuf(stdout, output_buffer, _IOFBF, sizeof output_buffer);
    try {
        return run(argc, argv);
    } catch (const std::bad_alloc &) {
        return tell("out of memory", request_failed);
    } catch (const InputError &error) {
        return tell(error.what(), wrong_use);
    } catch (const std::exception &error) {
        return tell(error.what(), request_failed);
    }
}
