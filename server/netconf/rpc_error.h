// Refusals as RFC 6241 appendix A has them. Knows no operation.
#pragma once

#include "server/netconf/message.h"
#include "yang/request_error.h"

#include <cstdint>
#include <exception>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ocamp::netconf {

/// Layer at which a request was refused.
enum class ErrorType { transport, rpc, protocol, application };

/// One <rpc-error>. Severity is always "error": appendix A has no warning.
struct RpcError {
    ErrorTag tag = ErrorTag::operation_failed;
    ErrorType type = ErrorType::application;
    std::string message = {};
    std::string path = {};    ///< data path with module names; empty for none
    std::string app_tag = {}; ///< empty for none
    /// Elements of <error-info> by name, such as "bad-element".
    std::vector<std::pair<std::string, std::string>> info = {};
};

/// A request that is refused with these errors, one at least.
class Refusal : public std::exception {
  public:
    explicit Refusal(RpcError error) : errors_{std::move(error)} {}
    explicit Refusal(std::vector<RpcError> errors) : errors_(std::move(errors)) {}

    const char *what() const noexcept override { return errors_.front().message.c_str(); }
    const std::vector<RpcError> &errors() const noexcept { return errors_; }

  private:
    std::vector<RpcError> errors_;
};

/// Refusals of what an element of a request is, with the error-info that appendix A wants for each.
RpcError missing_element(ErrorType type, std::string_view name);
RpcError unknown_element(ErrorType type, std::string_view name);
RpcError unknown_namespace(ErrorType type, std::string_view name, std::string_view ns);
RpcError bad_element(ErrorType type, std::string_view name, const std::string &reason);
RpcError missing_attribute(ErrorType type, std::string_view element, std::string_view attribute);
RpcError unknown_attribute(ErrorType type, std::string_view element, std::string_view attribute);
RpcError bad_attribute(ErrorType type, std::string_view element, std::string_view attribute, const std::string &reason);

/// The <rpc-error> element.
std::string written(const RpcError &error);

/// A data path, in which module names stand where the module changes, as an XPath expression with prefixes before every
/// name, and the namespaces that these stand for. Of a path with names that no module has, nothing.
struct PrefixedPath {
    std::string text;
    Namespaces namespaces;
};
PrefixedPath prefixed(std::string_view data_path);

} // namespace ocamp::netconf
