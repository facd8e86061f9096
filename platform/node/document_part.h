// Which part of a stored document a native request can select anything of, so that the rest need not become a tree.
// Knows JSON as libyang prints it without white space, and nothing of how it is kept or parsed.
#pragma once

#include "framework/output_tree.h"
#include "yang/schema.h"

#include <optional>
#include <string>
#include <string_view>

namespace ocamp {

/// The document with the root instance of that schema node alone, and without the entries of its outermost lists that
/// the request, which is for this root, surely does not select: a key is a plain text and another than the request's.
/// What such an entry holds is passed over unread. Nothing when the text is not what libyang prints, or has no such
/// root.
std::optional<std::string> document_part(const Schema &schema, std::string_view document, const lysc_node &root,
                                         const OutputNode &request);

} // namespace ocamp
