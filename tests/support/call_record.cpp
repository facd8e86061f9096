// How noted calls are made again. What a call gives back is kept only where a later call needs it.
#include "call_record.h"

#include <cstdlib>
#include <cstring>
#include <numeric>

namespace null_platform {

namespace {

constexpr size_t buffer_size = 4096; // the largest buffer that the plug-in copies into

// Has blanks everywhere between two calls, so that a text of any length is made with one byte.
struct AppendBuffer {
    char text[buffer_size];
    AppendBuffer() { memset(text, ' ', sizeof text); }

    void append(const char *caller, size_t size, size_t old_length, const char *more, size_t more_length) {
        text[old_length] = '\0';
        yfw_strcat_s(caller, text, size, more);
        text[old_length + more_length] = ' ';
    }
};

AppendBuffer append_buffer;

// Walks over the words of one record.
class Words {
  public:
    explicit Words(const std::vector<CallRecord::Word> &words) : at_(words.data()), end_(at_ + words.size()) {}

    bool next() {
        if (at_ == end_)
            return false;
        head_ = at_++->head;
        return true;
    }
    Function function() const { return static_cast<Function>(head_ & 0xffU); }
    uint32_t number() const { return static_cast<uint32_t>(head_ >> 8U); }
    uint32_t second_number() const { return static_cast<uint32_t>(head_ >> 40U); }
    const char *text() { return static_cast<const char *>(at_++->address); }
    yfw_datatree *node() { return static_cast<yfw_datatree *>(address()); }
    void *address() { return const_cast<void *>(at_++->address); }

  private:
    const CallRecord::Word *at_;
    const CallRecord::Word *end_;
    uint64_t head_ = 0;
};

// What the calls of one replay hand on to one another.
struct Results {
    char buffer[buffer_size];
    char *duplicate = nullptr;
    void *handle = nullptr;
    void *bag = nullptr;
    uint32_t bag_length = 0;
    void *listing = nullptr;
    bag_header_td header;
    bag_walk_td walk;
    bag_token_td token;
};

} // namespace

size_t CallRecord::count() const {
    return std::accumulate(std::begin(counts_), std::end(counts_), size_t{0});
}

// Arguments are read from the words in the order in which they stand there, which function arguments would not promise.
void CallRecord::replay() const {
    Results results;
    yfw_map_ctx ctx = context_;
    for (Words words(words_); words.next();) {
        switch (words.function()) {
        case Function::add_to_node_hierarchy:
            yfw_map_add_to_node_hierarchy(ctx, words.node(), static_cast<int>(words.number()));
            break;
        case Function::remove_from_node_hierarchy:
            yfw_map_remove_from_node_hierarchy(ctx, words.node());
            break;
        case Function::do_these_match: {
            const char *a = words.text();
            yfw_map_do_these_match(a, words.text());
            break;
        }
        case Function::is_request_delete:
            yfw_map_is_request_delete(words.node());
            break;
        case Function::is_request_add:
            yfw_map_is_request_add(ctx);
            break;
        case Function::update_current_list_node:
            yfw_map_update_current_list_node(ctx, words.text());
            break;
        case Function::check_oc_leafref: {
            const char *path = words.text();
            const char *container = words.text();
            const yfw_datatree *key = words.node();
            yfw_map_check_oc_leafref(ctx, path, container, key, words.node());
            break;
        }
        case Function::itree_stack_size:
            yfw_map_util_itree_stack_size(ctx);
            break;
        case Function::add_path: {
            yfw_datatree *out = words.node();
            const char *path = words.text();
            const char *ns = words.text();
            const char *value = words.text();
            yfw_map_datatree_add_path_flagged(ctx, out, path, ns, value, words.node(), 0, words.number(),
                                              words.second_number());
            break;
        }
        case Function::search_or_add_list: {
            yfw_datatree *out = words.node();
            yfw_datatree *plist = words.node();
            const char *path = words.text();
            const char *value = words.text();
            const char *name = words.text();
            yfw_map_search_or_add_list(ctx, out, plist, path, value, name, words.text());
            break;
        }
        case Function::get_node_info: {
            const yfw_datatree *entry = words.node();
            const char *path = words.text();
            const char *value = nullptr;
            yfw_map_get_node_info(ctx, entry, path, words.text(), &value);
            break;
        }
        case Function::add_to_output_list: {
            const yfw_datatree *entry = words.node();
            yfw_add_to_output_list_ctx(ctx, entry, words.node());
            break;
        }
        case Function::remove_from_output_list: {
            const yfw_datatree *entry = words.node();
            yfw_remove_from_output_list_ctx(ctx, entry, words.node());
            break;
        }
        case Function::error_path:
            yfw_oc_error_path(ctx);
            break;
        case Function::duplicate: {
            xos_named_free(results.duplicate);
            const char *text = words.text();
            results.duplicate = yfw_strdup(text, words.text());
            break;
        }
        case Function::release:
            xos_named_free(results.duplicate);
            results.duplicate = nullptr;
            break;
        case Function::copy: {
            const char *caller = words.text();
            yfw_strcpy_s(caller, results.buffer, words.number(), words.text());
            break;
        }
        case Function::append: {
            const char *caller = words.text();
            const auto [size, old_length] = AppendSizes::of(words.number());
            append_buffer.append(caller, size, old_length, words.text(), words.second_number());
            break;
        }
        case Function::copy_count: {
            const char *caller = words.text();
            yfw_strncpy_s(caller, results.buffer, words.number(), words.text(), words.second_number());
            break;
        }
        case Function::should_log:
            yfw_debug_should_log(&ctx->debug_filter, static_cast<int>(words.number()));
            break;
        case Function::log: {
            auto *site = static_cast<uint32_t *>(words.address());
            _xos_dt_log_filter_adv(nullptr, 0, 0, 0, 0, 0, site, "%s", words.text());
            break;
        }
        case Function::trace:
            _lstrace(ctx->ltrace_handle, 0, words.text());
            break;
        case Function::trace_index:
            ret_nc_yfw_trace_index_incr();
            break;
        case Function::print_tree: {
            const yfw_datatree *tree = words.node();
            yfw_map_print_datatree_internal(ctx, tree, words.text());
            break;
        }
        case Function::bind:
            _sysdb_bind(&results.handle, words.text(), 0);
            break;
        case Function::unbind:
            _sysdb_unbind(results.handle);
            break;
        case Function::item_get:
            free(results.bag);
            sysdb_item_get(results.handle, words.text(), nullptr, &results.bag, &results.bag_length, 0);
            break;
        case Function::list: {
            uint32_t info = 0;
            uint32_t count = 0;
            sysdb_list(results.handle, "", &info, &count, &results.listing, 0);
            break;
        }
        case Function::list_next: {
            const char *item = nullptr;
            uint32_t type = 0;
            sysdb_list_next(results.listing, &item, &type, 0);
            break;
        }
        case Function::list_free:
            sysdb_list_free(results.listing);
            break;
        case Function::bag_header:
            bag_header_info(results.bag, &results.header);
            break;
        case Function::bag_init:
            bag_generic_init(results.bag, results.bag_length, &results.walk);
            break;
        case Function::bag_token:
            bag_generic_token(&results.walk, &results.token);
            break;
        case Function::bag_free_token:
            bag_generic_free_token_allocations(&results.token);
            break;
        case Function::bag_destroy:
            bag_generic_destroy(&results.walk);
            break;
        }
    }
    xos_named_free(results.duplicate);
    free(results.bag);
}

} // namespace null_platform
