// The protocol's own data: monitoring of RFC 6022, the YANG library, and the streams of RFC 5277, as trees and cut to
// filters. Knows no session's state but what is counted.
#pragma once

#include "server/core.h"
#include "server/netconf/message.h"
#include "server/netconf/statistics.h"
#include "yang/tree.h"

#include <chrono>
#include <string>

namespace ocamp::netconf {

/// What a filter of a request selects of it. Throws as cut.
YangTree state_data(const server::Core &core, const Statistics &statistics, const server::ReadFilter &filter);

/// Takes away what the filter does not select: what it does is left with all below it, its ancestors and their keys.
/// Throws FilterError and DocumentError.
void cut(YangTree &tree, const server::ReadFilter &filter);

/// As yang:date-and-time, to the millisecond and in UTC.
std::string written(std::chrono::system_clock::time_point time);

} // namespace ocamp::netconf
