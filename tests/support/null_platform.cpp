// The functions of the seam, as cheap as they can be and still answer right.
#include "null_platform.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace null_platform {

namespace {

CallRecord *noted = nullptr;
Writes *kept = nullptr;
int log_level = -1;

template <class... Pointers>
void note(Function function, uint32_t number, uint32_t second_number, Pointers... pointers) {
    noted->add(function, number, second_number, pointers...);
}

// ---- Request state -----------------------------------------------------------------------------------------------

constexpr uint8_t deepest_level = 64;
const yfw_datatree *levels[deepest_level];

void push(yfw_map_request &request, const yfw_datatree *node, int level) {
    if (request.hierarchy_len >= deepest_level)
        return;
    if (request.hierarchy != levels) { // the first push of this request
        for (uint8_t i = 0; i < request.hierarchy_len; ++i)
            levels[i] = request.hierarchy != nullptr ? request.hierarchy[i] : nullptr;
        request.hierarchy = levels;
    }
    levels[request.hierarchy_len++] = node;
    if (level == YFW_LEVEL_LIST_ENTRY && request.native_list == nullptr)
        request.native_list = node;
}

void pop(yfw_map_request &request, const yfw_datatree *node) {
    if (request.hierarchy_len != 0)
        --request.hierarchy_len;
    if (request.native_list == node)
        request.native_list = nullptr;
}

// What the key list points at: the entry being filled, and its key.
struct CurrentEntry {
    char value[200];
    yfw_datatree key;
};
CurrentEntry current_entry;

const char *last_step(const char *path) {
    const char *slash = strrchr(path, '/');
    return slash != nullptr ? slash + 1 : path;
}

// ---- System database -----------------------------------------------------------------------------------------------

char inventory, history, other_place; // a binding is the address of one of these

constexpr RecordField inventory_record[] = {{BAG_TOKEN_UINT32, "inv_phy_entity_basic_info", nullptr},
                                            {BAG_TOKEN_TEXT, "Name", "amplifier"},
                                            {BAG_TOKEN_END, nullptr, nullptr}};

const InputPowers *input_powers = nullptr;

const InputPowers any_port = [] {
    InputPowers powers;
    powers.add("", " -6.36", "-6.19 ", "-6.06");
    return powers;
}();

const InputPowers::Record *find_input_power(const char *item) {
    return input_powers != nullptr ? input_powers->find(item) : any_port.find("/");
}

// What the plug-in takes for a record.
struct Bag {
    const RecordField *record;
};

// NULL when there is no such item.
const RecordField *find_record(const void *handle, const char *item) {
    if (handle == &inventory)
        return inventory_record;
    const InputPowers::Record *power = handle == &history ? find_input_power(item) : nullptr;
    return power != nullptr ? power->fields.data() : nullptr;
}

constexpr const char *controllers[] = {"Ots0_1_0_0/", "Ots0_1_0_1/", "Ots0_2_0_0/", "Ots0_2_0_1/",
                                       "Ots0_3_0_0/", "Ots0_3_0_1/", nullptr};
constexpr uint32_t controller_count = std::size(controllers) - 1;

cerrno cut_copy(char *dst, size_t size, const char *src, size_t count) {
    const size_t length = strnlen(src, count < size ? count : size - 1);
    memcpy(dst, src, length);
    dst[length] = '\0';
    return CERR_SUCCESS;
}

} // namespace

void take_messages(yfw_map_ctx_s &context, Messages messages) {
    constexpr int traces = 3;
    log_level = messages == Messages::debug_log ? traces : -1;
    context.ltrace_enabled = messages == Messages::lightweight_trace ? 1 : 0;
}

void note_calls(CallRecord *record) {
    noted = record;
}

void keep_writes(Writes *writes) {
    kept = writes;
}

void set_input_powers(const InputPowers *powers) {
    input_powers = powers;
}

void InputPowers::add(const std::string &controller, const std::string &minimum, const std::string &average,
                      const std::string &maximum) {
    Record &record = records_.emplace_back(Record{controller + "/", minimum, average, maximum, {}});
    record.fields = {
        {BAG_TOKEN_UINT32, "pm_optics_paras", nullptr},      {BAG_TOKEN_UINT32, "OPR", nullptr},
        {BAG_TOKEN_TEXT, "Minimum", record.minimum.c_str()}, {BAG_TOKEN_TEXT, "Average", record.average.c_str()},
        {BAG_TOKEN_TEXT, "Maximum", record.maximum.c_str()}, {BAG_TOKEN_END, nullptr, nullptr}};
}

