// How refusals read. Knows nothing of requests.
#include "node/request_error.h"

#include <fmt/format.h>

namespace ocamp {

namespace {

std::string at_path(const std::string &path, const std::string &reason) {
    return path.empty() ? reason : path + ": " + reason;
}

} // namespace

RequestError::RequestError(std::string_view tag, const std::string &path, const std::string &reason)
    : std::runtime_error(fmt::format("{} [{}]", at_path(path, reason), tag)), tag_(tag), code_(CERR_SUCCESS),
      path_(path) {}

RequestError::RequestError(cerrno code, const std::string &path)
    : std::runtime_error(at_path(path, fmt::format("{} (0x{:08x})", cerr_strerror(code), code))),
      tag_(code == YMAP_RC_UNSUPPORTED || code == YMAP_RC_AUGMENT_UNSUPPORTED ? error_tag::not_supported
                                                                              : error_tag::operation_failed),
      code_(code), path_(path) {}

} // namespace ocamp
