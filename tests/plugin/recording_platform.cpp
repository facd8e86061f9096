// Functions of the seam for the plug-in under test. See recording_platform.h.
#include "recording_platform.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <arpa/inet.h>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace recording {
namespace {

constexpr const char *inventory_bind_point = "/oper/inventory/gl/entity/";

std::string hex(uint64_t value) {
    char text[32];
    std::snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(value));
    return text;
}

char *heap_copy(const std::string &text) {
    auto *copy = static_cast<char *>(std::malloc(text.size() + 1));
    std::memcpy(copy, text.c_str(), text.size() + 1);
    return copy;
}

std::string inventory_item(const std::string &amplifier) {
    std::string key = amplifier;
    const size_t slash = key.find('/');
    if (slash != std::string::npos)
        key.replace(slash, 1, "%2f");
    return key + "/attrib/inv_basic_bag";
}

} // namespace

std::string show_node(const std::string &tag, uint32_t operation) {
    if (operation == YFW_OP_MERGE)
        return "<" + tag + ">";
    return "<" + tag + " op=" + std::to_string(operation) + ">";
}

std::string show_text(const char *text) {
    return text == nullptr ? "none" : "\"" + std::string(text) + "\"";
}

bool is_pure(const std::string &function) {
    static const std::set<std::string> pure{"yfw_map_do_these_match",
                                            "yfw_debug_should_log",
                                            "yfw_strcpy_s",
                                            "yfw_strcat_s",
                                            "yfw_strncpy_s",
                                            "cerr_strerror",
                                            "inet_ntoa_r",
                                            "bag_generic_free_token_allocations",
                                            "access"};
    return pure.contains(function);
}

Platform &platform() {
    static Platform the_platform;
    return the_platform;
}

void Platform::reset() {
    for (char *copy : copies_)
        std::free(copy);
    for (char *text : token_texts_)
        std::free(text);
    *this = Platform();
}

void Platform::know(yfw_map_ctx ctx, const yfw_datatree *out) {
    ctx_ = ctx;
    out_ = out;
}

void Platform::name_node(const yfw_datatree *node, const std::string &name) {
    names_[node] = name;
}

std::vector<std::string> Platform::calls() const {
    return calls_without({});
}

std::vector<std::string> Platform::calls_without(const std::set<std::string> &functions) const {
    std::vector<std::string> lines;
    for (const Call &call : calls_)
        if (!is_pure(call.function) && !functions.contains(call.function))
            lines.push_back(call.line);
    return lines;
}

std::vector<std::string> Platform::calls_of(const std::set<std::string> &functions) const {
    std::vector<std::string> lines;
    for (const Call &call : calls_)
        if (functions.contains(call.function))
            lines.push_back(call.line);
    return lines;
}

std::vector<std::string> Platform::all_calls() const {
    std::vector<std::string> lines;
    for (const Call &call : calls_)
        lines.push_back(call.line);
    return lines;
}

void Platform::forget_calls() {
    calls_.clear();
    lightweight_.clear();
    sites_.clear();
}

void Platform::answer(const std::string &function, cerrno code, unsigned nth, const std::string &part) {
    rules_.push_back({function, code, nth, part});
}

void Platform::fail_call(size_t nth, cerrno code) {
    failing_call_ = nth;
    failing_code_ = code;
}

void Platform::empty_call(size_t nth) {
    empty_call_ = nth;
}

void Platform::debug_log_takes(int level, bool taken) {
    if (taken)
        silent_levels_.erase(level);
    else
        silent_levels_.insert(level);
}

void Platform::put_amplifier(const std::string &amplifier) {
    put_item(inventory_bind_point, inventory_item(amplifier),
             {"inv_basic_bag",
              96,
              1,
              0,
              {{BAG_TOKEN_UINT32, "inv_phy_entity_basic_info", 1, ""},
               {BAG_TOKEN_TEXT, "Name", 0, amplifier},
               {BAG_TOKEN_END, nullptr, 0, ""}}});
}

