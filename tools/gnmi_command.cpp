// ocamp gnmi: checks its command line and becomes the gNMI client, a program of its own, so that ocamp starts without
// the client's libraries. Knows nothing of the protocol.
#include "options.h"
#include "other_program.h"

#include "gnmi/options.h"

namespace ocamp {

namespace {

// The options as they were given, each as one word, so that no value is taken for an option.
std::vector<std::string> words_of(const CLI::App &command) {
    std::vector<std::string> words{command.get_name()};
    for (const CLI::Option *option : command.get_options()) {
        for (const std::string &value : option->results())
            words.push_back("--" + option->get_lnames().front() + "=" + value);
    }
    return words;
}

} // namespace

void add_gnmi_command(CLI::App &program) {
    CLI::App &command = *program.add_subcommand("gnmi", "Ask any gNMI target over the network");
    gnmi_client::add_rpc_commands(
        command, [](const CLI::App &used, gnmi_client::Rpc /*rpc*/, const gnmi_client::Options & /*options*/) {
            become_program("ocamp-gnmi", "the gNMI client", words_of(used));
        });
}

} // namespace ocamp
