// How standard output is kept and ended. Knows no command.
#include "output.h"

#include "outcome.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

#include <fmt/format.h>

namespace ocamp {

namespace {

// A stream that was closed when the program began has been opened for the other direction.
bool is_open_for_writing(int descriptor) noexcept {
    const int flags = fcntl(descriptor, F_GETFL);
    return flags >= 0 && (flags & O_ACCMODE) != O_RDONLY;
}

// As errno says it. `done`: as for finish_output.
[[noreturn]] void refuse_output(std::string_view done) {
    const std::string reason = fmt::format("standard output: {}", !is_open_for_writing(STDOUT_FILENO) ? "closed"
                                                                  : errno != 0 ? std::strerror(errno)
                                                                               : "could not be written");
    throw OutputError(done.empty() ? reason + ", the answer could not be written"
                                   : fmt::format("{}, but it could not be acknowledged: {}", done, reason));
}

} // namespace

void reserve_standard_streams() noexcept {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        // The lowest free number is the one that is given.
        if (fcntl(descriptor, F_GETFD) < 0)
            open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}

void let_writes_fail() noexcept {
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
}

void write_output(std::string_view text) {
    errno = 0;
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size())
        refuse_output("");
}

void flush_output() {
    errno = 0;
    if (std::fflush(stdout) != 0 || !is_open_for_writing(STDOUT_FILENO))
        refuse_output("");
}

void finish_output(std::string_view text, std::string_view done) {
    errno = 0;
    const bool written = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
    if (std::fflush(stdout) != 0 || !written || std::ferror(stdout) != 0 || !is_open_for_writing(STDOUT_FILENO))
        refuse_output(done);
    outcome_is_told(0);
}

void write_error(std::string_view text) noexcept {
    while (!text.empty()) {
        const ssize_t written = write(STDERR_FILENO, text.data(), text.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            return;
        text.remove_prefix(static_cast<std::size_t>(written));
    }
}

} // namespace ocamp
