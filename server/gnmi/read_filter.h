// What has to be read of the node for a few paths. Knows nobody who asks.
#pragma once

#include "server/gnmi/path.h"
#include "server/requests.h"

#include <span>

namespace ocamp::gnmi {

/// A read that gives all that the paths name, and what lies beside them where that is simpler: data_nodes() finds the
/// same nodes in its answer as in one of the whole node. The paths are those of the models; their order says nothing.
server::Read read_of(std::span<const Path> paths);

/// The same without leaving anything out.
server::Read whole_read_of(std::span<const Path> paths);

/// Whether it leaves anything out.
bool is_partial(const server::Read &read);

} // namespace ocamp::gnmi
