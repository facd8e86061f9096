// Sessions without a transport, on a node in one process: what each operation is answered with, what is told and
// counted, and how sessions end.
#include "server/netconf/session.h"

#include "../server/served_node.h"
#include "server/netconf/notifications.h"
#include "server/netconf/operations.h"
#include "support/same_text.h"

#include <regex>

#include <fmt/format.h>
#include <poll.h>

namespace session_tests {

using namespace ocamp;
using namespace ocamp::netconf;
using namespace std::chrono_literals;
using testing::HasSubstr;

constexpr const char *base = "urn:ietf:params:xml:ns:netconf:base:1.0";
constexpr const char *monitoring = "urn:ietf:params:xml:ns:yang:ietf-netconf-monitoring";
constexpr const char *notification = "urn:ietf:params:xml:ns:netconf:notification:1.0";

// Times are those of the run.
std::string without_times(const std::string &text) {
    static const std::regex time(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}(Z|\+00:00))");
    return std::regex_replace(text, time, "TIME");
}

// The other end of a session.
class Client {
  public:
    Client(const Surroundings &surroundings, const server::Principal &principal)
        : mailbox_(surroundings.mailbox),
          session_(Session::start(surroundings, principal, {"netconf", "192.0.2.7", 9})) {
        hello_ = receive();
    }

    const std::string &hello() const { return hello_; }
    Session &session() { return *session_; }
    server::SessionId id() const { return session_->id(); }

    void greet(bool chunks = true) {
        session_->receive(framed(fmt::format("<hello xmlns=\"{}\"><capabilities><capability>urn:ietf:params:netconf:"
                                             "base:1.{}</capability></capabilities></hello>",
                                             base, chunks ? 1 : 0),
                                 Framing::end_of_message));
        framing_ = chunks ? Framing::chunked : Framing::end_of_message;
        reader_.set_framing(framing_);
    }
    void send(std::string_view message) { session_->receive(framed(message, framing_)); }
    void send_rpc(std::string_view operation) {
        send(fmt::format("<rpc xmlns=\"{}\" message-id=\"m\">{}</rpc>", base, operation));
    }

    // The next message, for which it waits ten seconds; empty for none.
    std::string receive() {
        for (const auto end = std::chrono::steady_clock::now() + 10s;;) {
            std::string_view bytes = session_->output();
            const std::size_t there = bytes.size();
            std::optional<std::string> message = reader_.next(bytes);
            session_->sent(there - bytes.size());
            if (message)
                return *std::move(message);
            if (std::chrono::steady_clock::now() > end || !work())
                return {};
        }
    }
    // Whether the session ends by itself.
    bool ends() {
        while (!session_->ended() && work()) {
        }
        return session_->ended();
    }
    // The content of the reply.
    std::string ask(std::string_view operation) {
        send_rpc(operation);
        std::string reply = receive();
        const std::string begin = fmt::format("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                              "<rpc-reply xmlns=\"{}\" message-id=\"m\">",
                                              base);
        const std::string_view end = "</rpc-reply>";
        if (!reply.starts_with(begin) || !reply.ends_with(end))
            return "no reply: " + reply;
        return reply.substr(begin.size(), reply.size() - begin.size() - end.size());
    }

  private:
    // Does what is posted. False: nothing is, for ten seconds.
    bool work() {
        pollfd posted{mailbox_->descriptor(), POLLIN, 0};
        if (::poll(&posted, 1, 10000) <= 0)
            return false;
        mailbox_->run();
        return true;
    }

    std::shared_ptr<Mailbox> mailbox_;
    std::shared_ptr<Session> session_;
    MessageReader reader_{std::size_t{1} << 26U};
    Framing framing_ = Framing::end_of_message;
    std::string hello_;
};

class Sessions : public server_tests::ServedNode {
  protected:
    void SetUp() override {
        ServedNode::SetUp();
        surround();
    }
    void TearDown() override {
        surroundings_.reset();
        ServedNode::TearDown();
    }
    void surround() { surroundings_.emplace(Surroundings{core(), std::make_shared<Mailbox>(), statistics_}); }
    std::unique_ptr<Client> connect(const std::string &user = "ada", server::Role role = server::Role::admin) {
        auto client = std::make_unique<Client>(*surroundings_, server::Principal{user, role});
        client->greet();
        return client;
    }
    Surroundings &surroundings() { return *surroundings_; }
    Statistics &statistics() { return statistics_; }

  private:
    Statistics statistics_;
    std::optional<Surroundings> surroundings_;
};

