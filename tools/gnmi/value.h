// Values: as they are typed, as messages hold them, and as they are shown. Knows no model.
#pragma once

#include "gnmi/options.h"

#include <string>

#include <nlohmann/json.hpp>

#include "gnmi.pb.h"

namespace ocamp::gnmi_client {

using Json = nlohmann::ordered_json;

/// A value from its text, which is JSON, and for ascii and bytes the value itself. Throws InputError for what is no
/// JSON, and for an object in proto, which has one scalar or a list of them. `place` stands in messages.
::gnmi::TypedValue value_of(const std::string &text, Encoding encoding, const std::string &place);

/// The value as JSON, bytes in base64; null for a value that is not there. Throws RpcFailure for text that ought to be
/// JSON and is not. `place` stands in messages.
Json json_of(const ::gnmi::TypedValue &value, const std::string &place);

/// One line, fit for a terminal.
std::string printed(const Json &json);

} // namespace ocamp::gnmi_client
