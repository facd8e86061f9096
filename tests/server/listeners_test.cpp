// Sockets as they are made, inherited and accepted from.
#include "server/listeners.h"

#include <cstdlib>
#include <iostream>
#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using namespace ocamp::server;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

int option(const Descriptor &socket, int level, int name) {
    int value = -1;
    socklen_t size = sizeof value;
    getsockopt(socket.get(), level, name, &value, &size);
    return value;
}

TEST(Connections, EndWhenTheirPeerHasGoneWithoutAWord) {
    const std::vector<ListeningSocket> listening = listen_on("127.0.0.1:0");
    ASSERT_EQ(listening.size(), 1U);
    const Descriptor client(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address = {};
    socklen_t size = sizeof address;
    ASSERT_EQ(getsockname(listening[0].descriptor.get(), reinterpret_cast<sockaddr *>(&address), &size), 0);
    ASSERT_EQ(connect(client.get(), reinterpret_cast<const sockaddr *>(&address), size), 0);
    pollfd waits{.fd = listening[0].descriptor.get(), .events = POLLIN, .revents = 0};
    ASSERT_EQ(poll(&waits, 1, 10000), 1);
    const Accepted accepted = accept_from(listening[0]);
    ASSERT_TRUE(accepted.connection);
    const Descriptor &connection = accepted.connection->descriptor;
    EXPECT_EQ(option(connection, SOL_SOCKET, SO_KEEPALIVE), 1);
    EXPECT_EQ(option(connection, IPPROTO_TCP, TCP_KEEPIDLE), 30);
    EXPECT_EQ(option(connection, IPPROTO_TCP, TCP_KEEPINTVL), 10);
    EXPECT_EQ(option(connection, IPPROTO_TCP, TCP_KEEPCNT), 3);
    EXPECT_EQ(option(connection, IPPROTO_TCP, TCP_USER_TIMEOUT), 60000);
}

auto refused_with(const std::string &words) {
    return testing::ThrowsMessage<ListenError>(HasSubstr(words));
}

TEST(Listening, IsRefusedWhereNoAddressStands) {
    for (const auto &[address, words] : std::initializer_list<std::pair<const char *, const char *>>{
             {"127.0.0.1", "127.0.0.1: no address and port, expected ADDRESS:PORT such as 127.0.0.1:8300"},
             {":8300", ":8300: no address and port"},
             {"127.0.0.1:", "127.0.0.1:: no port"},
             {"127.0.0.1:x", "no port"},
             {"127.0.0.1:8300x", "no port"},
             {"127.0.0.1:65536", "no port"},
             {"::1:8300", "::1:8300: an IPv6 address without brackets"},
             {"[::1:8300", "an IPv6 address without brackets"},
             {"[::1%nowhere]:8300", "[::1%nowhere]:8300: Name or service not known, expected ADDRESS:PORT"}})
        EXPECT_THAT([at = address] { listen_on(at); }, refused_with(words)) << address;
}

TEST(Listening, IsRefusedWhereSomebodyElseListens) {
    const std::vector<ListeningSocket> first = listen_on("127.0.0.1:0");
    EXPECT_THAT([&] { listen_on(first.at(0).address); },
                refused_with(first.at(0).address + ": Address already in use, expected an address that can be"));
}

TEST(Listening, IsRefusedAtAddressesOfOthersAndWithoutADescriptor) {
    EXPECT_THAT(
        [] { listen_on("192.0.2.1:0"); },
        refused_with("192.0.2.1:0: Cannot assign requested address, expected an address that can be listened on"));
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit none{.rlim_cur = 0, .rlim_max = before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    std::string told;
    try {
        listen_on("127.0.0.1:0");
    } catch (const ListenError &error) {
        told = error.what();
    }
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_THAT(told, StartsWith("127.0.0.1:0: Too many open files, expected"));
}

// The peer of a connection that is made to a socket at this place.
Accepted accepted_from(const ListeningSocket &listening, int family) {
    sockaddr_storage place = {};
    socklen_t size = sizeof place;
    getsockname(listening.descriptor.get(), reinterpret_cast<sockaddr *>(&place), &size);
    const Descriptor client(socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0));
    EXPECT_EQ(connect(client.get(), reinterpret_cast<const sockaddr *>(&place), size), 0);
    pollfd waits{.fd = listening.descriptor.get(), .events = POLLIN, .revents = 0};
    EXPECT_EQ(poll(&waits, 1, 10000), 1);
    return accept_from(listening);
}

TEST(Listening, TakesIpv6AddressesInBrackets) {
    const std::vector<ListeningSocket> sockets = listen_on("[::1]:0");
    ASSERT_EQ(sockets.size(), 1U);
    EXPECT_THAT(sockets[0].address, StartsWith("[::1]:"));
    EXPECT_THAT(sockets[0].address, testing::Not(EndsWith(":0")));
    const Accepted accepted = accepted_from(sockets[0], AF_INET6);
    ASSERT_TRUE(accepted.connection);
    EXPECT_EQ(accepted.connection->address, "::1");
    EXPECT_NE(accepted.connection->port, 0);
}

// What starts a server may hand it a socket of both families.
TEST(Listening, ToldOfAnIpv4ClientOfAnIpv6SocketNamesItsIpv4Address) {
    Descriptor both(socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const int off = 0;
    setsockopt(both.get(), IPPROTO_IPV6, IPV6_V6ONLY, &off, sizeof off);
    ASSERT_EQ(listen(both.get(), 1), 0);
    sockaddr_in6 own = {};
    socklen_t size = sizeof own;
    ASSERT_EQ(getsockname(both.get(), reinterpret_cast<sockaddr *>(&own), &size), 0);
    const Descriptor client(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in place = {};
    place.sin_family = AF_INET;
    place.sin_port = own.sin6_port;
    place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(connect(client.get(), reinterpret_cast<const sockaddr *>(&place), sizeof place), 0);
    pollfd waits{.fd = both.get(), .events = POLLIN, .revents = 0};
    ASSERT_EQ(poll(&waits, 1, 10000), 1);
    const Accepted accepted = accept_from({std::move(both), "both"});
    ASSERT_TRUE(accepted.connection);
    EXPECT_EQ(accepted.connection->address, "127.0.0.1");
}

// Hands the descriptor over as whoever starts a service does, and ends with 0 and what was inherited, or 1 and why not.
[[noreturn]] void inherit(int descriptor, const char *count = "1") {
    dup2(descriptor, 3);
    setenv("LISTEN_PID", std::to_string(getpid()).c_str(), 1);
    setenv("LISTEN_FDS", count, 1);
    setenv("LISTEN_FDNAMES", "netconf", 1);
    try {
        for (const auto &[name, sockets] : inherited_sockets())
            std::cerr << name << '=' << sockets.at(0).address << ' ' << sockets.size() << '\n';
    } catch (const ListenError &error) {
        std::cerr << error.what() << '\n';
        std::exit(1);
    }
    std::exit(0);
}

TEST(InheritedSocketsDeathTest, HaveTheNamesThatTheyCameWith) {
    const std::vector<ListeningSocket> sockets = listen_on("127.0.0.1:0");
    EXPECT_EXIT(inherit(sockets.at(0).descriptor.get()), testing::ExitedWithCode(0),
                "^netconf=" + sockets.at(0).address + " 1\n$");
}

TEST(InheritedSocketsDeathTest, ThatCannotBeListenedOnAreRefused) {
    const Descriptor idle(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    EXPECT_EXIT(inherit(idle.get()), testing::ExitedWithCode(1),
                "^inherited socket 'netconf': no stream socket that listens\n$");
    EXPECT_EXIT(inherit(idle.get(), "many"), testing::ExitedWithCode(1), "^inherited sockets: Invalid argument\n$");
}

} // namespace
