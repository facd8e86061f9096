// Events as RFC 5277 and RFC 6470 tell them, and those of a line. Knows no session but those that events are about.
#pragma once

#include "server/changes.h"
#include "server/requests.h"

#include <optional>
#include <string>

namespace ocamp::netconf {

/// The <notification> of an event that the filter selects. None for an event that is none of the stream's, or that the
/// filter leaves nothing of. Throws YangError.
std::optional<std::string> notification_of(const server::Event &event, const server::ReadFilter &filter);

} // namespace ocamp::netconf
