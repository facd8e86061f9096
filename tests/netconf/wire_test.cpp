// What clients may do to the server on the wire, by mistake or on purpose: it lives, its memory stays bounded, the
// others are served meanwhile; and what it has acknowledged is there whenever it is killed.
#include "support/files.h"
#include "support/netconf_client.h"
#include "support/server_program.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using support::ClientError;
using support::NetconfClient;
using support::ServerProgram;
using testing::AnyOf;
using testing::HasSubstr;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

const support::ServerFiles files{OCAMP_PROGRAM, OCAMPD_PROGRAM, EXAMPLE_NODE};

constexpr std::size_t mebibyte = std::size_t{1} << 20U;

constexpr std::string_view base = "urn:ietf:params:xml:ns:netconf:base:1.0";
constexpr std::string_view openconfig = "http://openconfig.net/yang/optical-amplfier";

std::string amplifier(const std::string &content) {
    return fmt::format("<optical-amplifier xmlns=\"{}\"><amplifiers><amplifier><name>0/1-AMP-BST</name><config>{}"
                       "</config></amplifier></amplifiers></optical-amplifier>",
                       openconfig, content);
}

std::string read_gain() {
    return fmt::format("<get-config><source><running/></source><filter>{}</filter></get-config>",
                       amplifier("<target-gain/>"));
}

// The gain on both sides of the node, in one answer.
std::string read_both_gains() {
    return fmt::format(
        "<get-config><source><running/></source><filter>{}<interface-configurations xmlns="
        "\"http://korvex.example/ns/yang/Korvex-ifmgr-cfg\"><interface-configuration><interface-name>Ots0/1/0/1"
        "</interface-name><optics xmlns=\"http://korvex.example/ns/yang/Korvex-controller-optics-cfg\">"
        "<optics-ots-amplifier-gain/></optics></interface-configuration></interface-configurations></filter>"
        "</get-config>",
        amplifier("<target-gain/>"));
}

std::string set_gain(const std::string &value, const std::string &target = "running") {
    return fmt::format("<edit-config><target><{}/></target><config>{}</config></edit-config>", target,
                       amplifier("<target-gain>" + value + "</target-gain>"));
}

// Text between the first <name> and its end; empty for none.
std::string text_of(const std::string &reply, const std::string &name) {
    const std::size_t begin = reply.find("<" + name + ">");
    if (begin == std::string::npos)
        return {};
    const std::size_t from = begin + name.size() + 2;
    return reply.substr(from, reply.find('<', from) - from);
}

std::size_t times(const std::string &text, const std::string &word) {
    std::size_t count = 0;
    for (std::size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1))
        ++count;
    return count;
}

std::size_t sockets_of(int process) {
    std::size_t count = 0;
    for (const auto &descriptor : std::filesystem::directory_iterator(fmt::format("/proc/{}/fd", process))) {
        std::error_code gone;
        count += std::filesystem::read_symlink(descriptor, gone).string().starts_with("socket:") ? 1 : 0;
    }
    return count;
}

std::string tenths(int value) {
    return fmt::format("{}.{}", value / 10, value % 10);
}

class Wire : public testing::Test {
  protected:
    void start(std::vector<std::string> options = {}) { server_.emplace(files, std::move(options)); }
    ServerProgram &server() {
        if (!server_)
            start();
        return *server_;
    }
    std::unique_ptr<NetconfClient> connect(bool chunks = true) {
        auto client = std::make_unique<NetconfClient>(server().port(), ServerProgram::user, ServerProgram::password);
        client->greet(chunks);
        return client;
    }
    // Somebody else is served, and soon.
    void expect_service() {
        const Clock::time_point begin = Clock::now();
        EXPECT_THAT(connect()->ask(read_gain()), HasSubstr("<target-gain>"));
        EXPECT_LT(Clock::now() - begin, 10s);
        EXPECT_TRUE(server().runs());
    }

  private:
    std::optional<ServerProgram> server_;
};

