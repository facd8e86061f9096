// Keeps exceptions of the platform's C++ from crossing into the plug-in, which is C to its callers. Knows nothing of
// what the guarded functions do.
#pragma once

#include "log/codes.h"
#include "log/failure.h"
#include "log/log.h"

#include <exception>
#include <new>
#include <string>

namespace ocamp {

// Tells the current debug log that `function` was refused, and why. Returns `code`, so that a call can be refused in
// one statement.
inline cerrno refuse(const char *function, cerrno code, std::string_view reason) noexcept {
    try {
        debug_log_line(kLogErrors, std::string(function).append(": ").append(reason));
    } catch (...) {
        // Out of memory for the line: the code still tells.
    }
    return code;
}

// The same of what is no fault of the caller's: the run fails with it, whatever the plug-in makes of the code.
inline cerrno fail(const char *function, cerrno code, std::string_view reason) noexcept {
    note_failure(reason);
    return refuse(function, code, reason);
}

// Result of `body`, or the code for what it threw.
template <typename Body>
cerrno guarded(const char *function, Body body) noexcept {
    try {
        return body();
    } catch (const std::bad_alloc &) {
        return fail(function, RC_OUT_OF_MEMORY, "out of memory");
    } catch (const std::exception &error) {
        return fail(function, RC_INTERNAL, error.what());
    } catch (...) {
        return fail(function, RC_INTERNAL, "unknown exception");
    }
}

} // namespace ocamp
