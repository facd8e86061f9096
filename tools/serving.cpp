// How adapters are begun and ended. Knows no command line.
#include "serving.h"

#include <chrono>
#include <thread>

#include <unistd.h>

#include <fmt/format.h>

namespace ocamp {

using server::Adapter;
using server::ListeningSocket;
using server::Protocol;
using server::Severity;
using std::chrono::milliseconds;

namespace {

// From a signal to the end of the process. What is not done by then is undone by the next server.
constexpr milliseconds longest_stop{1800}, adapters_stop{1000};

} // namespace

Serving::Serving(server::Core &core, ServedSockets sockets, const ServingSettings &settings) : core_(core) {
    for (const Protocol &protocol : server::protocols()) {
        const std::string name(protocol.name);
        const auto found = sockets.find(name);
        if (found == sockets.end())
            continue;
        for (const ListeningSocket &socket : found->second)
            addresses_ += fmt::format(" {}={}", name, socket.address);
        const auto clients = settings.call_home.find(name);
        adapters_.push_back(protocol.serve(
            core, {.sockets = std::move(found->second),
                   .call_home = clients != settings.call_home.end() ? clients->second : std::vector<std::string>(),
                   .tls = settings.tls}));
    }
}

void Serving::reload() {
    try {
        core_.reload_users();
        core_.log().write(Severity::info, "reloaded");
    } catch (const std::exception &error) {
        core_.log().write(Severity::error, "reload-failed", {{"reason", error.what()}});
    }
    for (const std::unique_ptr<Adapter> &adapter : adapters_)
        adapter->reload();
}

void Serving::stop() {
    for (const std::unique_ptr<Adapter> &adapter : adapters_)
        adapter->stop(adapters_stop);
    adapters_.clear();
}

sigset_t awaited_signals() noexcept {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP})
        sigaddset(&signals, signal);
    return signals;
}

void end_in_time(int status) {
    std::thread([status] {
        std::this_thread::sleep_for(longest_stop);
        _exit(status);
    }).detach();
}

} // namespace ocamp
