// The log and trace calls of the seam. They check what they are given and hand it to the log it names; they know
// nothing of what the messages say. Observers of calls do not see these: they would drown the others.
#include "log/log.h"
#include "seam/guard.h"

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include <fmt/format.h>

namespace {

// The only flags word that the seam defines: bytes 3, 4 and 5, from the least significant byte 0, are 1.
constexpr std::uint64_t trace_flags = 0x10101000000U;

// Most messages fit here; longer ones are formatted a second time on the heap.
constexpr std::size_t usual_message = 1024;

void write_formatted(ocamp::DebugLog &log, const char *format, std::va_list arguments) {
    std::va_list again;
    va_copy(again, arguments);
    char usual[usual_message];
    const int length = std::vsnprintf(usual, sizeof usual, format, arguments);
    if (length < 0) {
        log.write("ERR: platform: a message could not be formatted");
    } else if (const auto size = static_cast<std::size_t>(length); size < sizeof usual) {
        log.write({usual, size});
    } else {
        // One byte above the limit tells the sink that the message was longer.
        std::vector<char> longer(std::min(size, ocamp::log_message_limit + 1) + 1);
        static_cast<void>(std::vsnprintf(longer.data(), longer.size(), format, again));
        log.write({longer.data(), longer.size() - 1});
    }
    va_end(again);
}

} // namespace

extern "C" {

int yfw_debug_should_log(const yfw_log_filter *filter, int level) {
    return filter != nullptr && level >= 0 && level <= filter->threshold ? 1 : 0;
}

// The filter word of the site is left as it is: this log filters by level alone.
void _xos_dt_log_filter_adv(yfw_log_handle *handle, uintptr_t, uintptr_t, uintptr_t, uintptr_t, uintptr_t, uint32_t *,
                            const char *format, ...) {
    ocamp::DebugLog *log = ocamp::DebugLog::from_handle(handle);
    if (log == nullptr || format == nullptr) {
        ocamp::refuse("_xos_dt_log_filter_adv", ocamp::rc_invalid_argument,
                      log == nullptr ? "not an open log; a message is dropped" : "no format; a message is dropped");
        return;
    }
    std::va_list arguments;
    va_start(arguments, format);
    try {
        write_formatted(*log, format, arguments);
    } catch (...) {
        log->write("ERR: platform: out of memory for a message");
    }
    va_end(arguments);
}

void _lstrace(yfw_ltrace_handle *handle, uint64_t flags, const char *line) {
    ocamp::LightTrace *trace = ocamp::LightTrace::from_handle(handle);
    if (trace == nullptr) {
        ocamp::refuse("_lstrace", ocamp::rc_bad_handle, "not an open trace; a line is dropped");
    } else if (line == nullptr) {
        ocamp::refuse("_lstrace", ocamp::rc_invalid_argument, "no line");
    } else if (flags != trace_flags) {
        ocamp::guarded("_lstrace", [&] {
            return ocamp::refuse(
                "_lstrace", ocamp::rc_invalid_argument,
                fmt::format("flags word {:#x}, expected {:#x}; a line is dropped", flags, trace_flags));
        });
    } else {
        trace->write({line, strnlen(line, ocamp::log_message_limit + 1)});
    }
}

// Numbers the lines of a process from 1.
uint32_t ret_nc_yfw_trace_index_incr(void) {
    static std::atomic<std::uint32_t> index{0};
    return ++index;
}

} // extern "C"