std::string amplifiers(const std::string &content) {
    return fmt::format("<optical-amplifier xmlns=\"http://openconfig.net/yang/optical-amplfier\"><amplifiers>"
                       "<amplifier><name>0/1-AMP-BST</name>{}</amplifier></amplifiers></optical-amplifier>",
                       content);
}

std::string set_gain(const std::string &gain, const std::string &target = "running", const std::string &options = "") {
    return fmt::format("<edit-config><target><{}/></target>{}<config>{}</config></edit-config>", target, options,
                       amplifiers("<config><target-gain>" + gain + "</target-gain></config>"));
}

const std::string get_gain = "<get-config><source><running/></source><filter>" +
                             amplifiers("<config><target-gain/></config>") + "</filter></get-config>";

std::string gain_of(const std::string &reply) {
    const std::size_t at = reply.find("<target-gain>");
    return at == std::string::npos ? reply : reply.substr(at + 13, reply.find('<', at + 13) - at - 13);
}

std::string ok() {
    return fmt::format("<ok xmlns=\"{}\"/>", base);
}

std::string error(const std::string &type, const std::string &tag, const std::string &message,
                  const std::string &info = "") {
    return fmt::format("<rpc-error xmlns=\"{}\"><error-type>{}</error-type><error-tag>{}</error-tag><error-severity>"
                       "error</error-severity><error-message xml:lang=\"en\">{}</error-message>{}</rpc-error>",
                       base, type, tag, message, info.empty() ? "" : "<error-info>" + info + "</error-info>");
}

TEST_F(Sessions, RepliesHaveTheDataInTheirNamespace) {
    const auto client = connect();
    EXPECT_THAT(client->hello(), HasSubstr(fmt::format("<session-id>{}</session-id>", client->id())));
    EXPECT_EQ(client->ask("<get-config><source><running/></source><filter/></get-config>"),
              fmt::format("<data xmlns=\"{}\"></data>", base));
    const std::string reply = client->ask(get_gain);
    EXPECT_TRUE(reply.starts_with(fmt::format("<data xmlns=\"{}\"><optical-amplifier ", base))) << reply;
    EXPECT_TRUE(reply.ends_with("</optical-amplifier>\n</data>")) << reply;
    EXPECT_EQ(gain_of(reply), "13.1");
    EXPECT_EQ(
        client->ask(fmt::format("<get-schema xmlns=\"{}\"><identifier>none</identifier></get-schema>", monitoring)),
        error("application", "invalid-value",
              "no schema 'none' of revision '' as 'yang'; netconf-state/schemas has them all"));
    const std::string schema = client->ask(
        fmt::format("<get-schema xmlns=\"{}\"><identifier>ietf-datastores</identifier></get-schema>", monitoring));
    EXPECT_TRUE(schema.starts_with(fmt::format("<data xmlns=\"{}\">module ietf-datastores {{", monitoring))) << schema;
}

TEST_F(Sessions, OperationsDoWhatTheySay) {
    const auto client = connect();
    EXPECT_EQ(client->ask(set_gain("14.2")), ok());
    EXPECT_EQ(client->ask(set_gain("14.3", "running", "<test-option>test-only</test-option>")), ok());
    EXPECT_EQ(gain_of(client->ask(get_gain)), "14.2");
    EXPECT_EQ(client->ask("<lock><target><candidate/></target></lock>"), ok());
    EXPECT_EQ(client->ask(set_gain("14.4", "candidate")), ok());
    EXPECT_EQ(gain_of(client->ask(get_gain)), "14.2");
    EXPECT_EQ(client->ask("<validate><source><candidate/></source></validate>"), ok());
    EXPECT_EQ(client->ask("<discard-changes/>"), ok());
    EXPECT_EQ(client->ask("<commit/>"), ok());
    EXPECT_EQ(gain_of(client->ask(get_gain)), "14.2");
    EXPECT_EQ(client->ask(set_gain("14.5", "candidate")), ok());
    EXPECT_EQ(client->ask("<commit><confirmed/><confirm-timeout>60</confirm-timeout><persist>p</persist></commit>"),
              ok());
    EXPECT_EQ(gain_of(client->ask(get_gain)), "14.5");
    EXPECT_EQ(client->ask("<cancel-commit><persist-id>p</persist-id></cancel-commit>"), ok());
    EXPECT_EQ(gain_of(client->ask(get_gain)), "14.2");
    EXPECT_EQ(client->ask("<unlock><target><candidate/></target></unlock>"), ok());
    EXPECT_EQ(client->ask("<copy-config><target><candidate/></target><source><running/></source></copy-config>"), ok());
    EXPECT_EQ(client->ask(set_gain("14.6", "running", "<default-operation>none</default-operation>")), ok());
    EXPECT_EQ(gain_of(client->ask(get_gain)), "14.2");
}

