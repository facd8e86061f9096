// How paths are read and written.
#include "gnmi/path_text.h"

#include "seam/input_error.h"
#include "seam/text.h"

#include <map>

#include <fmt/format.h>

namespace ocamp::gnmi_client {

namespace {

// Bytes of a path in a message.
constexpr std::size_t longest_shown_path = 400;

// Goes through a path from left to right.
class Reader {
  public:
    explicit Reader(std::string_view text) : text_(text) {}

    ::gnmi::Path read() {
        ::gnmi::Path path;
        read_origin(path);
        if (!ends() && text_[at_] == '/')
            ++at_;
        while (!ends()) {
            read_elem(*path.add_elem());
            if (!ends() && text_[at_++] != '/')
                refuse("expected '/' or '['", at_ - 1);
        }
        return path;
    }

  private:
    bool ends() const { return at_ == text_.size(); }

    [[noreturn]] void refuse(std::string_view expected, std::size_t at) const {
        throw InputError(
            fmt::format("path '{}': {} at character {}", shortened(text_, longest_shown_path), expected, at + 1));
    }

    // A colon before the first '/' ends an origin; any other stands behind the name of a module.
    void read_origin(::gnmi::Path &path) {
        const std::size_t colon = text_.find_first_of(":/[");
        if (colon == std::string_view::npos || text_[colon] != ':' ||
            (colon + 1 != text_.size() && text_[colon + 1] != '/'))
            return;
        if (colon == 0)
            refuse("expected the name of an origin before ':'", 0);
        path.set_origin(std::string(text_.substr(0, colon)));
        at_ = colon + 1;
    }

    // The characters before one of the ends, or before the end of the text.
    std::string read_until(std::string_view stops) {
        std::string part;
        for (; !ends() && stops.find(text_[at_]) == std::string_view::npos; ++at_) {
            if (text_[at_] == '\\' && at_ + 1 < text_.size())
                ++at_;
            part += text_[at_];
        }
        return part;
    }

    void read_elem(::gnmi::PathElem &elem) {
        elem.set_name(read_until("/["));
        if (elem.name().empty())
            refuse("expected a name", at_);
        while (!ends() && text_[at_] == '[')
            read_key(elem);
    }

    void read_key(::gnmi::PathElem &elem) {
        const std::size_t begin = ++at_;
        const std::string key = read_until("=]");
        if (key.empty() || ends() || text_[at_] != '=')
            refuse("expected KEY=VALUE", begin);
        ++at_;
        const bool quoted = !ends() && (text_[at_] == '\'' || text_[at_] == '"');
        const std::string_view quote = text_.substr(at_, 1);
        if (quoted)
            ++at_;
        const std::string value = read_until(quoted ? quote : "]");
        if (quoted && !ends())
            ++at_;
        if (ends() || text_[at_] != ']')
            refuse("expected ']' behind the value of a key", at_);
        ++at_;
        if (!elem.mutable_key()->insert({key, value}).second)
            refuse(fmt::format("expected key '{}' once", shortened(key, longest_shown_value)), begin);
    }

    std::string_view text_;
    std::size_t at_ = 0;
};

void append(std::string &text, std::string_view part, std::string_view special) {
    for (const char c : part) {
        if (c == '\\' || special.find(c) != std::string_view::npos)
            text += '\\';
        text += c;
    }
}

void append(std::string &text, const ::gnmi::Path &path) {
    for (const ::gnmi::PathElem &elem : path.elem()) {
        text += '/';
        append(text, elem.name(), "/[");
        // In the order of their names: the message has none.
        const std::map<std::string, std::string> keys(elem.key().begin(), elem.key().end());
        for (const auto &[key, value] : keys) {
            text += '[';
            append(text, key, "=]");
            text += '=';
            if (value.starts_with('\'') || value.starts_with('"'))
                text += '\\';
            append(text, value, "]");
            text += ']';
        }
    }
}

} // namespace

::gnmi::Path path_of(std::string_view text) {
    return Reader(text).read();
}

std::string path_text(const ::gnmi::Path &prefix, const ::gnmi::Path &path) {
    const std::string &origin = prefix.origin().empty() ? path.origin() : prefix.origin();
    std::string text = origin.empty() ? "" : origin + ":";
    const std::size_t begin = text.size();
    append(text, prefix);
    append(text, path);
    return text.size() == begin ? text + "/" : text;
}

} // namespace ocamp::gnmi_client
