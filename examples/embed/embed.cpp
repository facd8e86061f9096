// A platform of one's own in one file: loads the plug-in, hands it the read of one amplifier's gain, and prints
// the native request that the plug-in makes of it. It has no native data and no system database.
//
//   embed PLUGIN AMPLIFIER
#include "yfw_platform.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <dlfcn.h>

// A call of the seam whose answer is one expression.
#define ANSWER(type, call, answer)                                                                                     \
    type call {                                                                                                        \
        return answer;                                                                                                 \
    }
#define REFUSE(call) ANSWER(cerrno, call, YMAP_RC_UNSUPPORTED)

extern "C" {

// What the walk of a request calls. A platform builds its native request here; this one shows it.
cerrno yfw_map_datatree_add_path_flagged(yfw_map_ctx, yfw_datatree *, const char *path, const char *, const char *value,
                                         const yfw_datatree *, uint32_t, uint32_t list_flag, uint32_t) {
    if (value != nullptr)
        std::printf("%s = \"%s\"\n", path, value);
    else
        std::printf("%s%s\n", path, list_flag == 1 ? "  (a new entry)" : "");
    return CERR_SUCCESS;
}
// A platform keeps the nodes that are entered, to tell where a request failed.
ANSWER(cerrno, yfw_map_add_to_node_hierarchy(yfw_map_ctx, const yfw_datatree *, int), CERR_SUCCESS)
ANSWER(cerrno, yfw_map_remove_from_node_hierarchy(yfw_map_ctx, const yfw_datatree *), CERR_SUCCESS)
ANSWER(cerrno, yfw_map_update_current_list_node(yfw_map_ctx, const char *), CERR_SUCCESS)
ANSWER(void, yfw_oc_error_path(yfw_map_ctx), )
ANSWER(uint32_t, yfw_map_util_itree_stack_size(yfw_map_ctx), 0)
ANSWER(int, yfw_map_is_request_add(yfw_map_ctx), 0)
int yfw_map_is_request_delete(const yfw_datatree *node) {
    return node->operation == YFW_OP_DELETE || node->operation == YFW_OP_REMOVE ? 1 : 0;
}
int yfw_map_do_these_match(const char *a, const char *b) {
    return a != nullptr && b != nullptr && std::strcmp(a, b) == 0 ? 1 : 0;
}
// Texts are cut to the buffer they go to.
cerrno yfw_strncpy_s(const char *, char *dst, size_t size, const char *src, size_t count) {
    std::snprintf(dst, size, "%.*s", static_cast<int>(count < size ? count : size), src);
    return CERR_SUCCESS;
}
ANSWER(cerrno, yfw_strcpy_s(const char *who, char *dst, size_t size, const char *src),
       yfw_strncpy_s(who, dst, size, src, size))
cerrno yfw_strcat_s(const char *who, char *dst, size_t size, const char *src) {
    const size_t length = std::strlen(dst);
    return yfw_strcpy_s(who, dst + length, size - length, src);
}
ANSWER(char *, yfw_strdup(const char *text, const char *), strdup(text))
ANSWER(void, xos_named_free(void *allocation), std::free(allocation))
ANSWER(const char *, cerr_strerror(cerrno code), code == CERR_SUCCESS ? "success" : "failure")
// The debug log is standard error.
ANSWER(int, yfw_debug_should_log(const yfw_log_filter *filter, int level), level <= filter->threshold ? 1 : 0)
void _xos_dt_log_filter_adv(yfw_log_handle *, uintptr_t, uintptr_t, uintptr_t, uintptr_t, uintptr_t, uint32_t *,
                            const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::vfprintf(stderr, format, arguments);
    va_end(arguments);
    std::fputc('\n', stderr);
}
ANSWER(void, yfw_map_print_datatree_internal(yfw_map_ctx, const yfw_datatree *, const char *), )
ANSWER(void, _lstrace(yfw_ltrace_handle *, uint64_t, const char *), )
ANSWER(uint32_t, ret_nc_yfw_trace_index_incr(void), 0)

// What only the walks of edits and native answers call. This platform makes none and refuses.
ANSWER(const yfw_datatree *, yfw_map_util_itree_stack_peak(yfw_map_ctx), nullptr)
REFUSE(yfw_map_util_itree_stack_push(yfw_map_ctx, const yfw_datatree *))
REFUSE(yfw_map_util_itree_stack_pop(yfw_map_ctx))
REFUSE(yfw_map_check_oc_leafref(yfw_map_ctx, const char *, const char *, const yfw_datatree *, yfw_datatree *))
REFUSE(yfw_map_search_or_add_list(yfw_map_ctx, yfw_datatree *, yfw_datatree *, const char *, const char *, const char *,
                                  const char *))
REFUSE(yfw_map_get_node_info(yfw_map_ctx, const yfw_datatree *, const char *, const char *, const char **))
REFUSE(yfw_add_to_output_list_ctx(yfw_map_ctx, const yfw_datatree *, yfw_datatree *))
REFUSE(yfw_remove_from_output_list_ctx(yfw_map_ctx, const yfw_datatree *, yfw_datatree *))
REFUSE(_sysdb_bind(void **, const char *, uint32_t))
REFUSE(_sysdb_unbind(void *))
REFUSE(sysdb_item_get(void *, const char *, uint32_t *, void **, uint32_t *, uint32_t))
REFUSE(sysdb_list(void *, const char *, uint32_t *, uint32_t *, void **, uint32_t))
REFUSE(sysdb_list_next(void *, const char **, uint32_t *, uint32_t))
REFUSE(sysdb_list_free(void *))
REFUSE(bag_header_info(const void *, bag_header_td *))
REFUSE(bag_generic_init(const void *, uint32_t, bag_walk_td *))
REFUSE(bag_generic_token(bag_walk_td *, bag_token_td *))
ANSWER(void, bag_generic_free_token_allocations(bag_token_td *), )
ANSWER(void, bag_generic_destroy(bag_walk_td *), )
ANSWER(char *, inet_ntoa_r(uint32_t, char *buffer), std::strcpy(buffer, "0.0.0.0"))
}