TEST_F(Sessions, FiltersMayHaveTheirAttributesInTheNamespaceOfTheProtocol) {
    const auto client = connect();
    const auto read = [&](const std::string &attributes) {
        return client->ask(
            fmt::format("<get-config><source><running/></source><filter xmlns:n=\"{}\" xmlns:x=\"urn:x\" "
                        "xmlns:o=\"http://openconfig.net/yang/optical-amplfier\" {}/></get-config>",
                        base, attributes));
    };
    EXPECT_EQ(gain_of(read("n:type=\"xpath\" n:select=\"//o:amplifier[o:name='0/1-AMP-BST']//o:target-gain\"")),
              "13.1");
    EXPECT_THAT(read("x:type=\"xpath\" x:select=\"//o:target-gain\""),
                HasSubstr("<error-type>protocol</error-type><error-tag>bad-element</error-tag>"));
}

TEST_F(Sessions, ConfigurationsOfRequestsAreValidatedAndCopiedWhole) {
    const auto client = connect();
    const std::string others = "<get-config><source><candidate/></source><filter>" + amplifiers("<config/>") +
                               "<interface-configurations "
                               "xmlns=\"http://korvex.example/ns/yang/Korvex-ifmgr-cfg\"/></filter></get-config>";
    const std::string config = "<config><interface-configurations "
                               "xmlns=\"http://korvex.example/ns/yang/Korvex-ifmgr-cfg\"><interface-configuration>"
                               "<active>act</active><interface-name>Loopback0</interface-name>"
                               "</interface-configuration></interface-configurations></config>";
    EXPECT_EQ(client->ask("<validate><source>" + config + "</source></validate>"), ok());
    EXPECT_THAT(client->ask("<validate><source><config>" + amplifiers("<no-such/>") + "</config></source></validate>"),
                HasSubstr("<bad-element>no-such</bad-element>"));
    EXPECT_THAT(client->ask(others), HasSubstr("Ots0/1/0/1"));
    EXPECT_EQ(client->ask("<copy-config><target><candidate/></target><source>" + config + "</source></copy-config>"),
              ok());
    EXPECT_THAT(client->ask(others), testing::Not(HasSubstr("Ots0/1/0/1")));
    EXPECT_THAT(client->ask(others), HasSubstr("Loopback0"));
    EXPECT_EQ(client->ask("<discard-changes/>"), ok());
    EXPECT_EQ(client->ask("<edit-config><target><candidate/></target><default-operation>replace</default-operation>" +
                          config + "</edit-config>"),
              ok());
    EXPECT_THAT(client->ask(others), testing::Not(HasSubstr("Ots0/1/0/1")));
    EXPECT_EQ(gain_of(client->ask(get_gain)), "13.1");
}

TEST_F(Sessions, ExpressionsThatFailOnTheProtocolsOwnDataAreRefused) {
    const auto client = connect();
    const std::string filter =
        fmt::format("<filter type=\"xpath\" xmlns:m=\"{}\" select=\"/m:netconf-state[count(1) = 1]\"/>", monitoring);
    EXPECT_THAT(client->ask("<get>" + filter + "</get>"),
                HasSubstr("<error-type>application</error-type><error-tag>invalid-value</error-tag>"));
    EXPECT_EQ(gain_of(client->ask(get_gain)), "13.1");
}

