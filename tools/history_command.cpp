// ocamp history: minimum, average and maximum of past intervals. Knows neither how they are read nor how they are
// drawn.
#include "history_plot.h"
#include "options.h"
#include "output.h"
#include "text_io.h"

#include "seam/text.h"
#include "yang/models.h"

#include <memory>

#include <nlohmann/json.hpp>

namespace ocamp {

namespace {

using Json = nlohmann::ordered_json;

struct HistoryOptions {
    std::string node;
    std::string path;
    bool ascii = false;
    std::string svg_file;
};

std::string json_of(const std::vector<LeafHistory> &leaves) {
    Json array = Json::array();
    for (const LeafHistory &leaf : leaves) {
        Json values = Json::array();
        for (const std::optional<std::string> &value : leaf.values)
            values.push_back(value ? Json(*value) : Json(nullptr));
        array.push_back({{"path", leaf.path}, {"unit", leaf.unit}, {"values", values}});
    }
    return escaped_json(array.dump(2, ' ', false, Json::error_handler_t::replace)) + "\n";
}

std::string plots_of(const std::vector<Quantity> &quantities, bool ascii) {
    std::string text;
    for (const Quantity &quantity : quantities)
        text += plot_of(quantity, ascii);
    return text.empty() ? "no minimum, average or maximum there\n" : text;
}

void run(const HistoryOptions &options, const CommonOptions &common) {
    const Filter filter = Filter::from_path(openconfig_schema(), options.path);
    Service service({.node = options.node, .plugin = common.plugin, .logs = common.logs});
    const std::vector<LeafHistory> leaves = service.history(filter);
    const std::vector<Quantity> quantities = quantities_of(leaves);
    if (!options.svg_file.empty())
        write_file(options.svg_file, svg_of(quantities));
    if (options.svg_file != "-")
        write_output(common.json ? json_of(leaves) : plots_of(quantities, options.ascii));
    finish_output("", "");
}

} // namespace

void add_history_command(CLI::App &program, CommonOptions &common) {
    CLI::App &command =
        *program.add_subcommand("history", "Plot minimum, average and maximum of past intervals of 30 seconds");
    auto options = std::make_shared<HistoryOptions>();
    command.add_option("PATH", options->path, "Data path; keys that are left out or '*' stand for all entries")
        ->required();
    add_node_option(command, options->node);
    command.add_flag("--ascii", options->ascii, "Plot with characters of seven bits");
    command.add_option("--svg", options->svg_file, "Also draw into FILE as SVG; '-' for standard output, alone")
        ->type_name("FILE");
    add_common_options(command, common);
    command.footer("Example:\n"
                   "  ocamp history --node demo-node "
                   "\"/optical-amplifier/amplifiers/amplifier[name='0/1-AMP-PRE']/state/actual-gain\"\n"
                   "A row of blocks goes from the lowest to the highest value of its quantity; a blank is an interval "
                   "without value.");
    command.callback([options, &common] { run(*options, common); });
}

} // namespace ocamp
