// How libyang's complaints are asked for, and what it should have complained of. Knows nothing of what it was asked.
#include "yang/error.h"

#include "seam/text.h"
#include "yang/schema.h"

#include <algorithm>
#include <string_view>

#include <fmt/format.h>

namespace ocamp {

namespace {

// Takes digits from the front of the text; false when there are none.
bool take_digits(std::string_view &text) {
    const std::size_t count = std::min(text.find_first_not_of("0123456789"), text.size());
    text.remove_prefix(count);
    return count != 0;
}

// An optional sign, digits, and after a point more digits; white space may stand around them.
bool is_decimal(std::string_view text) {
    text = trimmed(text);
    if (text.starts_with('+') || text.starts_with('-'))
        text.remove_prefix(1);
    if (!take_digits(text))
        return false;
    if (!text.starts_with('.'))
        return text.empty();
    text.remove_prefix(1);
    return take_digits(text) && text.empty();
}

// The path in what libyang says of a place, where it stands in quotes; empty when there is none.
std::string path_in(std::string_view place) {
    const std::size_t begin = place.find("\"/");
    if (begin == std::string_view::npos)
        return {};
    place.remove_prefix(begin + 1);
    return std::string(place.substr(0, place.find('"')));
}

} // namespace

YangError complaint_of(const ly_ctx *context) {
    const char *message = ly_errmsg(context);
    const char *place = ly_errpath(context);
    if (message == nullptr)
        return YangError("refused without a reason");
    YangError error = place == nullptr ? YangError(message) : YangError(message, place, path_in(place));
    if (const char *app_tag = ly_errapptag(context); app_tag != nullptr)
        error.set_app_tag(app_tag);
    return error;
}

void check(LY_ERR result, const ly_ctx *context) {
    if (result == LY_EMEM)
        throw std::bad_alloc();
    if (result != LY_SUCCESS)
        throw complaint_of(context);
}

// libyang takes a sign alone for the number 0. Its dictionary ends texts at a zero byte and frees another text in their
// place.
void check_lexical_form(const lysc_node &leaf, std::string_view value) {
    if (value.find('\0') != std::string_view::npos)
        throw YangError("holds a zero byte, expected text");
    if (type_of(leaf).basetype == LY_TYPE_DEC64 && !is_decimal(value))
        throw YangError(fmt::format("Invalid decimal64 value \"{}\", expected one such as \"-1.5\".",
                                    shortened(value, longest_shown_value)));
}

} // namespace ocamp
