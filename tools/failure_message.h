// What a failure looks like on standard error: a line for people, or JSON for machines. Knows no command.
#pragma once

#include <exception>
#include <string>

namespace ocamp {

/// The exit statuses of failures.
inline constexpr int request_failed = 1;
inline constexpr int wrong_use = 2;

/// The status that a failure has: wrong_use for an InputError, request_failed for everything else.
int status_of(const std::exception &failure) noexcept;

/// One line with a newline, whatever a client's text in the message holds. As JSON an object with the member "error"
/// and in it "path", "reason", "tag", "code" (null where a failure has none) and "status". Throws std::bad_alloc.
std::string failure_message(const std::exception &failure, int status, bool as_json);

} // namespace ocamp