void Platform::put_item(const std::string &bind_point, const std::string &item_path, Bag bag) {
    items_[{bind_point, item_path}] = std::move(bag);
}

void Platform::put_empty_item(const std::string &bind_point, const std::string &item_path) {
    empty_items_.insert({bind_point, item_path});
}

// What the extern "C" functions below do to the platform.
struct Platform::Access {
    Platform &p = platform();

    std::string ctx(yfw_map_ctx given) const {
        if (given == nullptr)
            return "none";
        return given == p.ctx_ ? "ctx" : "strange-ctx";
    }

    std::string node(const yfw_datatree *given) const {
        if (given == nullptr)
            return "none";
        if (given == p.out_)
            return "out";
        const auto named = p.names_.find(given);
        if (named != p.names_.end())
            return show_node(named->second, given->operation);
        return show_node(given->tag == nullptr ? "untagged" : given->tag, given->operation);
    }

    std::string filter(const yfw_log_filter *given) const {
        return p.ctx_ != nullptr && given == &p.ctx_->debug_filter ? "ctx-filter" : "strange-filter";
    }

    // Writes the call down and gives the code that it is to answer.
    cerrno record(const std::string &function, const std::vector<std::string> &arguments) {
        std::string line = function;
        for (const std::string &argument : arguments)
            line += " " + argument;
        return record_line(function, line);
    }

    cerrno record_line(const std::string &function, const std::string &line) {
        p.calls_.push_back({function, line});
        if (p.watch)
            p.watch(function, line);
        if (p.calls_.size() == p.failing_call_)
            return p.failing_code_;
        for (Rule &rule : p.rules_) {
            if (rule.function != function || line.find(rule.part) == std::string::npos)
                continue;
            ++rule.seen;
            if (rule.nth == 0 || rule.nth == rule.seen)
                return rule.code;
        }
        return CERR_SUCCESS;
    }

    // Whether the call that was recorded last is to hand out nothing.
    bool is_empty() const { return p.calls_.size() == p.empty_call_; }

    void pushed(int change) { p.hierarchy_depth_ += change; }

    bool takes(int level) const { return !p.silent_levels_.contains(level); }

    void message(yfw_log_handle *log, bool zeros, uint32_t *word, const char *format, const std::string &text) {
        auto &site = p.sites_.try_emplace(word, MessageSite{word == nullptr ? 0 : *word, {}}).first->second;
        site.formats.insert(format);
        char pointer[64];
        std::snprintf(pointer, sizeof pointer, "%p", static_cast<void *>(p.ctx_));
        const std::string tail = std::string(": YFW: ctx=") + pointer + ",";
        const yfw_log_handle *error_log = p.ctx_ == nullptr ? nullptr : p.ctx_->error_log;
        const yfw_log_handle *trace_log = p.ctx_ == nullptr ? nullptr : p.ctx_->trace_log;
        std::string line = "MISPLACED " + text;
        if (zeros && log == error_log && text.starts_with("ERR" + tail))
            line = "ERR " + text.substr(3 + tail.size());
        else if (zeros && log == trace_log && text.starts_with("TRC" + tail))
            line = "TRC " + text.substr(3 + tail.size());
        record_line("_xos_dt_log_filter_adv", line);
    }

    void lightweight(yfw_ltrace_handle *trace, uint64_t flags, const char *line) {
        p.lightweight_.push_back({trace, flags, line});
        record("_lstrace", {hex(flags), line});
    }

    uint32_t next_trace_index() {
        record("ret_nc_yfw_trace_index_incr", {});
        return ++p.trace_index_;
    }

    char *copy(const char *text, const char *label) {
        record("yfw_strdup", {show_text(text), show_text(label)});
        if (text == nullptr || is_empty())
            return nullptr;
        char *made = heap_copy(text);
        p.copies_.insert(made);
        return made;
    }

    void release(void *block) {
        record("xos_named_free", {show_text(static_cast<char *>(block))});
        if (p.copies_.erase(static_cast<char *>(block)) != 0)
            std::free(block);
    }

