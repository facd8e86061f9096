// The frame that every handler and converter follows: the two message channels, the error path, the argument
// check, and what the request state says. Knows nothing of any model.
#pragma once

#include "yfw_platform.h"

// A handler without context cannot even report: the assertion on it holds in release builds too.
#undef NDEBUG
#include <assert.h>
#include <stdio.h>
#include <string.h>

// Puts a function among the names that the framework can find.
#define YMAP_EXPORT extern "C" __attribute__((visibility("default")))

namespace ymap {

// Sizes in bytes, terminator included.
inline constexpr size_t value_size = 200;            ///< leaf values, paths and controller names
inline constexpr size_t key_size = 20;               ///< list keys of a request
inline constexpr size_t database_path_size = 256;    ///< item paths and listed names of the system database
inline constexpr size_t replaced_text_size = 4096;   ///< the two static result buffers of the text helpers
inline constexpr size_t lightweight_line_size = 250; ///< one line of the lightweight trace

/// A text that is known when the plug-in is built, so that formats can be put together from parts. May be shorter than
/// its room, which is zero behind it.
template <size_t Size>
struct FixedText {
    char text[Size] = {};
    consteval FixedText() = default;
    // Implicit on purpose: a string literal is given where a FixedText is wanted.
    template <size_t Length>
    requires(Length <= Size) consteval FixedText(const char (&literal)[Length]) { // NOLINT(google-explicit-constructor)
        for (size_t i = 0; i < Length; ++i)
            text[i] = literal[i];
    }
    constexpr bool empty() const { return text[0] == '\0'; }
    constexpr size_t length() const {
        size_t length = 0;
        while (text[length] != '\0')
            ++length;
        return length;
    }
};
template <size_t Length>
FixedText(const char (&)[Length]) -> FixedText<Length>;

template <size_t A, size_t B>
consteval auto operator+(const FixedText<A> &first, const FixedText<B> &second) {
    FixedText<A + B - 1> joined;
    size_t end = 0;
    for (size_t i = 0; i < first.length(); ++i)
        joined.text[end++] = first.text[i];
    for (size_t i = 0; i < second.length(); ++i)
        joined.text[end++] = second.text[i];
    return joined;
}

/// The channels that a message may go to: errors and traces. They differ by level, by the word in front of the text and
/// by the log.
struct ErrorChannel {
    static constexpr int level = 0;
    static constexpr FixedText word = "ERR";
    static yfw_log_handle *log(yfw_map_ctx ctx) { return ctx->error_log; }
};

struct TraceChannel {
    static constexpr int level = 3;
    static constexpr FixedText word = "TRC";
    static yfw_log_handle *log(yfw_map_ctx ctx) { return ctx->trace_log; }
};

/// Whether the debug log takes messages of that channel, which the platform is asked once a message.
template <class Channel>
bool is_logged(yfw_map_ctx ctx) {
    return yfw_debug_should_log(&ctx->debug_filter, Channel::level) != 0;
}

/// Sends one message to the debug log if `logged`, and to the lightweight trace if that takes it. `ctx` not NULL;
/// `function`: the exported function that reports.
template <class Channel, FixedText Text, class... Arguments>
[[gnu::noinline, gnu::cold]] // messages are off most of the time: away from the code of the walks
void report(yfw_map_ctx ctx, bool logged, const char *function, int line, uint32_t *site_filter_word,
            Arguments... arguments) {
    static constexpr auto debug_format = Channel::word + FixedText(": YFW: ctx=%p,") + Text;
    static constexpr auto trace_format = FixedText("#%u: ") + Channel::word + FixedText(": %s:%d ctx=%p,") + Text;
    if (logged)
        _xos_dt_log_filter_adv(Channel::log(ctx), 0, 0, 0, 0, 0, site_filter_word, debug_format.text,
                               static_cast<void *>(ctx), arguments...);
    if (ctx->ltrace_enabled != 0) {
        constexpr uint64_t trace_flags = 0x10101000000;
        char text[lightweight_line_size];
        snprintf(text, sizeof text, trace_format.text, ret_nc_yfw_trace_index_incr(), function, line,
                 static_cast<void *>(ctx), arguments...);
        _lstrace(ctx->ltrace_handle, trace_flags, text);
    }
}

/// `text`, or what is printed in place of a missing one.
inline const char *shown(const char *text) {
    return text != nullptr ? text : "(null)";
}

} // namespace ymap