TEST_F(Wire, MalformedChunksEndTheirSessionAndNoOther) {
    const auto other = connect();
    for (const std::string stream :
         {"\n#0\n", "\n##\n", "\n#-1\n", "\n#+1\n", "\n# 1\n", "\n#1 \n", "\n#01\n", "\n#x\n", "\n#\n", "\n\n#1\n",
          "#1\n", "\n#4294967296\n", "\n#99999999999999999999\n", "\n#4\n<a/>\n#", "\n#4\n<a/>x", "\n#4\n<a/>\n##x",
          "]]>]]>", "<rpc/>"}) {
        const auto client = connect();
        // The unfinished one is ended by something that is no end.
        client->send_bytes(stream.ends_with('#') ? stream + "y" : stream);
        EXPECT_TRUE(client->is_left_within(5s)) << stream;
        const auto slow = connect();
        try {
            for (const char byte : stream + "y")
                slow->send_bytes({&byte, 1});
        } catch (const ClientError &) { // it may be gone before the last byte
        }
        EXPECT_TRUE(slow->is_left_within(5s)) << stream;
        EXPECT_THAT(other->ask(read_gain()), HasSubstr("<target-gain>"));
    }
    EXPECT_THAT(server().log(), HasSubstr("session-refused"));
}

TEST_F(Wire, RequestsMayBeCutAnywhere) {
    const auto client = connect();
    const std::string message = fmt::format("<rpc xmlns=\"{}\" message-id=\"cut\"><get-schema xmlns="
                                            "\"urn:ietf:params:xml:ns:yang:ietf-netconf-monitoring\"><identifier>none"
                                            "</identifier></get-schema></rpc>",
                                            base);
    const std::string stream = ocamp::netconf::framed(message, ocamp::netconf::Framing::chunked);
    for (std::size_t at = 1; at < stream.size(); ++at) {
        client->send_bytes(std::string_view(stream).substr(0, at));
        client->send_bytes(std::string_view(stream).substr(at));
        EXPECT_THAT(client->receive().value_or(""), HasSubstr("<error-tag>invalid-value</error-tag>")) << at;
    }
    // Each byte as a chunk of its own.
    std::string bytewise;
    for (const char byte : message)
        bytewise += fmt::format("\n#1\n{}", byte);
    client->send_bytes(bytewise + "\n##\n");
    EXPECT_THAT(client->receive().value_or(""), HasSubstr("message-id=\"cut\""));
}

TEST_F(Wire, MessagesThatAreNoneAreAnsweredAndForgotten) {
    const auto client = connect();
    for (const std::string &message :
         {std::string("x"), std::string("<rpc"), std::string("<rpc></rpd>"), std::string("<rpc>\xff\xfe</rpc>"),
          std::string("<p:rpc/>"), std::string("<rpc a='1' a='2'/>"), std::string("<rpc>&b;</rpc>"),
          std::string("<rpc>\0</rpc>", 12), std::string("<hello xmlns='urn:ietf:params:xml:ns:netconf:base:1.0'/>"),
          std::string("<!DOCTYPE r [<!ENTITY a 'aaaaaaaaaa'><!ENTITY b '&a;&a;&a;&a;'><!ENTITY c '&b;&b;&b;&b;'>]>"
                      "<rpc>&c;&c;&c;</rpc>"),
          std::string("<!DOCTYPE r SYSTEM 'file:///etc/passwd'><rpc/>")}) {
        client->send(message);
        EXPECT_THAT(client->receive().value_or("none"), HasSubstr("<error-tag>malformed-message</error-tag>"))
            << message;
    }
    EXPECT_THAT(client->ask(read_gain()), HasSubstr("<target-gain>"));
    // In the older version, the tag does not exist.
    const auto old = connect(false);
    old->send("<rpc");
    EXPECT_THAT(old->receive().value_or("none"), HasSubstr("<error-tag>operation-failed</error-tag>"));
    EXPECT_THAT(old->ask(read_gain()), HasSubstr("<target-gain>"));
}

TEST_F(Wire, WrongNamespacesAndValuesAreRefused) {
    const auto client = connect();
    EXPECT_THAT(client->ask("<get xmlns=\"urn:nothing\"/>"), HasSubstr("<error-tag>unknown-namespace</error-tag>"));
    EXPECT_THAT(client->ask("<edit-config><target><running/></target><config><x xmlns=\"urn:nothing\"/></config>"
                            "</edit-config>"),
                HasSubstr("<error-tag>unknown-namespace</error-tag>"));
    client->send(fmt::format("<rpc xmlns=\"{}\"><get/></rpc>", base));
    EXPECT_THAT(client->receive().value_or(""), HasSubstr("<error-tag>missing-attribute</error-tag>"));
}