    cerrno bind(void **handle, const char *bind_point, uint32_t zero) {
        const cerrno code = record("_sysdb_bind", {bind_point, std::to_string(zero)});
        *handle = nullptr;
        if (code != CERR_SUCCESS || !p.bind_gives_handle || is_empty())
            return code;
        p.bind_point_ = bind_point;
        ++p.open_bindings_;
        *handle = &p.bind_point_;
        return code;
    }

    cerrno unbind(void *handle) {
        if (handle == &p.bind_point_)
            --p.open_bindings_;
        return record("_sysdb_unbind", {handle == &p.bind_point_ ? "handle" : "strange-handle"});
    }

    // A record is a heap block that holds the address of its script.
    cerrno item_get(void *handle, const char *item_path, void **bag_data, uint32_t *bag_len, uint32_t zero) {
        const cerrno code = record("sysdb_item_get", {handle == &p.bind_point_ ? "handle" : "strange-handle", item_path,
                                                      std::to_string(zero)});
        if (code != CERR_SUCCESS || is_empty() || p.empty_items_.contains({p.bind_point_, item_path}))
            return code;
        const auto found = p.items_.find({p.bind_point_, item_path});
        if (found == p.items_.end())
            return 2;
        const Bag *bag = &found->second;
        *bag_data = std::malloc(sizeof bag);
        std::memcpy(*bag_data, &bag, sizeof bag);
        *bag_len = sizeof bag;
        return code;
    }

    cerrno list(void *handle, const char *pattern, uint32_t *count, void **list_handle, uint32_t zero) {
        const cerrno code = record("sysdb_list", {handle == &p.bind_point_ ? "handle" : "strange-handle",
                                                  show_text(pattern), std::to_string(zero)});
        if (is_empty() || (code != CERR_SUCCESS && !p.failed_listing_is_given))
            return code;
        p.next_item_ = 0;
        ++p.open_listings_;
        *count = static_cast<uint32_t>(p.listing.size());
        *list_handle = &p.listing;
        return code;
    }

    cerrno list_next(void *list_handle, const char **item_name, uint32_t *datatype, uint32_t zero) {
        const cerrno code = record("sysdb_list_next",
                                   {list_handle == &p.listing ? "listing" : "strange-listing", std::to_string(zero)});
        *item_name = nullptr;
        *datatype = 7;
        if (code == CERR_SUCCESS && !is_empty() && p.next_item_ < p.listing.size())
            *item_name = p.listing[p.next_item_++].c_str();
        return code;
    }

    cerrno list_free(void *list_handle) {
        if (list_handle == &p.listing)
            --p.open_listings_;
        return record("sysdb_list_free", {list_handle == &p.listing ? "listing" : "strange-listing"});
    }

    static const Bag *script(const void *bag_data) {
        const Bag *bag = nullptr;
        std::memcpy(&bag, bag_data, sizeof bag);
        return bag;
    }

    cerrno header(const void *bag_data, bag_header_td *header) {
        const cerrno code = record("bag_header_info", {});
        if (code != CERR_SUCCESS || is_empty())
            return code;
        const Bag *bag = script(bag_data);
        *header = {bag->length, bag->name.c_str(), bag->version_major, bag->version_minor};
        return code;
    }

    cerrno start_walk(const void *bag_data, uint32_t bag_len, bag_walk_td *walk) {
        const cerrno code = record("bag_generic_init", {std::to_string(bag_len)});
        if (code == CERR_SUCCESS) {
            *walk = {bag_data, bag_len, 0, nullptr};
            ++p.open_walks_;
        }
        return code;
    }

