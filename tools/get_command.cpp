// ocamp get. Knows how an answer is asked for and shown, not how it comes about.
#include "answer_text.h"
#include "options.h"
#include "output.h"
#include "quick_run.h"

#include <memory>

namespace ocamp {

namespace {

struct GetOptions {
    std::string node;
    ReadOptions read;
    LYD_FORMAT format = LYD_JSON;
};

constexpr const char *footer_text =
    "Examples:\n"
    "  ocamp get --node demo-node \"/optical-amplifier/amplifiers/amplifier[name='0/1-AMP-PRE']/state\"\n"
    "  ocamp get --node demo-node --config --format xml --filter filter.xml\n"
    "What does not exist gives an empty answer; a path that the model does not have is an error.";

void run(const GetOptions &options, const CommonOptions &common) {
    look_for_time_zone_once();
    const Filter filter = options.read.filter();
    Service service({.node = options.node, .plugin = common.plugin, .logs = common.logs});
    const ReadResult result = service.read(options.read.kind(), filter);
    finish_output(answer_text(result.answer, options.format), "");
    leave_quickly();
}

} // namespace

void add_get_command(CLI::App &program, CommonOptions &common) {
    CLI::App &command = *program.add_subcommand("get", "Read OpenConfig data from a node");
    auto options = std::make_shared<GetOptions>();
    add_node_option(command, options->node);
    add_read_options(command, options->read);
    add_format_option(command, options->format);
    add_common_options(command, common, errors_as_json);
    command.footer(footer_text);
    command.callback([options, &common] { run(*options, common); });
}

} // namespace ocamp