TEST_F(Sessions, RefusalsSayWhatWasExpected) {
    const auto client = connect();
    const std::string with_defaults = "<with-defaults xmlns=\"urn:ietf:params:xml:ns:yang:ietf-netconf-with-defaults\">"
                                      "report-all-tagged</with-defaults>";
    for (const std::string &operation :
         {"<get>" + with_defaults + "</get>",
          "<get-config><source><running/></source>" + with_defaults + "</get-config>",
          "<copy-config><target><running/></target><source><candidate/></source>" + with_defaults + "</copy-config>"})
        EXPECT_EQ(client->ask(operation),
                  error("protocol", "invalid-value",
                        "with-defaults 'report-all-tagged', expected 'report-all', 'trim' or 'explicit'",
                        "<bad-element>with-defaults</bad-element>"));
    EXPECT_EQ(client->ask("<get><filter type=\"regex\"/></get>"),
              error("protocol", "bad-attribute", "filter type 'regex', expected 'subtree' or 'xpath'",
                    "<bad-attribute>type</bad-attribute><bad-element>filter</bad-element>"));
    EXPECT_EQ(client->ask("<get><filter type=\"xpath\"/></get>"),
              error("protocol", "missing-attribute", "the attribute 'select' is missing",
                    "<bad-attribute>select</bad-attribute><bad-element>filter</bad-element>"));
    EXPECT_THAT(client->ask("<get><filter a=\"1\"/></get>"),
                HasSubstr("<error-tag>bad-element</error-tag><error-severity>error</error-severity><error-message "
                          "xml:lang=\"en\">&lt;filter"));
    EXPECT_THAT(client->ask("<get><filter type=\"xpath\" select=\"//*[count(//*)=0]\"/></get>"),
                HasSubstr("<error-type>protocol</error-type><error-tag>too-big</error-tag>"));
    EXPECT_EQ(client->ask(set_gain("14.2", "running", "<error-option>continue-on-error</error-option>")),
              error("protocol", "operation-not-supported",
                    "error-option 'continue-on-error', expected 'stop-on-error' or 'rollback-on-error': an edit is "
                    "carried out as a whole or not at all"));
    EXPECT_EQ(
        client->ask("<copy-config><target><running/></target><source><running/></source></copy-config>"),
        error("protocol", "invalid-value", "source and target are the same", "<bad-element>source</bad-element>"));
    EXPECT_EQ(client->ask("<commit><confirm-timeout>60</confirm-timeout></commit>"),
              error("protocol", "bad-element", "'confirm-timeout' without 'confirmed'",
                    "<bad-element>confirm-timeout</bad-element>"));
    EXPECT_EQ(client->ask("<commit><persist>p</persist></commit>"),
              error("protocol", "bad-element", "'persist' without 'confirmed'", "<bad-element>persist</bad-element>"));
    EXPECT_EQ(client->ask(fmt::format("<kill-session><session-id>{}</session-id></kill-session>", client->id())),
              error("protocol", "invalid-value", "a session cannot kill itself; close-session ends it",
                    "<bad-element>session-id</bad-element>"));
    EXPECT_EQ(
        client->ask("<lock><target><running/></target><target><running/></target></lock>"),
        error("protocol", "bad-element", "the element 'target' is given twice", "<bad-element>target</bad-element>"));
    EXPECT_EQ(gain_of(client->ask(get_gain)), "13.1");
}

TEST_F(Sessions, RefusalsOfTheNodeNameThePlace) {
    const auto client = connect(), other = connect();
    EXPECT_THAT(client->ask(set_gain("99.9")), HasSubstr("<error-type>application</error-type>"));
    const std::string unknown = client->ask("<edit-config><target><running/></target><config>" +
                                            amplifiers("<config><no-such/></config>") + "</config></edit-config>");
    EXPECT_THAT(unknown, HasSubstr("<error-tag>unknown-element</error-tag>"));
    EXPECT_THAT(unknown, HasSubstr("<error-info><bad-element>no-such</bad-element></error-info>"));
    EXPECT_EQ(other->ask("<lock><target><running/></target></lock>"), ok());
    const std::string denied = client->ask("<lock><target><running/></target></lock>");
    EXPECT_THAT(denied, HasSubstr("<error-type>protocol</error-type><error-tag>lock-denied</error-tag>"));
    EXPECT_THAT(denied, HasSubstr(fmt::format("<error-info><session-id>{}</session-id></error-info>", other->id())));
}

TEST_F(Sessions, RefusalsNameTheElementWhateverItsKeysHold) {
    const std::string entry = "<amplifier n:operation=\"merge\"><name>a]/b</name></amplifier>";
    EXPECT_THAT(connect()->ask("<edit-config><target><running/></target><config><optical-amplifier xmlns:n=\"" +
                               std::string(base) +
                               "\" xmlns=\"http://openconfig.net/yang/optical-amplfier\"><amplifiers "
                               "n:operation=\"delete\">" +
                               entry + "</amplifiers></optical-amplifier></config></edit-config>"),
                HasSubstr("<bad-attribute>operation</bad-attribute><bad-element>amplifier</bad-element>"));
}

