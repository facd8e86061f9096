// How certificates are made and checked.
#include "server/gnmi/certificate.h"

#include "seam/input_error.h"

#include <array>
#include <fstream>
#include <iterator>
#include <memory>
#include <vector>

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

template <class Type, void (*FreeIt)(Type *)>
struct Free {
    void operator()(Type *object) const noexcept { FreeIt(object); }
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

void ensure(bool done, std::string_view what) {
    if (!done)
        throw std::runtime_error(fmt::format("{}: {}", what, openssl_reason()));
}

std::string host_name() {
    std::array<char, 256> name{};
    return gethostname(name.data(), name.size() - 1) == 0 && name[0] != 0 ? name.data() : "localhost";
}

void add_extension(X509 &certificate, int kind, const std::string &value) {
    const Extension extension(X509V3_EXT_conf_nid(nullptr, nullptr, kind, value.c_str()));
    ensure(extension && X509_add_ext(&certificate, extension.get(), -1) == 1, "certificate");
}

Certificate self_signed(EVP_PKEY &key) {
    Certificate certificate(X509_new());
    ensure(certificate != nullptr, "certificate");
    X509 &made = *certificate;
    const std::string host = host_name();
    X509_set_version(&made, 2);
    ASN1_INTEGER_set(X509_get_serialNumber(&made), 1);
    X509_gmtime_adj(X509_getm_notBefore(&made), 0);
    X509_gmtime_adj(X509_getm_notAfter(&made), valid_seconds);
    X509_NAME *name = X509_get_subject_name(&made);
    // A common name has 64 characters at most; the whole name is among the alternatives.
    ensure(X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8,
                                      reinterpret_cast<const unsigned char *>(host.substr(0, 64).c_str()), -1, -1,
                                      0) == 1,
           "certificate");
    ensure(X509_set_issuer_name(&made, name) == 1 && X509_set_pubkey(&made, &key) == 1, "certificate");
    add_extension(made, NID_basic_constraints, "critical,CA:TRUE");
    add_extension(made, NID_subject_alt_name,
                  fmt::format("DNS:{},DNS:localhost,IP:127.0.0.1,IP:0:0:0:0:0:0:0:1", host));
    ensure(X509_sign(&made, &key, EVP_sha256()) != 0, "certificate");
    return certificate;
}

template <class Write>
std::string pem(Write write) {
    const Memory memory(BIO_new(BIO_s_mem()));
    ensure(memory && write(memory.get()) == 1, "certificate");
    char *data = nullptr;
    const long size = BIO_get_mem_data(memory.get(), &data);
    return {data, static_cast<std::size_t>(size)};
}

// The key is written first: a certificate that is there has its key.
void make_files(const server::StateFolder &folder, server::EventLog &log) {
    const Key key(EVP_EC_gen("P-256"));
    ensure(key != nullptr, "key");
    const Certificate certificate = self_signed(*key);
    folder.write(key_name, pem([&](BIO *to) {
                     return PEM_write_bio_PrivateKey(to, key.get(), nullptr, nullptr, 0, nullptr, nullptr);
                 }));
    folder.write(certificate_name, pem([&](BIO *to) { return PEM_write_bio_X509(to, certificate.get()); }));
    log.write(server::Severity::info, "certificate-made", {{"host", host_name()}});
}

Memory memory_of(const std::string &text) {
    Memory memory(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
    ensure(memory != nullptr, "certificate");
    return memory;
}

// All that a file holds, one at least. Throws InputError for a file without one, or with one that cannot be read.
std::vector<Certificate> certificates_in(const std::string &file, const std::string &text) {
    const Memory memory = memory_of(text);
    std::vector<Certificate> certificates;
    while (X509 *next = PEM_read_bio_X509(memory.get(), nullptr, nullptr, nullptr))
        certificates.emplace_back(next);
    // No further line that begins one is how a file ends.
    const bool ended = ERR_GET_REASON(ERR_peek_last_error()) == PEM_R_NO_START_LINE;
    const std::string reason = openssl_reason();
    if (certificates.empty())
        throw InputError(fmt::format("{}: {}, expected a certificate in PEM", file, reason));
    if (!ended)
        throw InputError(
            fmt::format("{}: certificate {}: {}, expected certificates in PEM", file, certificates.size() + 1, reason));
    return certificates;
}

// Throws InputError for texts that a server cannot begin TLS with.
void check_pair(const std::string &certificate_file, const std::string &key_file, const CertificateTexts &texts) {
    const Context context(SSL_CTX_new(TLS_server_method()));
    ensure(context != nullptr, "TLS");
    const std::vector<Certificate> certificates = certificates_in(certificate_file, texts.certificate);
    if (SSL_CTX_use_certificate(context.get(), certificates.front().get()) != 1)
        throw InputError(fmt::format("{}: {}, expected a certificate in PEM", certificate_file, openssl_reason()));
    const Memory keys = memory_of(texts.key);
    // There is nobody to ask for a pass phrase.
    const auto no_phrase = [](char *, int, int, void *) { return 0; };
    const Key key(PEM_read_bio_PrivateKey(keys.get(), nullptr, no_phrase, nullptr));
    if (!key || SSL_CTX_use_PrivateKey(context.get(), key.get()) != 1)
        throw InputError(
            fmt::format("{}: {}, expected the key of {} in PEM", key_file, openssl_reason(), certificate_file));
}

std::string content_of(const std::string &file) {
    std::ifstream opened(file, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(opened), {}};
    if (!opened)
        throw InputError(fmt::format("{}: cannot be read, expected a file in PEM", file));
    return text;
}

} // namespace

Certificates::Certificates(const server::TlsSettings &settings, const server::StateFolder &folder,
                           server::EventLog &log)
    : certificate_file_(settings.certificate), key_file_(settings.key), client_ca_file_(settings.client_ca), log_(log) {
    if (certificate_file_.empty() != key_file_.empty())
        throw InputError("--cert and --key: one without the other, expected both or none");
    if (certificate_file_.empty()) {
        if (!folder.read(certificate_name) || !folder.read(key_name))
            make_files(folder, log);
        certificate_file_ = folder.path_of(certificate_name);
        key_file_ = folder.path_of(key_name);
    }
    texts_ = read();
    check(texts_);
}

CertificateTexts Certificates::read() const {
    return {.certificate = content_of(certificate_file_),
            .key = content_of(key_file_),
            .client_ca = client_ca_file_.empty() ? "" : content_of(client_ca_file_)};
}

void Certificates::check(const CertificateTexts &texts) const {
    check_pair(certificate_file_, key_file_, texts);
    if (!client_ca_file_.empty())
        certificates_in(client_ca_file_, texts.client_ca);
}

void Certificates::look() {
    const std::lock_guard guard(mutex_);
    try {
        CertificateTexts texts = read();
        if (texts != texts_)
            check(texts);
        failure_.clear();
        if (texts == texts_)
            return;
        texts_ = std::move(texts);
        ++changes_;
        log_.write(server::Severity::info, "certificate-renewed", {{"file", certificate_file_}});
    } catch (const std::exception &error) {
        const bool again = failure_ == error.what();
        if (again && !failure_told_)
            log_.write(server::Severity::error, "certificate-not-renewed", {{"reason", error.what()}});
        failure_told_ = again;
        failure_ = error.what();
    }
}

std::pair<CertificateTexts, std::uint64_t> Certificates::current() const {
    const std::lock_guard guard(mutex_);
    return {texts_, changes_};
}

} // namespace ocamp::gnmi
