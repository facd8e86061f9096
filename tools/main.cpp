// ocamp: reads and edits the OpenConfig data of a node that speaks only its native models. This file reads the command
// line and turns failures into messages and exit statuses; the commands are in files of their own.
#include "command_line.h"
#include "failure_message.h"
#include "outcome.h"
#include "output.h"
#include "program.h"
#include "quick_run.h"

#include "node/plugin.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <new>
#include <string>
#include <string_view>

#include <fmt/format.h>

namespace {

// The buffer of standard output is there from the start, so that an answer never fails for want of one.
char output_buffer[BUFSIZ];

// Nothing here throws: the message may be about memory, and standard error may be gone.
int tell(const std::exception &failure, bool as_json) noexcept {
    const int status = ocamp::status_of(failure);
    try {
        ocamp::write_error(ocamp::failure_message(failure, status, as_json));
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
    program.set_version_flag("--version", version, "The version, and the plug-in that runs when none is named");
    ocamp::CommonOptions common;
    ocamp::add_commands(program, common, argc > 1 ? argv[1] : "");
    ocamp::run_command_line(program, argc, argv);
    ocamp::finish_output("", "");
    return 0;
}

} // namespace

int main(int argc, char **argv) {
    using namespace ocamp;
    put_heap_on_large_page();
    reserve_standard_streams();
    let_writes_fail();
    std::setvbuf(stdout, output_buffer, _IOFBF, sizeof output_buffer);
    // What is wrong with the command line is told in the form that it asks for, too.
    const bool as_json =
        std::any_of(argv, argv + argc, [](const char *word) { return std::string_view(word) == json_option; });
    try {
        return run(argc, argv);
    } catch (const std::exception &failure) {
        return tell(failure, as_json);
    }
}
