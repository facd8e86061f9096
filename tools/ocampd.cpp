// ocampd: serves a node to network clients. This file reads the command line, listens, and waits for signals; the work
// is done by the core and the adapters.
#include "options.h"
#include "output.h"

#include "seam/input_error.h"
#include "seam/text.h"
#include "server/adapter.h"
#include "server/core.h"
#include "server/served_modules.h"

#include <algorithm>
#include <csignal>
#include <map>
#include <thread>

#include <pthread.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <fmt/format.h>

namespace {

using namespace ocamp;
using namespace ocamp::server;
using std::chrono::milliseconds;

constexpr int request_failed = 1;
constexpr int wrong_use = 2;

// From a signal to the end of the process. What is not done by then is undone by the next server.
constexpr milliseconds longest_stop{1800}, adapters_stop{1000};

constexpr const char *footer_text =
    "Only the protocols named are served; none named: all, on their default addresses.\n"
    "A line with 'ready' on standard output tells the addresses; events are lines on standard error.\n"
    "SIGHUP reads users and keys anew; SIGTERM and SIGINT end the server.\n"
    "Exit status: 0 ended by a signal, 1 the server failed, 2 wrong use.";

// What the command line says.
struct ServeOptions {
    CoreSettings core;
    std::string node;
    LogFormat log_format = LogFormat::text;
    std::map<std::string, std::vector<std::string>> addresses, call_home; // by protocol
    TlsSettings tls;
};

template <class Number>
void add_limit(CLI::App &program, const char *name, Number &limit, const char *type, const char *description) {
    program.add_option(name, limit, description)->type_name(type)->capture_default_str()->group("Limits");
}

// A limit that is a time: what the option takes is its number in the limit's own unit.
template <class Time>
void add_time(CLI::App &program, const char *name, Time &limit, const char *type, const char *description) {
    program
        .add_option_function<unsigned>(
            name, [&limit](unsigned number) { limit = Time(number); }, description)
        ->type_name(type)
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
    add_limit(program, "--max-message", limits.message_size, "BYTES", "Size of one message of a client");
    add_limit(program, "--max-nesting", limits.nesting, "N", "Levels of a client's document");
    add_limit(program, "--max-backlog", limits.output_backlog, "BYTES", "What one client has not read yet");
    add_time(program, "--log-in-time", limits.log_in_time, "SECONDS", "From the connection to the end of the log-in");
    add_time(program, "--idle-time", limits.idle_time, "SECONDS", "A session without requests; 0: for ever");
    add_time(program, "--change-poll", limits.change_poll, "MILLISECONDS",
             "Between looks for changes that other processes made");
}

void add_protocols(CLI::App &program, ServeOptions &options) {
    for (const Protocol &protocol : protocols()) {
        const std::string name(protocol.name);
        program.add_option("--" + name, options.addresses[name], std::string(protocol.description))
            ->type_name("ADDRESS:PORT");
        if (protocol.calls_home)
            program
                .add_option("--" + name + "-call-home", options.call_home[name],
                            "Client to connect to, again and again until it answers")
                ->type_name("ADDRESS:PORT");
    }
}

void add_tls(CLI::App &program, TlsSettings &tls) {
    const auto add_file = [&](const char *name, std::string &file, const char *description) {
        program.add_option(name, file, description)->type_name("FILE")->group("TLS");
    };
    add_file("--cert", tls.certificate, "Certificate of the server; none: it makes one of its own");
    add_file("--key", tls.key, "Key of the certificate");
    add_file("--client-ca", tls.client_ca, "Certificates that sign those of clients, which then must have one");
    program.add_flag("--insecure", tls.insecure, "No TLS; on loopback only")->group("TLS");
}

// The sockets of each protocol that is served.
std::map<std::string, std::vector<ListeningSocket>> sockets_of(const ServeOptions &options) {
    std::map<std::string, std::vector<ListeningSocket>> sockets = inherited_sockets();
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

// The adapters that serve, and the word of each with its addresses.
struct Serving {
    std::vector<std::unique_ptr<Adapter>> adapters;
    std::string addresses;
};

Serving serve_all(Core &core, const ServeOptions &options,
                  std::map<std::string, std::vector<ListeningSocket>> &sockets) {
    Serving serving;
    for (const Protocol &protocol : protocols()) {
        const std::string name(protocol.name);
        const auto found = sockets.find(name);
        if (found == sockets.end())
            continue;
        for (const ListeningSocket &socket : found->second)
            serving.addresses += fmt::format(" {}={}", name, socket.address);
        const auto call_home = options.call_home.find(name);
        serving.adapters.push_back(protocol.serve(
            core, {.sockets = std::move(found->second),
                   .call_home = call_home != options.call_home.end() ? call_home->second : std::vector<std::string>(),
                   .tls = options.tls}));
    }
    return serving;
}

sigset_t awaited_signals() noexcept {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP})
        sigaddset(&signals, signal);
    return signals;
}

void reload(Core &core, const Serving &serving) {
    sd_notify(0, "RELOADING=1");
    try {
        core.reload_users();
        core.log().write(Severity::info, "reloaded");
    } catch (const std::exception &error) {
        core.log().write(Severity::error, "reload-failed", {{"reason", error.what()}});
    }
    for (const std::unique_ptr<Adapter> &adapter : serving.adapters)
        adapter->reload();
    sd_notify(0, "READY=1");
}

// Returns when a signal has asked for the end.
void wait_for_end(Core &core, const Serving &serving) {
    const sigset_t signals = awaited_signals();
    for (;;) {
        int signal = 0;
        if (sigwait(&signals, &signal) != 0)
            continue;
        if (signal != SIGHUP) {
            core.log().write(Severity::info, "ending", {{"signal", signal}});
            return;
        }
        reload(core, serving);
    }
}

// Ends the process when the orderly way takes too long, as behind a disk that hangs.
void end_in_time() {
    std::thread([] {
        std::this_thread::sleep_for(longest_stop);
        _exit(0);
    }).detach();
}

void serve(const ServeOptions &options) {
    EventLog log(options.log_format);
    auto sockets = sockets_of(options);
    served_modules();
    Core core(options.core, log);
    Serving serving = serve_all(core, options, sockets);
    log.write(Severity::info, "ready", {{"node", options.node}, {"addresses", serving.addresses}});
    write_output(fmt::format("ready{}\n", serving.addresses));
    // Not finish_output: what a server is asked for has no outcome yet, so that memory that runs out later is a
    // failure.
    flush_output();
    sd_notify(0, "READY=1");
    wait_for_end(core, serving);
    sd_notify(0, "STOPPING=1");
    end_in_time();
    core.stop();
    for (const std::unique_ptr<Adapter> &adapter : serving.adapters)
        adapter->stop(adapters_stop);
    serving.adapters.clear();
    log.write(Severity::info, "ended");
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
    CLI::App program("Serves a node's OpenConfig and native data to network clients.", "ocamp serve");
    program.footer(footer_text);
    ServeOptions options;
    CommonOptions common;
    add_node_option(program, options.node);
    add_protocols(program, options);
    if (std::ranges::any_of(protocols(), &Protocol::tls))
        add_tls(program, options.tls);
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
    try {
        program.parse(argc, argv);
    } catch (const CLI::Success &help) {
        return program.exit(help);
    } catch (const CLI::Error &error) {
        return tell(std::string(error.what()) + "; 'ocamp serve --help' tells the options", wrong_use);
    }
    options.core.service = {.node = options.node, .plugin = common.plugin, .logs = common.logs};
    serve(options);
    return 0;
}

} // namespace

int main(int argc, char **argv) {
    reserve_standard_streams();
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