// A node of the request; `children` stay where they are.
static yfw_datatree node(const char *tag, yfw_datatree *children, uint32_t child_count) {
    yfw_datatree made = {};
    made.tag = tag;
    made.ns = "http://openconfig.net/yang/optical-amplfier";
    made.children = children;
    made.child_count = child_count;
    made.node_flags = YFW_NODE_PRESENT | (child_count != 0 ? YFW_NODE_HAS_CHILDREN : 0);
    return made;
}

static int fail(const char *what) {
    std::fprintf(stderr, "embed: %s\n", what);
    return 1;
}

int main(int argc, char **argv) {
    if (argc != 3)
        return fail("expected PLUGIN AMPLIFIER");
    void *const plugin = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (plugin == nullptr)
        return fail(dlerror());
    using Walker = cerrno (*)(yfw_map_ctx, const yfw_datatree *, yfw_datatree *);
    const auto walk = reinterpret_cast<Walker>(
        dlsym(plugin, "ymap_ox_oc_opt_ampli_openconfigopticalamplifier_lvla_opticalamplifier"));
    if (walk == nullptr)
        return fail(dlerror());

    // /optical-amplifier/amplifiers/amplifier[name=AMPLIFIER]/state/actual-gain
    yfw_datatree gain = node("actual-gain", nullptr, 0);
    yfw_datatree inside[] = {node("name", nullptr, 0), node("state", &gain, 1)};
    inside[0].value = argv[2];
    inside[0].node_flags |= YFW_NODE_KEY;
    yfw_datatree amplifier = node("amplifier", inside, 2);
    yfw_datatree amplifiers = node("amplifiers", &amplifier, 1);
    yfw_datatree request = node("optical-amplifier", &amplifiers, 1);

    const uint32_t kind = YFW_KIND_GET;
    yfw_map_request state = {};
    state.request_kind = &kind;
    state.reg_dup_datatree = node("", &request, 1);
    state.node_data = state.root_node = &request;
    state.node_data_count = 1;
    yfw_map_ctx_s context = {};
    context.req_ctx = &state;
    context.debug_filter.threshold = -1; // 0 shows errors, 3 every step

    yfw_datatree native_request = {};
    const cerrno result = walk(&context, &request, &native_request);
    xos_named_free(state.error_path);
    dlclose(plugin);
    return result == CERR_SUCCESS ? 0 : fail("the walk failed");
}
