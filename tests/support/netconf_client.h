// A NETCONF client that says whatever it is told to, right or wrong, and takes its time when it is told to. Knows no
// operation.
#pragma once

#include "server/netconf/framing.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

struct ssh_session_struct;
struct ssh_channel_struct;

namespace support {

/// What a client could not do; the text says why.
class ClientError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// One session over SSH to 127.0.0.1. Blocks. One thread at a time.
class NetconfClient {
  public:
    /// Logs in and opens the subsystem; says nothing yet. Throws ClientError.
    NetconfClient(std::uint16_t port, const std::string &user, const std::string &password);
    ~NetconfClient();
    NetconfClient(const NetconfClient &) = delete;
    NetconfClient &operator=(const NetconfClient &) = delete;

    /// Says hello in either version and takes the server's, which is given. Throws ClientError.
    std::string greet(bool chunks = true,
                      ocamp::netconf::Framing hello_framing = ocamp::netconf::Framing::end_of_message);

    /// Sends the bytes as they are. Throws ClientError when the server has left.
    void send_bytes(std::string_view bytes);
    /// Sends a message in the framing of the session.
    void send(std::string_view message);
    /// The next message. None when the server has left, or says nothing for so long.
    std::optional<std::string> receive(std::chrono::milliseconds limit = std::chrono::seconds(20));
    /// Wraps the operation into an rpc, sends it, and gives the reply. Throws ClientError when there is none.
    std::string ask(std::string_view operation);
    /// True when the server leaves within the time; what it says before is dropped.
    bool is_left_within(std::chrono::milliseconds limit);
    /// Tells the server that nothing more will be sent.
    void end_input();
    /// Ends the connection without a word.
    void vanish();

  private:
    bool read_some(std::chrono::milliseconds limit);

    std::unique_ptr<ssh_session_struct, void (*)(ssh_session_struct *)> session_;
    ssh_channel_struct *channel_ = nullptr;
    ocamp::netconf::Framing framing_ = ocamp::netconf::Framing::end_of_message;
    ocamp::netconf::MessageReader reader_;
    std::string unread_;
    unsigned messages_ = 0;
};

} // namespace support
