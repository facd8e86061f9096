// Answers of a target as text, a line each. Knows no connection.
#pragma once

#include "gnmi/options.h"

#include <string>

#include "gnmi.pb.h"

namespace ocamp::gnmi_client {

/// Lines, each with its end. Those of get and subscribe throw RpcFailure for values that the protocol does not have.
std::string text_of(const ::gnmi::CapabilityResponse &response, Output output);
std::string text_of(const ::gnmi::GetResponse &response, Output output);
std::string text_of(const ::gnmi::SetResponse &response, Output output);
std::string text_of(const ::gnmi::SubscribeResponse &response, Output output);

} // namespace ocamp::gnmi_client
