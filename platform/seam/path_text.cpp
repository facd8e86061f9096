// How paths are taken apart and put together. Knows no model.
#include "seam/path_text.h"

namespace ocamp {

namespace {

// Goes through a data path and tells its keys, which may hold slashes, colons and brackets in quotes, from its steps.
class KeyScan {
  public:
    // Whether the next character is a key's, brackets included.
    bool takes(char character) noexcept {
        if (quote_ != '\0') {
            quote_ = character == quote_ ? '\0' : quote_;
            return true;
        }
        if (character == '[' || character == ']') {
            in_key_ = character == '[';
            return true;
        }
        if (in_key_ && (character == '\'' || character == '"'))
            quote_ = character;
        return in_key_;
    }

  private:
    char quote_ = '\0';
    bool in_key_ = false;
};

} // namespace

std::string_view without_prefix(std::string_view tag) noexcept {
    const std::size_t colon = tag.find(':');
    return colon == std::string_view::npos ? tag : tag.substr(colon + 1);
}

std::string_view take_step(std::string_view &path) noexcept {
    path.remove_prefix(1);
    const std::string_view step = path.substr(0, path.find('/'));
    path.remove_prefix(step.size());
    return without_prefix(step);
}

bool leads_somewhere(std::string_view path) noexcept {
    if (!path.starts_with('/'))
        return false;
    // Every write goes through here, and hardly any path has prefixes.
    const bool has_prefixes = path.find(':') != std::string_view::npos;
    while (!path.empty()) {
        const std::string_view step = path.substr(1, path.find('/', 1) - 1);
        if (step.empty() || (has_prefixes && without_prefix(step).empty()))
            return false;
        path.remove_prefix(1 + step.size());
    }
    return true;
}

std::vector<std::string_view> path_steps(std::string_view path) {
    if (!leads_somewhere(path))
        return {};
    std::vector<std::string_view> steps;
    while (!path.empty())
        steps.push_back(take_step(path));
    return steps;
}

std::string_view last_step(std::string_view path) noexcept {
    const std::size_t slash = path.rfind('/');
    return without_prefix(slash == std::string_view::npos ? path : path.substr(slash + 1));
}

std::string without_modules(std::string_view data_path) {
    std::string plain;
    KeyScan keys;
    std::size_t step = 0; // where it begins in `plain`
    for (const char character : data_path) {
        const bool in_key = keys.takes(character);
        if (!in_key && character == ':') {
            plain.resize(step);
            continue;
        }
        plain += character;
        if (!in_key && character == '/')
            step = plain.size();
    }
    return plain;
}

std::string without_keys(std::string_view data_path) {
    std::string names;
    KeyScan keys;
    for (const char character : data_path) {
        if (!keys.takes(character))
            names += character;
    }
    return names;
}

std::string step_with_key(std::string_view tag, std::string_view key_name, std::string_view key_value) {
    const char quote = key_value.find('\'') == std::string_view::npos ? '\'' : '"';
    std::string step(tag);
    return step.append("[").append(key_name).append("=") + quote + std::string(key_value) + quote + "]";
}

} // namespace ocamp