TEST(Refusals, OfTheCoreHaveTheInfoOfTheirTag) {
    const auto info = [](ErrorTag tag, std::optional<server::SessionId> holder = {}) {
        const RpcError error =
            error_of({.tag = tag, .path = "/m:a/b[m:k='c]/d']", .reason = "r", .attribute = "at", .holder = holder});
        std::string text;
        for (const auto &[name, value] : error.info)
            text += name + "=" + value + " ";
        return text + (error.type == ErrorType::protocol ? "protocol" : "application");
    };
    for (const ErrorTag tag :
         {ErrorTag::unknown_namespace, ErrorTag::missing_element, ErrorTag::bad_element, ErrorTag::unknown_element})
        EXPECT_EQ(info(tag), "bad-element=b application");
    for (const ErrorTag tag : {ErrorTag::missing_attribute, ErrorTag::bad_attribute, ErrorTag::unknown_attribute})
        EXPECT_EQ(info(tag), "bad-attribute=at bad-element=b application");
    EXPECT_EQ(info(ErrorTag::lock_denied), "session-id=0 protocol");
    EXPECT_EQ(info(ErrorTag::lock_denied, 7), "session-id=7 protocol");
    EXPECT_EQ(info(ErrorTag::invalid_value), "application");
    EXPECT_EQ(error_of({.reason = "r", .code = 0xaaf2ee00}).message, "r (0xaaf2ee00)");
    EXPECT_EQ(error_of({.reason = "r"}).message, "r");
}

TEST_F(Sessions, SubscriptionsAreOneASessionOfOneStream) {
    const auto subscribe = [](const std::string &content) {
        return fmt::format("<create-subscription xmlns=\"{}\">{}</create-subscription>", notification, content);
    };
    const auto client = connect();
    EXPECT_EQ(gain_of(client->ask(get_gain)), "13.1"); // its own beginning has been told by then
    EXPECT_EQ(client->ask(subscribe("<stream>other</stream>")),
              error("application", "invalid-value", "no stream 'other', expected 'NETCONF'",
                    "<bad-element>stream</bad-element>"));
    EXPECT_EQ(client->ask(subscribe("<startTime>2026-01-01T00:00:00Z</startTime>")),
              error("application", "operation-not-supported", "'startTime', but the stream NETCONF is not replayed"));
    EXPECT_EQ(client->ask(subscribe("<stopTime>2036-01-01T00:00:00Z</stopTime>")),
              error("application", "operation-not-supported", "'stopTime', but the stream NETCONF is not replayed"));
    EXPECT_TRUE(client->session().idle_since());
    EXPECT_EQ(client->ask(subscribe("<stream>NETCONF</stream>")), ok());
    EXPECT_FALSE(client->session().idle_since());
    EXPECT_EQ(client->ask(subscribe("")),
              error("application", "operation-failed", "the session is subscribed already"));
    const auto other = connect("olga", server::Role::operator_);
    EXPECT_EQ(without_times(client->receive()),
              fmt::format("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<notification xmlns=\"{}\"><eventTime>TIME"
                          "</eventTime><netconf-session-start xmlns=\"urn:ietf:params:xml:ns:yang:"
                          "ietf-netconf-notifications\"><username>olga</username><session-id>{}</session-id>"
                          "<source-host>192.0.2.7</source-host></netconf-session-start></notification>",
                          notification, other->id()));
    EXPECT_EQ(other->ask(set_gain("14.2")), ok());
    const std::string change = client->receive();
    EXPECT_THAT(change, HasSubstr("<username>olga</username>"));
    EXPECT_THAT(change, HasSubstr("target-gain</target><operation>replace</operation></edit>"));
    EXPECT_EQ(statistics().counters.out_notifications, 2U);
    EXPECT_EQ(statistics().sessions.at(client->id()).counters.out_notifications, 2U);
    EXPECT_EQ(statistics().sessions.at(other->id()).counters.out_notifications, 0U);
}

