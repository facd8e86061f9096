// The server's certificates: those that it makes, and those that it cannot begin with; and where it needs none.
#include "../server/served_node.h"
#include "seam/input_error.h"
#include "server/gnmi/certificate.h"
#include "server/gnmi/serve.h"
#include "support/program.h"

#include <filesystem>

#include <gmock/gmock.h>

using namespace ocamp;
using namespace ocamp::gnmi;
using testing::HasSubstr;

namespace {

class GnmiCertificates : public testing::Test {
  protected:
    Certificates certificates(const server::TlsSettings &settings = {}) { return {settings, state_, log_}; }

    support::TemporaryFolder folder_;
    server::StateFolder state_{folder_.path()};
    server::EventLog log_{server::LogFormat::text, -1};
};

TEST_F(GnmiCertificates, AreMadeOnceAndAnewWhenOneOfTheFilesIsGone) {
    const CertificateTexts made = certificates().current().first;
    EXPECT_THAT(made.certificate, testing::StartsWith("-----BEGIN CERTIFICATE-----"));
    EXPECT_EQ(certificates().current().first, made);
    for (const char *file : {"gnmi-key.pem", "gnmi-certificate.pem"}) {
        const CertificateTexts before = certificates().current().first;
        state_.remove(file);
        const CertificateTexts after = certificates().current().first;
        EXPECT_NE(after.certificate, before.certificate) << file;
        EXPECT_NE(after.key, before.key) << file;
    }
}

TEST_F(GnmiCertificates, ThatTlsDoesNotTakeAreRefused) {
    const std::string file = (folder_.path() / "weak.pem").string(), key = (folder_.path() / "weak.key").string();
    const support::Outcome made =
        support::run({.words = {"/usr/bin/openssl", "req", "-x509", "-newkey", "rsa:1024", "-nodes", "-subj",
                                "/CN=weak", "-out", file, "-keyout", key}});
    ASSERT_EQ(made.status, 0) << made.err;
    EXPECT_THAT(
        [&] { certificates({.certificate = file, .key = key}); },
        testing::ThrowsMessage<InputError>(testing::AllOf(testing::StartsWith(file + ": "), HasSubstr("too small"),
                                                          HasSubstr("expected a certificate in PEM"))));
}

class GnmiServe : public server_tests::ServedNode {
  protected:
    std::unique_ptr<server::Adapter> serve_at(const std::string &address) {
        return serve(core(), {.sockets = server::listen_on(address), .call_home = {}, .tls = {.insecure = true}});
    }
};

TEST_F(GnmiServe, WithoutTlsServesLoopbackAddressesAlone) {
    for (const char *loopback : {"127.0.0.1:0", "127.0.0.2:0", "[::1]:0"})
        EXPECT_NO_THROW(serve_at(loopback)->stop(std::chrono::milliseconds(0))) << loopback;
    for (const char *other : {"0.0.0.0:0", "[::]:0"})
        EXPECT_THAT([&] { serve_at(other); }, testing::ThrowsMessage<server::ListenError>(HasSubstr(
                                                  "--insecure, expected an address of the loopback interface")))
            << other;
}

} // namespace
