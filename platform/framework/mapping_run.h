// One mapping run: the request state that handlers read, and what they wrote. Handlers know it by its context handle
// alone. Knows nothing of models, nodes or who calls the handlers.
#pragma once

#include "framework/output_tree.h"
#include "framework/request_tree.h"
#include "yfw_platform.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ocamp {

/// Most levels of the hierarchy, and most entries of the list-entry stack: what hierarchy_len can count.
inline constexpr std::size_t deepest_hierarchy = 255;

/// One request on its way through the plug-in. Every result that is a cerrno is 0, or a code of seam/codes.h.
class MappingRun {
  public:
    /// `kind`: enum yfw_request_kind. `request`: from the root node of the model on; none for a request that has no
    /// OpenConfig path at all.
    MappingRun(std::uint32_t kind, const std::optional<RequestNode> &request);
    ~MappingRun();
    MappingRun(const MappingRun &) = delete;
    MappingRun &operator=(const MappingRun &) = delete;

    /// The run that owns the handle; NULL when there is none, or no longer.
    static MappingRun *from_handle(yfw_map_ctx handle) noexcept;

    /// The handle that walkers get. It is live as long as the run.
    yfw_map_ctx context() noexcept { return &context_; }
    /// What the context shows of the request.
    yfw_map_request &state() noexcept { return state_; }
    /// enum yfw_request_kind.
    std::uint32_t kind() const noexcept { return kind_; }
    /// NULL when the run has no OpenConfig path.
    const yfw_datatree *request() const noexcept { return request_ ? request_->root() : nullptr; }
    /// What handlers get as output node. It stays empty: what is written is kept in order by the run.
    yfw_datatree *output() noexcept { return &output_; }

    /// Forgets output, hierarchy and key list, as before the first walk. The request stays.
    void begin_walk() noexcept;
    /// The native list entry that the request reaches; none for a request that reaches into no entry.
    void set_native_path(const std::optional<RequestNode> &entry);

    /// What was written since begin_walk, in order.
    const std::vector<Write> &writes() const noexcept { return writes_; }
    /// Data path of the node that made the request fail; of what the request is about when no handler told where. Means
    /// something only when a walk's result is not 0.
    std::string error_path() const;

    // ---- The calls of the seam -------------------------------------------------------------------------------------

    /// What the calls of the seam do, once their arguments are checked. Results are codes of the seam; each refusal has
    /// been told to the debug log. `function`: the call, by whose name it is told.
    cerrno push(const char *function, const yfw_datatree *node, int level);
    /// Refused unless `node` is the one pushed last.
    cerrno pop(const char *function, const yfw_datatree *node);
    /// `list_path`: absolute, of the list entered last.
    cerrno make_current(const char *function, std::string_view list_path);
    /// Refused when the leaf of the key's name in the entry's `container` has another value.
    cerrno check_leafref(const char *function, std::string_view container, const yfw_datatree &key);
    /// The list-entry stack. It holds pointers that belong to the caller.
    cerrno push_entry(const char *function, const yfw_datatree *node);
    cerrno pop_entry(const char *function);
    /// Entries on the stack.
    std::size_t entry_count() const noexcept { return entries_.size(); }
    /// NULL when the stack is empty.
    const yfw_datatree *top_entry() const noexcept { return entries_.empty() ? nullptr : entries_.back(); }
    /// `source`: node of the request that the write comes from; NULL for none.
    cerrno write(const char *function, Write made, const yfw_datatree *source);
    /// Opens the entry of the list at `list_path` whose key `key_name` has that value.
    cerrno find_or_add_entry(const char *function, std::string_view list_path, std::string_view key_value,
                             std::string_view key_name, std::string_view ns);
    /// The list of entries that a handler has announced. Adding twice is adding once; removing needs one that is there.
    cerrno add_to_output_list(const yfw_datatree *entry);
    cerrno remove_from_output_list(const char *function, const yfw_datatree *entry);
    /// Keeps the place where the hierarchy is now as that of the failure.
    void note_error_path();
    /// True in an edit, unless the node entered last is deleted.
    bool adds_data() const noexcept;

  private:
    struct Level {
        const yfw_datatree *node;
        bool list_entry;
    };

    std::string subject() const;
    void describe_hierarchy() noexcept;
    void describe_current_key(std::string_view list_path, std::string_view key_value, std::string_view key_name,
                              std::string_view ns);

    std::uint32_t kind_;
    std::optional<DataTree> request_;
    DataTree duplicate_;
    std::optional<DataTree> native_path_;
    std::optional<DataTree> key_list_;
    yfw_datatree output_ = {};
    yfw_map_request state_ = {};
    yfw_map_ctx_s context_ = {};

    std::vector<Level> levels_;
    std::vector<const yfw_datatree *> hierarchy_; ///< the nodes of levels_, as the state shows them
    std::vector<const yfw_datatree *> entries_;
    std::vector<const yfw_datatree *> output_list_;
    std::vector<Write> writes_;
    std::string failed_at_;  ///< data path of the level where the last failure was told
    std::string failed_tag_; ///< and its tag
};

} // namespace ocamp
