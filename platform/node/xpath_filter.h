// What an XPath expression selects of a tree. Knows no model.
#pragma once

#include "yang/tree.h"

#include <map>
#include <string>
#include <string_view>

namespace ocamp {

/// An XPath expression that clients may filter with, as RFC 6241 section 8.9 says.
class XPathFilter {
  public:
    /// `namespaces`: URI by prefix. A prefix that is none of them has to be the name of a module of `schema`'s context.
    /// What is of a namespace that is no module's selects nothing; a name without a prefix is one of its parent's
    /// module, or of any at the top. Throws FilterError for a prefix that stands for nothing.
    XPathFilter(const Schema &schema, std::string_view expression,
                const std::map<std::string, std::string> &namespaces);

    /// Leaves what is selected with all below it, its ancestors, and their keys. Throws FilterError for an expression
    /// that is none, and for one that gives no nodes but a value.
    void cut(YangTree &tree) const;

  private:
    std::string expression_; // with module names for prefixes
};

} // namespace ocamp
