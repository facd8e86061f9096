// What a client sends: XML or JSON as named nodes with values and attributes. Whether the names mean anything is for
// others to say.
#pragma once

#include "seam/input_error.h"
#include "yang/schema.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ocamp {

/// Namespace of what NETCONF itself puts into documents: <config>, <filter> and the attribute `operation`.
inline constexpr std::string_view netconf_namespace = "urn:ietf:params:xml:ns:netconf:base:1.0";

/// The most levels that a document may have: who reads one descends level by level.
inline constexpr std::size_t deepest_document = 200;

/// A document that is neither XML nor JSON, or not of the expected kind. The text says what, where and what was
/// expected.
class DocumentError : public InputError {
  public:
    using InputError::InputError;
};

/// One node of a document with those inside it.
struct ClientNode {
    std::string name;
    /// Namespace URI in XML, module name in JSON; empty when the client gave none.
    std::string module;
    std::string value = {};                    ///< text content; empty for none
    std::optional<std::string> operation = {}; ///< NETCONF's attribute, or its JSON annotation
    std::vector<std::string> attributes = {};  ///< "name=value" of all others
    std::vector<ClientNode> children = {};
    /// Of a value "prefix:word", as an identity has it: name of the prefix's module, empty when it stands for none.
    std::optional<std::string> value_module = {};

    /// How a JSON node was written. `null` in an array is RFC 7951's value of an empty leaf; `absent`: the leaf itself
    /// was not given, only its annotation.
    enum class JsonForm { object, string, number, boolean, null, absent };
    std::optional<JsonForm> json = {}; ///< none in XML
    bool in_array = false;
};

/// How a document is written.
enum class DocumentFormat { xml, json };

/// The document without the byte order mark that some editors put before it.
std::string_view without_byte_order_mark(std::string_view document);

/// By the first character that is no white space. Throws DocumentError when it begins neither.
DocumentFormat format_of(std::string_view document);

/// The top-level nodes. XML may have several, and may leave namespaces out. `models` only tells which module a
// namespace in a value stands for. Throws DocumentError, and RequestError as read_json does.
std::vector<ClientNode> read_document(std::string_view document, DocumentFormat format, const Schema &models);

/// The node's value, without white space around it, as a value of the leaf in canonical form. Throws YangError.
std::string client_value(const Schema &schema, const lysc_node &leaf, const ClientNode &node);

} // namespace ocamp
