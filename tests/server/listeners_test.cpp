// Connections as they are accepted.
#include "server/listeners.h"

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

namespace {

using namespace ocamp::server;

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

} // namespace
