// Refusals as gNMI tells them: a canonical status code and a text with path and reason. Knows no RPC.
#pragma once

#include "server/requests.h"

#include <exception>
#include <stdexcept>
#include <string>

namespace ocamp::gnmi {

/// The codes of google.rpc.Code that are used here.
enum class Code {
    cancelled = 1,
    unknown = 2,
    invalid_argument = 3,
    not_found = 5,
    permission_denied = 7,
    resource_exhausted = 8,
    failed_precondition = 9,
    unimplemented = 12,
    internal = 13,
    unavailable = 14,
    unauthenticated = 16
};

/// An RPC that is refused. The text is for the client.
class RpcError : public std::runtime_error {
  public:
    RpcError(Code code, const std::string &text) : std::runtime_error(text), code_(code) {}
    /// The code is the one that docs/errors.md lists for the tag.
    explicit RpcError(const server::Refusal &refusal);

    Code code() const noexcept { return code_; }

  private:
    Code code_;
};

/// What an RPC ends with for an exception: an RpcError is told as it is, missing memory is RESOURCE_EXHAUSTED, and all
/// else INTERNAL.
RpcError rpc_error_of(const std::exception &error);

/// "PLACE: REASON", shortened.
RpcError refused(Code code, std::string_view place, std::string_view reason);
/// The same with INVALID_ARGUMENT.
RpcError invalid(std::string_view place, std::string_view reason);

} // namespace ocamp::gnmi
