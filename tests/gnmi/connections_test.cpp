// Which connections stay and which make room.
#include "server/gnmi/connections.h"

#include <algorithm>
#include <array>
#include <memory>

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace ocamp;
using namespace ocamp::gnmi;
using Added = Connections::Added;
using std::chrono::seconds;

namespace {

const Connections::Clock::time_point begin{};

// The two ends of a connection: the server's and the client's.
class Pair {
  public:
    Pair(const std::string &address, std::uint16_t port) {
        std::array<int, 2> ends{};
        if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()) != 0)
            throw std::runtime_error("socketpair");
        accepted = {server::Descriptor(ends[0]), address, port};
        client_ = server::Descriptor(ends[1]);
    }
    bool is_open() const {
        char byte = 0;
        return recv(client_.get(), &byte, 1, MSG_DONTWAIT) < 0;
    }

    server::AcceptedConnection accepted;

  private:
    server::Descriptor client_;
};

class GnmiConnections : public testing::Test {
  protected:
    server::Limits limits_ = [] {
        server::Limits limits;
        limits.connections = 4;
        limits.connections_per_address = 2;
        limits.connections_per_user = 2;
        limits.log_in_time = seconds(30);
        return limits;
    }();
    bool log_in(const Pair &pair, const std::string &user) {
        return connections_.logged_in(
            {.protocol = "gnmi", .address = pair.accepted.address, .port = pair.accepted.port}, user);
    }

    Connections connections_{limits_};
    Pair a1_{"a", 1}, a2_{"a", 2}, a3_{"a", 3}, b1_{"b", 1}, b2_{"b", 2}, c1_{"c", 1};
};

TEST_F(GnmiConnections, ThoseThatHaveEndedMakeNoRoomAndEndOnce) {
    connections_.add(a1_.accepted, begin);
    connections_.add(a2_.accepted, begin + seconds(10));
    connections_.end_late(begin + seconds(30));
    EXPECT_FALSE(a1_.is_open());
    connections_.end_late(begin + seconds(31));
    EXPECT_TRUE(a2_.is_open());
    EXPECT_EQ(connections_.next_end(), begin + seconds(40));
    // Of the address' two places one is free again.
    EXPECT_EQ(connections_.add(a3_.accepted, begin + seconds(31)), Added::in);
    EXPECT_TRUE(a2_.is_open() && a3_.is_open());
}

TEST_F(GnmiConnections, ThatAreNotHeldAnyMoreMayLogIn) {
    EXPECT_TRUE(log_in(a1_, "ada"));
    connections_.add(a1_.accepted, begin);
    EXPECT_TRUE(connections_.logged_in({.protocol = "gnmi", .address = "a", .port = 9}, "ada"));
    EXPECT_EQ(connections_.next_end(), begin + seconds(30)) << "the one that is held has not logged in";
}

