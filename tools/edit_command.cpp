// ocamp edit. Knows how an edit is handed over, not how it is carried out.
#include "options.h"
#include "output.h"
#include "text_io.h"

#include <memory>

namespace ocamp {

namespace {

struct EditCommandOptions {
    std::string node;
    EditOptions edit;
};

constexpr const char *footer_text =
    "Example: set the target gain of a booster\n"
    "  ocamp edit --node demo-node - <<'END'\n"
    "  {\"openconfig-optical-amplifier:optical-amplifier\": {\"amplifiers\": {\"amplifier\": [\n"
    "    {\"name\": \"0/2-AMP-BST\", \"config\": {\"name\": \"0/2-AMP-BST\", \"target-gain\": \"15.56\"}}]}}}\n"
    "  END\n"
    "Operations stand as 'operation' attributes of the namespace urn:ietf:params:xml:ns:netconf:base:1.0 in XML, and "
    "as\n"
    "\"@\": {\"ietf-netconf:operation\": \"delete\"} in JSON. A refused edit changes nothing.";

void run(const EditCommandOptions &options, const CommonOptions &common) {
    const EditRequest request = options.edit.request();
    Service service({.node = options.node, .plugin = common.plugin, .logs = common.logs});
    service.edit(request);
    finish_output("ok\n", "the edit is made");
}

} // namespace

void add_edit_command(CLI::App &program, CommonOptions &common) {
    CLI::App &command = *program.add_subcommand("edit", "Change the OpenConfig configuration of a node");
    auto options = std::make_shared<EditCommandOptions>();
    add_node_option(command, options->node);
    add_edit_options(command, options->edit);
    add_common_options(command, common);
    command.footer(footer_text);
    command.callback([options, &common] { run(*options, common); });
}

} // namespace ocamp
