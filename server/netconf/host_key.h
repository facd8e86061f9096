// The key by which clients know the server again. Knows no connection.
#pragma once

#include "server/event_log.h"
#include "server/state_folder.h"

#include <memory>
#include <string>

#include <libssh/libssh.h>

namespace ocamp::netconf {

/// A key of libssh's with its owner.
using SshKey = std::unique_ptr<ssh_key_struct, void (*)(ssh_key)>;

/// The key of the folder; made, stored and logged when there is none. Throws StateError for one that cannot be used.
SshKey host_key(const server::StateFolder &folder, server::EventLog &log);

/// "SHA256:..." as clients show it. Throws std::bad_alloc.
std::string fingerprint(const SshKey &key);

} // namespace ocamp::netconf
