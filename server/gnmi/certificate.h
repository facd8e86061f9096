// The server's certificate: the operator's files, or one that the server signs itself. Knows no connection.
#pragma once

#include "server/adapter.h"
#include "server/event_log.h"
#include "server/state_folder.h"

#include <string>

namespace ocamp::gnmi {

/// PEM files.
struct CertificateFiles {
    std::string certificate, key;
};

/// The files of the settings after a look at them, or those of the folder, which are made with the host's names when
/// they are not there. Throws InputError for files that are no certificate with its key, server::StateError.
CertificateFiles certificate_files(const server::TlsSettings &settings, const server::StateFolder &folder,
                                   server::EventLog &log);

} // namespace ocamp::gnmi
