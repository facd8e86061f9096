// Peers as gRPC tells them and as accepted connections do.
#include "server/gnmi/peer.h"

#include <gmock/gmock.h>
#include <net/if.h>

using ocamp::gnmi::peer_of;
using ocamp::server::Peer;

namespace {

auto is_peer(const std::string &address, std::uint16_t port) {
    return testing::AllOf(testing::Field(&Peer::protocol, "gnmi"), testing::Field(&Peer::address, address),
                          testing::Field(&Peer::port, port));
}

TEST(GnmiPeer, AddressesAreThoseOfAcceptedConnections) {
    EXPECT_THAT(peer_of("ipv4:127.0.0.1:5000"), is_peer("127.0.0.1", 5000));
    EXPECT_THAT(peer_of("ipv6:%5B::1%5D:65535"), is_peer("::1", 65535));
    EXPECT_THAT(peer_of("ipv6:[fd00::2]:80"), is_peer("fd00::2", 80));
}

TEST(GnmiPeer, LinkLocalAddressesHaveTheNameOfTheirInterface) {
    const std::string number = std::to_string(if_nametoindex("lo"));
    EXPECT_THAT(peer_of("ipv6:%5Bfe80::1%25" + number + "%5D:5000"), is_peer("fe80::1%lo", 5000));
    // One that is gone keeps its number.
    EXPECT_THAT(peer_of("ipv6:%5Bfe80::1%2599999%5D:5000"), is_peer("fe80::1%99999", 5000));
}

TEST(GnmiPeer, WhatIsNoAddressIsTakenAsItIs) {
    EXPECT_THAT(peer_of("unix"), is_peer("unix", 0));
    EXPECT_THAT(peer_of("unix:socket"), is_peer("unix:socket", 0));
    EXPECT_THAT(peer_of("ipv6:[::1:7"), is_peer("[::1", 7));
    EXPECT_THAT(peer_of("ipv4:%5:7"), is_peer("%5", 7));
    EXPECT_THAT(peer_of("ipv4:%zz1:7"), is_peer("%zz1", 7));
    EXPECT_THAT(peer_of("ipv4:a01b:7"), is_peer("a01b", 7)) << "no mark of an escape";
    EXPECT_THAT(peer_of("ipv4:1%41%zz:7"), is_peer("1A%zz", 7));
}

} // namespace
