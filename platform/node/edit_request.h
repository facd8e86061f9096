// What a client wants to change: a NETCONF <config> document or RFC 7951 JSON, checked against the model, with the
// operation of every node settled. Knows neither the node's data nor the plug-in.
#pragma once

#include "framework/request_tree.h"
#include "yang/client_document.h"
#include "yang/schema.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ocamp {

/// What happens to nodes without an operation of their own.
enum class DefaultOperation { merge, replace, none };

/// One node of an edit with what is below it.
struct EditNode {
    const lysc_node *schema; ///< NULL for a node of a module that is not the model's
    std::string name;
    std::string ns;
    std::string path;                       ///< data path with keys
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
    EditRequest(const Schema &schema, std::string_view document, DefaultOperation default_operation);
    /// The same for nodes of a document as read_edit gave them. Throws RequestError.
    EditRequest(const Schema &schema, const std::vector<ClientNode> &nodes, DefaultOperation default_operation);

    /// The nodes at the top, in the order of the document.
    const std::vector<EditNode> &roots() const noexcept { return roots_; }
    std::vector<EditNode> &roots() noexcept { return roots_; }

    /// One request tree for each list entry named. A replace above several entries is carried by the first only.
    std::vector<RequestNode> requests() const;

  private:
    void remove_other_roots(const Schema &schema);

    std::vector<EditNode> roots_;
};

} // namespace ocamp