// A message site: owns the word in which the platform keeps its filter state for the site, and has a line of its own.
// Whether anyone takes the message is asked here, in line, because there are some 1,600 sites and mostly no one does:
// the arguments are made only if one does, so they may not call the platform.
#define YMAP_REPORT(channel, function, ctx, text, ...)                                                                 \
    do {                                                                                                               \
        const bool is_logged_here = ::ymap::is_logged<::ymap::channel>(ctx);                                           \
        if (is_logged_here || (ctx)->ltrace_enabled != 0) [[unlikely]] {                                               \
            static uint32_t site_filter_word = UINT32_MAX;                                                             \
            ::ymap::report<::ymap::channel, (text)>((ctx), is_logged_here, (function), __LINE__,                       \
                                                    &site_filter_word __VA_OPT__(, ) __VA_ARGS__);                     \
        }                                                                                                              \
    } while (false)

// Messages of generic code, which speaks for the exported function `function`.
#define ymap_err_at(function, ctx, text, ...) YMAP_REPORT(ErrorChannel, function, ctx, text __VA_OPT__(, ) __VA_ARGS__)
#define ymap_trc_at(function, ctx, text, ...) YMAP_REPORT(TraceChannel, function, ctx, text __VA_OPT__(, ) __VA_ARGS__)

// Messages of an exported function's own body.
#define ymap_err(ctx, text, ...) ymap_err_at(__func__, ctx, text __VA_OPT__(, ) __VA_ARGS__)
#define ymap_trc(ctx, text, ...) ymap_trc_at(__func__, ctx, text __VA_OPT__(, ) __VA_ARGS__)

// The only fatal path. Stands in exported functions only, whose prototype it names.
#define YMAP_ASSERT_CTX(ctx) assert(NULL != ctx)

// Leaves the function with `result` unless both nodes are there.
#define YMAP_REQUIRE_NODES(function, ctx, in, out, result)                                                             \
    do {                                                                                                               \
        if ((in) == nullptr || (out) == nullptr) {                                                                     \
            ymap_err_at(function, ctx, "Invalid arguments passed!");                                                   \
            yfw_oc_error_path(ctx);                                                                                    \
            return (result);                                                                                           \
        }                                                                                                              \
    } while (false)

// Opening of a converter or container handler: context, "Start", argument check.
#define YMAP_BEGIN(ctx, in, out, result)                                                                               \
    do {                                                                                                               \
        YMAP_ASSERT_CTX(ctx);                                                                                          \
        ymap_trc(ctx, "Start");                                                                                        \
        YMAP_REQUIRE_NODES(__func__, ctx, in, out, result);                                                            \
    } while (false)

// Body of a container's handler: it checks and has nothing else to do.
#define YMAP_CHECK_ONLY(ctx, in, out)                                                                                  \
    do {                                                                                                               \
        YMAP_BEGIN(ctx, in, out, YMAP_RC_INVALID_ARGS);                                                                \
        return CERR_SUCCESS;                                                                                           \
    } while (false)

// Body of a list or leaf handler that has nothing of its own: hand over to `converter`, check only if that cannot be.
#define YMAP_HAND_TO(converter, ctx, in, out)                                                                          \
    do {                                                                                                               \
        if ((in) != nullptr && (out) != nullptr)                                                                       \
            return converter((ctx), (in), (out));                                                                      \
        YMAP_ASSERT_CTX(ctx);                                                                                          \
        YMAP_REQUIRE_NODES(__func__, ctx, in, out, YMAP_RC_INVALID_ARGS);                                              \
        return CERR_SUCCESS;                                                                                           \
    } while (false)

