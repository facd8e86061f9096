// One structured line an event on standard error, for people or as JSON. Knows no event.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>

namespace ocamp::server {

/// How lines look: "2026-11-21T20:15:03.123Z info log-in user=ada address=127.0.0.1", or the same as a JSON object.
enum class LogFormat { text, json };

/// How much an event matters.
enum class Severity { info, warning, error };

/// A word of an event and its value. Refers to the caller's texts.
struct LogField {
    template <class Value>
    LogField(std::string_view word, const Value &content) : name(word) {
        if constexpr (std::is_same_v<Value, bool>)
            value = content;
        else if constexpr (std::is_integral_v<Value>)
            value = static_cast<std::int64_t>(content);
        else
            value = std::string_view(content);
    }

    std::string_view name;
    std::variant<std::string_view, std::int64_t, bool> value;
};

/// Safe from any thread. A line is written by one call, whatever is in the values; what cannot be written is lost.
class EventLog {
  public:
    /// `descriptor` stays the caller's. `node`: stands in each line, unless it is empty.
    explicit EventLog(LogFormat format, int descriptor = 2, std::string node = {}) noexcept
        : format_(format), descriptor_(descriptor), node_(std::move(node)) {}

    /// `event`: a word with hyphens, such as "log-in-refused". Long values are shortened.
    void write(Severity severity, std::string_view event, std::initializer_list<LogField> fields = {}) noexcept;

  private:
    LogFormat format_;
    int descriptor_;
    std::string node_;
};

} // namespace ocamp::server
