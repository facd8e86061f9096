// What an XPath expression selects of a tree. Knows no model.
#pragma once

#include "yang/tree.h"

#include <map>
#include <string>
#include <string_view>

namespace ocamp {

/// Throws FilterError for an expression whose predicates make the work grow with the square of the tree or worse, as
/// `//*[count(//*[count(//*) = 0]) = 0]` does: nothing ends such work once it has begun. Predicates may look around
/// (by "//", "*", or an axis of many nodes) once in the whole expression, downward from the node that they are asked
/// of, and not from within each other. Refuses what libyang cannot be given, too: the function re-match, and "mod" with
/// another divisor than a whole number above 0. XPathFilter makes this check itself.
void check_cost_of_xpath(std::string_view expression);

/// An XPath expression that clients may filter with, as RFC 6241 section 8.9 says.
class XPathFilter {
  public:
    /// `namespaces`: URI by prefix. A prefix that is none of them has to be the name of a module of `schema`'s context.
    /// What is of a namespace that is no module's selects nothing; a name without a prefix is one of its parent's
    /// module, or of any at the top. Throws FilterError for a prefix that stands for nothing, and as
    /// check_cost_of_xpath does.
    XPathFilter(const Schema &schema, std::string_view expression,
                const std::map<std::string, std::string> &namespaces);

    /// Leaves what is selected with all below it, its ancestors, and their keys. Throws FilterError for an expression
    /// that is none, and for one that gives no nodes but a value.
    void cut(YangTree &tree) const;

  private:
    std::string expression_; // with module names for prefixes
};

} // namespace ocamp
