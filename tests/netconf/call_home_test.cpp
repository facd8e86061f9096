// Calls of the server to its clients: to whom, when, and when again.
#include "server/netconf/call_home.h"
#include "support/files.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

namespace call_home_tests {

using namespace ocamp;
using namespace std::chrono_literals;
using netconf::CallHome;
using testing::HasSubstr;

// Somebody who waits for calls at 127.0.0.1; after close() nobody does.
class Listener {
  public:
    Listener() : descriptor_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in place = {};
        place.sin_family = AF_INET;
        place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof place;
        EXPECT_EQ(bind(descriptor_.get(), reinterpret_cast<const sockaddr *>(&place), size), 0);
        EXPECT_EQ(listen(descriptor_.get(), 1), 0);
        EXPECT_EQ(getsockname(descriptor_.get(), reinterpret_cast<sockaddr *>(&place), &size), 0);
        port_ = ntohs(place.sin_port);
    }
    std::uint16_t port() const { return port_; }
    std::string address() const { return fmt::format("127.0.0.1:{}", port_); }
    void close() { descriptor_.reset(); }

  private:
    server::Descriptor descriptor_;
    std::uint16_t port_ = 0;
};

class Calls : public testing::Test {
  protected:
    // Until a connection is made, or a call has failed.
    static std::vector<CallHome::Made> run(CallHome &calls, CallHome::Clock::time_point now) {
        std::vector<CallHome::Made> made = calls.run(now);
        std::vector<pollfd> watched;
        calls.watch(watched);
        if (made.empty() && !watched.empty()) {
            EXPECT_EQ(poll(watched.data(), watched.size(), 10000), 1);
            made = calls.run(now);
        }
        return made;
    }
    std::string told() const { return support::read_file(folder_.path() / "log"); }

  private:
    support::TemporaryFolder folder_;
    server::Descriptor file_{open((folder_.path() / "log").c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600)};

  protected:
    server::EventLog log_{server::LogFormat::text, file_.get()};
    CallHome::Clock::time_point now_ = CallHome::Clock::now();
};

TEST_F(Calls, GoToAddressesWithPorts) {
    for (const char *wrong : {"", "127.0.0.1", "127.0.0.1:", ":4334"}) {
        try {
            const CallHome calls({wrong}, log_);
            ADD_FAILURE() << wrong;
        } catch (const server::ListenError &error) {
            EXPECT_EQ(error.what(), fmt::format("'{}', expected ADDRESS:PORT", wrong));
        }
    }
    EXPECT_THROW(CallHome({"127.0.0.1:no-such-service"}, log_), server::ListenError);
    EXPECT_THROW(CallHome({"[::1:4334"}, log_), server::ListenError);
    EXPECT_EQ(CallHome({"127.0.0.1:4334", "[::1]:4334"}, log_).size(), 2U);
}

TEST_F(Calls, AreMadeOnceAndAgainWhenTheyHaveEnded) {
    const Listener listener;
    CallHome calls({listener.address()}, log_);
    EXPECT_EQ(calls.deadline(), CallHome::Clock::time_point());
    {
        const std::vector<CallHome::Made> made = run(calls, now_);
        ASSERT_EQ(made.size(), 1U);
        EXPECT_EQ(made[0].client, 0U);
        EXPECT_EQ(made[0].connection.address, "127.0.0.1");
        EXPECT_EQ(made[0].connection.port, listener.port());
        EXPECT_GE(made[0].connection.descriptor.get(), 0);
    }
    EXPECT_THAT(told(), HasSubstr("info call-home client=" + listener.address() + "\n"));
    EXPECT_EQ(calls.deadline(), std::nullopt);
    EXPECT_TRUE(calls.run(now_ + 1h).empty());
    calls.ended(0, true, now_);
    EXPECT_EQ(calls.deadline(), now_ + 1s);
    EXPECT_TRUE(run(calls, now_ + 999ms).empty());
    EXPECT_EQ(run(calls, now_ + 1s).size(), 1U);
}

