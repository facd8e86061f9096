// How paths are taken apart and put together. Knows no model.
#include "seam/path_text.h"

namespace ocamp {

std::string_view without_prefix(std::string_view tag) noexcept {
    const std::size_t colon = tag.find(':');
    return colon == std::string_view::npos ? tag : tag.substr(colon + 1);
}

std::vector<std::string_view> path_steps(std::string_view path) {
    std::vector<std::string_view> steps;
    while (!path.empty()) {
        if (path.front() != '/')
            return {};
        path.remove_prefix(1);
        const std::string_view step = path.substr(0, path.find('/'));
        path.remove_prefix(step.size());
        steps.push_back(without_prefix(step));
        if (steps.back().empty())
            return {};
    }
    return steps;
}

std::string_view last_step(std::string_view path) noexcept {
    const std::size_t slash = path.rfind('/');
    return without_prefix(slash == std::string_view::npos ? path : path.substr(slash + 1));
}

std::string without_modules(std::string_view data_path) {
    std::string plain;
    char quote = '\0';
    bool in_key = false;
    std::size_t step = 0; // where it begins in `plain`
    for (const char character : data_path) {
        if (quote != '\0')
            quote = character == quote ? '\0' : quote;
        else if (in_key && (character == '\'' || character == '"'))
            quote = character;
        else if (character == '[' || character == ']')
            in_key = character == '[';
        else if (!in_key && character == ':') {
            plain.resize(step);
            continue;
        }
        plain += character;
        if (!in_key && quote == '\0' && character == '/')
            step = plain.size();
    }
    return plain;
}

std::string step_with_key(std::string_view tag, std::string_view key_name, std::string_view key_value) {
    const char quote = key_value.find('\'') == std::string_view::npos ? '\'' : '"';
    std::string step(tag);
    return step.append("[").append(key_name).append("=") + quote + std::string(key_value) + quote + "]";
}

} // namespace ocamp
