// How JSON is parsed. Knows nothing of what is in it.
#include "seam/json_text.h"

#include "seam/text.h"

#include <set>
#include <vector>

#include <fmt/format.h>

namespace ocamp {

namespace {

// No object of any model or file has as many. Members in the order of the document are looked for one by one.
constexpr std::size_t most_members = 500;

// Refuses what the parser itself would take: a member given twice, and nesting and members
// without bound. A pass of its own: the
// parser's callbacks would look at all members of an array again for each of them.
class ParseCheck : public nlohmann::json_sax<Json> {
  public:
    explicit ParseCheck(std::size_t nesting_limit) : nesting_limit_(nesting_limit) {}

    bool null() override { return true; }
    bool boolean(bool /*value*/) override { return true; }
    bool number_integer(number_integer_t /*value*/) override { return true; }
    bool number_unsigned(number_unsigned_t /*value*/) override { return true; }
    bool number_float(number_float_t /*value*/, const string_t & /*text*/) override { return true; }
    bool string(string_t & /*value*/) override { return true; }
    bool binary(binary_t & /*value*/) override { return true; }
    bool start_object(std::size_t /*members*/) override { return open(); }
    bool end_object() override { return close(); }
    bool start_array(std::size_t /*members*/) override { return open(); }
    bool end_array() override { return close(); }
    bool key(string_t &name) override {
        if (members_.back().size() == most_members)
            throw JsonError(fmt::format("$: an object with more than {} members", most_members));
        if (!members_.back().insert(name).second)
            throw JsonError(fmt::format("$: the member {} is given twice in one object", shown(name)));
        return true;
    }
    bool parse_error(std::size_t /*position*/, const std::string & /*token*/,
                     const nlohmann::detail::exception &error) override {
        throw JsonError(fmt::format("$: not JSON: {}", without_error_number(error.what())));
    }

  private:
    bool open() {
        members_.emplace_back();
        if (members_.size() > nesting_limit_)
            throw JsonError(fmt::format("$: nested deeper than {}", nesting_limit_));
        return true;
    }
    bool close() {
        members_.pop_back();
        return true;
    }

    std::size_t nesting_limit_;
    std::vector<std::set<std::string>> members_; // of each level; those of an array stay empty
};

} // namespace

Json parse_json(std::string_view text, std::size_t nesting_limit) {
    // The parser takes one for the end of the text.
    if (text.find('\0') != std::string_view::npos)
        throw JsonError("$: holds a zero byte, expected text");
    ParseCheck check(nesting_limit);
    Json::sax_parse(text, &check);
    return Json::parse(text);
}

std::string shown(const Json &value) {
    if (value.is_structured())
        return value.is_array() ? "an array" : "an object";
    constexpr std::size_t shown_length = 60;
    const std::string text = value.dump(-1, ' ', true);
    return text.size() <= shown_length ? text : text.substr(0, shown_length) + "...";
}

} // namespace ocamp