TEST_F(Sessions, AreCountedWithWhatTheyAsk) {
    const auto client = connect(), other = connect("rita", server::Role::reader);
    other->send("<rpc");
    EXPECT_THAT(other->receive(), HasSubstr("<error-tag>malformed-message</error-tag>"));
    other->send(fmt::format("<rpc xmlns=\"{}\"><get/></rpc>", base));
    EXPECT_THAT(other->receive(), HasSubstr("<error-tag>missing-attribute</error-tag>"));
    EXPECT_THAT(other->ask("<reboot/>"), HasSubstr("<error-tag>operation-not-supported</error-tag>"));
    EXPECT_THAT(other->ask(set_gain("14.2")), HasSubstr("<error-tag>access-denied</error-tag>"));
    EXPECT_EQ(client->ask("<lock><target><candidate/></target></lock>"), ok());
    Client stranger(surroundings(), {"ada", server::Role::admin});
    stranger.session().receive("<hello/>]]>]]>");
    EXPECT_TRUE(stranger.session().ended());
    const std::string state = client->ask(fmt::format(
        "<get><filter><netconf-state xmlns=\"{}\"><datastores/><sessions/><statistics/></netconf-state></filter></get>",
        monitoring));
    const auto counters = [](unsigned rpcs, unsigned bad, unsigned errors) {
        return fmt::format("<in-rpcs>{}</in-rpcs><in-bad-rpcs>{}</in-bad-rpcs><out-rpc-errors>{}</out-rpc-errors>"
                           "<out-notifications>0</out-notifications>",
                           rpcs, bad, errors);
    };
    const auto session = [&](const Client &of, const std::string &user, const std::string &counted) {
        return fmt::format("<session><session-id>{}</session-id><transport xmlns:ncm=\"{}\">ncm:netconf-ssh"
                           "</transport><username>{}</username><source-host>192.0.2.7</source-host><login-time>TIME</"
                           "login-time>{}</session>",
                           of.id(), monitoring, user, counted);
    };
    const std::string plain = std::regex_replace(without_times(state), std::regex(R"(\n\s*)"), "");
    EXPECT_SAME_TEXT(
        plain,
        fmt::format("<data xmlns=\"{}\"><netconf-state xmlns=\"{}\"><datastores><datastore><name>running</name>"
                    "</datastore><datastore><name>candidate</name><locks><global-lock><locked-by-session>{}"
                    "</locked-by-session><locked-time>TIME</locked-time></global-lock></locks></datastore></datastores>"
                    "<sessions>{}{}</sessions><statistics><netconf-start-time>TIME</netconf-start-time><in-bad-hellos>1"
                    "</in-bad-hellos><in-sessions>3</in-sessions><dropped-sessions>1</dropped-sessions>{}</statistics>"
                    "</netconf-state></data>",
                    base, monitoring, client->id(), session(*client, "ada", counters(2, 0, 0)),
                    session(*other, "rita", counters(1, 2, 4)), counters(3, 2, 4)));
}

TEST_F(Sessions, EndAsTheyAreEnded) {
    const auto client = connect(), other = connect();
    EXPECT_EQ(client->ask(fmt::format("<kill-session><session-id>{}</session-id></kill-session>", other->id())), ok());
    EXPECT_TRUE(other->ends());
    EXPECT_FALSE(client->session().ended());
    EXPECT_EQ(statistics().dropped_sessions, 0U);
    EXPECT_EQ(client->ask("<close-session/>"), ok());
    EXPECT_TRUE(client->session().ended());
    EXPECT_EQ(statistics().dropped_sessions, 0U);
    const auto third = connect();
    third->session().end(server::SessionEnd::timeout);
    EXPECT_EQ(statistics().dropped_sessions, 1U);
    EXPECT_TRUE(statistics().sessions.empty());
    EXPECT_TRUE(core().sessions().empty());
}

TEST_F(Sessions, OfTheOlderVersionAreToldInItsWords) {
    Client client(surroundings(), {"ada", server::Role::admin});
    client.greet(false);
    client.send("<rpc");
    EXPECT_THAT(client.receive(), HasSubstr("<error-type>rpc</error-type><error-tag>operation-failed</error-tag>"));
    std::string deep;
    for (int i = 0; i < 1000; ++i)
        deep += "<a>";
    client.send(deep);
    EXPECT_THAT(client.receive(), HasSubstr("<error-type>rpc</error-type><error-tag>too-big</error-tag>"));
    EXPECT_EQ(gain_of(client.ask(get_gain)), "13.1");
}

TEST_F(Sessions, TakeInputAsLongAsItIsInBounds) {
    restart({.requests_in_flight = 2, .output_backlog = 4000});
    surround();
    const auto client = connect();
    EXPECT_TRUE(client->session().is_quiet());
    client->send_rpc(get_gain);
    EXPECT_FALSE(client->session().is_quiet());
    EXPECT_TRUE(client->session().wants_input());
    client->send_rpc(get_gain);
    EXPECT_FALSE(client->session().wants_input());
    EXPECT_EQ(gain_of(client->receive()), "13.1");
    EXPECT_EQ(gain_of(client->receive()), "13.1");
    EXPECT_TRUE(client->session().wants_input());
    EXPECT_EQ(client->ask("<get-config><source><running/></source></get-config>"),
              error("application", "too-big", "a reply of more than 2000 bytes"));
    // More than half of the backlog is unread: the next request waits.
    for (int i = 0; i < 9; ++i)
        client->send_rpc("<validate><source><no-such/></source></validate>");
    EXPECT_FALSE(client->session().wants_input());
    EXPECT_FALSE(client->session().is_quiet());
    for (int i = 0; i < 9; ++i)
        EXPECT_THAT(client->receive(), HasSubstr("<error-tag>unknown-element</error-tag>"));
    EXPECT_TRUE(client->session().is_quiet());
}

