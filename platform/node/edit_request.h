// What a client wants to change: a NETCONF <config> document or RFC 7951 JSON, checked against the model, with the
// operation of every node settled. Knows neither the node's data nor the plug-in.
#pragma once

#include "framework/request_tree.h"
#include "yang/client_document.h"
#include "yang/schema.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ocamp {

/// What happens to nodes without an operation of their own.
enum class DefaultOperation { merge, replace, none };

/// What becomes of state in an edit, which nobody can change.
enum class StateInEdit {
    refused,
    /// What was read may be sent back: in JSON, and in a <data> document, state that stands beside configuration and
    /// has no operation of its own is passed over. In a <config> document, and where there is nothing else, it is
    /// refused.
    passed_over
};

/// Data path of a node, with keys. Its text is put together when it is asked for: a long key above many nodes is held
/// once.
class EditPath {
  public:
    /// `step`: the first step, with its slash and its keys.
    EditPath(std::string step) : place_(std::make_shared<const Place>(Place{nullptr, std::move(step)})) {}

    /// The path of what stands below; `step` as above.
    EditPath below(std::string step) const;
    /// The same path with `text` added to its last step.
    EditPath with(std::string_view text) const;

    /// The last step.
    const std::string &step() const noexcept { return place_->step; }
    /// The whole of it.
    std::string text() const;
    operator std::string() const { return text(); }

  private:
    struct Place {
        std::shared_ptr<const Place> above; // NULL at the top
        std::string step;
    };
    explicit EditPath(Place place) : place_(std::make_shared<const Place>(std::move(place))) {}

    std::shared_ptr<const Place> place_;
};

/// One node of an edit with what is below it.
struct EditNode {
    const lysc_node *schema; ///< NULL for a node of a module that is not the model's
    std::string name;
    std::string ns;
    EditPath path;
    std::optional<std::string> value;       ///< canonical; none for containers, entries and leaves that are deleted
    std::optional<std::uint32_t> operation; ///< enum yfw_operation; none: only stands on the way (default none)
    bool own_operation = false;             ///< the client gave it
    std::vector<EditNode> children;         ///< of a deleted node its keys alone

    /// Values of the entry's keys in the list's order.
    std::vector<std::string> keys() const;
};

/// The nodes at the top of an edit document. Throws DocumentError for what is no such document, and RequestError as
/// EditRequest's constructors do. `schema` only tells modules and keys.
std::vector<ClientNode> read_edit(std::string_view document, const Schema &schema);

/// The edit that one document asks for.
class EditRequest {
  public:
    /// Throws DocumentError for what is no such document, RequestError for what RFC 7951, RFC 7952 or the model
    /// refuses.
    EditRequest(const Schema &schema, std::string_view document, DefaultOperation default_operation,
                StateInEdit state = StateInEdit::refused);
    /// The same for nodes of a document as read_edit gave them. Throws RequestError.
    EditRequest(const Schema &schema, const std::vector<ClientNode> &nodes, DefaultOperation default_operation);

    /// The edit of one leaf, which a data path names with all its keys: to give it a value, or to delete it. Throw
    /// PathError for a path that leads to no such leaf, RequestError for a value that the model refuses.
    static EditRequest set_leaf(const Schema &schema, std::string_view path, const std::string &value);
    static EditRequest delete_leaf(const Schema &schema, std::string_view path);

    /// The nodes at the top, in the order of the document.
    const std::vector<EditNode> &roots() const noexcept { return roots_; }
    std::vector<EditNode> &roots() noexcept { return roots_; }

    /// Leaves of state that were in the document and are not part of the edit.
    std::size_t passed_over() const noexcept { return passed_over_; }

    /// One request tree for each list entry named. A replace above several entries is carried by the first only.
    std::vector<RequestNode> requests() const;

  private:
    EditRequest() = default;
    void read(const Schema &schema, const std::vector<ClientNode> &nodes, DefaultOperation default_operation,
              StateInEdit state);
    void remove_other_roots(const Schema &schema);

    std::vector<EditNode> roots_;
    std::size_t passed_over_ = 0;
};

} // namespace ocamp
