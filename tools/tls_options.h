// The options of protocols over TLS. Knows no protocol.
#pragma once

#include "server/adapter.h"

#include <CLI/CLI.hpp>

namespace ocamp {

/// --cert, --key, --client-ca and --insecure.
void add_tls_options(CLI::App &command, server::TlsSettings &tls);

} // namespace ocamp