TEST_F(Sessions, TakeInputAsLongAsThereIsRoomForItAndForAnswers) {
    restart({.message_size = 1000, .output_backlog = 4000});
    surround();
    const auto client = connect();
    const std::string padding(600, ' ');
    client->send_rpc(get_gain); // under way
    client->send_rpc("<get-config>" + padding + "<source><running/></source></get-config>");
    EXPECT_TRUE(client->session().wants_input());
    client->send_rpc("<get-config>" + padding + "<source><running/></source></get-config>");
    EXPECT_FALSE(client->session().wants_input()) << "more waits than one message may have";
    for (int i = 0; i < 3; ++i)
        EXPECT_THAT(client->receive(), HasSubstr("<rpc-reply"));
    EXPECT_TRUE(client->session().wants_input());
    while (client->session().wants_input() && !client->session().ended())
        client->send_rpc("<no-such/>");
    EXPECT_GT(client->session().output().size(), 2000U) << "half of the backlog is unread";
    EXPECT_FALSE(client->session().ended());
}

TEST_F(Sessions, AreNotAnsweredAfterTheirEnd) {
    const std::shared_ptr<Mailbox> &mailbox = surroundings().mailbox;
    const auto answer_is_posted = [&] {
        pollfd posted{mailbox->descriptor(), POLLIN, 0};
        return ::poll(&posted, 1, 10000) == 1;
    };
    auto client = connect();
    client->send_rpc(get_gain);
    ASSERT_TRUE(answer_is_posted());
    const std::string before(client->session().output());
    client->session().end(server::SessionEnd::timeout);
    mailbox->run();
    EXPECT_EQ(client->session().output(), before);
    client = connect();
    client->send_rpc(get_gain);
    ASSERT_TRUE(answer_is_posted());
    client.reset();
    mailbox->run();
    EXPECT_TRUE(statistics().sessions.empty());
}

TEST_F(Sessions, ReadNothingBehindTheirEnd) {
    Client stranger(surroundings(), {"ada", server::Role::admin});
    stranger.session().receive("<hello/>]]>]]>" + framed("<rpc/>", Framing::end_of_message));
    EXPECT_TRUE(stranger.session().ended());
    EXPECT_EQ(statistics().in_bad_hellos, 1U);
    EXPECT_EQ(stranger.session().output(), "");
    Client other(surroundings(), {"ada", server::Role::admin});
    other.session().receive("\n#x");
    EXPECT_TRUE(other.session().ended());
    EXPECT_EQ(other.session().output(), "") << "who has not said hello is told nothing";
    EXPECT_EQ(statistics().in_bad_hellos, 2U);
    EXPECT_EQ(statistics().counters.in_bad_rpcs, 0U);
}

TEST_F(Sessions, WhoseStreamIsAtFaultAreToldAndEnd) {
    const auto client = connect();
    client->session().receive("\n#x");
    EXPECT_THAT(client->receive(), HasSubstr("<error-type>rpc</error-type><error-tag>malformed-message</error-tag>"));
    EXPECT_TRUE(client->session().ended());
    EXPECT_EQ(statistics().counters.in_bad_rpcs, 1U);
    EXPECT_EQ(statistics().counters.out_rpc_errors, 1U);
    EXPECT_EQ(statistics().in_bad_hellos, 0U);
    EXPECT_EQ(statistics().dropped_sessions, 1U);
}

TEST_F(Sessions, ThatDoNotReadWhatTheyAskedForEnd) {
    restart({.output_backlog = 4000});
    surround();
    const auto client = connect(), other = connect();
    EXPECT_EQ(client->ask(fmt::format("<create-subscription xmlns=\"{}\"/>", notification)), ok());
    for (int i = 0; i < 20 && !client->session().ended(); ++i) {
        connect();
        EXPECT_EQ(gain_of(other->ask(get_gain)), "13.1");
    }
    EXPECT_TRUE(client->session().ended());
    EXPECT_EQ(client->session().output(), "");
    EXPECT_FALSE(other->session().ended());
}

