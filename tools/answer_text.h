// The answer of a read as text. Knows nothing of requests.
#pragma once

#include "yang/tree.h"

#include <string>

#include <libyang/libyang.h>

namespace ocamp {

/// The answer as a document of its own: JSON as an object, XML in NETCONF's <data>. Ends in a newline.
std::string answer_text(const YangTree &answer, LYD_FORMAT format);

} // namespace ocamp
