// Events as they go over the wire, without a session.
#include "server/netconf/notifications.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fmt/format.h>

namespace {

using namespace ocamp;
using namespace ocamp::netconf;
using testing::HasSubstr;
using testing::Not;

constexpr const char *gain_leaf =
    "/openconfig-optical-amplifier:optical-amplifier/amplifiers/amplifier[name='a']/config/target-gain";

const server::SessionInfo ada{
    .id = 7, .principal = {"ada", server::Role::admin}, .peer = {"netconf", "192.0.2.1", 1}, .since = {}};

template <class What>
std::string told_of(What what, const server::ReadFilter &filter = server::WholeTree()) {
    return notification_of({.at = {}, .what = std::move(what)}, filter).value_or("nothing");
}

TEST(Notification, OfTheEndOfASessionHasItsReason) {
    using End = server::SessionEnd;
    for (const auto &[end, reason] : std::initializer_list<std::pair<End, const char *>>{{End::closed, "closed"},
                                                                                         {End::killed, "killed"},
                                                                                         {End::dropped, "dropped"},
                                                                                         {End::timeout, "timeout"},
                                                                                         {End::refused, "other"},
                                                                                         {End::shutdown, "other"}})
        EXPECT_THAT(told_of(server::SessionEnded{.session = ada, .reason = end}),
                    HasSubstr(fmt::format("<username>ada</username><session-id>7</session-id>"
                                          "<source-host>192.0.2.1</source-host>"
                                          "<termination-reason>{}</termination-reason></netconf-session-end>",
                                          reason)));
    EXPECT_THAT(told_of(server::SessionEnded{.session = ada, .reason = End::killed, .killed_by = 9}),
                HasSubstr("<killed-by>9</killed-by><termination-reason>"));
}

TEST(Notification, OfASessionWithoutAnAddressNamesNoHost) {
    server::SessionInfo session = ada;
    session.peer.address.clear();
    EXPECT_THAT(told_of(server::SessionStarted{session}), Not(HasSubstr("source-host")));
    EXPECT_THAT(told_of(server::SessionStarted{ada}), HasSubstr("<source-host>192.0.2.1</source-host>"));
}

TEST(Notification, OfAConfirmedCommitSaysWhatBecameOfIt) {
    using Kind = server::ConfirmedCommitEvent::Kind;
    const auto told = [](Kind kind) {
        return told_of(server::ConfirmedCommitEvent{.kind = kind,
                                                    .author = {.session = 7, .user = "ada", .peer = ada.peer},
                                                    .timeout = std::chrono::seconds(60)});
    };
    const std::string who = "<username>ada</username><session-id>7</session-id><source-host>192.0.2.1</source-host>";
    EXPECT_THAT(told(Kind::start), HasSubstr(who + "<confirm-event>start</confirm-event><timeout>60</timeout></"));
    EXPECT_THAT(told(Kind::extend), HasSubstr(who + "<confirm-event>extend</confirm-event><timeout>60</timeout></"));
    EXPECT_THAT(told(Kind::cancel), HasSubstr(who + "<confirm-event>cancel</confirm-event></"));
    EXPECT_THAT(told(Kind::complete), HasSubstr(who + "<confirm-event>complete</confirm-event></"));
    EXPECT_THAT(told(Kind::timeout), HasSubstr("\"><confirm-event>timeout</confirm-event></"));
}

TEST(Notification, OfAChangeListsItsEditsOfTheConfiguration) {
    const std::string gain = gain_leaf;
    server::DataChange change;
    change.openconfig = {{.path = gain, .before = "1.0", .after = "2.0"},
                         {.path = gain, .before = {}, .after = "2.0"},
                         {.path = gain, .before = "1.0", .after = {}},
                         {.path = gain, .configuration = false, .before = "1.0", .after = "2.0"},
                         {.path = "/nothing-of-ours/x", .before = "1", .after = "2"}};
    const std::string text = told_of(change);
    const std::string target = "</target><operation>";
    EXPECT_THAT(text, HasSubstr("<changed-by><server/></changed-by><datastore>running</datastore><edit>"));
    EXPECT_THAT(text, HasSubstr(target + "replace</operation></edit><edit>"));
    EXPECT_THAT(text, HasSubstr(target + "create</operation></edit><edit>"));
    EXPECT_THAT(text, HasSubstr(target + "delete</operation></edit></netconf-config-change>"));
    change.author = {.session = 7, .user = "ada", .peer = ada.peer};
    change.openconfig.assign(1001, {.path = gain, .before = "1.0", .after = "2.0"});
    EXPECT_THAT(told_of(change), HasSubstr("<session-id>7</session-id><source-host>192.0.2.1</source-host></changed-by>"
                                           "<datastore>running</datastore></netconf-config-change>"));
}

TEST(Notification, IsNoneOfWhatTheStreamDoesNotHaveOrNobodyWants) {
    EXPECT_EQ(told_of(server::DataWritten()), "nothing");
    const server::PlantEvent cut{.second = 5, .words = "cut a/b"};
    EXPECT_THAT(told_of(cut), HasSubstr("<second>5</second><event>cut a/b</event></line-event>"));
    EXPECT_THAT(told_of(cut, server::SubtreeFilter{"<filter><line-event/></filter>"}), HasSubstr("cut a/b"));
    EXPECT_EQ(told_of(cut, server::SubtreeFilter{"<filter><netconf-session-end/></filter>"}), "nothing");
}

} // namespace
