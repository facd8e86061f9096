// A message of a client as the request that it is: its envelope and its operation, checked against the operation's
// model. Knows neither sessions nor what operations do.
#pragma once

#include "server/netconf/message.h"
#include "server/netconf/rpc_error.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace ocamp::netconf {

inline constexpr std::string_view base_1_0 = "urn:ietf:params:netconf:base:1.0";
inline constexpr std::string_view base_1_1 = "urn:ietf:params:netconf:base:1.1";

/// One <rpc>. Owns the message that its elements refer to.
class Request {
  public:
    /// Takes the envelope: of a message that is no <rpc>, throws Refusal with malformed_message, of one beyond the
    /// limits with too_big. Every other fault of the request waits for check().
    Request(std::string message, const MessageLimits &limits);
    Request(Request &&) = default;
    Request &operator=(Request &&) = default;

    /// Throws Refusal for an envelope without message-id, for what is not one operation that the server has, and for
    /// parameters that its model does not have or refuses.
    void check() const;

    /// The operation's element. After check() only.
    const Element &operation() const noexcept { return root_.children.front(); }

    /// An <rpc-reply> with that content, and with the attributes of the request.
    std::string reply(std::string_view content) const;

  private:
    std::unique_ptr<const std::string> message_; // stays where it is
    Element root_;
};

/// The reply to what is no request.
std::string reply_without_request(std::string_view content);

/// The <rpc-error> elements one after the other.
std::string written(const std::vector<RpcError> &errors);

/// A client's <hello>.
struct Hello {
    bool chunks = false; ///< whether both sides speak base:1.1
};
/// Throws MessageError or InputError for what is no hello that a client may send.
Hello read_hello(const std::string &message, const MessageLimits &limits);
/// The server's <hello>.
std::string server_hello(std::uint32_t session_id);
/// The URIs in it.
const std::vector<std::string> &capabilities();

} // namespace ocamp::netconf
