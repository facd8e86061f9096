// What the options of TLS are called.
#include "tls_options.h"

#include <string>

namespace ocamp {

void add_tls_options(CLI::App &command, server::TlsSettings &tls) {
    const auto add_file = [&](const char *name, std::string &file, const char *description) {
        command.add_option(name, file, description)->type_name("FILE")->group("TLS");
    };
    add_file("--cert", tls.certificate, "Certificate of the server; none: it makes one of its own");
    add_file("--key", tls.key, "Key of the certificate");
    add_file("--client-ca", tls.client_ca, "Certificates that sign those of clients, which then must have one");
    command.add_flag("--insecure", tls.insecure, "No TLS; on loopback only")->group("TLS");
}

} // namespace ocamp
