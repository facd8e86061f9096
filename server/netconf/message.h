// One XML message as elements, as deep as the protocol itself looks; what lies deeper is kept as text for those who
// know its model. Knows no operation.
#pragma once

#include "seam/input_error.h"

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace ocamp::netconf {

/// Namespaces in force at a place of a document, by prefix; the default one has the empty prefix.
using Namespaces = std::map<std::string, std::string, std::less<>>;

/// Namespaces in force at an element. Those from outside are shared, not copied: a message takes no more than its text.
struct Scope {
    Namespaces declared = {};                ///< by the innermost element that declares any
    std::shared_ptr<const Scope> outer = {}; ///< NULL at the top

    /// The URI of a prefix; NULL for none.
    const std::string *find(std::string_view prefix) const noexcept;
    /// All that are in force.
    Namespaces all() const;
};

/// What is no message: not well-formed, no UTF-8, or with a document type.
class MessageError : public InputError {
  public:
    using InputError::InputError;
};

/// A message beyond the limits.
class MessageTooBig : public MessageError {
  public:
    using MessageError::MessageError;
};

/// How much a message may hold.
struct MessageLimits {
    std::size_t depth = 100;       ///< levels of elements
    std::size_t elements = 100000; ///< in all
    std::size_t namespaces = 256;  ///< declared around one place
};

/// An attribute that is no declaration of a namespace.
struct Attribute {
    std::string ns; ///< empty for none
    std::string name;
    std::string value;
};

/// An element. Refers to the message's text, which outlives it.
struct Element {
    std::string ns; ///< empty for none
    std::string name;
    std::vector<Attribute> attributes = {};
    std::string text = {};                     ///< its character data, without that of its children
    std::vector<Element> children = {};        ///< of elements below `kept_levels`: none
    std::string_view source = {};              ///< from its first to its last byte
    std::shared_ptr<const Scope> outside = {}; ///< the namespaces that its parent hands down
    std::shared_ptr<const Scope> inside = {};  ///< and those that it hands down itself; the same if it declares none

    /// Levels that are kept as elements: rpc, operation, parameter, what the parameter names, and one below.
    static constexpr std::size_t kept_levels = 5;

    /// The first child of that name in the element's own namespace; NULL when there is none.
    const Element *child(std::string_view wanted) const noexcept;
    /// The unqualified attribute; NULL when there is none.
    const Attribute *attribute(std::string_view wanted) const noexcept;
    /// The element as a document of its own: its text, with the namespaces declared that it has from outside.
    std::string document() const;
    /// What stands in its first tag behind the name: attributes and namespaces as they were written.
    std::string_view written_attributes() const noexcept;
    /// Its name as it was written, with the prefix.
    std::string_view written_name() const noexcept;
};

/// The root element of the message, before which white space may stand. Throws MessageError, of which MessageTooBig is
/// one.
Element read_message(std::string_view message, const MessageLimits &limits);

/// The text as XML character data and as an attribute's value between double quotes. Characters that XML does not have
/// become U+FFFD.
std::string xml_text(std::string_view text);

} // namespace ocamp::netconf
