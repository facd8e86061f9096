// A request that is well-formed and refused. Knows nothing of requests.
#pragma once

#include "yfw_platform.h"

#include <stdexcept>
#include <string>
#include <string_view>

namespace ocamp {

// The error-tags of RFC 6241 that refusals carry.
namespace error_tag {
inline constexpr std::string_view bad_attribute = "bad-attribute";
inline constexpr std::string_view data_exists = "data-exists";
inline constexpr std::string_view data_missing = "data-missing";
inline constexpr std::string_view invalid_value = "invalid-value";
inline constexpr std::string_view missing_element = "missing-element";
inline constexpr std::string_view not_supported = "operation-not-supported";
inline constexpr std::string_view operation_failed = "operation-failed";
inline constexpr std::string_view unknown_attribute = "unknown-attribute";
inline constexpr std::string_view unknown_element = "unknown-element";
inline constexpr std::string_view unknown_namespace = "unknown-namespace";
} // namespace error_tag

// The text says where, why, and, for a refusal of the plug-in's, the code.
class RequestError : public std::runtime_error {
  public:
    // Refused by the platform.
    RequestError(std::string_view tag, const std::string &path, const std::string &reason);
    // Refused by the plug-in.
    RequestError(cerrno code, const std::string &path);

    std::string_view tag() const noexcept { return tag_; }
    cerrno code() const noexcept { return code_; }             // 0 when the platform refused it
    const std::string &path() const noexcept { return path_; } // data path; may be empty

  private:
    std::string_view tag_;
    cerrno code_;
    std::string path_;
};

} // namespace ocamp