TEST_F(GnmiConnections, AreTurnedAwayWithoutADescriptor) {
    // Looked up before: the sanitizer looks at the test's object by means of a descriptor.
    Connections &connections = connections_;
    server::AcceptedConnection &accepted = a1_.accepted;
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit none{.rlim_cur = 0, .rlim_max = before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    const Added added = connections.add(accepted, begin);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_EQ(added, Added::exhausted);
    EXPECT_EQ(connections_.count(), 0U);
}

TEST_F(GnmiConnections, TheOldestOfAnAddressMakesRoom) {
    EXPECT_EQ(connections_.add(a1_.accepted, begin), Added::in);
    EXPECT_EQ(connections_.add(a2_.accepted, begin), Added::in);
    EXPECT_EQ(connections_.add(b1_.accepted, begin), Added::in);
    EXPECT_EQ(connections_.add(a3_.accepted, begin), Added::in_place_of_another);
    EXPECT_FALSE(a1_.is_open());
    EXPECT_TRUE(a2_.is_open() && a3_.is_open() && b1_.is_open());
}

TEST_F(GnmiConnections, TheOldestOfAnyAddressMakesRoomWhenAllAreTaken) {
    connections_.add(b1_.accepted, begin);
    log_in(b1_, "ada");
    connections_.add(b2_.accepted, begin);
    connections_.add(a1_.accepted, begin);
    connections_.add(a2_.accepted, begin);
    EXPECT_EQ(connections_.add(c1_.accepted, begin), Added::in_place_of_another);
    EXPECT_FALSE(b2_.is_open());
    EXPECT_TRUE(b1_.is_open() && a1_.is_open() && a2_.is_open());
}

TEST_F(GnmiConnections, OfOneIpv6NetworkAreOfOneAddress) {
    Pair first("2001:db8::1", 1), second("2001:db8::2", 1), third("2001:db8::3", 1), other("2001:db8:0:1::1", 1);
    EXPECT_EQ(connections_.add(first.accepted, begin), Added::in);
    EXPECT_EQ(connections_.add(second.accepted, begin), Added::in);
    EXPECT_EQ(connections_.add(other.accepted, begin), Added::in);
    EXPECT_EQ(connections_.add(third.accepted, begin), Added::in_place_of_another);
    EXPECT_FALSE(first.is_open());
    EXPECT_TRUE(second.is_open() && third.is_open() && other.is_open());
}

TEST_F(GnmiConnections, ThoseWithUsersStay) {
    for (Pair *pair : {&a1_, &a2_, &b1_, &b2_}) {
        EXPECT_EQ(connections_.add(pair->accepted, begin), Added::in);
        EXPECT_TRUE(log_in(*pair, "user of " + pair->accepted.address));
    }
    EXPECT_EQ(connections_.add(a3_.accepted, begin), Added::full);
    EXPECT_EQ(connections_.count(), 4U);
    connections_.end_late(begin + seconds(100));
    EXPECT_TRUE(a1_.is_open());
    EXPECT_EQ(connections_.next_end(), Connections::Clock::time_point::max());
}

TEST_F(GnmiConnections, AUserHasSoManyAndWhatIsMoreStaysWithoutAUser) {
    for (Pair *pair : {&a1_, &a2_}) {
        connections_.add(pair->accepted, begin);
        EXPECT_TRUE(log_in(*pair, "ada"));
    }
    connections_.add(b1_.accepted, begin);
    EXPECT_FALSE(log_in(b1_, "ada"));
    EXPECT_TRUE(log_in(a1_, "ada")) << "whose connection it is already";
    connections_.end_late(begin + seconds(30));
    EXPECT_FALSE(b1_.is_open());
    EXPECT_TRUE(a1_.is_open() && a2_.is_open());
}

TEST_F(GnmiConnections, ThoseOfAUserCountForTheFirstWhoProvedIt) {
    for (Pair *pair : {&a1_, &a2_}) {
        connections_.add(pair->accepted, begin);
        EXPECT_TRUE(log_in(*pair, "ada"));
        EXPECT_TRUE(log_in(*pair, "bob"));
    }
    connections_.add(b1_.accepted, begin);
    EXPECT_TRUE(log_in(b1_, "bob"));
}

TEST_F(GnmiConnections, ThoseOfAUserWhoIsGoneHaveNone) {
    for (Pair *pair : {&a1_, &a2_}) {
        connections_.add(pair->accepted, begin);
        log_in(*pair, "user of " + std::to_string(pair->accepted.port));
    }
    // One that others use, too, is theirs.
    connections_.add(b1_.accepted, begin);
    log_in(b1_, "user of 2");
    log_in(b1_, "user of 1");
    connections_.users_changed([](const std::string &user) { return user == "user of 1"; }, begin + seconds(100));
    EXPECT_EQ(connections_.next_end(), begin + seconds(130));
    connections_.end_late(begin + seconds(130));
    EXPECT_TRUE(a1_.is_open());
    EXPECT_FALSE(a2_.is_open());
    EXPECT_TRUE(b1_.is_open());
}

TEST_F(GnmiConnections, TheOldestWithoutAUserMakeRoomWhenDescriptorsRunOut) {
    limits_.connections = limits_.connections_per_address = 100;
    connections_.add(a1_.accepted, begin);
    log_in(a1_, "ada");
    std::vector<std::unique_ptr<Pair>> silent;
    for (int i = 0; i < 20; ++i)
        connections_.add(silent.emplace_back(std::make_unique<Pair>("b", i))->accepted, begin);
    const auto open = [&] { return std::ranges::count_if(silent, [](const auto &pair) { return pair->is_open(); }); };
    connections_.make_room();
    EXPECT_EQ(open(), 4);
    EXPECT_TRUE(silent.back()->is_open());
    connections_.make_room();
    EXPECT_EQ(open(), 0);
    EXPECT_TRUE(a1_.is_open());
}

TEST_F(GnmiConnections, ThoseWithoutAUserEndInTime) {
    connections_.add(a1_.accepted, begin);
    connections_.add(b1_.accepted, begin + seconds(5));
    EXPECT_EQ(connections_.next_end(), begin + seconds(30));
    connections_.end_late(begin + seconds(29));
    EXPECT_TRUE(a1_.is_open());
    connections_.end_late(begin + seconds(30));
    EXPECT_FALSE(a1_.is_open());
    EXPECT_TRUE(b1_.is_open());
    EXPECT_EQ(connections_.next_end(), begin + seconds(35));
    std::vector<pollfd> watched;
    connections_.watch(watched);
    poll(watched.data(), watched.size(), 0);
    connections_.drop_ended(watched);
    EXPECT_EQ(connections_.count(), 1U);
}

} // namespace
