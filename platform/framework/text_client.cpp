// The calls of the seam for text: copies that the platform owns, bounded copies into buffers, and trees printed to the
// debug log. They know nothing of runs but their handles.
#include "framework/client_words.h"
#include "log/log.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

using namespace ocamp;

namespace {

// Appends at most `count` characters of `src` to the `used` characters in `dst`. `size` counts the terminator.
cerrno append_bounded(char *dst, size_t size, size_t used, const char *src, size_t count) noexcept {
    const size_t wanted = strnlen(src, count);
    const size_t fits = std::min(wanted, size - 1 - used);
    // The source may be a part of the destination.
    std::memmove(dst + used, src, fits);
    dst[used + fits] = '\0';
    return fits == wanted ? CERR_SUCCESS : rc_text_cut;
}

// Name of the caller for the refusal's line.
const char *name_of(const char *caller, const char *function) noexcept {
    return caller != nullptr ? caller : function;
}

cerrno copy_bounded(const char *function, const char *caller, char *dst, size_t size, const char *src, size_t count) {
    if (dst == nullptr || size == 0)
        return refuse(name_of(caller, function), rc_invalid_argument, "no room to copy a text to");
    if (src == nullptr) {
        dst[0] = '\0';
        return refuse(name_of(caller, function), rc_invalid_argument, "no text to copy");
    }
    return append_bounded(dst, size, 0, src, count);
}

} // namespace

extern "C" {

char *yfw_strdup(const char *text, const char *label) {
    const char *const function = __func__;
    char *copy = text != nullptr ? strdup(text) : nullptr;
    if (text == nullptr)
        refuse(function, rc_invalid_argument, "no text to copy");
    else if (copy == nullptr)
        fail(function, rc_out_of_memory, "no room for a copy");
    record_call(function, Quoted{copy}, Quoted{text}, Quoted{label});
    return copy;
}

void xos_named_free(void *allocation) {
    std::free(allocation);
}

cerrno yfw_strcpy_s(const char *caller, char *dst, size_t size, const char *src) {
    if (src != nullptr)
        tell_data_flow([&](DataFlowObserver &observer) { observer.on_copy(caller, dst, size, src); });
    const cerrno result = copy_bounded(__func__, caller, dst, size, src, SIZE_MAX);
    record_call(__func__, Code{result}, Quoted{caller}, size, Quoted{src});
    return result;
}

cerrno yfw_strncpy_s(const char *caller, char *dst, size_t size, const char *src, size_t count) {
    const cerrno result = copy_bounded(__func__, caller, dst, size, src, count);
    record_call(__func__, Code{result}, Quoted{caller}, size, Quoted{src}, count);
    return result;
}

cerrno yfw_strcat_s(const char *caller, char *dst, size_t size, const char *src) {
    const char *const function = __func__;
    const cerrno result = [&]() -> cerrno {
        if (dst == nullptr || size == 0 || src == nullptr)
            return refuse(name_of(caller, function), rc_invalid_argument, "a text to append or room for it is missing");
        const size_t used = strnlen(dst, size);
        if (used == size)
            return refuse(name_of(caller, function), rc_invalid_argument, "the text to append to has no end");
        return append_bounded(dst, size, used, src, SIZE_MAX);
    }();
    record_call(function, Code{result}, Quoted{caller}, size, Quoted{src});
    return result;
}

void yfw_map_print_datatree_internal(yfw_map_ctx ctx, const yfw_datatree *tree, const char *label) {
    const char *const function = __func__;
    with_run(function, ctx, [&](MappingRun &) {
        if (tree == nullptr)
            return refuse(function, rc_invalid_argument, "no tree");
        if (yfw_debug_should_log(&ctx->debug_filter, log_traces) != 0) {
            const std::string text = tree_text(*tree);
            debug_log_line(log_traces, std::string(label != nullptr ? label : "tree").append(":"));
            for (size_t begin = 0, end = 0; (end = text.find('\n', begin)) != std::string::npos; begin = end + 1)
                debug_log_line(log_traces, std::string_view(text).substr(begin, end - begin));
        }
        return CERR_SUCCESS;
    });
    record_call(function, NoResult{}, context_word, NodeWord{tree}, Quoted{label});
}

} // extern "C"
