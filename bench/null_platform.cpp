// The functions of the seam, as cheap as they can be and still answer right.
#include "null_platform.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace {

Calls *noted = nullptr;
int log_level = -1;

template <class Call>
void note(Call call) {
    if (noted != nullptr)
        noted->emplace_back(call);
}

cerrno cut_copy(char *dst, size_t size, const char *src, size_t count) {
    const size_t length = strnlen(src, count < size ? count : size - 1);
    memcpy(dst, src, length);
    dst[length] = '\0';
    return CERR_SUCCESS;
}

} // namespace

void note_calls(Calls *calls) {
    noted = calls;
}
void set_log_level(int level) {
    log_level = level;
}

extern "C" {

cerrno yfw_map_add_to_node_hierarchy(yfw_map_ctx ctx, const yfw_datatree *node, int level) {
    note([=] { yfw_map_add_to_node_hierarchy(ctx, node, level); });
    return CERR_SUCCESS;
}
cerrno yfw_map_remove_from_node_hierarchy(yfw_map_ctx ctx, const yfw_datatree *node) {
    note([=] { yfw_map_remove_from_node_hierarchy(ctx, node); });
    return CERR_SUCCESS;
}
int yfw_map_do_these_match(const char *a, const char *b) {
    note([=] { yfw_map_do_these_match(a, b); });
    return a != nullptr && b != nullptr && strcmp(a, b) == 0 ? 1 : 0;
}
int yfw_map_is_request_delete(const yfw_datatree *node) {
    note([=] { yfw_map_is_request_delete(node); });
    return node->operation == YFW_OP_DELETE || node->operation == YFW_OP_REMOVE ? 1 : 0;
}
int yfw_map_is_request_add(yfw_map_ctx ctx) {
    note([=] { yfw_map_is_request_add(ctx); });
    return 0;
}
cerrno yfw_map_update_current_list_node(yfw_map_ctx ctx, const char *list_path) {
    note([=] { yfw_map_update_current_list_node(ctx, list_path); });
    return CERR_SUCCESS;
}
cerrno yfw_map_check_oc_leafref(yfw_map_ctx, const char *, const char *, const yfw_datatree *, yfw_datatree *) {
    return CERR_SUCCESS;
}
uint32_t yfw_map_util_itree_stack_size(yfw_map_ctx ctx) {
    note([=] { yfw_map_util_itree_stack_size(ctx); });
    return 0;
}
const yfw_datatree *yfw_map_util_itree_stack_peak(yfw_map_ctx) {
    return nullptr;
}
cerrno yfw_map_util_itree_stack_push(yfw_map_ctx, const yfw_datatree *) {
    return CERR_SUCCESS;
}
cerrno yfw_map_util_itree_stack_pop(yfw_map_ctx) {
    return CERR_SUCCESS;
}

cerrno yfw_map_datatree_add_path_flagged(yfw_map_ctx ctx, yfw_datatree *out, const char *path, const char *ns,
                                         const char *value, const yfw_datatree *source, uint32_t zero,
                                         uint32_t list_flag, uint32_t follow_flag) {
    note([=] { yfw_map_datatree_add_path_flagged(ctx, out, path, ns, value, source, zero, list_flag, follow_flag); });
    return CERR_SUCCESS;
}
cerrno yfw_map_search_or_add_list(yfw_map_ctx ctx, yfw_datatree *out, yfw_datatree *plist, const char *list_path,
                                  const char *key_value, const char *key_name, const char *ns) {
    note([=] { yfw_map_search_or_add_list(ctx, out, plist, list_path, key_value, key_name, ns); });
    return CERR_SUCCESS;
}
cerrno yfw_map_get_node_info(yfw_map_ctx, const yfw_datatree *, const char *, const char *, const char **) {
    return CERR_SUCCESS;
}
cerrno yfw_add_to_output_list_ctx(yfw_map_ctx ctx, const yfw_datatree *entry, yfw_datatree *out) {
    note([=] { yfw_add_to_output_list_ctx(ctx, entry, out); });
    return CERR_SUCCESS;
}
cerrno yfw_remove_from_output_list_ctx(yfw_map_ctx, const yfw_datatree *, yfw_datatree *) {
    return CERR_SUCCESS;
}

void yfw_oc_error_path(yfw_map_ctx ctx) {
    note([=] { yfw_oc_error_path(ctx); });
}
char *yfw_strdup(const char *text, const char *label) {
    note([=] { xos_named_free(yfw_strdup(text, label)); });
    return strdup(text);
}
void xos_named_free(void *allocation) {
    free(allocation);
}
cerrno yfw_strcpy_s(const char *caller, char *dst, size_t size, const char *src) {
    // The buffers are gone when the call is made again: the baseline copies between buffers of its own.
    note([=] {
        char copy[4096];
        yfw_strcpy_s(caller, copy, size, "optical-amplifier/amplifiers");
    });
    return cut_copy(dst, size, src, size);
}
cerrno yfw_strcat_s(const char *caller, char *dst, size_t size, const char *src) {
    note([=] {
        char copy[4096] = "";
        yfw_strcat_s(caller, copy, size, "amplifier");
    });
    const size_t length = strnlen(dst, size - 1);
    return cut_copy(dst + length, size - length, src, size);
}
cerrno yfw_strncpy_s(const char *caller, char *dst, size_t size, const char *src, size_t count) {
    note([=] {
        char copy[4096];
        yfw_strncpy_s(caller, copy, size, "0/1-AMP-PRE", count);
    });
    return cut_copy(dst, size, src, count);
}
const char *cerr_strerror(cerrno) {
    return "";
}
char *inet_ntoa_r(uint32_t, char *buffer) {
    return buffer;
}

int yfw_debug_should_log(const yfw_log_filter *filter, int level) {
    note([=] { yfw_debug_should_log(filter, level); });
    return level <= log_level ? 1 : 0;
}
void _xos_dt_log_filter_adv(yfw_log_handle *, uintptr_t, uintptr_t, uintptr_t, uintptr_t, uintptr_t, uint32_t *,
                            const char *format, ...) {
    char line[1024];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
}
void _lstrace(yfw_ltrace_handle *, uint64_t, const char *) {}
uint32_t ret_nc_yfw_trace_index_incr(void) {
    return 0;
}
void yfw_map_print_datatree_internal(yfw_map_ctx ctx, const yfw_datatree *tree, const char *label) {
    note([=] { yfw_map_print_datatree_internal(ctx, tree, label); });
}

// The inventory holds every amplifier; its records have no token but the last.
int access(const char *path, int mode) {
    return strcmp(path, "/pkg/lib/libsysdb.so") == 0 ? 0 : faccessat(AT_FDCWD, path, mode, 0);
}
cerrno _sysdb_bind(void **handle, const char *bind_point, uint32_t zero) {
    note([=] {
        void *ignored = nullptr;
        _sysdb_bind(&ignored, bind_point, zero);
    });
    static char binding = 0;
    *handle = &binding;
    return CERR_SUCCESS;
}
cerrno _sysdb_unbind(void *handle) {
    note([=] { _sysdb_unbind(handle); });
    return CERR_SUCCESS;
}
cerrno sysdb_item_get(void *handle, const char *, uint32_t *, void **bag_data, uint32_t *bag_len, uint32_t zero) {
    note([=] {
        void *bag = nullptr;
        uint32_t length = 0;
        sysdb_item_get(handle, "0%2f1-AMP-PRE/attrib/inv_basic_bag", nullptr, &bag, &length, zero);
        free(bag);
    });
    *bag_len = 1;
    *bag_data = calloc(1, *bag_len);
    return CERR_SUCCESS;
}
cerrno sysdb_list(void *, const char *, uint32_t *, uint32_t *, void **, uint32_t) {
    return CERR_SUCCESS;
}
cerrno sysdb_list_next(void *, const char **, uint32_t *, uint32_t) {
    return CERR_SUCCESS;
}
cerrno sysdb_list_free(void *) {
    return CERR_SUCCESS;
}
cerrno bag_header_info(const void *, bag_header_td *header) {
    note([=] {
        bag_header_td ignored;
        bag_header_info(nullptr, &ignored);
    });
    *header = {1, "", 1, 0};
    return CERR_SUCCESS;
}
cerrno bag_generic_init(const void *, uint32_t, bag_walk_td *) {
    note([=] { bag_generic_init(nullptr, 0, nullptr); });
    return CERR_SUCCESS;
}
cerrno bag_generic_token(bag_walk_td *, bag_token_td *token) {
    note([=] {
        bag_token_td ignored;
        bag_generic_token(nullptr, &ignored);
    });
    token->type = BAG_TOKEN_END;
    return CERR_SUCCESS;
}
void bag_generic_free_token_allocations(bag_token_td *) {
    note([=] { bag_generic_free_token_allocations(nullptr); });
}
void bag_generic_destroy(bag_walk_td *) {
    note([=] { bag_generic_destroy(nullptr); });
}
}