// Body of a function that has nothing to do, not even to check.
#define YMAP_SUCCEED(ctx, in, out)                                                                                     \
    do {                                                                                                               \
        static_cast<void>(ctx);                                                                                        \
        static_cast<void>(in);                                                                                         \
        static_cast<void>(out);                                                                                        \
        return CERR_SUCCESS;                                                                                           \
    } while (false)

// Body of a handler that hands over to `converter` between "Start" and "End".
#define YMAP_START_CONVERT_END(converter, ctx, in, out)                                                                \
    do {                                                                                                               \
        YMAP_BEGIN(ctx, in, out, YMAP_RC_INVALID_ARGS);                                                                \
        const cerrno result = converter((ctx), (in), (out));                                                           \
        ymap_trc(ctx, "End");                                                                                          \
        return result;                                                                                                 \
    } while (false)

// Body of a function that has nothing to do and says so.
#define YMAP_START_AND_END(ctx, in, out)                                                                               \
    do {                                                                                                               \
        YMAP_BEGIN(ctx, in, out, YMAP_RC_INVALID_ARGS);                                                                \
        ymap_trc(ctx, "End");                                                                                          \
        return CERR_SUCCESS;                                                                                           \
    } while (false)

namespace ymap {

/// Replaces the request's error path by a copy of `tag`; NULL leaves it empty. `label` names the copy's owner.
inline void set_error_path(yfw_map_ctx ctx, const char *tag, const char *label) {
    if (ctx == nullptr || ctx->req_ctx == nullptr)
        return;
    char *&error_path = ctx->req_ctx->error_path;
    if (error_path != nullptr) {
        xos_named_free(error_path);
        error_path = nullptr;
    }
    if (tag != nullptr)
        error_path = yfw_strdup(tag, label);
}

} // namespace ymap

/// Records the tag of the node that made the request fail. Does nothing without request state.
inline void ymap_set_error_path(yfw_map_ctx ctx, const char *tag) {
    ymap::set_error_path(ctx, tag, "YFW MAP");
}

namespace ymap {

/// Close of an error exit whose message is written: the failing node's tag, then the framework's own record.
inline void fail_at(yfw_map_ctx ctx, const char *tag) {
    ymap_set_error_path(ctx, tag);
    yfw_oc_error_path(ctx);
}

/// Kind of the request; a context without request state counts as an edit.
inline uint32_t request_kind(yfw_map_ctx ctx) {
    const yfw_map_request *request = ctx->req_ctx;
    return request != nullptr && request->request_kind != nullptr ? *request->request_kind : uint32_t{YFW_KIND_EDIT};
}

/// True for reads: of configuration, or of configuration and state.
inline bool is_read(yfw_map_ctx ctx) {
    const uint32_t kind = request_kind(ctx);
    return kind == YFW_KIND_GET_CONFIG || kind == YFW_KIND_GET;
}

/// True for the one kind of request that asks for state.
inline bool reads_state(yfw_map_ctx ctx) {
    return request_kind(ctx) == YFW_KIND_GET;
}

/// A node's children; none unless the node says that it has some.
struct Children {
    yfw_datatree *first;
    uint32_t count;
    /// Children are announced and not there.
    bool missing() const { return first == nullptr && count != 0; }
    yfw_datatree *begin() const { return first; }
    yfw_datatree *end() const { return first != nullptr ? first + count : nullptr; }
};

/// Those that the node says it has; NULL is not allowed.
inline Children children_of(const yfw_datatree *node) {
    if ((node->node_flags & YFW_NODE_HAS_CHILDREN) == 0)
        return {nullptr, 0};
    return {node->children, node->child_count};
}

/// Pops `node` from the hierarchy. Returns `result`, the walk's so far; when that is success, the pop's.
inline cerrno leave_hierarchy(yfw_map_ctx ctx, const yfw_datatree *node, cerrno result) {
    const cerrno popped = yfw_map_remove_from_node_hierarchy(ctx, node);
    return result == CERR_SUCCESS ? popped : result;
}

/// Marks a child that a list walker counts as a key of its entry.
inline void mark_key(yfw_datatree *child) {
    child->key_seen = 1;
    child->node_flags2 |= YFW_NODE_KEY_USED;
}

} // namespace ymap
