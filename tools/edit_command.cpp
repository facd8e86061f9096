// ocamp edit, ocamp set and ocamp rm. Knows how an edit is handed over, not how it is carried out.
#include "change_text.h"
#include "options.h"
#include "output.h"

#include "yang/models.h"

#include <memory>

namespace ocamp {

namespace {

struct EditCommandOptions {
    std::string node;
    EditOptions edit;
    TellOptions tell;
};

struct LeafOptions {
    std::string node;
    std::string path;
    std::string value;
    TellOptions tell;
};

constexpr const char *edit_footer =
    "Examples: set the target gain of a booster; write back what was read\n"
    "  ocamp edit --node demo-node - <<'END'\n"
    "  {\"openconfig-optical-amplifier:optical-amplifier\": {\"amplifiers\": {\"amplifier\": [\n"
    "    {\"name\": \"0/2-AMP-BST\", \"config\": {\"name\": \"0/2-AMP-BST\", \"target-gain\": \"15.56\"}}]}}}\n"
    "  END\n"
    "  ocamp get --node demo-node --format xml | ocamp edit --node copy -\n"
    "Operations stand as 'operation' attributes of the namespace urn:ietf:params:xml:ns:netconf:base:1.0 in XML, and "
    "as\n"
    "\"@\": {\"ietf-netconf:operation\": \"delete\"} in JSON. A refused edit changes nothing.";

constexpr const char *set_footer =
    "Example:\n"
    "  ocamp set --node demo-node \"/optical-amplifier/amplifiers/amplifier[name='0/2-AMP-BST']/config/target-gain\" "
    "15.5";

constexpr const char *rm_footer =
    "Example:\n"
    "  ocamp rm --node demo-node \"/optical-amplifier/amplifiers/amplifier[name='0/2-AMP-BST']/config/target-gain\"";

void run(const std::string &node, const EditRequest &request, const TellOptions &tell, const CommonOptions &common) {
    Service service({.node = node, .plugin = common.plugin, .logs = common.logs});
    std::string text;
    const auto prepare = [&](const EditOutcome &outcome) {
        text = told_text({.changed = outcome.changed, .rounded = outcome.rounded, .passed_over = request.passed_over()},
                         tell, common.json);
    };
    EditReport report;
    if (tell.dry_run)
        prepare(service.try_edit(request, report));
    else
        service.edit(request, prepare);
    finish_output(text, tell.dry_run ? "" : "the edit is made");
}

CLI::App &add_leaf_command(CLI::App &program, CommonOptions &common, const char *name, const char *description,
                           const std::shared_ptr<LeafOptions> &options) {
    CLI::App &command = *program.add_subcommand(name, description);
    command.add_option("PATH", options->path, "Data path of the leaf, with all keys")->required();
    add_node_option(command, options->node);
    add_quiet_option(command, options->tell);
    add_dry_run_option(command, options->tell);
    add_common_options(command, common);
    return command;
}

} // namespace

void add_edit_command(CLI::App &program, CommonOptions &common) {
    CLI::App &command = *program.add_subcommand("edit", "Change the OpenConfig configuration of a node");
    auto options = std::make_shared<EditCommandOptions>();
    add_node_option(command, options->node);
    add_edit_options(command, options->edit);
    add_quiet_option(command, options->tell);
    add_dry_run_option(command, options->tell);
    add_common_options(command, common);
    command.footer(edit_footer);
    command.callback([options, &common] { run(options->node, options->edit.request(), options->tell, common); });
}

void add_set_command(CLI::App &program, CommonOptions &common) {
    const auto options = std::make_shared<LeafOptions>();
    CLI::App &command =
        add_leaf_command(program, common, "set", "Give one leaf of the OpenConfig configuration a value", options);
    command.add_option("VALUE", options->value, "The value")->required();
    command.footer(set_footer);
    command.callback([options, &common] {
        run(options->node, EditRequest::set_leaf(openconfig_schema(), options->path, options->value), options->tell,
            common);
    });
}

void add_rm_command(CLI::App &program, CommonOptions &common) {
    const auto options = std::make_shared<LeafOptions>();
    CLI::App &command =
        add_leaf_command(program, common, "rm", "Take one leaf of the OpenConfig configuration away", options);
    command.footer(rm_footer);
    command.callback([options, &common] {
        run(options->node, EditRequest::delete_leaf(openconfig_schema(), options->path), options->tell, common);
    });
}

} // namespace ocamp
