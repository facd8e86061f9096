// How JSON is parsed. Knows nothing of what is in it.
#include "sysdb/json_text.h"

#include "seam/text.h"

#include <functional>
#include <set>
#include <vector>

#include <fmt/format.h>

namespace ocamp {

namespace {

// Refuses what the parser itself would take: a member given twice, and nesting without bound.
class ParseCheck {
  public:
    explicit ParseCheck(int nesting_limit) : nesting_limit_(nesting_limit) {}

    bool operator()(int depth, Json::parse_event_t event, Json &parsed) {
        switch (event) {
        case Json::parse_event_t::object_start:
            members_.emplace_back();
            break;
        case Json::parse_event_t::object_end:
            members_.pop_back();
            break;
        case Json::parse_event_t::key:
            if (const auto name = parsed.get<std::string>(); !members_.back().insert(name).second)
                throw JsonError(fmt::format("$: the member {} is given twice in one object", shown(parsed)));
            break;
        default:
            break;
        }
        if (depth > nesting_limit_)
            throw JsonError(fmt::format("$: nested deeper than {}", nesting_limit_));
        return true;
    }

  private:
    int nesting_limit_;
    std::vector<std::set<std::string>> members_;
};

} // namespace

Json parse_json(std::string_view text, int nesting_limit) {
    // The parser takes one for the end of the text.
    if (text.find('\0') != std::string_view::npos)
        throw JsonError("$: holds a zero byte, expected text");
    ParseCheck check(nesting_limit);
    try {
        return Json::parse(text, std::ref(check));
    } catch (const Json::exception &error) {
        throw JsonError(fmt::format("$: not JSON: {}", without_error_number(error.what())));
    }
}

std::string shown(const Json &value) {
    if (value.is_structured())
        return value.is_array() ? "an array" : "an object";
    constexpr std::size_t shown_length = 60;
    const std::string text = value.dump(-1, ' ', true);
    return text.size() <= shown_length ? text : text.substr(0, shown_length) + "...";
}

} // namespace ocamp
