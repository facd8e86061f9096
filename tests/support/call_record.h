// The calls of one walk, to be made again without the plug-in: the part of the work that no plug-in can leave out. A
// record is a row of words that a switch goes through, so that making the calls costs next to nothing beside them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "yfw_platform.h"

namespace null_platform {

/// The functions of the seam that walks call.
enum class Function : uint8_t {
    add_to_node_hierarchy,
    remove_from_node_hierarchy,
    do_these_match,
    is_request_delete,
    is_request_add,
    update_current_list_node,
    check_oc_leafref,
    itree_stack_size,
    add_path,
    search_or_add_list,
    get_node_info,
    add_to_output_list,
    remove_from_output_list,
    error_path,
    duplicate,
    release,
    copy,
    append,
    copy_count,
    should_log,
    log,
    trace,
    trace_index,
    print_tree,
    bind,
    unbind,
    item_get,
    list,
    list_next,
    list_free,
    bag_header,
    bag_init,
    bag_token,
    bag_free_token,
    bag_destroy
};

/// Size of the buffer that is appended to, and how much of it is in use, as one number.
struct AppendSizes {
    uint32_t size;
    uint32_t length;

    uint32_t number() const { return size << 16U | length; }
    static AppendSizes of(uint32_t number) { return {number >> 16U, number & 0xffffU}; }
};

class CallRecord {
  public:
    /// `context` outlives the record: the calls are made again with it.
    explicit CallRecord(yfw_map_ctx context) : context_(context) {}
    CallRecord(const CallRecord &) = delete;
    CallRecord &operator=(const CallRecord &) = delete;

    /// Notes a call with its numbers and pointers, in the order in which `replay` takes them. Nodes and constant texts
    /// are noted as they are; texts that live shorter than the record go through `text`. `second_number`: 24 bits.
    template <class... Pointers>
    void add(Function function, uint32_t number, uint32_t second_number, Pointers... pointers) {
        words_.push_back({.head = static_cast<uint64_t>(function) | static_cast<uint64_t>(number) << 8U |
                                  static_cast<uint64_t>(second_number) << 40U});
        (words_.push_back({.address = pointers}), ...);
        ++counts_[static_cast<size_t>(function)];
    }
    /// A copy that lives as long as the record; NULL for NULL.
    const char *text(const char *passing) {
        return passing != nullptr ? texts_.emplace_back(passing).c_str() : nullptr;
    }

    /// Makes all calls, in their order.
    void replay() const;

    /// How many calls there are, of all functions or of one.
    size_t count() const;
    size_t count(Function function) const { return counts_[static_cast<size_t>(function)]; }

    union Word {
        uint64_t head; ///< of a call: function and numbers; its pointers follow
        const void *address;
    };

  private:
    yfw_map_ctx context_;
    std::vector<Word> words_;
    std::deque<std::string> texts_;
    size_t counts_[static_cast<size_t>(Function::bag_destroy) + 1] = {};
};

} // namespace null_platform
