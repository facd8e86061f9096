// Native data as documents that people give and take, in files of an example or by hand. Knows neither OpenConfig nor
// where native data are kept.
#pragma once

#include "yang/client_document.h"
#include "yang/tree.h"

#include <string_view>

namespace ocamp {

/// A complete instance document of the native models, XML bare or in NETCONF's <data>. Roots that are only there by
/// default are left out. Throws DocumentError for what is no such document, or has more than 10,000 nodes beside one
/// another, RequestError for JSON that is no data of any model, YangError for what the models refuse.
YangTree parse_native_document(std::string_view text, DocumentFormat format);

} // namespace ocamp
