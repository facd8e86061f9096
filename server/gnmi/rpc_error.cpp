// How refusals read for clients.
#include "server/gnmi/rpc_error.h"

#include "seam/text.h"
#include "server/gnmi/path.h"
#include "server/status_codes.h"

#include <new>

#include <fmt/format.h>

namespace ocamp::gnmi {

namespace {

// Of a text that goes to a client: a status travels in a header, which is bounded.
constexpr std::size_t longest_text = 1000;

std::string readable(std::string_view text) {
    return escaped(shortened(text, longest_text));
}

std::string text_of(const server::Refusal &refusal) {
    std::string text = fmt::format("{}: {}", readable(refusal.path.empty() ? "/" : text_of_data_path(refusal.path)),
                                   readable(refusal.reason));
    if (refusal.code != 0)
        text += fmt::format(" (0x{:08x})", refusal.code);
    return text;
}

} // namespace

RpcError::RpcError(const server::Refusal &refusal)
    : RpcError(static_cast<Code>(server::status_code(refusal.tag)), text_of(refusal)) {}

RpcError rpc_error_of(const std::exception &error) {
    if (const auto *refused = dynamic_cast<const RpcError *>(&error))
        return *refused;
    if (dynamic_cast<const std::bad_alloc *>(&error) != nullptr)
        return {Code::resource_exhausted, "not enough memory"};
    return {Code::internal, readable(error.what())};
}

RpcError refused(Code code, std::string_view place, std::string_view reason) {
    return {code, fmt::format("{}: {}", readable(place), readable(reason))};
}

RpcError invalid(std::string_view place, std::string_view reason) {
    return refused(Code::invalid_argument, place, reason);
}

} // namespace ocamp::gnmi
