// ocamp why: where values come from, and why there are none. Knows how it is asked, not how it is found.
#include "options.h"
#include "output.h"
#include "text_io.h"

#include "node/why_text.h"

#include <memory>

namespace ocamp {

namespace {

struct WhyOptions {
    std::string node;
    std::optional<std::string> path;
    bool configuration_only = false;
    std::string edit_file;
};

constexpr const char *footer_text =
    "Examples:\n"
    "  ocamp why --node demo-node \"/optical-amplifier/amplifiers/amplifier[name='0/1-AMP-PRE']/state\"\n"
    "  ocamp why --node demo-node --edit edit.xml\n"
    "A value that is not there has a reason, and telling it is no failure.";

void run_read(const WhyOptions &options, const CommonOptions &common) {
    const ReadOptions read{.path = options.path, .filter_file = {}, .configuration_only = options.configuration_only};
    const Filter filter = read.filter();
    Service service({.node = options.node, .plugin = common.plugin, .logs = common.logs});
    const WhyReport report = service.why(read.kind(), filter);
    finish_output(common.json ? why_json(report) : why_text(report), "");
}

void run_edit(const WhyOptions &options, const CommonOptions &common) {
    EditOptions edit;
    edit.file = options.edit_file;
    const EditRequest request = edit.request();
    Service service({.node = options.node, .plugin = common.plugin, .logs = common.logs});
    EditReport report;
    const auto show = [&] { return common.json ? why_json(report.leaves) : why_text(report.leaves); };
    try {
        service.try_edit(request, report);
    } catch (const RequestError &) {
        // What is known of the leaves comes before the reason.
        write_output(show());
        throw;
    }
    finish_output(report.leaves.empty() && !common.json ? "the edit has no leaf\n" : show(), "");
}

} // namespace

void add_why_command(CLI::App &program, CommonOptions &common) {
    CLI::App &command = *program.add_subcommand("why", "Show where values come from, and why there are none");
    auto options = std::make_shared<WhyOptions>();
    add_node_option(command, options->node);
    CLI::Option *path =
        command.add_option("PATH", options->path, "Absolute data path to ask about; default: the whole model");
    command.add_flag("--config", options->configuration_only, "As a read of the configuration only gives it");
    command
        .add_option("--edit", options->edit_file,
                    "Ask about an edit instead: what its leaves become, without doing it; '-' for standard input")
        ->type_name("FILE")
        ->excludes(path);
    add_common_options(command, common);
    command.footer(footer_text);
    command.callback([options, &common] {
        if (options->edit_file.empty())
            run_read(*options, common);
        else
            run_edit(*options, common);
    });
}

} // namespace ocamp