TEST_F(Wire, HellosAreChecked) {
    for (const std::string &hello :
         {fmt::format("<hello xmlns=\"{}\"/>", base), std::string("<hello/>"), std::string("<rpc/>"), std::string("x"),
          fmt::format("<hello xmlns=\"{}\"><capabilities><capability>urn:x</capability></capabilities></hello>", base),
          fmt::format("<hello xmlns=\"{}\"><capabilities><capability>urn:ietf:params:netconf:base:1.1</capability>"
                      "</capabilities><session-id>4</session-id></hello>",
                      base)}) {
        NetconfClient client(server().port(), ServerProgram::user, ServerProgram::password);
        client.send(hello);
        EXPECT_TRUE(client.is_left_within(5s)) << hello;
    }
    EXPECT_THAT(
        connect()->ask("<get><filter><netconf-state xmlns=\"urn:ietf:params:xml:ns:yang:ietf-netconf-monitoring\">"
                       "<statistics/></netconf-state></filter></get>"),
        HasSubstr("<in-bad-hellos>6</in-bad-hellos>"));
}

TEST_F(Wire, HelloInChunksIsTaken) {
    NetconfClient client(server().port(), ServerProgram::user, ServerProgram::password);
    client.greet(true, ocamp::netconf::Framing::chunked);
    EXPECT_THAT(client.ask(read_gain()), HasSubstr("<target-gain>"));

    NetconfClient old(server().port(), ServerProgram::user, ServerProgram::password);
    old.greet(false, ocamp::netconf::Framing::chunked);
    EXPECT_TRUE(old.is_left_within(5s));
    EXPECT_THAT(server().log(), HasSubstr("hello in chunks without the capability base:1.1"));
}

TEST_F(Wire, OversizeMessagesEndTheirSession) {
    expect_service();
    const std::size_t before = server().memory();
    {
        const auto client = connect();
        client->send_bytes("\n#4194305\n");
        EXPECT_THAT(client->receive().value_or(""), HasSubstr("<error-tag>too-big</error-tag>"));
        EXPECT_TRUE(client->is_left_within(5s));
    }
    for (const bool chunks : {true, false}) {
        const auto client = connect(chunks);
        const std::string part(mebibyte, ' ');
        try {
            for (int i = 0; i < 100; ++i)
                client->send_bytes(chunks ? fmt::format("\n#{}\n{}", part.size(), part) : part);
        } catch (const ClientError &) { // it need not take them all
        }
        EXPECT_TRUE(client->is_left_within(10s));
    }
    expect_service();
    std::printf("oversize messages: %zu MiB before, %zu MiB at most\n", before / mebibyte,
                server().peak_memory() / mebibyte);
    EXPECT_LT(server().peak_memory(), before + 64 * mebibyte);
}

TEST_F(Wire, DeepAndManyElementsAreRefused) {
    expect_service();
    const std::size_t before = server().memory();
    const auto client = connect();
    const auto nested = [](std::size_t levels) {
        std::string text;
        for (std::size_t i = 0; i < levels; ++i)
            text += "<a>";
        for (std::size_t i = 0; i < levels; ++i)
            text += "</a>";
        return text;
    };
    for (const std::size_t levels : {100U, 1000U, 100000U}) {
        client->send(fmt::format("<rpc xmlns=\"{}\" message-id=\"1\"><edit-config><target><running/></target><config>{}"
                                 "</config></edit-config></rpc>",
                                 base, nested(levels)));
        EXPECT_THAT(client->receive().value_or(""), HasSubstr("<error-tag>too-big</error-tag>")) << levels;
    }
    std::string many;
    for (int i = 0; i < 1000000; ++i)
        many += "<a/>";
    EXPECT_THAT(client->ask("<edit-config><target><running/></target><config>" + many + "</config></edit-config>"),
                HasSubstr("<error-tag>too-big</error-tag>"));
    EXPECT_THAT(client->ask(read_gain()), HasSubstr("<target-gain>"));
    std::printf("deep and many elements: %zu MiB before, %zu MiB at most\n", before / mebibyte,
                server().peak_memory() / mebibyte);
    EXPECT_LT(server().peak_memory(), before + 128 * mebibyte);
}

