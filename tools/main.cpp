// ocamp: reads and edits the OpenConfig data of a node that speaks only its native models. This file reads the command
// line and turns failures into messages and exit statuses; the commands are in files of their own.
#include "options.h"
#include "out_of_memory.h"
#include "output.h"

#include "log/text.h"
#include "node/client_document.h"
#include "node/plugin.h"
#include "sysdb/bag_json.h"

#include <cstddef>
#include <cstdio>
#include <exception>
#include <new>
#include <string>
#include <string_view>

#include <fmt/format.h>

namespace {

constexpr int kFailed = 1;
constexpr int kWrongUse = 2;

constexpr const char *kFooter = "Exit status: 0 done, 1 the request failed, 2 wrong use.\n"
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

int run(int argc, char **argv) {
    CLI::App program("Reads and edits the optical amplifiers of a node through OpenConfig.", "ocamp");
    program.require_subcommand(1);
    program.footer(kFooter);
    program.set_version_flag("--version", version, "The version, and the plug-in that runs when none is named");
    ocamp::CommonOptions common;
    ocamp::add_get_command(program, common);
    ocamp::add_edit_command(program, common);
    ocamp::add_explain_command(program, common);
    ocamp::add_native_command(program, common);
    ocamp::add_node_command(program, common);
    ocamp::add_sysdb_command(program, common);
    try {
        program.parse(argc, argv);
    } catch (const CLI::Success &help) {
        program.exit(help);
    } catch (const CLI::Error &error) {
        return tell(std::string(error.what()) + "; 'ocamp --help' tells the commands", kWrongUse);
    }
    ocamp::finish_output("", "");
    return 0;
}

} // namespace

int main(int argc, char **argv) {
    using namespace ocamp;
    reserve_standard_streams();
    std::setvbuf(stdout, output_buffer, _IOFBF, sizeof output_buffer);
    try {
        return run(argc, argv);
    } catch (const std::bad_alloc &) {
        return tell("out of memory", kFailed);
    } catch (const UsageError &error) {
        return tell(error.what(), kWrongUse);
    } catch (const FilterError &error) {
        return tell(error.what(), kWrongUse);
    } catch (const DocumentError &error) {
        return tell(error.what(), kWrongUse);
    } catch (const NodeError &error) {
        return tell(error.what(), kWrongUse);
    } catch (const PluginError &error) {
        return tell(error.what(), kWrongUse);
    } catch (const LogError &error) {
        return tell(error.what(), kWrongUse);
    } catch (const SysdbNameError &error) {
        return tell(error.what(), kWrongUse);
    } catch (const BagJsonError &error) {
        return tell(error.what(), kWrongUse);
    } catch (const std::exception &error) {
        return tell(error.what(), kFailed);
    }
}
