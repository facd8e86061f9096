// What RFC 6241 asks of the data before an edit, on either side of the node. Knows neither the plug-in nor where data
// is kept.
#pragma once

#include "node/edit_request.h"
#include "yang/request_error.h"
#include "yang/tree.h"

#include <cstdint>
#include <string>

namespace ocamp {

/// The instance of the edit's node among `siblings` (NULL: there are none); NULL when there is none, or when it is
/// there by default only.
lyd_node *instance_of(const EditNode &node, lyd_node *siblings);

/// What kind of node it is, and what happens to it.
bool is_key_leaf(const EditNode &node);
bool is_operation(const EditNode &node, std::uint32_t operation);
bool is_deleted(const EditNode &node);

/// Throws RequestError for a key that names a slot which the platform does not have.
void refuse_missing_slot(const EditNode &node);
/// Throws RequestError. A missing slot explains more than `reason`.
[[noreturn]] void refuse_absent(const EditNode &node, ErrorTag tag, const std::string &reason);

/// Throws RequestError for a create of what exists, a delete of what does not, and a way through what does not.
/// `siblings` is the first node of the configuration at that level.
void check_before(const EditNode &node, lyd_node *siblings);

} // namespace ocamp