TEST_F(Wire, DeclarationsOfNamespacesTakeNoMoreThanTheirText) {
    expect_service();
    const std::size_t before = server().memory();
    const auto client = connect();
    const auto message = [](int namespaces, int elements) {
        std::string text = fmt::format("<rpc xmlns=\"{}\" message-id=\"1\"", base);
        for (int i = 0; i < namespaces; ++i)
            text += fmt::format(" xmlns:n{}=\"u\"", i);
        text += "><get-config>";
        for (int i = 0; i < elements; ++i)
            text += "<a xmlns:b=\"u\"/>";
        return text + "</get-config></rpc>";
    };
    const Clock::time_point begin = Clock::now();
    client->send(message(2000, 2000));
    EXPECT_THAT(client->receive().value_or(""), HasSubstr("more than 256 namespaces"));
    client->send(message(250, 90000));
    EXPECT_THAT(client->receive().value_or(""), HasSubstr("<error-tag>unknown-element</error-tag>"));
    EXPECT_LT(Clock::now() - begin, 10s);
    EXPECT_LT(server().peak_memory(), before + 128 * mebibyte);
    std::printf("declarations of namespaces: %zu MiB before, %zu MiB at most\n", before / mebibyte,
                server().peak_memory() / mebibyte);
}

TEST_F(Wire, CostlyExpressionsAreRefusedAtOnce) {
    const auto client = connect();
    const auto ask = [&](const std::string &operation, const std::string &select) {
        const Clock::time_point begin = Clock::now();
        std::string reply =
            client->ask(fmt::format(fmt::runtime(operation), "<filter type=\"xpath\" select=\"" + select + "\"/>"));
        EXPECT_LT(Clock::now() - begin, 5s) << select;
        return reply;
    };
    for (const std::string operation :
         {"<get>{}</get>", "<get-config><source><running/></source>{}</get-config>",
          "<create-subscription xmlns=\"urn:ietf:params:xml:ns:netconf:notification:1.0\">{}</create-subscription>"}) {
        for (const std::string select :
             {"//*[(1 mod 0) = 0]", "//*[re-match(., '[')]", "//*[count(//*)&gt;0]", "//*[count(//*[name()='zz'])=0]",
              "//*[count(//*[count(//*)=0])=0]",
              "//*[count(//*[count(//*[count(//*[count(//*[count(//*[count(//*)=0])=0])=0])=0])=0])=0]"})
            EXPECT_THAT(ask(operation, select), HasSubstr("<error-tag>too-big</error-tag>")) << select;
    }
    EXPECT_THAT(ask("<get>{}</get>", "//*[local-name()='target-gain']"), HasSubstr("<target-gain"));
    expect_service();
}

class Sockets {
  public:
    explicit Sockets(std::uint16_t port) : port_(port) {}
    ~Sockets() {
        for (const int each : open_)
            ::close(each);
    }
    Sockets(const Sockets &) = delete;
    Sockets &operator=(const Sockets &) = delete;

    // `from`: the last number of the client's address, 127.0.0.N.
    void add(std::string_view greeting, unsigned from = 1) {
        const int number = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK - 1 + from);
        static_cast<void>(::bind(number, reinterpret_cast<const sockaddr *>(&address), sizeof address));
        address.sin_port = htons(port_);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (::connect(number, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0)
            static_cast<void>(!::send(number, greeting.data(), greeting.size(), MSG_NOSIGNAL));
        open_.push_back(number);
    }

    // How many the server has closed.
    std::size_t closed() const {
        std::size_t count = 0;
        for (const int each : open_) {
            char bytes[512];
            ssize_t size = 0;
            while ((size = ::recv(each, bytes, sizeof bytes, MSG_DONTWAIT)) > 0) {
            }
            count += size == 0 || errno == ECONNRESET ? 1 : 0;
        }
        return count;
    }

  private:
    std::uint16_t port_;
    std::vector<int> open_;
};

TEST_F(Wire, SilentConnectionsHoldNobodyUpAndEnd) {
    start({"--log-in-time", "2"});
    Sockets silent(server().port());
    for (int i = 0; i < 20; ++i)
        silent.add(i % 2 == 0 ? "" : "SSH-2.0-half");
    // One that has logged in and says no hello.
    NetconfClient quiet(server().port(), ServerProgram::user, ServerProgram::password);
    expect_service();
    for (int i = 0; i < 80 && silent.closed() < 20; ++i)
        std::this_thread::sleep_for(100ms);
    EXPECT_EQ(20U, silent.closed());
    EXPECT_TRUE(quiet.is_left_within(10s));
    expect_service(); // behind which its end has been told
    EXPECT_THAT(server().log(), HasSubstr("user=ada address=127.0.0.1 reason=timeout"));
}