const InputPowers::Record *InputPowers::find(const char *item) const {
    for (const Record &record : records_)
        if (strncmp(item, record.item_start.data(), record.item_start.size()) == 0)
            return &record;
    return nullptr;
}

} // namespace null_platform

using namespace null_platform;
using Call = null_platform::Function;

extern "C" {

// ---- Node hierarchy and walking ------------------------------------------------------------------------------------

cerrno yfw_map_add_to_node_hierarchy(yfw_map_ctx ctx, const yfw_datatree *node, int level) {
    if (noted != nullptr)
        note(Call::add_to_node_hierarchy, static_cast<uint32_t>(level), 0, node);
    if (ctx->req_ctx != nullptr)
        push(*ctx->req_ctx, node, level);
    return CERR_SUCCESS;
}
cerrno yfw_map_remove_from_node_hierarchy(yfw_map_ctx ctx, const yfw_datatree *node) {
    if (noted != nullptr)
        note(Call::remove_from_node_hierarchy, 0, 0, node);
    if (ctx->req_ctx != nullptr)
        pop(*ctx->req_ctx, node);
    return CERR_SUCCESS;
}
int yfw_map_do_these_match(const char *a, const char *b) {
    if (noted != nullptr)
        note(Call::do_these_match, 0, 0, a, b);
    return a != nullptr && b != nullptr && strcmp(a, b) == 0 ? 1 : 0;
}
int yfw_map_is_request_delete(const yfw_datatree *node) {
    if (noted != nullptr)
        note(Call::is_request_delete, 0, 0, node);
    return node->operation == YFW_OP_DELETE || node->operation == YFW_OP_REMOVE ? 1 : 0;
}
int yfw_map_is_request_add(yfw_map_ctx ctx) {
    if (noted != nullptr)
        note(Call::is_request_add, 0, 0);
    const yfw_map_request *request = ctx->req_ctx;
    return request != nullptr && request->request_kind != nullptr && *request->request_kind == YFW_KIND_EDIT ? 1 : 0;
}
cerrno yfw_map_update_current_list_node(yfw_map_ctx, const char *list_path) {
    if (noted != nullptr)
        note(Call::update_current_list_node, 0, 0, list_path);
    return CERR_SUCCESS;
}
cerrno yfw_map_check_oc_leafref(yfw_map_ctx, const char *list_path, const char *container, const yfw_datatree *key,
                                yfw_datatree *out) {
    if (noted != nullptr)
        note(Call::check_oc_leafref, 0, 0, list_path, container, key, out);
    return CERR_SUCCESS;
}
// A request of one entry at a time leaves the stack of list entries empty.
uint32_t yfw_map_util_itree_stack_size(yfw_map_ctx) {
    if (noted != nullptr)
        note(Call::itree_stack_size, 0, 0);
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

// ---- Output --------------------------------------------------------------------------------------------------------

cerrno yfw_map_datatree_add_path_flagged(yfw_map_ctx, yfw_datatree *out, const char *path, const char *ns,
                                         const char *value, const yfw_datatree *source, uint32_t, uint32_t list_flag,
                                         uint32_t follow_flag) {
    if (noted != nullptr)
        note(Call::add_path, list_flag, follow_flag, out, path, ns, noted->text(value), source);
    if (kept != nullptr)
        kept->add(path, value, false);
    return CERR_SUCCESS;
}
cerrno yfw_map_search_or_add_list(yfw_map_ctx, yfw_datatree *out, yfw_datatree *plist, const char *list_path,
                                  const char *key_value, const char *key_name, const char *ns) {
    if (noted != nullptr)
        note(Call::search_or_add_list, 0, 0, out, plist, list_path, noted->text(key_value), key_name, ns);
    if (kept != nullptr)
        kept->add(list_path, key_value, true);
    cut_copy(current_entry.value, sizeof current_entry.value, key_value, sizeof current_entry.value);
    yfw_datatree &key = current_entry.key;
    key.tag = key_name;
    key.value = current_entry.value;
    key.ns = ns;
    key.node_flags = YFW_NODE_PRESENT | YFW_NODE_KEY;
    plist->tag = last_step(list_path);
    plist->ns = ns;
    plist->children = &key;
    plist->child_count = 1;
    plist->node_flags = YFW_NODE_PRESENT | YFW_NODE_HAS_CHILDREN;
    return CERR_SUCCESS;
}
cerrno yfw_map_get_node_info(yfw_map_ctx, const yfw_datatree *entry, const char *list_path, const char *key_name,
                             const char **key_value) {
    if (noted != nullptr)
        note(Call::get_node_info, 0, 0, entry, list_path, key_name);
    *key_value = nullptr;
    const uint32_t count = entry->children != nullptr ? entry->child_count : 0;
    for (uint32_t i = 0; i < count && *key_value == nullptr; ++i)
        if (const yfw_datatree &child = entry->children[i]; child.tag != nullptr && strcmp(child.tag, key_name) == 0)
            *key_value = child.value;
    return CERR_SUCCESS;
}
cerrno yfw_add_to_output_list_ctx(yfw_map_ctx ctx, const yfw_datatree *entry, yfw_datatree *out) {
    if (noted != nullptr)
        note(Call::add_to_output_list, 0, 0, entry, out);
    if (ctx->req_ctx != nullptr)
        ++ctx->req_ctx->output_list_count;
    return CERR_SUCCESS;
}
cerrno yfw_remove_from_output_list_ctx(yfw_map_ctx ctx, const yfw_datatree *entry, yfw_datatree *out) {
    if (noted != nullptr)
        note(Call::remove_from_output_list, 0, 0, entry, out);
    if (ctx->req_ctx != nullptr)
        --ctx->req_ctx->output_list_count;
    return CERR_SUCCESS;
}

// ---- Errors and text -----------------------------------------------------------------------------------------------

void yfw_oc_error_path(yfw_map_ctx) {
    if (noted != nullptr)
        note(Call::error_path, 0, 0);
}
char *yfw_strdup(const char *text, const char *label) {
    if (noted != nullptr)
        note(Call::duplicate, 0, 0, noted->text(text), label);
    return strdup(text);
}
void xos_named_free(void *allocation) {
    if (noted != nullptr)
        note(Call::release, 0, 0);
    free(allocation);
}
cerrno yfw_strcpy_s(const char *caller, char *dst, size_t size, const char *src) {
    if (noted != nullptr)
        note(Call::copy, static_cast<uint32_t>(size), 0, caller, noted->text(src));
    return cut_copy(dst, size, src, size);
}
cerrno yfw_strcat_s(const char *caller, char *dst, size_t size, const char *src) {
    const size_t length = strnlen(dst, size - 1);
    if (noted != nullptr) {
        const AppendSizes sizes{static_cast<uint32_t>(size), static_cast<uint32_t>(length)};
        const auto appended = static_cast<uint32_t>(strnlen(src, size - 1 - length));
        note(Call::append, sizes.number(), appended, caller, noted->text(src));
    }
    return cut_copy(dst + length, size - length, src, size);
}
cerrno yfw_strncpy_s(const char *caller, char *dst, size_t size, const char *src, size_t count) {
    if (noted != nullptr)
        note(Call::copy_count, static_cast<uint32_t>(size), static_cast<uint32_t>(count), caller, noted->text(src));
    return cut_copy(dst, size, src, count);
}
const char *cerr_strerror(cerrno) {
    return "";
}
char *inet_ntoa_r(uint32_t, char *buffer) {
    *buffer = '\0';
    return buffer;
}

// ---- Log and trace -------------------------------------------------------------------------------------------------

int yfw_debug_should_log(const yfw_log_filter *, int level) {
    if (noted != nullptr)
        note(Call::should_log, static_cast<uint32_t>(level), 0);
    return level <= log_level ? 1 : 0;
}
void _xos_dt_log_filter_adv(yfw_log_handle *, uintptr_t, uintptr_t, uintptr_t, uintptr_t, uintptr_t,
                            uint32_t *site_filter_word, const char *format, ...) {
    if (noted == nullptr)
        return;
    constexpr size_t line_size = 1024;
    char line[line_size];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    note(Call::log, 0, 0, site_filter_word, noted->text(line));
}
void _lstrace(yfw_ltrace_handle *, uint64_t, const char *line) {
    if (noted != nullptr)
        note(Call::trace, 0, 0, noted->text(line));
}
uint32_t ret_nc_yfw_trace_index_incr(void) {
    if (noted != nullptr)
        note(Call::trace_index, 0, 0);
    static uint32_t index = 0;
    return index++;
}
void yfw_map_print_datatree_internal(yfw_map_ctx, const yfw_datatree *tree, const char *label) {
    if (noted != nullptr)
        note(Call::print_tree, 0, 0, tree, label);
}

// ---- System database -----------------------------------------------------------------------------------------------

// The probe for the system-database library is answered yes; all else is the C library's to answer.
int access(const char *path, int mode) {
    return strcmp(path, "/pkg/lib/libsysdb.so") == 0 ? 0 : faccessat(AT_FDCWD, path, mode, 0);
}
cerrno _sysdb_bind(void **handle, const char *bind_point, uint32_t) {
    if (noted != nullptr)
        note(Call::bind, 0, 0, bind_point);
    constexpr size_t telling_letter = 6; // "/oper/inventory/...", "/oper/perfmgmt/..."
    const char letter = bind_point[telling_letter];
    *handle = letter == 'i' ? &inventory : letter == 'p' ? &history : &other_place;
    return CERR_SUCCESS;
}
cerrno _sysdb_unbind(void *) {
    if (noted != nullptr)
        note(Call::unbind, 0, 0);
    return CERR_SUCCESS;
}
cerrno sysdb_item_get(void *handle, const char *item_path, uint32_t *, void **bag_data, uint32_t *bag_len, uint32_t) {
    if (noted != nullptr)
        note(Call::item_get, 0, 0, noted->text(item_path));
    const RecordField *record = find_record(handle, item_path);
    if (record == nullptr)
        return SYSDB_RC_UNAVAILABLE;
    // The caller frees a block of its own; what is in it is the platform's business.
    *bag_len = sizeof(Bag);
    *bag_data = malloc(sizeof(Bag));
    if (*bag_data == nullptr)
        return SYSDB_RC_UNAVAILABLE;
    *static_cast<Bag *>(*bag_data) = {record};
    return CERR_SUCCESS;
}
cerrno sysdb_list(void *, const char *, uint32_t *, uint32_t *count, void **list_handle, uint32_t) {
    if (noted != nullptr)
        note(Call::list, 0, 0);
    static const char *const *next = nullptr;
    next = controllers;
    *count = controller_count;
    *list_handle = &next;
    return CERR_SUCCESS;
}
cerrno sysdb_list_next(void *list_handle, const char **item_name, uint32_t *, uint32_t) {
    if (noted != nullptr)
        note(Call::list_next, 0, 0);
    auto &next = *static_cast<const char *const **>(list_handle);
    *item_name = *next;
    if (*next != nullptr)
        ++next;
    return CERR_SUCCESS;
}
cerrno sysdb_list_free(void *) {
    if (noted != nullptr)
        note(Call::list_free, 0, 0);
    return CERR_SUCCESS;
}

// ---- Bag records ---------------------------------------------------------------------------------------------------

cerrno bag_header_info(const void *, bag_header_td *header) {
    if (noted != nullptr)
        note(Call::bag_header, 0, 0);
    *header = {sizeof(Bag), "", 1, 0};
    return CERR_SUCCESS;
}
cerrno bag_generic_init(const void *bag_data, uint32_t, bag_walk_td *walk) {
    if (noted != nullptr)
        note(Call::bag_init, 0, 0);
    walk->state = const_cast<RecordField *>(static_cast<const Bag *>(bag_data)->record);
    return CERR_SUCCESS;
}
cerrno bag_generic_token(bag_walk_td *walk, bag_token_td *token) {
    if (noted != nullptr)
        note(Call::bag_token, 0, 0);
    const auto *field = static_cast<const RecordField *>(walk->state);
    token->type = field->type;
    token->name = field->name;
    token->value.first.text = field->text;
    if (field->type != BAG_TOKEN_END)
        walk->state = const_cast<RecordField *>(field + 1);
    return CERR_SUCCESS;
}
void bag_generic_free_token_allocations(bag_token_td *) {
    if (noted != nullptr)
        note(Call::bag_free_token, 0, 0);
}
void bag_generic_destroy(bag_walk_td *) {
    if (noted != nullptr)
        note(Call::bag_destroy, 0, 0);
}

} // extern "C"
