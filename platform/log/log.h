// The debug log and the lightweight trace: where lines go, which are written, and which log is the process's current
// one. Knows nothing of requests, records or models.
#pragma once

#include "seam/input_error.h"
#include "yfw_platform.h"

#include <cstddef>
#include <cstdio>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace ocamp {

/// A log that cannot be opened. The text names the file and the reason.
class LogError : public InputError {
  public:
    using InputError::InputError;
};

/// Longest message that is written, in bytes before escaping; what is longer is cut and marked.
inline constexpr std::size_t log_message_limit = std::size_t{64} * 1024;

/// Levels of the debug log. A log writes the messages whose level is not above its threshold.
inline constexpr int log_nothing = -1; ///< as a threshold
inline constexpr int log_errors = 0;
inline constexpr int log_traces = 3;

/// Where the lines of a log go: a file, a device or a pipe with a reader, or standard error for "-". Throws LogError,
/// and std::system_error for want of something that another run may have.
class LogSink {
  public:
    /// Throws LogError when the file cannot be opened.
    explicit LogSink(const std::string &where);

    /// Writes one line, however the text looks: see append_escaped. A failed write is told once on standard error.
    void write(std::string_view text) noexcept;

  private:
    struct CloseOwned {
        void operator()(std::FILE *file) const noexcept;
    };
    std::string where_;
    std::unique_ptr<std::FILE, CloseOwned> file_;
    bool write_failed_ = false;
};

/// What a `yfw_log_handle *` points at.
class DebugLog {
  public:
    /// `where` as a LogSink takes it; `threshold`: highest level that is written. Throws LogError.
    DebugLog(const std::string &where, int threshold);
    ~DebugLog();
    DebugLog(const DebugLog &) = delete;
    DebugLog &operator=(const DebugLog &) = delete;

    /// Highest level that is written.
    int threshold() const noexcept { return threshold_; }
    /// True for a level that is written.
    bool takes(int level) const noexcept { return level >= 0 && level <= threshold_; }
    /// Writes whatever the level: who asked `takes` need not ask twice.
    void write(std::string_view message) noexcept { sink_.write(message); }

    /// Live as long as the log.
    yfw_log_handle *handle() noexcept { return reinterpret_cast<yfw_log_handle *>(this); }
    /// NULL unless `handle` is that of a log that exists now.
    static DebugLog *from_handle(yfw_log_handle *handle) noexcept;

  private:
    LogSink sink_;
    int threshold_;
};

/// What a `yfw_ltrace_handle *` points at.
class LightTrace {
  public:
    /// `where` as a LogSink takes it. Throws LogError.
    explicit LightTrace(const std::string &where);
    ~LightTrace();
    LightTrace(const LightTrace &) = delete;
    LightTrace &operator=(const LightTrace &) = delete;

    /// Writes one line.
    void write(std::string_view line) noexcept { sink_.write(line); }

    /// Live as long as the trace.
    yfw_ltrace_handle *handle() noexcept { return reinterpret_cast<yfw_ltrace_handle *>(this); }
    /// NULL unless `handle` is that of a trace that exists now.
    static LightTrace *from_handle(yfw_ltrace_handle *handle) noexcept;

  private:
    LogSink sink_;
};

/// Each sink is a file path, "-" for standard error, or empty for none.
struct LogSettings {
    std::string debug_log;
    int level = log_nothing;
    std::string trace;
};

/// Opens the logs of the process. While it lives, its debug log is the current one; afterwards the one before it is
/// again. Sessions end in the reverse order of their beginning. Throws LogError.
class LogSession {
  public:
    /// Throws LogError.
    explicit LogSession(const LogSettings &settings);
    ~LogSession();
    LogSession(const LogSession &) = delete;
    LogSession &operator=(const LogSession &) = delete;

    /// Sets the log fields of a mapping context; the handles live as long as the session.
    void attach(yfw_map_ctx_s &ctx) noexcept;

  private:
    std::optional<DebugLog> debug_log_;
    std::optional<LightTrace> trace_;
    DebugLog *previous_;
};

/// Writes a line of the platform's own, such as a refused call, to the current debug log if there is one and it takes
/// `level`. Safe from any thread.
void debug_log_line(int level, std::string_view text) noexcept;

/// Writes to the current debug log that a request has failed, and why.
void log_failure(const std::exception &failure) noexcept;

/// Runs `work`, a request or a part of one. What it throws is written to the current debug log, and comes out.
template <class Work>
auto logged(Work work) {
    try {
        return work();
    } catch (const std::exception &failure) {
        log_failure(failure);
        throw;
    }
}

} // namespace ocamp
