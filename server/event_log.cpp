// How lines of events are put together and written. Knows no event.
#include "server/event_log.h"

#include "seam/text.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <span>
#include <vector>

#include <unistd.h>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace ocamp::server {

namespace {

constexpr std::size_t longest_value = 1024;
constexpr std::array<std::string_view, 3> severity_words{"info", "warning", "error"};

std::string time_now() {
    return utc_text(std::chrono::system_clock::now().time_since_epoch(), 3);
}

// A value of one word stands as it is, every other one in quotes.
void append_value(std::string &line, std::string_view value) {
    const std::string shown = shortened(value, longest_value);
    constexpr std::string_view word_characters =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.,:;_-/+@%[]";
    if (!shown.empty() && shown.find_first_not_of(word_characters) == std::string::npos) {
        line += shown;
        return;
    }
    line += '"';
    append_escaped(line, shown, '"');
    line += '"';
}

std::string text_line(Severity severity, std::string_view event, std::span<const LogField> fields) {
    std::string line = fmt::format("{} {} {}", time_now(), severity_words[static_cast<std::size_t>(severity)], event);
    for (const LogField &field : fields) {
        line.append(" ").append(field.name).append("=");
        if (const auto *text = std::get_if<std::string_view>(&field.value))
            append_value(line, *text);
        else if (const auto *number = std::get_if<std::int64_t>(&field.value))
            line += std::to_string(*number);
        else
            line += std::get<bool>(field.value) ? "true" : "false";
    }
    return line + '\n';
}

std::string json_line(Severity severity, std::string_view event, std::span<const LogField> fields) {
    nlohmann::ordered_json object;
    object["time"] = time_now();
    object["severity"] = severity_words[static_cast<std::size_t>(severity)];
    object["event"] = event;
    for (const LogField &field : fields) {
        auto &value = object[std::string(field.name)];
        if (const auto *text = std::get_if<std::string_view>(&field.value))
            value = shortened(*text, longest_value);
        else if (const auto *number = std::get_if<std::int64_t>(&field.value))
            value = *number;
        else
            value = std::get<bool>(field.value);
    }
    // Bytes outside UTF-8 become U+FFFD.
    return object.dump(-1, ' ', true, nlohmann::json::error_handler_t::replace) + '\n';
}

} // namespace

void EventLog::write(Severity severity, std::string_view event, std::initializer_list<LogField> fields) noexcept {
    try {
        std::vector<LogField> all;
        if (!node_.empty())
            all.emplace_back("node", node_);
        all.insert(all.end(), fields.begin(), fields.end());
        const std::string line =
            format_ == LogFormat::json ? json_line(severity, event, all) : text_line(severity, event, all);
        while (::write(descriptor_, line.data(), line.size()) < 0 && errno == EINTR) {
        }
    } catch (...) {
        // For want of memory: the event is lost, what it tells of is not.
        return;
    }
}

} // namespace ocamp::server
