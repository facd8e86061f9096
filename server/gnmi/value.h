// Values of leaves and subtrees in gNMI's encodings, both ways. Knows the models, and no RPC.
#pragma once

#include "yang/tree.h"

#include <functional>
#include <string>

#include "gnmi.pb.h"

#include <nlohmann/json_fwd.hpp>

namespace ocamp::gnmi {

using Json = nlohmann::ordered_json;

/// Throws RpcError with UNIMPLEMENTED, naming the encoding, for BYTES and numbers that are no encoding.
void check_encoding(::gnmi::Encoding encoding);

/// Which leaves are wanted.
using LeafTest = std::function<bool(const lysc_node &leaf)>;

/// A leaf's value. `canonical` is libyang's text, identities with their module's name.
::gnmi::TypedValue leaf_value(const lysc_node &leaf, const std::string &canonical, ::gnmi::Encoding encoding);
/// libyang's text of a leaf, as leaf_value takes it.
std::string canonical_text(const lyd_node &leaf);

/// What is at the node and `levels` below it (0: everything) as RFC 7951 writes it, or with plain names and numbers.
/// None (discarded) when no leaf is wanted. Entries keep their keys.
Json json_of(const lyd_node &node, bool ietf, const LeafTest &wanted, std::size_t levels);
/// Adds the node as a member of an object: its name is qualified when it has another module than `module`.
void add_member(Json &object, const lyd_node &node, const lys_module *module, bool ietf, const LeafTest &wanted,
                std::size_t levels);

/// A client's value for the node of the model as RFC 7951 JSON, names qualified where the module changes from
/// `node`'s; NULL for the root of `schema`. `place` is the node's path for messages. Throws RpcError: INVALID_ARGUMENT
/// for values that the node cannot have and for read-only nodes, UNIMPLEMENTED for other encodings and for what the
/// device does not have.
Json edit_value(const Schema &schema, const lysc_node *node, const ::gnmi::TypedValue &value, const std::string &place);

} // namespace ocamp::gnmi
