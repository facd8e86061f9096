// What the calls of the seam do to a run. Knows nothing of models, nodes or who calls the handlers.
#include "framework/mapping_run.h"

#include "framework/operation_words.h"
#include "log/log.h"
#include "seam/codes.h"
#include "seam/guard.h"
#include "seam/handle_table.h"
#include "seam/path_text.h"

#include <algorithm>

#include <fmt/format.h>

namespace ocamp {

namespace {

HandleTable<MappingRun> &live_runs() {
    static HandleTable<MappingRun> runs;
    return runs;
}

RequestNode duplicate_of(const std::optional<RequestNode> &request) {
    RequestNode root{.tag = "", .ns = ""};
    if (request)
        root.children.push_back(*request);
    return root;
}

const yfw_datatree *child_of(const yfw_datatree &node, std::string_view tag) {
    const std::uint32_t count = node.children != nullptr ? node.child_count : 0;
    for (std::uint32_t i = 0; i < count; ++i) {
        if (node.children[i].tag != nullptr && node.children[i].tag == tag)
            return &node.children[i];
    }
    return nullptr;
}

} // namespace

MappingRun::MappingRun(std::uint32_t kind, const std::optional<RequestNode> &request)
    : kind_(kind), duplicate_(duplicate_of(request)) {
    if (request)
        request_.emplace(*request);
    hierarchy_.reserve(deepest_hierarchy);
    state_.request_kind = &kind_;
    state_.reg_dup_datatree = *duplicate_.root();
    if (request_) {
        state_.node_data = request_->root();
        state_.node_data_count = 1;
        state_.root_node = request_->root();
    }
    begin_walk();
    context_.req_ctx = &state_;
    context_.debug_filter.threshold = log_nothing;
    live_runs().lend(&context_, *this);
}

MappingRun::~MappingRun() {
    xos_named_free(state_.error_path);
    live_runs().close(&context_);
}

MappingRun *MappingRun::from_handle(yfw_map_ctx handle) noexcept {
    return live_runs().find(handle);
}

void MappingRun::begin_walk() noexcept {
    levels_.clear();
    entries_.clear();
    output_list_.clear();
    writes_.clear();
    key_list_.reset();
    failed_at_.clear();
    failed_tag_.clear();
    xos_named_free(state_.error_path);
    state_.error_path = nullptr;
    state_.plist = {};
    state_.output_list_count = 0;
    state_.walk_flags = state_.in_subtree = state_.walk_all = state_.select_flags = state_.replace_in_progress = 0;
    describe_hierarchy();
}

void MappingRun::set_native_path(const std::optional<RequestNode> &entry) {
    native_path_.reset();
    if (entry)
        native_path_.emplace(*entry);
    state_.native_path = native_path_ ? native_path_->root() : nullptr;
    // The entry stands below its container: two levels.
    state_.native_path_depth = native_path_ ? 2 : 0;
}

std::string MappingRun::error_path() const {
    if (failed_at_.empty())
        return subject();
    const std::string_view tag = state_.error_path != nullptr ? state_.error_path : "";
    if (tag.empty() || tag == failed_tag_)
        return failed_at_;
    return failed_at_ + "/" + std::string(tag);
}

// The node that the containers above lead to: the first that is a list entry, is deleted, or has not one child.
std::string MappingRun::subject() const {
    const yfw_datatree *at = request();
    while (at != nullptr && !deletes(at->operation) && at->children != nullptr && at->child_count == 1 &&
           (at->children->node_flags & YFW_NODE_KEY) == 0)
        at = at->children;
    return request_ ? request_->path_of(at) : std::string();
}

cerrno MappingRun::push(const char *function, const yfw_datatree *node, int level) {
    if (level != YFW_LEVEL_CONTAINER && level != YFW_LEVEL_LIST_ENTRY)
        return refuse(function, rc_invalid_argument, "level is neither 1 nor 2");
    if (levels_.size() == deepest_hierarchy)
        return refuse(function, rc_hierarchy_full, "255 levels are the most");
    levels_.push_back({node, level == YFW_LEVEL_LIST_ENTRY});
    describe_hierarchy();
    return CERR_SUCCESS;
}

cerrno MappingRun::pop(const char *function, const yfw_datatree *node) {
    if (levels_.empty())
        return refuse(function, rc_hierarchy_empty, "nothing to remove");
    if (levels_.back().node != node)
        return refuse(function, rc_node_not_on_top, "the node is not the last one added");
    levels_.pop_back();
    describe_hierarchy();
    return CERR_SUCCESS;
}

void MappingRun::describe_hierarchy() noexcept {
    hierarchy_.clear();
    state_.native_list = nullptr;
    for (const Level &level : levels_) {
        hierarchy_.push_back(level.node);
        if (level.list_entry && state_.native_list == nullptr)
            state_.native_list = level.node;
    }
    state_.hierarchy = hierarchy_.data();
    state_.hierarchy_len = static_cast<std::uint8_t>(hierarchy_.size());
    state_.current_node = hierarchy_.empty() ? nullptr : hierarchy_.back();
    state_.parent_node = hierarchy_.size() < 2 ? nullptr : hierarchy_[hierarchy_.size() - 2];
}

cerrno MappingRun::make_current(const char *function, std::string_view list_path) {
    const std::vector<std::string_view> steps = path_steps(list_path);
    // In a walk of everything below a node the lists are not entered: the top is then some container above.
    const bool entered = !levels_.empty() && levels_.back().list_entry;
    const char *top = entered ? levels_.back().node->tag : nullptr;
    if (steps.empty() || (top != nullptr && steps.back() != top))
        return refuse(function, rc_unknown_path, "not the path of the list just entered");
    return CERR_SUCCESS;
}

cerrno MappingRun::check_leafref(const char *function, std::string_view container, const yfw_datatree &key) {
    const auto entry =
        std::find_if(levels_.rbegin(), levels_.rend(), [](const Level &level) { return level.list_entry; });
    if (entry == levels_.rend())
        return refuse(function, rc_no_list_entry, "no list entry is entered");
    const yfw_datatree *holder = child_of(*entry->node, container);
    const yfw_datatree *leaf = holder != nullptr && key.tag != nullptr ? child_of(*holder, key.tag) : nullptr;
    // A request may leave the leaf out: the key alone names the entry.
    if (leaf == nullptr || leaf->value == nullptr || key.value == nullptr)
        return CERR_SUCCESS;
    if (std::string_view(leaf->value) != key.value) {
        note_error_path();
        return refuse(function, rc_leafref_mismatch, "the key differs from the leaf that it refers to");
    }
    return CERR_SUCCESS;
}

cerrno MappingRun::push_entry(const char *function, const yfw_datatree *node) {
    if (entries_.size() == deepest_hierarchy)
        return refuse(function, rc_stack_full, "255 entries are the most");
    entries_.push_back(node);
    return CERR_SUCCESS;
}

cerrno MappingRun::pop_entry(const char *function) {
    if (entries_.empty())
        return refuse(function, rc_stack_empty, "nothing to pop");
    entries_.pop_back();
    return CERR_SUCCESS;
}

cerrno MappingRun::write(const char *function, Write made, const yfw_datatree *source) {
    if (!leads_somewhere(made.path))
        debug_log_line(log_errors, fmt::format("{}: no absolute path, the write leads nowhere", function));
    if (source != nullptr) {
        made.operation = source->operation;
        made.source_path = request_ ? request_->path_of(source) : std::string();
        if (source->value != nullptr)
            made.source_value = source->value;
    }
    writes_.push_back(std::move(made));
    return CERR_SUCCESS;
}

cerrno MappingRun::find_or_add_entry(const char *function, std::string_view list_path, std::string_view key_value,
                                     std::string_view key_name, std::string_view ns) {
    if (!leads_somewhere(list_path))
        return refuse(function, rc_unknown_path, "not an absolute path");
    writes_.push_back({.path = std::string(list_path),
                       .ns = std::string(ns),
                       .value = std::string(key_value),
                       .key_name = std::string(key_name)});
    describe_current_key(list_path, key_value, key_name, ns);
    return CERR_SUCCESS;
}

void MappingRun::describe_current_key(std::string_view list_path, std::string_view key_value, std::string_view key_name,
                                      std::string_view ns) {
    RequestNode entry{.tag = std::string(last_step(list_path)), .ns = std::string(ns)};
    entry.children.push_back(
        {.tag = std::string(key_name), .ns = std::string(ns), .value = std::string(key_value), .key = true});
    key_list_.emplace(entry);
    state_.plist = *key_list_->root();
}

cerrno MappingRun::add_to_output_list(const yfw_datatree *entry) {
    if (std::find(output_list_.begin(), output_list_.end(), entry) == output_list_.end())
        output_list_.push_back(entry);
    state_.output_list_count = static_cast<std::uint32_t>(output_list_.size());
    return CERR_SUCCESS;
}

cerrno MappingRun::remove_from_output_list(const char *function, const yfw_datatree *entry) {
    const auto found = std::find(output_list_.begin(), output_list_.end(), entry);
    if (found == output_list_.end())
        return refuse(function, rc_no_list_entry, "the entry is not in the output list");
    output_list_.erase(found);
    state_.output_list_count = static_cast<std::uint32_t>(output_list_.size());
    return CERR_SUCCESS;
}

void MappingRun::note_error_path() {
    const yfw_datatree *at = hierarchy_.empty() ? nullptr : hierarchy_.back();
    failed_at_ = request_ && at != nullptr ? request_->path_of(at) : std::string();
    failed_tag_ = at != nullptr && at->tag != nullptr ? at->tag : "";
}

bool MappingRun::adds_data() const noexcept {
    const bool reads = kind_ == YFW_KIND_GET || kind_ == YFW_KIND_GET_CONFIG;
    return !reads && (levels_.empty() || !deletes(levels_.back().node->operation));
}

} // namespace ocamp
