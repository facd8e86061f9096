// How the client uses libssh. Knows no operation.
#include "support/netconf_client.h"

#include <array>

#include <fmt/format.h>
#include <libssh/libssh.h>
#include <sys/socket.h>

namespace support {

namespace {

using Clock = std::chrono::steady_clock;
using ocamp::netconf::Framing;

constexpr std::size_t longest_message = std::size_t{64} << 20U;
constexpr std::string_view base = "urn:ietf:params:xml:ns:netconf:base:1.0";

} // namespace

NetconfClient::NetconfClient(std::uint16_t port, const std::string &user, const std::string &password)
    : session_(ssh_new(),
               [](ssh_session session) {
                   ssh_disconnect(session);
                   ssh_free(session);
               }),
      reader_(longest_message) {
    const unsigned number = port;
    const long limit = 30; // seconds
    const bool process_config = false;
    ssh_options_set(session_.get(), SSH_OPTIONS_HOST, "127.0.0.1");
    ssh_options_set(session_.get(), SSH_OPTIONS_PORT, &number);
    ssh_options_set(session_.get(), SSH_OPTIONS_USER, user.c_str());
    ssh_options_set(session_.get(), SSH_OPTIONS_TIMEOUT, &limit);
    ssh_options_set(session_.get(), SSH_OPTIONS_PROCESS_CONFIG, &process_config);
    if (ssh_connect(session_.get()) != SSH_OK)
        throw ClientError(ssh_get_error(session_.get()));
    if (ssh_userauth_password(session_.get(), nullptr, password.c_str()) != SSH_AUTH_SUCCESS)
        throw ClientError(fmt::format("no log-in: {}", ssh_get_error(session_.get())));
    channel_ = ssh_channel_new(session_.get());
    if (ssh_channel_open_session(channel_) != SSH_OK || ssh_channel_request_subsystem(channel_, "netconf") != SSH_OK)
        throw ClientError(fmt::format("no channel: {}", ssh_get_error(session_.get())));
}

NetconfClient::~NetconfClient() = default;

std::string NetconfClient::greet(bool chunks, Framing hello_framing) {
    const std::string own =
        fmt::format("<hello xmlns=\"{}\"><capabilities><capability>urn:ietf:params:netconf:base:1.{}</capability>"
                    "</capabilities></hello>",
                    base, chunks ? 1 : 0);
    send_bytes(ocamp::netconf::framed(own, hello_framing));
    const std::optional<std::string> hello = receive();
    if (!hello)
        throw ClientError("no hello");
    if (chunks) {
        framing_ = Framing::chunked;
        reader_.set_framing(framing_);
    }
    return *hello;
}

void NetconfClient::send_bytes(std::string_view bytes) {
    while (!bytes.empty()) {
        const int written = ssh_channel_write(channel_, bytes.data(), static_cast<std::uint32_t>(bytes.size()));
        if (written <= 0)
            throw ClientError("the server has left");
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
}

void NetconfClient::send(std::string_view message) {
    send_bytes(ocamp::netconf::framed(message, framing_));
}

bool NetconfClient::read_some(std::chrono::milliseconds limit) {
    std::array<char, 65536> buffer;
    const int size =
        ssh_channel_read_timeout(channel_, buffer.data(), buffer.size(), 0, static_cast<int>(limit.count()));
    if (size <= 0)
        return false;
    unread_.append(buffer.data(), static_cast<std::size_t>(size));
    return true;
}

std::optional<std::string> NetconfClient::receive(std::chrono::milliseconds limit) {
    const Clock::time_point end = Clock::now() + limit;
    for (;;) {
        std::string_view bytes = unread_;
        std::optional<std::string> message = reader_.next(bytes);
        unread_.erase(0, unread_.size() - bytes.size());
        if (message)
            return message;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
        if (left.count() <= 0 || !read_some(left))
            return std::nullopt;
    }
}

std::string NetconfClient::ask(std::string_view operation) {
    send(fmt::format("<rpc xmlns=\"{}\" message-id=\"{}\">{}</rpc>", base, ++messages_, operation));
    std::optional<std::string> reply = receive();
    if (!reply)
        throw ClientError("no reply");
    return std::move(*reply);
}

bool NetconfClient::is_left_within(std::chrono::milliseconds limit) {
    const Clock::time_point end = Clock::now() + limit;
    std::array<char, 65536> buffer;
    while (Clock::now() < end) {
        const int size = ssh_channel_read_timeout(channel_, buffer.data(), buffer.size(), 0, 100);
        if (size == SSH_ERROR || ssh_channel_is_eof(channel_) != 0 || ssh_channel_is_open(channel_) == 0 ||
            ssh_is_connected(session_.get()) == 0)
            return true;
    }
    return false;
}

void NetconfClient::end_input() {
    ssh_channel_send_eof(channel_);
}

void NetconfClient::vanish() {
    ::shutdown(ssh_get_fd(session_.get()), SHUT_RDWR);
}

} // namespace support
