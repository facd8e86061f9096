// How refusals read. Knows nothing of requests.
#include "yang/request_error.h"

#include "seam/codes.h"
#include "seam/text.h"

#include <array>

#include <fmt/format.h>

namespace ocamp {

namespace {

// In the order of the tags.
constexpr std::array<std::string_view, 19> tag_words{"in-use",
                                                     "invalid-value",
                                                     "too-big",
                                                     "missing-attribute",
                                                     "bad-attribute",
                                                     "unknown-attribute",
                                                     "missing-element",
                                                     "bad-element",
                                                     "unknown-element",
                                                     "unknown-namespace",
                                                     "access-denied",
                                                     "lock-denied",
                                                     "resource-denied",
                                                     "rollback-failed",
                                                     "data-exists",
                                                     "data-missing",
                                                     "operation-not-supported",
                                                     "operation-failed",
                                                     "malformed-message"};
static_assert(tag_words.size() == static_cast<std::size_t>(ErrorTag::malformed_message) + 1);

// Most bytes of a path and of a reason: a line that a person can still read.
constexpr std::size_t longest_path = 400;
constexpr std::size_t longest_reason = 800;

std::string text_of(ErrorTag tag, cerrno code, const std::string &path, const std::string &reason) {
    std::string text = fmt::format("{}: {} [{}]", path.empty() ? "/" : shortened(path, longest_path),
                                   shortened(reason, longest_reason), word_of(tag));
    if (code != CERR_SUCCESS)
        text += fmt::format(" (0x{:08x})", code);
    return text;
}

} // namespace

std::string_view word_of(ErrorTag tag) noexcept {
    return tag_words[static_cast<std::size_t>(tag)];
}

ErrorTag tag_of(cerrno code) noexcept {
    switch (code) {
    case YMAP_RC_UNSUPPORTED:
    case YMAP_RC_AUGMENT_UNSUPPORTED:
    case YMAP_RC_KEY_DELETE:
        return ErrorTag::not_supported;
    case YMAP_RC_BAD_KEY:
        return ErrorTag::missing_element;
    case rc_leafref_mismatch:
        return ErrorTag::invalid_value;
    case rc_out_of_memory:
        return ErrorTag::resource_denied;
    default:
        return ErrorTag::operation_failed;
    }
}

RequestError::RequestError(ErrorTag tag, cerrno code, const std::string &path, const std::string &reason)
    : std::runtime_error(text_of(tag, code, path, reason)), tag_(tag), code_(code), path_(path), reason_(reason) {}

RequestError::RequestError(ErrorTag tag, const std::string &path, const std::string &reason)
    : RequestError(tag, CERR_SUCCESS, path, reason) {}

RequestError::RequestError(cerrno code, const std::string &path)
    : RequestError(tag_of(code), code, path, cerr_strerror(code)) {}

RequestError::RequestError(cerrno code, const std::string &path, const std::string &place)
    : RequestError(tag_of(code), code, path, fmt::format("{}: {}", place, cerr_strerror(code))) {}

RequestError RequestError::with_app_tag(std::string app_tag) && {
    app_tag_ = std::move(app_tag);
    return std::move(*this);
}

} // namespace ocamp
