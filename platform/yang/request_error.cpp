// How refusals read. Knows nothing of requests.
#include "yang/request_error.h"

#include "seam/codes.h"
#include "seam/text.h"

#include <iterator>

#include <fmt/format.h>

namespace ocamp {

namespace {

// In the order of the tags.
constexpr std::string_view tag_words[] = {
#define OCAMP_ERROR_TAG(tag, word, status, number) word,
#include "yang/error_tags.def"
};
constexpr ErrorTag tags_in_order[] = {
#define OCAMP_ERROR_TAG(tag, word, status, number) ErrorTag::tag,
#include "yang/error_tags.def"
};
constexpr bool are_in_order() {
    for (std::size_t i = 0; i < std::size(tags_in_order); ++i) {
        if (tags_in_order[i] != static_cast<ErrorTag>(i))
            return false;
    }
    return std::size(tags_in_order) == static_cast<std::size_t>(ErrorTag::malformed_message) + 1;
}
static_assert(are_in_order());

// Most bytes of a path and of a reason: a line that a person can still read.
constexpr std::size_t longest_path = 400;
constexpr std::size_t longest_reason = 800;

} // namespace

std::string refusal_text(ErrorTag tag, std::string_view path, std::string_view reason, cerrno code) {
    std::string text = fmt::format("{}: {} [{}]", path.empty() ? "/" : shortened(path, longest_path),
                                   shortened(reason, longest_reason), word_of(tag));
    if (code != CERR_SUCCESS)
        text += fmt::format(" (0x{:08x})", code);
    return text;
}

std::string_view word_of(ErrorTag tag) noexcept {
    return tag_words[static_cast<std::size_t>(tag)];
}

ErrorTag tag_of(cerrno code) noexcept {
    switch (code) {
#define OCAMP_ERROR_CODE(code, tag, meaning)                                                                           \
    case code:                                                                                                         \
        return ErrorTag::tag;
#include "yang/error_tags.def"
    default:
        return ErrorTag::operation_failed;
    }
}

RequestError::RequestError(ErrorTag tag, cerrno code, const std::string &path, const std::string &reason)
    : std::runtime_error(refusal_text(tag, path, reason, code)), tag_(tag), code_(code), path_(path),
      reason_(shortened(reason, longest_reason)) {}

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
