// How sockets are made, inherited and accepted from. Knows no protocol.
#include "server/listeners.h"

#include "seam/text.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <fmt/format.h>

namespace ocamp::server {

namespace {

constexpr int backlog = 128;

struct HostAndPort {
    std::string host, port;
};

[[noreturn]] void refuse(std::string_view address, std::string_view reason) {
    throw ListenError(fmt::format("{}: {}, expected ADDRESS:PORT such as 127.0.0.1:8300 or [::1]:8300",
                                  escaped(shortened(address, longest_shown_value)), reason));
}

HostAndPort split(std::string_view address) {
    const std::size_t colon = address.rfind(':');
    if (colon == std::string_view::npos || colon == 0)
        refuse(address, "no address and port");
    std::string_view host = address.substr(0, colon);
    const std::string_view port = address.substr(colon + 1);
    std::uint16_t number = 0;
    const auto [end, error] = std::from_chars(port.data(), port.data() + port.size(), number);
    if (error != std::errc() || end != port.data() + port.size())
        refuse(address, "no port");
    if (host.starts_with('[') && host.ends_with(']'))
        host = host.substr(1, host.size() - 2);
    else if (host.find(':') != std::string_view::npos)
        refuse(address, "an IPv6 address without brackets");
    return {std::string(host), std::string(port)};
}

struct NumericAddress {
    std::string host;
    std::uint16_t port = 0;
    bool is_ipv6 = false;
};

NumericAddress numeric(const sockaddr_storage &address, socklen_t size) {
    std::array<char, NI_MAXHOST> host{};
    std::array<char, NI_MAXSERV> service{};
    if (getnameinfo(reinterpret_cast<const sockaddr *>(&address), size, host.data(), host.size(), service.data(),
                    service.size(), NI_NUMERICHOST | NI_NUMERICSERV) != 0)
        return {"unknown", 0, false};
    NumericAddress result{host.data(), 0, address.ss_family == AF_INET6};
    std::from_chars(service.data(), service.data() + std::strlen(service.data()), result.port);
    // One and the same client, however it is written.
    constexpr std::string_view mapped = "::ffff:";
    if (result.host.starts_with(mapped) && result.host.find('.') != std::string::npos)
        result.host.erase(0, mapped.size());
    return result;
}

std::string address_of(int socket) {
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    if (getsockname(socket, reinterpret_cast<sockaddr *>(&address), &size) != 0)
        return "unknown";
    const NumericAddress own = numeric(address, size);
    return own.is_ipv6 ? fmt::format("[{}]:{}", own.host, own.port) : fmt::format("{}:{}", own.host, own.port);
}

ListeningSocket listen_at(std::string_view asked, const addrinfo &at) {
    Descriptor socket(::socket(at.ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const int on = 1;
    if (socket.get() < 0 || setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0 ||
        (at.ai_family == AF_INET6 && setsockopt(socket.get(), IPPROTO_IPV6, IPV6_V6ONLY, &on, sizeof on) != 0) ||
        bind(socket.get(), at.ai_addr, at.ai_addrlen) != 0 || listen(socket.get(), backlog) != 0)
        throw ListenError(
            fmt::format("{}: {}, expected an address that can be listened on", asked, std::strerror(errno)));
    std::string address = address_of(socket.get());
    return {std::move(socket), std::move(address)};
}

} // namespace

void Descriptor::reset(int number) noexcept {
    if (number_ >= 0)
        close(number_);
    number_ = number;
}

std::vector<ListeningSocket> listen_on(std::string_view address) {
    const HostAndPort wanted = split(address);
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
    addrinfo *found = nullptr;
    const int result = getaddrinfo(wanted.host.c_str(), wanted.port.c_str(), &hints, &found);
    if (result != 0)
        refuse(address, gai_strerror(result));
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(found, &freeaddrinfo);
    std::vector<ListeningSocket> sockets;
    for (const addrinfo *at = found; at != nullptr; at = at->ai_next)
        sockets.push_back(listen_at(address, *at));
    return sockets;
}

std::map<std::string, std::vector<ListeningSocket>> inherited_sockets() {
    std::map<std::string, std::vector<ListeningSocket>> sockets;
    struct Names {
        char **all = nullptr; // up to a NULL, each ours
        ~Names() {
            for (char **name = all; name != nullptr && *name != nullptr; ++name)
                std::free(*name);
            std::free(all);
        }
    } names;
    const int count = sd_listen_fds_with_names(1, &names.all);
    if (count < 0)
        throw ListenError(fmt::format("inherited sockets: {}", std::strerror(-count)));
    for (int i = 0; i < count; ++i) {
        const std::string name = names.all[i];
        Descriptor socket(SD_LISTEN_FDS_START + i);
        if (sd_is_socket(socket.get(), AF_UNSPEC, SOCK_STREAM, 1) <= 0)
            throw ListenError(fmt::format("inherited socket '{}': no stream socket that listens", name));
        if (fcntl(socket.get(), F_SETFL, O_NONBLOCK) != 0)
            throw ListenError(fmt::format("inherited socket '{}': {}", name, std::strerror(errno)));
        std::string address = address_of(socket.get());
        sockets[name].push_back({std::move(socket), std::move(address)});
    }
    return sockets;
}

void watch_peer(const Descriptor &connection) noexcept {
    const auto set = [&](int level, int option, int value) {
        setsockopt(connection.get(), level, option, &value, sizeof value);
    };
    // Seconds until it is asked whether it is there and between questions, how many, and milliseconds for what was
    // sent.
    set(SOL_SOCKET, SO_KEEPALIVE, 1);
    set(IPPROTO_TCP, TCP_KEEPIDLE, 30);
    set(IPPROTO_TCP, TCP_KEEPINTVL, 10);
    set(IPPROTO_TCP, TCP_KEEPCNT, 3);
    set(IPPROTO_TCP, TCP_USER_TIMEOUT, 60000);
}

Accepted accept_from(const ListeningSocket &socket) {
    Accepted accepted;
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    Descriptor connection(
        accept4(socket.descriptor.get(), reinterpret_cast<sockaddr *>(&address), &size, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (connection.get() < 0) {
        accepted.exhausted = errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM;
        return accepted;
    }
    watch_peer(connection);
    NumericAddress peer = numeric(address, size);
    accepted.connection = {std::move(connection), std::move(peer.host), peer.port};
    return accepted;
}

} // namespace ocamp::server
