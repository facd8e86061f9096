// How certificates are made and checked.
#include "server/gnmi/certificate.h"

#include "seam/input_error.h"

#include <array>
#include <memory>

#include <fmt/format.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <unistd.h>

namespace ocamp::gnmi {

namespace {

constexpr std::string_view certificate_name = "gnmi-certificate.pem", key_name = "gnmi-key.pem";
constexpr long valid_seconds = 10L * 365 * 24 * 3600;

template <class Type, void (*free_it)(Type *)>
struct Free {
    void operator()(Type *object) const noexcept { free_it(object); }
};
using Certificate = std::unique_ptr<X509, Free<X509, X509_free>>;
using Key = std::unique_ptr<EVP_PKEY, Free<EVP_PKEY, EVP_PKEY_free>>;
using Memory = std::unique_ptr<BIO, Free<BIO, BIO_free_all>>;
using Extension = std::unique_ptr<X509_EXTENSION, Free<X509_EXTENSION, X509_EXTENSION_free>>;
using Context = std::unique_ptr<SSL_CTX, Free<SSL_CTX, SSL_CTX_free>>;

std::string openssl_reason() {
    const char *reason = ERR_reason_error_string(ERR_peek_last_error());
    ERR_clear_error();
    return reason != nullptr ? reason : "unknown reason";
}

void check(bool done, std::string_view what) {
    if (!done)
        throw std::runtime_error(fmt::format("{}: {}", what, openssl_reason()));
}

std::string host_name() {
    std::array<char, 256> name{};
    return gethostname(name.data(), name.size() - 1) == 0 && name[0] != 0 ? name.data() : "localhost";
}

void add_extension(X509 &certificate, int kind, const std::string &value) {
    const Extension extension(X509V3_EXT_conf_nid(nullptr, nullptr, kind, value.c_str()));
    check(extension && X509_add_ext(&certificate, extension.get(), -1) == 1, "certificate");
}

Certificate self_signed(EVP_PKEY &key) {
    Certificate certificate(X509_new());
    check(certificate != nullptr, "certificate");
    X509 &made = *certificate;
    const std::string host = host_name();
    X509_set_version(&made, 2);
    ASN1_INTEGER_set(X509_get_serialNumber(&made), 1);
    X509_gmtime_adj(X509_getm_notBefore(&made), 0);
    X509_gmtime_adj(X509_getm_notAfter(&made), valid_seconds);
    X509_NAME *name = X509_get_subject_name(&made);
    // A common name has 64 characters at most; the whole name is among the alternatives.
    check(X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8,
                                     reinterpret_cast<const unsigned char *>(host.substr(0, 64).c_str()), -1, -1,
                                     0) == 1,
          "certificate");
    check(X509_set_issuer_name(&made, name) == 1 && X509_set_pubkey(&made, &key) == 1, "certificate");
    add_extension(made, NID_basic_constraints, "critical,CA:TRUE");
    add_extension(made, NID_subject_alt_name,
                  fmt::format("DNS:{},DNS:localhost,IP:127.0.0.1,IP:0:0:0:0:0:0:0:1", host));
    check(X509_sign(&made, &key, EVP_sha256()) != 0, "certificate");
    return certificate;
}

template <class Write>
std::string pem(Write write) {
    const Memory memory(BIO_new(BIO_s_mem()));
    check(memory && write(memory.get()) == 1, "certificate");
    char *data = nullptr;
    const long size = BIO_get_mem_data(memory.get(), &data);
    return {data, static_cast<std::size_t>(size)};
}

// The key is written first: a certificate that is there has its key.
void make_files(const server::StateFolder &folder, server::EventLog &log) {
    const Key key(EVP_EC_gen("P-256"));
    check(key != nullptr, "key");
    const Certificate certificate = self_signed(*key);
    folder.write(key_name, pem([&](BIO *to) {
                     return PEM_write_bio_PrivateKey(to, key.get(), nullptr, nullptr, 0, nullptr, nullptr);
                 }));
    folder.write(certificate_name, pem([&](BIO *to) { return PEM_write_bio_X509(to, certificate.get()); }));
    log.write(server::Severity::info, "certificate-made", {{"host", host_name()}});
}

void check_files(const CertificateFiles &files) {
    const Context context(SSL_CTX_new(TLS_server_method()));
    check(context != nullptr, "TLS");
    if (SSL_CTX_use_certificate_chain_file(context.get(), files.certificate.c_str()) != 1)
        throw InputError(fmt::format("{}: {}, expected a certificate in PEM", files.certificate, openssl_reason()));
    if (SSL_CTX_use_PrivateKey_file(context.get(), files.key.c_str(), SSL_FILETYPE_PEM) != 1)
        throw InputError(
            fmt::format("{}: {}, expected the key of {} in PEM", files.key, openssl_reason(), files.certificate));
}

} // namespace

CertificateFiles certificate_files(const server::TlsSettings &settings, const server::StateFolder &folder,
                                   server::EventLog &log) {
    CertificateFiles files{settings.certificate, settings.key};
    if (files.certificate.empty() != files.key.empty())
        throw InputError("--cert and --key: one without the other, expected both or none");
    if (files.certificate.empty()) {
        if (!folder.read(certificate_name) || !folder.read(key_name))
            make_files(folder, log);
        files = {folder.path_of(certificate_name), folder.path_of(key_name)};
    }
    check_files(files);
    if (settings.client_ca.empty())
        return files;
    const Context context(SSL_CTX_new(TLS_server_method()));
    check(context != nullptr, "TLS");
    if (SSL_CTX_load_verify_locations(context.get(), settings.client_ca.c_str(), nullptr) != 1)
        throw InputError(fmt::format("{}: {}, expected certificates in PEM", settings.client_ca, openssl_reason()));
    return files;
}

} // namespace ocamp::gnmi