TEST_F(Wire, FloodsOfConnectionsAreBounded) {
    expect_service();
    const std::size_t before = server().memory();
    const Clock::time_point begin = Clock::now();
    Sockets flood(server().port());
    for (int i = 0; i < 500; ++i)
        flood.add(i % 2 == 0 ? "SSH-2.0-flood\r\n" : std::string(4096, 'x'));
    expect_service();
    std::printf("flood of 500 connections: %zu MiB before, %zu MiB at most, %zu closed\n", before / mebibyte,
                server().peak_memory() / mebibyte, flood.closed());
    EXPECT_GE(flood.closed(), 400U);
    // One line a second tells of those that were refused.
    const auto seconds = std::chrono::ceil<std::chrono::seconds>(Clock::now() - begin).count();
    const std::size_t lines = times(server().log(), "connection-refused");
    EXPECT_GE(lines, 1U);
    EXPECT_LE(lines, static_cast<std::size_t>(seconds + 1));
    EXPECT_LT(server().peak_memory(), before + 64 * mebibyte);
}

TEST_F(Wire, SilentConnectionsOfManyAddressesKeepNobodyOut) {
    start({"--max-connections", "12", "--max-connections-per-address", "4"});
    Sockets silent(server().port());
    const auto fill = [&] {
        for (unsigned from = 11; from < 17; ++from) {
            for (int i = 0; i < 4; ++i)
                silent.add("", from);
        }
    };
    fill();
    const auto client = connect();
    expect_service();
    // Who has logged in stays.
    fill();
    EXPECT_THAT(client->ask(read_gain()), HasSubstr("<target-gain>"));
    EXPECT_GE(silent.closed(), 36U);
}

TEST_F(Wire, HalfAMessageHoldsNobodyUp) {
    start({"--idle-time", "1"});
    const auto half = connect();
    half->send_bytes("\n#1000\n<rpc");
    expect_service();
    EXPECT_TRUE(half->is_left_within(10s));
}

TEST_F(Wire, ClientsThatReadNothingHoldBoundedMemory) {
    expect_service();
    const std::size_t before = server().memory();
    const auto client = connect();
    constexpr int requests = 600;
    for (int i = 0; i < requests; ++i)
        client->send(fmt::format("<rpc xmlns=\"{}\" message-id=\"{}\"><get/></rpc>", base, i));
    std::this_thread::sleep_for(2s);
    expect_service();
    std::printf("a client that reads nothing of %d answers: %zu MiB before, %zu MiB at most\n", requests,
                before / mebibyte, server().peak_memory() / mebibyte);
    EXPECT_LT(server().peak_memory(), before + 64 * mebibyte);
    // It comes to its senses: every answer is there, whole and in order.
    for (int i = 0; i < requests; ++i) {
        const std::string reply = client->receive().value_or("none");
        ASSERT_THAT(reply, HasSubstr(fmt::format("message-id=\"{}\"", i)));
        ASSERT_THAT(reply, testing::EndsWith("</rpc-reply>"));
    }
}

TEST_F(Wire, ClientsThatHaveSaidAllGetEveryAnswer) {
    const auto client = connect();
    constexpr int requests = 100;
    for (int i = 0; i < requests; ++i)
        client->send(fmt::format("<rpc xmlns=\"{}\" message-id=\"{}\">{}</rpc>", base, i, read_gain()));
    client->end_input();
    for (int i = 0; i < requests; ++i)
        ASSERT_THAT(client->receive().value_or("none"), HasSubstr(fmt::format("message-id=\"{}\"", i)));
    EXPECT_TRUE(client->is_left_within(5s));
}

TEST_F(Wire, RequestsBeyondTheLimitWaitInTheirConnection) {
    start({"--max-requests", "1"});
    const auto client = connect();
    constexpr int requests = 50;
    for (int i = 0; i < requests; ++i)
        client->send(fmt::format("<rpc xmlns=\"{}\" message-id=\"{}\">{}</rpc>", base, i, read_gain()));
    for (int i = 0; i < requests; ++i) {
        const std::string reply = client->receive().value_or("none");
        ASSERT_THAT(reply, HasSubstr(fmt::format("message-id=\"{}\"", i)));
        ASSERT_THAT(reply, HasSubstr("<target-gain>"));
    }
}

