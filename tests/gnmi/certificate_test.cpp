// The certificate that the server signs for itself, and what it says of files that are none. The name of the host is
// this test's: it stands in the place of the C library's function.
#include "server/gnmi/certificate.h"

#include "seam/failure.h"
#include "support/files.h"

#include <cstring>
#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

using namespace ocamp;
using namespace ocamp::gnmi;
using testing::HasSubstr;

namespace {

// What gethostname() gives; NULL: it fails.
const char *name_of_host = "localhost";

} // namespace

extern "C" int gethostname(char *name, std::size_t size) noexcept {
    if (name_of_host == nullptr)
        return -1;
    std::strncpy(name, name_of_host, size);
    return 0;
}

namespace {

using X509Pointer = std::unique_ptr<X509, decltype(&X509_free)>;

class GnmiCertificate : public testing::Test {
  protected:
    // The one that the server makes on a host of this name.
    X509Pointer made_on(const char *host) {
        name_of_host = host;
        state_.remove("gnmi-certificate.pem");
        const Certificates certificates(server::TlsSettings{}, state_, log_);
        name_of_host = "localhost";
        const std::string text = certificates.current().first.certificate;
        const std::unique_ptr<BIO, decltype(&BIO_free)> from(
            BIO_new_mem_buf(text.data(), static_cast<int>(text.size())), BIO_free);
        return {PEM_read_bio_X509(from.get(), nullptr, nullptr, nullptr), X509_free};
    }
    static bool is_of_host(const X509Pointer &certificate, const std::string &host) {
        return X509_check_host(certificate.get(), host.data(), host.size(), 0, nullptr) == 1;
    }
    std::string file(const std::string &name, const std::string &content) {
        support::write_file(folder_.path() / name, content);
        return folder_.path() / name;
    }

    support::TemporaryFolder folder_;
    server::StateFolder state_{folder_.path()};
    server::EventLog log_{server::LogFormat::text, -1}; // lost
};

TEST_F(GnmiCertificate, OfTheServerIsItsOwnAuthority) {
    const X509Pointer made = made_on("amplifier-17");
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(X509_NAME_cmp(X509_get_subject_name(made.get()), X509_get_issuer_name(made.get())), 0);
    EXPECT_GT(X509_NAME_entry_count(X509_get_issuer_name(made.get())), 0);
    ASSERT_NE(X509_get0_pubkey(made.get()), nullptr);
    EXPECT_EQ(X509_verify(made.get(), X509_get0_pubkey(made.get())), 1);
    EXPECT_EQ(X509_check_ca(made.get()), 1);
}

TEST_F(GnmiCertificate, HasTheNamesOfTheHost) {
    for (const char *host : {"amplifier-17", "a"}) {
        const X509Pointer made = made_on(host);
        EXPECT_TRUE(is_of_host(made, host)) << host;
        EXPECT_TRUE(is_of_host(made, "localhost"));
        EXPECT_FALSE(is_of_host(made, "amplifier-18"));
        EXPECT_EQ(X509_check_ip_asc(made.get(), "127.0.0.1", 0), 1);
        EXPECT_EQ(X509_check_ip_asc(made.get(), "::1", 0), 1);
    }
    // A host without one is the local one.
    for (const char *none : {static_cast<const char *>(nullptr), ""})
        EXPECT_TRUE(is_of_host(made_on(none), "localhost"));
}

TEST_F(GnmiCertificate, FilesThatAreNoneAreRefusedByName) {
    made_on("a");
    const std::string good = state_.path_of("gnmi-certificate.pem"), key = state_.path_of("gnmi-key.pem");
    const auto refusal = [&](const server::TlsSettings &settings) -> std::string {
        try {
            const Certificates read(settings, state_, log_);
            return "none";
        } catch (const InputError &error) {
            return error.what();
        }
    };
    EXPECT_EQ(refusal({.certificate = good, .key = key}), "none");
    EXPECT_EQ(refusal({.certificate = good, .key = key, .client_ca = good}), "none");
    EXPECT_EQ(refusal({.certificate = good}), "--cert and --key: one without the other, expected both or none");
    const std::string gone = folder_.path() / "gone";
    EXPECT_EQ(refusal({.certificate = gone, .key = key}), gone + ": cannot be read, expected a file in PEM");
    const std::string none = file("none", "no certificate");
    EXPECT_EQ(refusal({.certificate = none, .key = key}), none + ": no start line, expected a certificate in PEM");
    EXPECT_EQ(refusal({.certificate = good, .key = none}),
              none + ": unsupported, expected the key of " + good + " in PEM");
    const std::string damaged = "-----BEGIN CERTIFICATE-----\nMIIB\n-----END CERTIFICATE-----\n";
    const std::string second = file("second", support::read_file(good) + damaged);
    EXPECT_THAT(refusal({.certificate = second, .key = key}),
                testing::AllOf(HasSubstr(second + ": certificate 2: "), HasSubstr(", expected certificates in PEM")));
}

} // namespace