TEST(Notifications, TellEachKindOfEvent) {
    using server::ConfirmedCommitEvent;
    const auto told = [](auto what, const server::ReadFilter &filter = server::WholeTree()) {
        const std::optional<std::string> text = notification_of({.at = {}, .what = std::move(what)}, filter);
        if (!text)
            return std::string("nothing");
        const std::size_t begin = text->find("</eventTime>") + 12;
        return text->substr(begin, text->rfind("</notification>") - begin);
    };
    const server::Author ada{.session = 4, .user = "a<a", .peer = {"netconf", "192.0.2.7", 9}};
    const std::string ns = "urn:ietf:params:xml:ns:yang:ietf-netconf-notifications";
    const std::string who = "<username>a&lt;a</username><session-id>4</session-id><source-host>192.0.2.7</source-host>";
    const auto commit = [&](ConfirmedCommitEvent::Kind kind) {
        return told(ConfirmedCommitEvent{.kind = kind, .author = ada, .timeout = 60s});
    };
    const auto expected = [&](const std::string &content) {
        return fmt::format("<netconf-confirmed-commit xmlns=\"{}\">{}</netconf-confirmed-commit>", ns, content);
    };
    using Kind = ConfirmedCommitEvent::Kind;
    EXPECT_EQ(commit(Kind::start), expected(who + "<confirm-event>start</confirm-event><timeout>60</timeout>"));
    EXPECT_EQ(commit(Kind::extend), expected(who + "<confirm-event>extend</confirm-event><timeout>60</timeout>"));
    EXPECT_EQ(commit(Kind::cancel), expected(who + "<confirm-event>cancel</confirm-event>"));
    EXPECT_EQ(commit(Kind::complete), expected(who + "<confirm-event>complete</confirm-event>"));
    EXPECT_EQ(commit(Kind::timeout), expected("<confirm-event>timeout</confirm-event>"));

    const server::SessionInfo session{
        .id = 4, .principal = {"ada", server::Role::admin}, .peer = {"gnmi", "", 0}, .since = {}};
    const auto end = [&](server::SessionEnd reason, server::SessionId by = server::no_session) {
        return told(server::SessionEnded{.session = session, .reason = reason, .killed_by = by});
    };
    const auto ended = [&](const std::string &rest) {
        return fmt::format("<netconf-session-end xmlns=\"{}\"><username>ada</username><session-id>4</session-id>{}"
                           "</netconf-session-end>",
                           ns, rest);
    };
    using End = server::SessionEnd;
    EXPECT_EQ(end(End::closed), ended("<termination-reason>closed</termination-reason>"));
    EXPECT_EQ(end(End::killed, 5), ended("<killed-by>5</killed-by><termination-reason>killed</termination-reason>"));
    EXPECT_EQ(end(End::dropped), ended("<termination-reason>dropped</termination-reason>"));
    EXPECT_EQ(end(End::timeout), ended("<termination-reason>timeout</termination-reason>"));
    EXPECT_EQ(end(End::refused), ended("<termination-reason>other</termination-reason>"));
    EXPECT_EQ(end(End::shutdown), ended("<termination-reason>other</termination-reason>"));

    EXPECT_EQ(told(server::DataWritten()), "nothing");
    EXPECT_EQ(told(server::PlantEvent{.second = 7, .words = "cut a&b"}),
              "<line-event xmlns=\"urn:oc-amplifier:line\"><second>7</second><event>cut a&amp;b</event></line-event>");

    const auto change = [&](std::size_t count, bool configuration) {
        server::DataChange data{.author = {.foreign = true}, .openconfig = {}, .native = {}};
        for (std::size_t i = 0; i < count; ++i)
            data.openconfig.push_back(
                {.path = fmt::format("/openconfig-optical-amplifier:optical-amplifier/amplifiers/amplifier[name='{}']/"
                                     "config/target-gain",
                                     i),
                 .configuration = configuration,
                 .before = {},
                 .after = "1.0"});
        return told(std::move(data));
    };
    const std::string begin = fmt::format("<netconf-config-change xmlns=\"{}\"><changed-by><server/></changed-by>"
                                          "<datastore>running</datastore>",
                                          ns);
    EXPECT_EQ(change(1, true),
              begin + "<edit><target xmlns:oc-opt-amp=\"http://openconfig.net/yang/optical-amplfier\">"
                      "/oc-opt-amp:optical-amplifier/oc-opt-amp:amplifiers/oc-opt-amp:amplifier[oc-opt-amp:name='0']/"
                      "oc-opt-amp:config/oc-opt-amp:target-gain</target><operation>create</operation></edit>"
                      "</netconf-config-change>");
    EXPECT_EQ(change(1, false), begin + "</netconf-config-change>");
    EXPECT_THAT(change(1000, true), HasSubstr("[oc-opt-amp:name='999']"));
    EXPECT_EQ(change(1001, true), begin + "</netconf-config-change>");
}

} // namespace session_tests