TEST_F(Wire, ConnectionsOfUsersLeaveNoRoomBeyondTheirNumber) {
    start({"--max-connections", "2"});
    const auto one = connect(), two = connect();
    EXPECT_THROW(connect(), ClientError);
    EXPECT_THAT(server().log(), HasSubstr("too many connections"));
    EXPECT_THAT(one->ask(read_gain()), HasSubstr("<target-gain>"));
    EXPECT_THAT(two->ask(read_gain()), HasSubstr("<target-gain>"));
}

TEST_F(Wire, RepliesThatAreTooLargeAreRefusedAndTheSessionGoesOn) {
    start({"--max-backlog", "20000"});
    const auto client = connect();
    const std::string reply = client->ask("<get/>");
    EXPECT_THAT(reply, HasSubstr("<error-tag>too-big</error-tag>"));
    EXPECT_THAT(reply, HasSubstr("a reply of more than 10000 bytes"));
    EXPECT_THAT(client->ask(read_gain()), HasSubstr("<target-gain>"));
}

TEST_F(Wire, LocksOfClientsThatVanishAreLifted) {
    const auto other = connect();
    for (int i = 0; i < 5; ++i) {
        const auto client = connect();
        EXPECT_THAT(client->ask("<lock><target><running/></target></lock>"), HasSubstr("<ok"));
        client->send_bytes("\n#1000\n<rpc");
        client->vanish();
        std::string reply;
        for (int tries = 0; tries < 100; ++tries) {
            reply = other->ask("<lock><target><running/></target></lock>");
            if (reply.find("lock-denied") == std::string::npos)
                break;
            std::this_thread::sleep_for(20ms);
        }
        EXPECT_THAT(reply, HasSubstr("<ok"));
        EXPECT_THAT(other->ask("<unlock><target><running/></target></unlock>"), HasSubstr("<ok"));
    }
}

TEST_F(Wire, AnswersUnderLoadAreWholeAndRight) {
    constexpr int sessions = 8, gets = 125, edits = 40;
    std::vector<std::unique_ptr<NetconfClient>> clients;
    for (int i = 0; i < sessions; ++i)
        clients.push_back(connect());
    const auto editor = connect();
    EXPECT_THAT(editor->ask(set_gain("10.0")), HasSubstr("<ok"));
    std::atomic<int> latest_begun{100}, latest_done{100}, wrong{0};
    const Clock::time_point begin = Clock::now();
    std::vector<std::thread> threads;
    for (const auto &client : clients) {
        threads.emplace_back([&, &reader = *client] {
            for (int i = 0; i < gets; ++i) {
                const int least = latest_done;
                const std::string reply = reader.ask(read_both_gains());
                const int most = latest_begun;
                const std::string native = text_of(reply, "optics-ots-amplifier-gain");
                const int value = native.empty() ? 0 : std::stoi(native);
                // Both sides say the same, and neither is older than the last edit that was acknowledged before.
                if (text_of(reply, "target-gain") != tenths(value) || value < least || value > most)
                    ++wrong;
            }
        });
    }
    for (int i = 1; i <= edits; ++i) {
        latest_begun = 100 + i;
        EXPECT_THAT(editor->ask(set_gain(tenths(100 + i))), HasSubstr("<ok"));
        latest_done = 100 + i;
    }
    for (std::thread &thread : threads)
        thread.join();
    const auto took = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin);
    std::printf("load: %d sessions, %d gets and %d edits in %lld ms\n", sessions, sessions * gets, edits,
                static_cast<long long>(took.count()));
    EXPECT_EQ(0, wrong);
}

