// Requests from what the command line says. Knows no connection.
#pragma once

#include "gnmi/options.h"

#include "gnmi.pb.h"

namespace ocamp::gnmi_client {

/// Each throws InputError for a path or a value that is none, and for files that cannot be read.
::gnmi::GetRequest get_request(const Options &options);
::gnmi::SetRequest set_request(const Options &options);
::gnmi::SubscribeRequest subscribe_request(const Options &options);

} // namespace ocamp::gnmi_client
