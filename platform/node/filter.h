// What a client wants to see of a model: a data path or a NETCONF subtree filter, as mapping requests and as a cut
// through an answer. Knows the model by its schema alone.
#pragma once

#include "framework/request_tree.h"
#include "seam/input_error.h"
#include "yang/request_error.h"
#include "yang/tree.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ocamp {

/// A path that the model does not have, or a filter that is none. The text says what, where and what was expected.
class FilterError : public InputError {
  public:
    using InputError::InputError;
};

/// A path that the model does not have, or that cannot be used for what was asked. The text has the form of all
/// refusals, see refusal_text.
class PathError : public FilterError {
  public:
    /// `path`: as given; `reason`: what is wrong with it and what was expected.
    PathError(ErrorTag tag, std::string_view path, std::string reason);

    ErrorTag tag() const noexcept { return tag_; }
    const std::string &path() const noexcept { return path_; }     ///< as given; may be empty
    const std::string &reason() const noexcept { return reason_; } ///< without path and tag

  private:
    ErrorTag tag_;
    std::string path_;
    std::string reason_;
};

/// What a read is to give. Refers to the schema that it was made with, which outlives it.
class Filter {
  public:
    /// The whole model.
    explicit Filter(const Schema &schema);
    /// An absolute data path, such as /optical-amplifier/amplifiers/amplifier[name='0/1-AMP-PRE']/state: module names
    /// and prefixes may stand before names and before the whole path, and the path may then begin without a slash. A
    /// key that is left out, or is '*', stands for all entries. "/" is the whole model. Throws PathError.
    static Filter from_path(const Schema &schema, std::string_view path);
    /// A <filter type="subtree"> element or its bare content, as RFC 6241 section 6 says: names that the model does not
    /// have, or the device does not serve, select nothing. Throws FilterError, DocumentError.
    static Filter from_document(const Schema &schema, std::string_view xml);

    /// One request tree for each mapping run, from the model's root on: a list entry named by its keys has a run of its
    /// own. Empty when nothing is selected.
    std::vector<RequestNode> requests() const;
    /// The node that a data path ends at; NULL for a filter document and for the whole model.
    const lysc_node *path_target() const noexcept;
    /// Takes away what is not selected.
    void cut(YangTree &answer) const;
    /// Takes away what is selected, with all that is below it.
    void remove_selected(YangTree &data) const;

  private:
    struct Node {
        enum class Kind { selection, containment, content_match };
        const lysc_node *schema;
        Kind kind;
        std::string value;           ///< of a content match, canonical
        std::vector<Node> children;  ///< of a containment: those that can select something
        bool selects_inside = false; ///< a containment that is not content matches alone
    };

    /// A request and what it is for: the tags and keys down to `depth`, below which its details begin.
    struct PlacedRequest {
        std::string place;
        std::size_t depth;
        RequestNode tree;
    };

    class PathReader;
    class Marks;

    static std::optional<Node> resolve(const Schema &schema, const lysc_node *parent, const struct ClientNode &from);
    static bool resolve_children(const Schema &schema, const struct ClientNode &from, Node &resolved);
    static std::vector<PlacedRequest> requests_of(const Node &node);
    static void widen(PlacedRequest &request);
    static RequestNode request_node(const Node &node);

    bool everything_;
    bool is_path_;
    std::vector<Node> roots_;
    const Schema *schema_;
};

} // namespace ocamp
