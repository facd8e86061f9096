// RFC 7951 JSON as clients send it, with the annotations of RFC 7952. Knows of a model only the keys that entries
// are told by.
#pragma once

#include "yang/client_document.h"

#include <string_view>
#include <vector>

namespace ocamp {

/// The members of the document's one object. Throws DocumentError for what is no JSON, and RequestError with its place
/// for what is no RFC 7951 data: members given twice, arrays that are empty, mixed or nested, and annotations that do
/// not stand where RFC 7952 puts them. `models` only tells the keys of the entries in such a place.
std::vector<ClientNode> read_json(std::string_view document, const Schema &models);

} // namespace ocamp
