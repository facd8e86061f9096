// Opens log files, keeps the current debug log, and tells live handles from stray ones. Knows nothing of the calls
// that write.
#include "log/log.h"

#include "seam/failure.h"
#include "seam/guard.h"
#include "seam/handle_table.h"
#include "seam/text.h"

#include <cerrno>
#include <cstring>
#include <mutex>
#include <new>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include <fmt/format.h>

namespace ocamp {

namespace {

HandleTable<DebugLog> &live_debug_logs() {
    static HandleTable<DebugLog> logs;
    return logs;
}

HandleTable<LightTrace> &live_traces() {
    static HandleTable<LightTrace> traces;
    return traces;
}

// Held while a line is written, so that a session cannot close its log under a writer on another thread.
std::mutex current_log_mutex;
DebugLog *current_log = nullptr;

DebugLog *exchange_current_log(DebugLog *log) noexcept {
    const std::lock_guard lock(current_log_mutex);
    return std::exchange(current_log, log);
}

void write_refusal(std::string_view text) noexcept {
    debug_log_line(log_errors, text);
}

// A pipe that nobody reads would be waited for.
int open_log(const std::string &where) {
    constexpr int flags = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    const int descriptor = open(where.c_str(), flags, 0666);
    if (descriptor < 0 && is_shortage(errno))
        throw std::system_error(errno, std::generic_category(), fmt::format("log file {}", where));
    if (descriptor < 0)
        throw LogError(fmt::format("cannot open log file {}: {}", where,
                                   errno == ENXIO ? "not a regular file, and nobody reads it" : std::strerror(errno)));
    fcntl(descriptor, F_SETFL, O_APPEND);
    return descriptor;
}

std::FILE *open_sink(const std::string &where) {
    if (where == "-")
        return stderr;
    const int descriptor = open_log(where);
    std::FILE *file = fdopen(descriptor, "a");
    if (file == nullptr) {
        close(descriptor);
        throw std::bad_alloc();
    }
    // A line reaches the file when it is complete, so that a crash loses none.
    static_cast<void>(std::setvbuf(file, nullptr, _IOLBF, BUFSIZ));
    return file;
}

} // namespace

void LogSink::CloseOwned::operator()(std::FILE *file) const noexcept {
    if (file != stderr)
        static_cast<void>(std::fclose(file));
}

LogSink::LogSink(const std::string &where) : where_(where), file_(open_sink(where)) {}

void LogSink::write(std::string_view text) noexcept {
    try {
        const bool cut = text.size() > log_message_limit;
        std::string line;
        line.reserve(text.size() + 64);
        append_escaped(line, text.substr(0, log_message_limit));
        if (cut)
            fmt::format_to(std::back_inserter(line), " [cut at {} bytes]", log_message_limit);
        line += '\n';
        // One call a line: lines of several threads do not mix.
        if (std::fwrite(line.data(), 1, line.size(), file_.get()) == line.size() || write_failed_)
            return;
        write_failed_ = true;
        static_cast<void>(
            std::fprintf(stderr, "log file %s: %s; lines are being lost\n", where_.c_str(), std::strerror(errno)));
    } catch (...) {
        // Out of memory for the line: it is lost, the request is not.
    }
}

DebugLog::DebugLog(const std::string &where, int threshold) : sink_(where), threshold_(threshold) {
    live_debug_logs().lend(this, *this);
}

DebugLog::~DebugLog() {
    live_debug_logs().close(this);
}

DebugLog *DebugLog::from_handle(yfw_log_handle *handle) noexcept {
    return live_debug_logs().find(handle);
}

LightTrace::LightTrace(const std::string &where) : sink_(where) {
    live_traces().lend(this, *this);
}

LightTrace::~LightTrace() {
    live_traces().close(this);
}

LightTrace *LightTrace::from_handle(yfw_ltrace_handle *handle) noexcept {
    return live_traces().find(handle);
}

LogSession::LogSession(const LogSettings &settings) {
    if (!settings.debug_log.empty())
        debug_log_.emplace(settings.debug_log, settings.level);
    if (!settings.trace.empty())
        trace_.emplace(settings.trace);
    set_refusal_writer(write_refusal);
    previous_ = exchange_current_log(debug_log_ ? &*debug_log_ : nullptr);
}

LogSession::~LogSession() {
    exchange_current_log(previous_);
}

void LogSession::attach(yfw_map_ctx_s &ctx) noexcept {
    ctx.debug_filter.threshold = debug_log_ ? debug_log_->threshold() : log_nothing;
    ctx.error_log = debug_log_ ? debug_log_->handle() : nullptr;
    ctx.trace_log = ctx.error_log;
    ctx.ltrace_handle = trace_ ? trace_->handle() : nullptr;
    ctx.ltrace_enabled = trace_ ? 1 : 0;
}

void debug_log_line(int level, std::string_view text) noexcept {
    const std::lock_guard lock(current_log_mutex);
    if (current_log == nullptr || !current_log->takes(level))
        return;
    try {
        current_log->write(fmt::format("{}: platform: {}", level <= log_errors ? "ERR" : "TRC", text));
    } catch (...) {
        // Out of memory for the line: it is lost, the request is not.
    }
}

void log_failure(const std::exception &failure) noexcept {
    try {
        debug_log_line(log_errors, fmt::format("request failed: {}", failure.what()));
    } catch (...) {
        // Out of memory for the line: what failed is told to the client all the same.
    }
}

} // namespace ocamp
