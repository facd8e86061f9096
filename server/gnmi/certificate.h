// The server's certificate and the authority of its clients: the operator's files, or a certificate that the server
// signs itself. Read anew when the files change. Knows no connection.
#pragma once

#include "server/adapter.h"
#include "server/event_log.h"
#include "server/state_folder.h"

#include <cstdint>
#include <mutex>
#include <string>
#include <utility>

namespace ocamp::gnmi {

/// What the files hold, in PEM.
struct CertificateTexts {
    std::string certificate, key;
    std::string client_ca; ///< empty: no client certificates are asked for
    bool operator==(const CertificateTexts &) const = default;
};

/// Safe from any thread.
class Certificates {
  public:
    /// The files of the settings, or those of the folder, which are made with the host's names when they are not there.
    /// `log` outlives it. Throws InputError for files that are no certificate with its key, server::StateError.
    Certificates(const server::TlsSettings &settings, const server::StateFolder &folder, server::EventLog &log);

    bool asks_clients() const noexcept { return !client_ca_file_.empty(); }
    /// Reads the files. Those that are right are taken. Wrong ones are told in the log, once, and change nothing; two
    /// looks in a row must find them wrong, as certificate and key are not replaced at one moment.
    void look();

    /// What was read last, and how often it has changed.
    std::pair<CertificateTexts, std::uint64_t> current() const;

  private:
    CertificateTexts read() const;
    void check(const CertificateTexts &texts) const;

    std::string certificate_file_, key_file_, client_ca_file_;
    server::EventLog &log_;
    mutable std::mutex mutex_; // guards what follows
    CertificateTexts texts_;
    std::uint64_t changes_ = 1;
    std::string failure_; // of the last look
    bool failure_told_ = false;
};

} // namespace ocamp::gnmi
