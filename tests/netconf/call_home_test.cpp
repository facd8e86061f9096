// How clients are called: the pauses between calls, and what comes of them, without what is said then.
#include "server/netconf/call_home.h"

#include <cerrno>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>

namespace {

using namespace ocamp;
using netconf::CallHome;
using server::Descriptor;
using std::chrono::seconds;
using testing::HasSubstr;

class Calls : public testing::Test {
  protected:
    // Until a connection has been made or a call has failed: then there is a time of the next one.
    static std::vector<CallHome::Made> outcome(CallHome &calls, CallHome::Clock::time_point now) {
        std::vector<CallHome::Made> made = calls.run(now);
        for (int i = 0; i < 1000 && made.empty() && !calls.deadline(); ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            made = calls.run(now);
        }
        return made;
    }

    server::EventLog log_{server::LogFormat::text, -1}; // lost
    const CallHome::Clock::time_point now_ = CallHome::Clock::now();
};

TEST_F(Calls, AreForAddressesWithAPort) {
    for (const auto &[address, words] : std::initializer_list<std::pair<const char *, const char *>>{
             {"127.0.0.1", "'127.0.0.1', expected ADDRESS:PORT"},
             {":4334", "':4334', expected ADDRESS:PORT"},
             {"127.0.0.1:", "'127.0.0.1:', expected ADDRESS:PORT"},
             {"[::1%nowhere]:4334", "[::1%nowhere]:4334: Name or service not known"}})
        EXPECT_THAT(([&, at = std::string(address)] { CallHome({at}, log_); }),
                    testing::ThrowsMessage<server::ListenError>(HasSubstr(words)))
            << address;
}

TEST_F(Calls, ThatFailAreMadeAgainAfterTwiceTheTime) {
    // Its port is nobody's for as long as it does not listen.
    const Descriptor silent(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in place = {};
    place.sin_family = AF_INET;
    place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof place;
    ASSERT_EQ(bind(silent.get(), reinterpret_cast<const sockaddr *>(&place), size), 0);
    ASSERT_EQ(getsockname(silent.get(), reinterpret_cast<sockaddr *>(&place), &size), 0);
    CallHome calls({"127.0.0.1:" + std::to_string(ntohs(place.sin_port))}, log_);
    CallHome::Clock::time_point now = now_;
    for (const int pause : {1, 2, 4, 8, 16, 32, 60, 60}) {
        EXPECT_TRUE(outcome(calls, now).empty());
        ASSERT_EQ(calls.deadline(), now + seconds(pause));
        EXPECT_TRUE(calls.run(now + seconds(pause) - std::chrono::milliseconds(1)).empty());
        ASSERT_EQ(calls.deadline(), now + seconds(pause)) << "not before its time";
        now += seconds(pause);
    }
}

TEST_F(Calls, ThatWereServedAreMadeAgainAfterASecond) {
    const std::vector<server::ListeningSocket> client = server::listen_on("[::1]:0");
    CallHome calls({client.at(0).address}, log_);
    const std::vector<CallHome::Made> made = outcome(calls, now_);
    ASSERT_EQ(made.size(), 1U);
    EXPECT_EQ(made[0].connection.address, "::1");
    EXPECT_EQ("[::1]:" + std::to_string(made[0].connection.port), client.at(0).address);
    EXPECT_EQ(calls.deadline(), std::nullopt) << "connected";
    calls.ended(0, false, now_);
    EXPECT_EQ(calls.deadline(), now_ + seconds(1));
    calls.ended(0, false, now_);
    EXPECT_EQ(calls.deadline(), now_ + seconds(2)) << "nobody has logged in";
    calls.ended(0, true, now_);
    EXPECT_EQ(calls.deadline(), now_ + seconds(1));
}

TEST_F(Calls, ThatNobodyHasTakenYetAreWaitedFor) {
    // One who waits fills the queue of a client that takes none.
    const Descriptor full(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(listen(full.get(), 0), 0);
    sockaddr_in place = {};
    socklen_t size = sizeof place;
    ASSERT_EQ(getsockname(full.get(), reinterpret_cast<sockaddr *>(&place), &size), 0);
    place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const Descriptor waits(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(connect(waits.get(), reinterpret_cast<const sockaddr *>(&place), size), 0);
    CallHome calls({"127.0.0.1:" + std::to_string(ntohs(place.sin_port))}, log_);
    std::vector<pollfd> watched;
    calls.watch(watched);
    EXPECT_TRUE(watched.empty());
    EXPECT_EQ(calls.deadline(), CallHome::Clock::time_point());
    EXPECT_TRUE(calls.run(now_).empty());
    EXPECT_EQ(calls.deadline(), std::nullopt);
    calls.watch(watched);
    ASSERT_EQ(watched.size(), 1U);
    EXPECT_EQ(watched[0].events, POLLOUT);
}

} // namespace
