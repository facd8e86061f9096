// Keeps exceptions of the platform's C++ from crossing into the plug-in, which is C to its callers, and tells of calls
// that are refused. Knows neither what the guarded functions do nor where the lines go.
#pragma once

#include "seam/codes.h"
#include "seam/failure.h"

#include <atomic>
#include <exception>
#include <new>
#include <string>
#include <string_view>

namespace ocamp {

/// Takes one line about a refused call. The text is valid during the call only.
using RefusalWriter = void (*)(std::string_view text) noexcept;

namespace detail {
inline std::atomic<RefusalWriter> current_refusal_writer{nullptr};
}

/// Who takes the lines from now on, whatever thread they come from; NULL for nobody.
inline void set_refusal_writer(RefusalWriter writer) noexcept {
    detail::current_refusal_writer.store(writer, std::memory_order_release);
}

/// Tells that `function` was refused, and why. Returns `code`, so that a call can be refused in one statement.
inline cerrno refuse(const char *function, cerrno code, std::string_view reason) noexcept {
    const RefusalWriter write = detail::current_refusal_writer.load(std::memory_order_acquire);
    if (write == nullptr)
        return code;
    try {
        write(std::string(function).append(": ").append(reason));
    } catch (...) {
        // Out of memory for the line: the code still tells.
    }
    return code;
}

/// The same of what is no fault of the caller's: the run fails with it, whatever the plug-in makes of the code.
inline cerrno fail(const char *function, cerrno code, std::string_view reason) noexcept {
    note_failure(reason);
    return refuse(function, code, reason);
}

/// Result of `body`, or the code for what it threw.
template <class Body>
cerrno guarded(const char *function, Body body) noexcept {
    try {
        return body();
    } catch (const std::bad_alloc &) {
        return fail(function, rc_out_of_memory, "out of memory");
    } catch (const std::exception &error) {
        return fail(function, rc_internal, error.what());
    } catch (...) {
        return fail(function, rc_internal, "unknown exception");
    }
}

} // namespace ocamp
