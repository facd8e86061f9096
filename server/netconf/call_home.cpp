// How the server calls its clients. Knows not what is said then.
#include "server/netconf/call_home.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>

#include <arpa/inet.h>
#include <fmt/format.h>
#include <netdb.h>
#include <netinet/in.h>

namespace ocamp::netconf {

namespace {

constexpr std::chrono::seconds longest_pause{60};

std::pair<std::string, std::string> split(const std::string &address) {
    const std::size_t colon = address.rfind(':');
    if (colon == std::string::npos || colon == 0 || colon + 1 == address.size())
        throw server::ListenError(fmt::format("'{}', expected ADDRESS:PORT", address));
    std::string host = address.substr(0, colon);
    if (host.starts_with('[') && host.ends_with(']'))
        host = host.substr(1, host.size() - 2);
    return {host, address.substr(colon + 1)};
}

std::string host_of(const sockaddr_storage &place) {
    char text[INET6_ADDRSTRLEN] = {};
    const void *address = place.ss_family == AF_INET6
                              ? static_cast<const void *>(&reinterpret_cast<const sockaddr_in6 &>(place).sin6_addr)
                              : static_cast<const void *>(&reinterpret_cast<const sockaddr_in &>(place).sin_addr);
    return inet_ntop(place.ss_family, address, text, sizeof text) != nullptr ? text : "";
}

std::uint16_t port_of(const sockaddr_storage &place) {
    return ntohs(place.ss_family == AF_INET6 ? reinterpret_cast<const sockaddr_in6 &>(place).sin6_port
                                             : reinterpret_cast<const sockaddr_in &>(place).sin_port);
}

} // namespace

CallHome::CallHome(const std::vector<std::string> &addresses, server::EventLog &log) : log_(log) {
    for (const std::string &address : addresses) {
        const auto [host, port] = split(address);
        addrinfo hints = {};
        hints.ai_socktype = SOCK_STREAM;
        addrinfo *found = nullptr;
        if (const int error = getaddrinfo(host.c_str(), port.c_str(), &hints, &found); error != 0)
            throw server::ListenError(fmt::format("{}: {}", address, gai_strerror(error)));
        const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owned(found, freeaddrinfo);
        Client &client = clients_.emplace_back();
        client.address = address;
        std::memcpy(&client.place, found->ai_addr, found->ai_addrlen);
        client.place_size = found->ai_addrlen;
    }
}

void CallHome::watch(std::vector<pollfd> &watched) const {
    for (const Client &client : clients_) {
        if (client.connecting.get() >= 0)
            watched.push_back({.fd = client.connecting.get(), .events = POLLOUT, .revents = 0});
    }
}

std::optional<CallHome::Clock::time_point> CallHome::deadline() const noexcept {
    std::optional<Clock::time_point> first;
    for (const Client &client : clients_) {
        if (!client.connected && client.connecting.get() < 0)
            first = first ? std::min(*first, client.next) : client.next;
    }
    return first;
}

std::vector<CallHome::Made> CallHome::run(Clock::time_point now) {
    std::vector<Made> made;
    for (std::size_t i = 0; i < clients_.size(); ++i) {
        Client &client = clients_[i];
        if (!client.connected && client.connecting.get() < 0 && now >= client.next)
            begin(client, now);
        pollfd state{.fd = client.connecting.get(), .events = POLLOUT, .revents = 0};
        if (client.connecting.get() < 0 || ::poll(&state, 1, 0) != 1)
            continue;
        int error = 0;
        socklen_t size = sizeof error;
        ::getsockopt(client.connecting.get(), SOL_SOCKET, SO_ERROR, &error, &size);
        if (error != 0) {
            fail(client, error, now);
            continue;
        }
        server::watch_peer(client.connecting);
        client.connected = true;
        log_.write(server::Severity::info, "call-home", {{"client", client.address}});
        made.push_back({.connection = {.descriptor = std::move(client.connecting),
                                       .address = host_of(client.place),
                                       .port = port_of(client.place)},
                        .client = i});
    }
    return made;
}

void CallHome::begin(Client &client, Clock::time_point now) {
    client.connecting.reset(::socket(client.place.ss_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (client.connecting.get() < 0 ||
        (::connect(client.connecting.get(), reinterpret_cast<const sockaddr *>(&client.place), client.place_size) !=
             0 &&
         errno != EINPROGRESS))
        fail(client, errno, now);
}

void CallHome::fail(Client &client, int error, Clock::time_point now) {
    client.connecting.reset();
    log_.write(server::Severity::warning, "call-home-failed",
               {{"client", client.address}, {"reason", std::generic_category().message(error)}});
    pause(client, now);
}

void CallHome::pause(Client &client, Clock::time_point now) {
    client.next = now + client.pause;
    client.pause = std::min(client.pause * 2, longest_pause);
}

void CallHome::ended(std::size_t client, bool served, Clock::time_point now) {
    Client &ended = clients_[client];
    ended.connected = false;
    if (served)
        ended.pause = std::chrono::seconds(1);
    pause(ended, now);
}

} // namespace ocamp::netconf
