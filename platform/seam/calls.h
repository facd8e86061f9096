// Lets one observer see the plug-in's calls into the platform, a line a call. Costs one load when nobody observes.
// Knows neither who observes nor what the calls do.
#pragma once

#include "yfw_platform.h"

#include <atomic>
#include <iterator>
#include <string>
#include <string_view>
#include <type_traits>

#include <fmt/format.h>

namespace ocamp {

/// Sees the calls of one plug-in, in their order.
class CallObserver {
  public:
    virtual ~CallObserver() = default;
    /// `text` is one line, valid during the call only. What it throws is dropped: the call goes on.
    virtual void on_call(std::string_view text) = 0;
};

namespace detail {
inline std::atomic<CallObserver *> current_call_observer{nullptr};
}

/// NULL when nobody observes.
inline CallObserver *call_observer() noexcept {
    return detail::current_call_observer.load(std::memory_order_acquire);
}

/// The observer stays its owner's; NULL ends the observing.
inline void set_call_observer(CallObserver *observer) noexcept {
    detail::current_call_observer.store(observer, std::memory_order_release);
}

/// A C text as argument or result: quoted and escaped, or NULL.
struct Quoted {
    const char *text;
};

/// A result code as argument or result: 0, or eight hexadecimal digits.
struct Code {
    cerrno code;
};

/// In the place of the result of a function that returns nothing.
struct NoResult {};

namespace detail {

void append_word(std::string &line, Quoted quoted);
void append_word(std::string &line, Code code);
template <class Value>
void append_word(std::string &line, const Value &value) {
    fmt::format_to(std::back_inserter(line), "{}", value);
}

template <class... Words>
void append_words(std::string &line, const Words &...words) {
    std::string_view separator;
    ((line += separator, append_word(line, words), separator = ", "), ...);
}

} // namespace detail

/// Reports one call of a C function of the platform, like: sysdb_item_get("Ots0_1_0_0/ots_info") = 0
/// Arguments and result: Quoted, Code, or anything that fmt prints. Call it when the result is known.
template <class Result, class... Arguments>
void record_call(const char *function, const Result &result, const Arguments &...arguments) noexcept {
    CallObserver *observer = call_observer();
    if (observer == nullptr)
        return;
    try {
        std::string line = function;
        line += '(';
        detail::append_words(line, arguments...);
        line += ')';
        if constexpr (!std::is_same_v<Result, NoResult>) {
            line += " = ";
            detail::append_word(line, result);
        }
        observer->on_call(line);
    } catch (...) {
        // Observing must never change what the observed call does.
    }
}

} // namespace ocamp
