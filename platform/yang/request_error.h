// A request that is well-formed and refused, and the one form in which refusals read. Knows nothing of requests.
#pragma once

#include "yfw_platform.h"

#include <stdexcept>
#include <string>
#include <string_view>

namespace ocamp {

/// The error-tags of RFC 6241, appendix A, in its order.
enum class ErrorTag {
    in_use,
    invalid_value,
    too_big,
    missing_attribute,
    bad_attribute,
    unknown_attribute,
    missing_element,
    bad_element,
    unknown_element,
    unknown_namespace,
    access_denied,
    lock_denied,
    resource_denied,
    rollback_failed,
    data_exists,
    data_missing,
    not_supported, ///< operation-not-supported
    operation_failed,
    malformed_message,
};

/// Where refusals are made, tags read as error_tag::invalid_value.
namespace error_tag {
using enum ErrorTag;
} // namespace error_tag

/// The tag as RFC 6241 writes it, such as "invalid-value".
std::string_view word_of(ErrorTag tag) noexcept;

/// The tag that fits a result code of a walker. operation-failed for codes that have no better one.
ErrorTag tag_of(cerrno code) noexcept;

/// The text of every refusal: "PATH: REASON [error-tag]", and for a refusal of the plug-in's " (0xCODE)" after it. A
/// refusal of the whole request has the path "/". Long paths and reasons are shortened.
std::string refusal_text(ErrorTag tag, std::string_view path, std::string_view reason, cerrno code = CERR_SUCCESS);

/// A refusal, whose text is as above.
class RequestError : public std::runtime_error {
  public:
    /// Refused by the platform. `path`: data path; empty for the whole request.
    RequestError(ErrorTag tag, const std::string &path, const std::string &reason);
    /// Refused by the plug-in: the tag and the reason are those of the code.
    RequestError(cerrno code, const std::string &path);
    /// The same with the place inside the node, which the client's path does not tell, before the reason.
    RequestError(cerrno code, const std::string &path, const std::string &place);

    /// The refusal with an error-app-tag, as RFC 7950 section 15 fixes them.
    RequestError with_app_tag(std::string app_tag) &&;

    /// What kind of refusal it is.
    ErrorTag tag() const noexcept { return tag_; }
    cerrno code() const noexcept { return code_; }             ///< 0 when the platform refused it
    const std::string &path() const noexcept { return path_; } ///< as given
    /// Without path, tag and code; shortened as in the text.
    const std::string &reason() const noexcept { return reason_; }
    const std::string &app_tag() const noexcept { return app_tag_; } ///< empty: none

  private:
    RequestError(ErrorTag tag, cerrno code, const std::string &path, const std::string &reason);

    ErrorTag tag_;
    cerrno code_;
    std::string path_;
    std::string reason_;
    std::string app_tag_;
};

} // namespace ocamp