TEST_F(Wire, AcknowledgedEditsOutliveEveryKill) {
    std::minstd_rand random(20261121);
    std::uniform_int_distribution<int> wait(1, 250);
    EXPECT_THAT(connect()->ask(set_gain("10.0")), HasSubstr("<ok"));
    int value = 100;
    for (int round = 0; round < 12; ++round) {
        int acknowledged = value;
        auto client = connect();
        std::thread killer([&, milliseconds = wait(random)] {
            std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
            ::kill(server().process(), SIGKILL);
        });
        try {
            for (;;) {
                ++value;
                if (client->ask(set_gain(tenths(value))).find("<ok") == std::string::npos)
                    throw ClientError("refused");
                acknowledged = value;
            }
        } catch (const ClientError &) { // the server is gone
        }
        killer.join();
        server().kill();
        server().start();
        const std::string gain = text_of(connect()->ask(read_gain()), "target-gain");
        // The last edit was begun and not acknowledged: either is right.
        EXPECT_THAT(gain, AnyOf(tenths(acknowledged), tenths(value))) << round;
        value = gain == tenths(value) ? value : acknowledged;
    }
    EXPECT_GT(value, 106) << "the kills came before any edit";
}

TEST_F(Wire, PendingCommitsAreTakenBackAfterEveryKill) {
    EXPECT_THAT(connect()->ask(set_gain("10.0")), HasSubstr("<ok"));
    std::minstd_rand random(20261121);
    std::uniform_int_distribution<int> wait(0, 20);
    for (int round = 0; round < 8; ++round) {
        auto client = connect();
        EXPECT_THAT(client->ask(set_gain("15.0", "candidate")), HasSubstr("<ok"));
        if (round % 2 == 0) {
            EXPECT_THAT(client->ask("<commit><confirmed/><persist>x</persist></commit>"), HasSubstr("<ok"));
        } else {
            client->send(fmt::format("<rpc xmlns=\"{}\" message-id=\"c\"><commit><confirmed/></commit></rpc>", base));
            std::this_thread::sleep_for(std::chrono::milliseconds(wait(random)));
        }
        server().kill();
        server().start();
        EXPECT_EQ("10.0", text_of(connect()->ask(read_gain()), "target-gain")) << round;
    }
}

TEST_F(Wire, MemoryThatRunsOutIsNoSuccess) {
    const auto client = connect();
    const rlimit no_more{mebibyte, mebibyte};
    ASSERT_EQ(0, ::prlimit(server().process(), RLIMIT_DATA, &no_more, nullptr));
    const std::string part(mebibyte, ' ');
    try {
        for (int i = 0; i < 3; ++i)
            client->send_bytes(fmt::format("\n#{}\n{}", part.size(), part));
    } catch (const ClientError &) { // the server is gone
    }
    EXPECT_TRUE(client->is_left_within(10s));
    EXPECT_NE(0, server().stop());
    EXPECT_THAT(server().log(), HasSubstr("out of memory"));
}

TEST_F(Wire, IdleSessionsCostNoTimeOfTheProcessor) {
    start({"--idle-time", "600"});
    const auto client = connect();
    EXPECT_THAT(client->ask(read_gain()), HasSubstr("<target-gain>"));
    const long before = server().processor_time();
    // A server that turns in circles gets as much of a busy machine as this does.
    const std::clock_t begin = std::clock();
    while (std::clock() - begin < CLOCKS_PER_SEC / 5) {
    }
    EXPECT_LT(server().processor_time() - before, 80);
}

TEST_F(Wire, KilledSessionsEndThoughTheirClientsSayNothingMore) {
    const auto admin = connect();
    NetconfClient killed(server().port(), ServerProgram::user, ServerProgram::password);
    const std::string id = text_of(killed.greet(), "session-id");
    const std::size_t before = sockets_of(server().process());
    EXPECT_THAT(admin->ask("<kill-session><session-id>" + id + "</session-id></kill-session>"), HasSubstr("<ok"));
    // Nothing happens on the wire meanwhile.
    for (int tries = 0; tries < 100 && sockets_of(server().process()) == before; ++tries)
        std::this_thread::sleep_for(100ms);
    EXPECT_EQ(before - 1, sockets_of(server().process()));
}

TEST_F(Wire, EndsWithinTwoSecondsWithSessionsOpen) {
    std::vector<std::unique_ptr<NetconfClient>> clients;
    for (int i = 0; i < 8; ++i)
        clients.push_back(connect());
    clients[0]->send_bytes("\n#1000\n<rpc");
    Sockets silent(server().port());
    silent.add("");
    const Clock::time_point begin = Clock::now();
    EXPECT_EQ(0, server().stop());
    EXPECT_LT(Clock::now() - begin, 2s);
}

} // namespace