TEST_F(Calls, ThatFailAreMadeAgainAfterAPauseThatGrowsToAMinute) {
    Listener listener;
    CallHome calls({listener.address()}, log_);
    listener.close();
    for (const auto pause : {1s, 2s, 4s, 8s, 16s, 32s, 60s, 60s}) {
        EXPECT_TRUE(run(calls, now_).empty());
        EXPECT_EQ(calls.deadline(), now_ + pause);
        now_ += pause;
    }
    EXPECT_THAT(told(), HasSubstr("warning call-home-failed client=" + listener.address() +
                                  " reason=\"Connection refused\"\n"));
    // Nobody has logged in: the pause goes on growing.
    calls.ended(0, false, now_);
    EXPECT_EQ(calls.deadline(), now_ + 60s);
    calls.ended(0, true, now_);
    EXPECT_EQ(calls.deadline(), now_ + 1s);
}

TEST_F(Calls, GoToIpv6AddressesToo) {
    const server::Descriptor listener(socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in6 place = {};
    place.sin6_family = AF_INET6;
    place.sin6_addr = in6addr_loopback;
    socklen_t size = sizeof place;
    ASSERT_EQ(bind(listener.get(), reinterpret_cast<const sockaddr *>(&place), size), 0);
    ASSERT_EQ(listen(listener.get(), 1), 0);
    ASSERT_EQ(getsockname(listener.get(), reinterpret_cast<sockaddr *>(&place), &size), 0);
    CallHome calls({fmt::format("[::1]:{}", ntohs(place.sin6_port))}, log_);
    const std::vector<CallHome::Made> made = run(calls, now_);
    ASSERT_EQ(made.size(), 1U);
    EXPECT_EQ(made[0].connection.address, "::1");
    EXPECT_EQ(made[0].connection.port, ntohs(place.sin6_port));
}

TEST_F(Calls, OfSeveralClientsTheFirstThatIsDueCounts) {
    const Listener one, other;
    CallHome calls({one.address(), other.address()}, log_);
    std::size_t made = 0;
    while (made < 2)
        made += run(calls, now_).size();
    calls.ended(0, false, now_);
    calls.ended(1, true, now_);
    calls.ended(0, false, now_);
    EXPECT_EQ(calls.deadline(), now_ + 1s);
}

TEST_F(Calls, ThatCannotEvenBeginAreMadeAgainLater) {
    // No connection has all the hosts of a network at its other end.
    CallHome calls({"255.255.255.255:4334"}, log_);
    EXPECT_TRUE(calls.run(now_).empty());
    EXPECT_EQ(calls.deadline(), now_ + 1s);
    EXPECT_THAT(told(), HasSubstr("warning call-home-failed client=255.255.255.255:4334 reason="));
}

TEST_F(Calls, WithoutADescriptorAreMadeAgainLater) {
    const Listener listener;
    CallHome calls({listener.address()}, log_);
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit none{.rlim_cur = 0, .rlim_max = before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    EXPECT_TRUE(calls.run(now_).empty());
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_EQ(calls.deadline(), now_ + 1s);
    EXPECT_THAT(told(), HasSubstr("reason=\"Too many open files\"\n"));
    EXPECT_EQ(run(calls, now_ + 1s).size(), 1U);
}

TEST_F(Calls, ThatNobodyHasTakenYetAreWaitedFor) {
    // One who waits fills the queue of a client that takes none.
    const server::Descriptor full(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(listen(full.get(), 0), 0);
    sockaddr_in place = {};
    socklen_t size = sizeof place;
    ASSERT_EQ(getsockname(full.get(), reinterpret_cast<sockaddr *>(&place), &size), 0);
    place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const server::Descriptor waits(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(connect(waits.get(), reinterpret_cast<const sockaddr *>(&place), size), 0);
    CallHome calls({fmt::format("127.0.0.1:{}", ntohs(place.sin_port))}, log_);
    std::vector<pollfd> watched;
    calls.watch(watched);
    EXPECT_TRUE(watched.empty());
    EXPECT_TRUE(calls.run(now_).empty());
    EXPECT_EQ(calls.deadline(), std::nullopt);
    calls.watch(watched);
    ASSERT_EQ(watched.size(), 1U);
    EXPECT_EQ(watched[0].events, POLLOUT);
    const int under_way = watched[0].fd;
    EXPECT_TRUE(calls.run(now_ + 1h).empty());
    watched.clear();
    calls.watch(watched);
    ASSERT_EQ(watched.size(), 1U);
    EXPECT_EQ(watched[0].fd, under_way) << "called a second time";
}

} // namespace call_home_tests
