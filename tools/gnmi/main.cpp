// ocamp-gnmi, the gNMI client behind 'ocamp gnmi'. This file reads the command line, writes answers, and turns failures
// into messages and exit statuses.
#include "command_line.h"
#include "gnmi/answers.h"
#include "gnmi/client.h"
#include "gnmi/log_in.h"
#include "gnmi/requests.h"
#include "gnmi/rpc_failure.h"
#include "gnmi/value.h"
#include "outcome.h"
#include "output.h"
#include "seam/input_error.h"
#include "seam/text.h"

#include <algorithm>
#include <exception>
#include <new>
#include <optional>
#include <string>
#include <string_view>

#include <fmt/format.h>

namespace {

using namespace ocamp;
using namespace ocamp::gnmi_client;

constexpr int request_failed = 1;
constexpr int wrong_use = 2;

// In bytes: what a target says, as far as it is shown.
constexpr std::size_t longest_message = 1600;

// Every answer is out when the next is waited for: the reader may be a program.
void subscribe(const Options &options) {
    const ::gnmi::SubscribeRequest request = subscribe_request(options);
    const std::optional<std::string> password = password_of(options.connection);
    const StopSignals signals;
    Client client(options.connection, password);
    client.subscribe(request, signals, [&](const ::gnmi::SubscribeResponse &response) {
        write_output(text_of(response, options.output));
        flush_output();
    });
}

void carry_out(Rpc rpc, const Options &options) {
    const auto client = [&] { return Client(options.connection, password_of(options.connection)); };
    switch (rpc) {
    case Rpc::capabilities:
        finish_output(text_of(client().capabilities(), options.output), "");
        break;
    case Rpc::get: {
        const ::gnmi::GetRequest request = get_request(options);
        finish_output(text_of(client().get(request), options.output), "");
        break;
    }
    case Rpc::set: {
        const ::gnmi::SetRequest request = set_request(options);
        finish_output(text_of(client().set(request), options.output), "the target has made the change");
        break;
    }
    case Rpc::subscribe:
        subscribe(options);
        break;
    }
}

std::string message_of(const std::exception &failure, int status, bool as_json) {
    const auto *refusal = dynamic_cast<const RpcFailure *>(&failure);
    const bool no_memory = dynamic_cast<const std::bad_alloc *>(&failure) != nullptr;
    const std::string text = no_memory ? "out of memory" : failure.what();
    if (!as_json)
        return "ocamp: " + escaped(shortened(text, longest_message)) + '\n';
    Json told{{"path", nullptr},
              {"reason", shortened(refusal != nullptr ? refusal->reason() : text, longest_message)},
              {"tag", nullptr},
              {"code", nullptr},
              {"status", status}};
    if (refusal != nullptr && !refusal->code().empty())
        told["code"] = refusal->code();
    return printed(Json{{"error", told}}) + '\n';
}

int tell(const std::exception &failure, bool as_json) noexcept {
    const int status = dynamic_cast<const InputError *>(&failure) != nullptr ? wrong_use : request_failed;
    try {
        write_error(message_of(failure, status, as_json));
    } catch (...) {
        write_error("ocamp: out of memory for the message of an error\n");
    }
    outcome_is_told(status);
    return status;
}

void run(int argc, char **argv) {
    CLI::App program("Asks any gNMI target over the network.", "ocamp gnmi");
    add_rpc_commands(program, [](const CLI::App &, Rpc rpc, const Options &options) { carry_out(rpc, options); });
    finish_commands(program);
    run_command_line(program, argc, argv);
    finish_output("", "");
}

} // namespace

int main(int argc, char **argv) {
    reserve_standard_streams();
    let_writes_fail();
    const bool as_json = std::any_of(argv, argv + argc,
                                     [](const char *word) { return std::string_view(word).starts_with(json_option); });
    try {
        run(argc, argv);
        return 0;
    } catch (const std::exception &failure) {
        return tell(failure, as_json);
    }
}