    // After the last scripted token the walk is at an error, so that a walk past the end stops.
    cerrno token(bag_walk_td *walk, bag_token_td *token) {
        const cerrno code = record("bag_generic_token", {});
        if (code != CERR_SUCCESS)
            return code;
        const Bag *bag = script(walk->data);
        if (walk->offset >= bag->tokens.size())
            return 5;
        const Token &scripted = bag->tokens[walk->offset++];
        if (is_empty()) { // a token without name and without value
            token->type = scripted.type;
            return code;
        }
        *token = {scripted.type, scripted.name, {{.raw = static_cast<uint64_t>(scripted.number)}, nullptr}};
        if (scripted.type == BAG_TOKEN_TEXT || scripted.type == BAG_TOKEN_LONG_TEXT) {
            char *text = heap_copy(scripted.text);
            p.token_texts_.insert(text);
            if (scripted.type == BAG_TOKEN_TEXT)
                token->value.first.text = text;
            else
                token->value.second = text;
        }
        return code;
    }

    void free_token(bag_token_td *token) {
        record("bag_generic_free_token_allocations", {std::to_string(token->type)});
        const char *text = nullptr;
        if (token->type == BAG_TOKEN_TEXT)
            text = token->value.first.text;
        else if (token->type == BAG_TOKEN_LONG_TEXT)
            text = token->value.second;
        const auto held = std::find(p.token_texts_.begin(), p.token_texts_.end(), text);
        if (held != p.token_texts_.end()) {
            std::free(*held);
            p.token_texts_.erase(held);
        }
    }

    void end_walk() {
        record("bag_generic_destroy", {});
        --p.open_walks_;
    }

    uint32_t list_instance_count() {
        record("yfw_map_util_itree_stack_size", {});
        return static_cast<uint32_t>(p.list_instances.size());
    }
};

} // namespace recording

using recording::platform;
using recording::show_text;
using Seam = recording::Platform::Access;

namespace {

void cut_copy(char *dst, size_t size, const char *src, size_t count) {
    if (dst == nullptr || size == 0)
        return;
    const size_t length = src == nullptr ? 0 : std::min({strnlen(src, size), count, size - 1});
    if (length != 0)
        std::memmove(dst, src, length);
    dst[length] = '\0';
}

} // namespace

