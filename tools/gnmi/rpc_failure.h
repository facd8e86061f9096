// What keeps an RPC from its answer. Knows no RPC.
#pragma once

#include <stdexcept>
#include <string>

namespace ocamp::gnmi_client {

/// A target that refused, did not answer, or answered what the protocol does not have.
class RpcFailure : public std::runtime_error {
  public:
    /// `code`: the name of the protocol's status, such as "NOT_FOUND"; empty for an answer that is none.
    RpcFailure(std::string code, const std::string &reason)
        : std::runtime_error(code.empty() ? reason : code + ": " + reason), code_(std::move(code)), reason_(reason) {}

    const std::string &code() const noexcept { return code_; }
    const std::string &reason() const noexcept { return reason_; }

  private:
    std::string code_, reason_;
};

} // namespace ocamp::gnmi_client
