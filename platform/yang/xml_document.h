// XML as clients send it: any number of elements, with or without namespaces. Knows no model but by the names of its
// modules.
#pragma once

#include "yang/client_document.h"

#include <string_view>
#include <vector>

namespace ocamp {

/// The top-level elements of the text, after the XML declaration that it may have: of version 1 and UTF-8. `models`
/// only tells which module a namespace in a value stands for. Throws DocumentError.
std::vector<ClientNode> read_xml(std::string_view document, const Schema &models);

} // namespace ocamp
