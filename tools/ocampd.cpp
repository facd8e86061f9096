// ocampd: serves a node to network clients, or runs a line, whose nodes may be served. This file reads the command
// line, listens, and waits for signals; the work is done by the core and the adapters.
#include "line_options.h"
#include "living_node.h"
#include "options.h"
#include "output.h"
#include "run_line.h"
#include "serving.h"
#include "tls_options.h"
#include "whole_number.h"

#include "seam/input_error.h"
#include "seam/text.h"
#include "server/adapter.h"
#include "server/core.h"
#include "server/served_modules.h"

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>

#include <pthread.h>
#include <sys/resource.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <fmt/format.h>

namespace {

using namespace ocamp;
using namespace ocamp::server;

constexpr int request_failed = 1;
constexpr int wrong_use = 2;

constexpr const char *footer_text =
    "Only the protocols named are served; none named: all, on their default addresses.\n"
    "A line with 'ready' on standard output tells the addresses; events are lines on standard error.\n"
    "SIGHUP reads users and keys anew; SIGTERM and SIGINT end the server.\n"
    "Exit status: 0 ended by a signal, 1 the server failed, 2 wrong use.";

// What the command line says.
struct ServeOptions {
    CoreSettings core;
    std::string node;
    bool live = false;
    LogFormat log_format = LogFormat::text;
    std::map<std::string, std::vector<std::string>> addresses; // by protocol
    CalledClients call_home;
    TlsSettings tls;
};

// What libraries below take as an int, and what is multiplied further on, is in range with it.
constexpr std::uint64_t highest_limit = std::numeric_limits<std::int32_t>::max();

void add_limit(CLI::App &program, const char *name, std::size_t &limit, const char *type, const char *description) {
    program.add_option(name, limit, description)
        ->type_name(type)
        ->check(refuse_no_whole_number<highest_limit>, "")
        ->capture_default_str()
        ->group("Limits");
}

// A limit that is a time: what the option takes is its number in the limit's own unit.
template <class Time>
void add_time(CLI::App &program, const char *name, Time &limit, const char *type, const char *description) {
    program
        .add_option_function<unsigned>(
            name, [&limit](unsigned number) { limit = Time(number); }, description)
        ->type_name(type)
        ->check(refuse_no_whole_number<highest_limit>, "")
        ->default_str(std::to_string(limit.count()))
        ->group("Limits");
}

void add_limits(CLI::App &program, Limits &limits) {
    add_limit(program, "--max-sessions", limits.sessions, "N", "Sessions of all users");
    add_limit(program, "--max-sessions-per-user", limits.sessions_per_user, "N", "Sessions of one user");
    add_limit(program, "--max-requests", limits.requests_in_flight, "N", "Requests of one session that wait");
    add_limit(program, "--max-connections", limits.connections, "N", "Connections of one protocol, logged in or not");
    add_limit(program, "--max-connections-per-address", limits.connections_per_address, "N",
              "Connections of one address that are not logged in");
    add_limit(program, "--max-connections-per-user", limits.connections_per_user, "N",
              "gNMI connections of one user, with 16 streams for each");
    add_limit(program, "--max-message", limits.message_size, "BYTES", "Size of one message of a client");
    add_limit(program, "--max-nesting", limits.nesting, "N", "Levels of a client's document");
    add_limit(program, "--max-backlog", limits.output_backlog, "BYTES", "What one client has not read yet");
    add_time(program, "--log-in-time", limits.log_in_time, "SECONDS", "From the connection to the end of the log-in");
    add_time(program, "--idle-time", limits.idle_time, "SECONDS",
             "A session without requests, or a gNMI connection without RPCs; 0: for ever");
    add_time(program, "--change-poll", limits.change_poll, "MILLISECONDS",
             "Between looks for changes that other processes made");
}

void add_protocols(CLI::App &program, ServeOptions &options) {
    for (const Protocol &protocol : protocols()) {
        const std::string name(protocol.name);
        program.add_option("--" + name, options.addresses[name], std::string(protocol.description))
            ->type_name("ADDRESS:PORT")
            ->expected(0, 1)
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
            ->default_str(std::string(protocol.default_address));
        if (protocol.calls_home)
            program
                .add_option("--" + name + "-call-home", options.call_home[name],
                            "Client to connect to, again and again until it answers")
                ->type_name("ADDRESS:PORT");
    }
}

// The sockets of each protocol that is served.
ServedSockets sockets_of(const ServeOptions &options) {
    ServedSockets sockets = inherited_sockets();
    for (const auto &[name, inherited] : sockets) {
        const bool known =
            std::any_of(protocols().begin(), protocols().end(),
                        [&, wanted = name](const Protocol &protocol) { return protocol.name == wanted; });
        if (!known)
            throw ListenError(fmt::format("inherited socket '{}': expected the name of a protocol", escaped(name)));
    }
    bool any = !sockets.empty();
    for (const auto &[name, addresses] : options.addresses) {
        any = any || !addresses.empty() || options.call_home.contains(name);
        for (const std::string &address : addresses)
            std::ranges::move(listen_on(address), std::back_inserter(sockets[name]));
    }
    for (const auto &[name, clients] : options.call_home) {
        if (!clients.empty())
            sockets[name];
    }
    if (sockets.empty()) {
        for (const Protocol &protocol : protocols())
            sockets[std::string(protocol.name)] = listen_on(protocol.default_address);
    }
    return sockets;
}

// Returns when a signal has asked for the end.
void wait_for_end(Core &core, Serving &serving) {
    const sigset_t signals = awaited_signals();
    for (;;) {
        int signal = 0;
        if (sigwait(&signals, &signal) != 0)
            continue;
        if (signal != SIGHUP) {
            core.log().write(Severity::info, "ending", {{"signal", signal}});
            return;
        }
        sd_notify(0, "RELOADING=1");
        serving.reload();
        sd_notify(0, "READY=1");
    }
}

void serve(const ServeOptions &options) {
    EventLog log(options.log_format);
    auto sockets = sockets_of(options);
    std::optional<LivingNode> living; // first, as the node is opened with its live data
    if (options.live)
        living.emplace(options.node, log);
    served_modules();
    Core core(options.core, log);
    Serving serving(core, std::move(sockets), {.call_home = options.call_home, .tls = options.tls});
    log.write(Severity::info, "ready", {{"node", options.node}, {"addresses", serving.addresses()}});
    write_output(fmt::format("ready{}\n", serving.addresses()));
    // Not finish_output: what a server is asked for has no outcome yet, so that memory that runs out later is a
    // failure.
    flush_output();
    sd_notify(0, "READY=1");
    if (living)
        living->begin(core);
    wait_for_end(core, serving);
    sd_notify(0, "STOPPING=1");
    end_in_time(living && living->stands_still() ? request_failed : 0);
    if (living)
        living->end();
    core.stop();
    serving.stop();
    log.write(Severity::info, "ended");
    if (living)
        living->check();
}

int tell(std::string_view message, int status) noexcept {
    constexpr std::size_t longest_message = 1600;
    try {
        std::string line = "ocampd: ";
        append_escaped(line, shortened(message, longest_message));
        write_error(line + "\n");
    } catch (...) {
        write_error("ocampd: out of memory for the message of an error\n");
    }
    return status;
}

int run(int argc, char **argv) {
    if (argc > 1 && std::string_view(argv[1]) == run_line_word)
        return run_line(argc - 1, argv + 1);
    CLI::App program("Serves a node's OpenConfig and native data to network clients.", "ocamp serve");
    program.footer(footer_text);
    ServeOptions options;
    CommonOptions common;
    add_node_option(program, options.node);
    program.add_flag("--live", options.live,
                     "Compute each second what the node's amplifiers make of the powers that come in");
    add_protocols(program, options);
    if (std::ranges::any_of(protocols(), &Protocol::tls))
        add_tls_options(program, options.tls);
    program
        .add_option_function<std::string>(
            "--log-format",
            [&](const std::string &word) { options.log_format = word == "json" ? LogFormat::json : LogFormat::text; },
            "How events are written: text or json")
        ->type_name("FORMAT")
        ->check(CLI::IsMember({"text", "json"}).description(""))
        ->default_str("text");
    add_limits(program, options.core.limits);
    add_common_options(program, common);
    if (const std::optional<int> status = read_command_line(program, argc, argv))
        return *status;
    options.core.service = {.node = options.node, .plugin = common.plugin, .logs = common.logs};
    serve(options);
    return 0;
}

// A connection has two descriptors, a node of a line a few: the soft limit is for programs that do not know of more.
void allow_many_descriptors() noexcept {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

} // namespace

int main(int argc, char **argv) {
    reserve_standard_streams();
    allow_many_descriptors();
    let_writes_fail();
    // Before any thread: all of them leave the signals to this one.
    const sigset_t signals = awaited_signals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
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