extern "C" {

cerrno yfw_map_add_to_node_hierarchy(yfw_map_ctx ctx, const yfw_datatree *node, int level) {
    Seam seam;
    const cerrno code = seam.record(__func__, {seam.ctx(ctx), seam.node(node), std::to_string(level)});
    if (code == CERR_SUCCESS)
        seam.pushed(1);
    return code;
}

cerrno yfw_map_remove_from_node_hierarchy(yfw_map_ctx ctx, const yfw_datatree *node) {
    Seam seam;
    seam.pushed(-1);
    return seam.record(__func__, {seam.ctx(ctx), seam.node(node)});
}

int yfw_map_do_these_match(const char *a, const char *b) {
    Seam().record(__func__, {show_text(a), show_text(b)});
    return a != nullptr && b != nullptr && std::strcmp(a, b) == 0;
}

int yfw_map_is_request_delete(const yfw_datatree *node) {
    Seam seam;
    seam.record(__func__, {seam.node(node)});
    return node != nullptr && (node->operation == YFW_OP_DELETE || node->operation == YFW_OP_REMOVE);
}

int yfw_map_is_request_add(yfw_map_ctx ctx) {
    Seam seam;
    seam.record(__func__, {seam.ctx(ctx)});
    return platform().request_adds;
}

cerrno yfw_map_update_current_list_node(yfw_map_ctx ctx, const char *list_path) {
    Seam seam;
    return seam.record(__func__, {seam.ctx(ctx), show_text(list_path)});
}

cerrno yfw_map_check_oc_leafref(yfw_map_ctx ctx, const char *list_path, const char *container, const yfw_datatree *key,
                                yfw_datatree *out) {
    Seam seam;
    return seam.record(__func__,
                       {seam.ctx(ctx), show_text(list_path), show_text(container), seam.node(key), seam.node(out)});
}

uint32_t yfw_map_util_itree_stack_size(yfw_map_ctx) {
    return Seam().list_instance_count();
}

const yfw_datatree *yfw_map_util_itree_stack_peak(yfw_map_ctx ctx) {
    Seam seam;
    seam.record(__func__, {seam.ctx(ctx)});
    return platform().list_instances.empty() || seam.is_empty() ? nullptr : platform().list_instances.back();
}

cerrno yfw_map_util_itree_stack_push(yfw_map_ctx ctx, const yfw_datatree *node) {
    Seam seam;
    const cerrno code = seam.record(__func__, {seam.ctx(ctx), seam.node(node)});
    if (code == CERR_SUCCESS)
        platform().list_instances.push_back(node);
    return code;
}

cerrno yfw_map_util_itree_stack_pop(yfw_map_ctx ctx) {
    Seam seam;
    const cerrno code = seam.record(__func__, {seam.ctx(ctx)});
    if (platform().list_instances.empty())
        return 1;
    if (code == CERR_SUCCESS)
        platform().list_instances.pop_back();
    return code;
}

cerrno yfw_map_datatree_add_path_flagged(yfw_map_ctx ctx, yfw_datatree *out, const char *path, const char *ns,
                                         const char *value, const yfw_datatree *source, uint32_t zero,
                                         uint32_t list_flag, uint32_t follow_flag) {
    Seam seam;
    return seam.record(__func__, {seam.ctx(ctx), seam.node(out), "path=" + std::string(path), "ns=" + std::string(ns),
                                  "value=" + show_text(value), "source=" + seam.node(source), std::to_string(zero),
                                  std::to_string(list_flag), std::to_string(follow_flag)});
}

cerrno yfw_map_search_or_add_list(yfw_map_ctx ctx, yfw_datatree *out, yfw_datatree *plist, const char *list_path,
                                  const char *key_value, const char *key_name, const char *ns) {
    Seam seam;
    return seam.record(__func__, {seam.ctx(ctx), seam.node(out), seam.node(plist), "path=" + std::string(list_path),
                                  std::string(key_name) + "=" + show_text(key_value), "ns=" + std::string(ns)});
}

cerrno yfw_map_get_node_info(yfw_map_ctx ctx, const yfw_datatree *entry, const char *list_path, const char *key_name,
                             const char **key_value) {
    Seam seam;
    const cerrno code =
        seam.record(__func__, {seam.ctx(ctx), seam.node(entry), show_text(list_path), show_text(key_name)});
    *key_value = seam.is_empty() ? nullptr : platform().node_key;
    return code;
}

cerrno yfw_add_to_output_list_ctx(yfw_map_ctx ctx, const yfw_datatree *entry, yfw_datatree *out) {
    Seam seam;
    const cerrno code = seam.record(__func__, {seam.ctx(ctx), seam.node(entry), seam.node(out)});
    if (code == CERR_SUCCESS && platform().output_list_grows && ctx != nullptr && ctx->req_ctx != nullptr)
        ++ctx->req_ctx->output_list_count;
    return code;
}

cerrno yfw_remove_from_output_list_ctx(yfw_map_ctx ctx, const yfw_datatree *entry, yfw_datatree *out) {
    Seam seam;
    if (ctx != nullptr && ctx->req_ctx != nullptr && ctx->req_ctx->output_list_count != 0)
        --ctx->req_ctx->output_list_count;
    return seam.record(__func__, {seam.ctx(ctx), seam.node(entry), seam.node(out)});
}

void yfw_oc_error_path(yfw_map_ctx ctx) {
    Seam seam;
    seam.record(__func__, {seam.ctx(ctx)});
}

char *yfw_strdup(const char *text, const char *label) {
    return Seam().copy(text, label);
}

void xos_named_free(void *allocation) {
    Seam().release(allocation);
}

cerrno yfw_strcpy_s(const char *caller, char *dst, size_t size, const char *src) {
    const cerrno code = Seam().record(__func__, {show_text(caller), std::to_string(size), show_text(src)});
    cut_copy(dst, size, code == CERR_SUCCESS ? src : nullptr, size);
    return code;
}

cerrno yfw_strcat_s(const char *caller, char *dst, size_t size, const char *src) {
    const cerrno code = Seam().record(__func__, {show_text(caller), std::to_string(size), show_text(src)});
    const size_t used = strnlen(dst, size);
    if (code == CERR_SUCCESS)
        cut_copy(dst + used, size - used, src, size);
    return code;
}

cerrno yfw_strncpy_s(const char *caller, char *dst, size_t size, const char *src, size_t count) {
    const cerrno code =
        Seam().record(__func__, {show_text(caller), std::to_string(size), show_text(src), std::to_string(count)});
    cut_copy(dst, size, code == CERR_SUCCESS ? src : nullptr, count);
    return code;
}

const char *cerr_strerror(cerrno code) {
    static char text[32];
    std::snprintf(text, sizeof text, "code 0x%x", code);
    Seam().record(__func__, {text});
    return text;
}

char *inet_ntoa_r(uint32_t address_network_order, char *buffer) {
    const in_addr address{address_network_order};
    Seam().record(__func__, {});
    inet_ntop(AF_INET, &address, buffer, INET_ADDRSTRLEN);
    return buffer;
}

int yfw_debug_should_log(const yfw_log_filter *filter, int level) {
    Seam seam;
    seam.record(__func__, {seam.filter(filter), std::to_string(level)});
    return seam.takes(level);
}

void _xos_dt_log_filter_adv(yfw_log_handle *log, uintptr_t zero0, uintptr_t zero1, uintptr_t zero2, uintptr_t zero3,
                            uintptr_t zero4, uint32_t *site_filter_word, const char *format, ...) {
    char text[8192];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    Seam().message(log, (zero0 | zero1 | zero2 | zero3 | zero4) == 0, site_filter_word, format, text);
}

void _lstrace(yfw_ltrace_handle *trace, uint64_t flags, const char *line) {
    Seam().lightweight(trace, flags, line);
}

uint32_t ret_nc_yfw_trace_index_incr(void) {
    return Seam().next_trace_index();
}

void yfw_map_print_datatree_internal(yfw_map_ctx ctx, const yfw_datatree *tree, const char *label) {
    Seam seam;
    seam.record(__func__, {seam.ctx(ctx), seam.node(tree), show_text(label)});
}

cerrno _sysdb_bind(void **handle, const char *bind_point, uint32_t zero) {
    return Seam().bind(handle, bind_point, zero);
}

cerrno _sysdb_unbind(void *handle) {
    return Seam().unbind(handle);
}

cerrno sysdb_item_get(void *handle, const char *item_path, uint32_t *, void **bag_data, uint32_t *bag_len,
                      uint32_t zero) {
    return Seam().item_get(handle, item_path, bag_data, bag_len, zero);
}

cerrno sysdb_list(void *handle, const char *pattern, uint32_t *, uint32_t *count, void **list_handle, uint32_t zero) {
    return Seam().list(handle, pattern, count, list_handle, zero);
}

cerrno sysdb_list_next(void *list_handle, const char **item_name, uint32_t *datatype, uint32_t zero) {
    return Seam().list_next(list_handle, item_name, datatype, zero);
}

cerrno sysdb_list_free(void *list_handle) {
    return Seam().list_free(list_handle);
}

cerrno bag_header_info(const void *bag_data, bag_header_td *header) {
    return Seam().header(bag_data, header);
}

cerrno bag_generic_init(const void *bag_data, uint32_t bag_len, bag_walk_td *walk) {
    return Seam().start_walk(bag_data, bag_len, walk);
}

cerrno bag_generic_token(bag_walk_td *walk, bag_token_td *token) {
    return Seam().token(walk, token);
}

void bag_generic_free_token_allocations(bag_token_td *token) {
    Seam().free_token(token);
}

void bag_generic_destroy(bag_walk_td *) {
    Seam().end_walk();
}

// The C library's, answered here for the system-database library and forwarded for every other path.
int access(const char *path, int mode) noexcept {
    if (std::strcmp(path, "/pkg/lib/libsysdb.so") != 0)
        return faccessat(AT_FDCWD, path, mode, 0);
    const cerrno code = Seam().record(__func__, {path, std::to_string(mode)});
    return code == CERR_SUCCESS && platform().library_present ? 0 : -1;
}
}
