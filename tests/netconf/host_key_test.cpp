// The server's own key: made once, and read from then on.
#include "server/listeners.h"
#include "server/netconf/host_key.h"
#include "support/files.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace host_key_tests {

using namespace ocamp;
using testing::HasSubstr;
using testing::StartsWith;

class HostKeys : public testing::Test {
  private:
    support::TemporaryFolder folder_;
    server::Descriptor file_{open((folder_.path() / "log").c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600)};

  protected:
    std::string told() const { return support::read_file(folder_.path() / "log"); }

    server::StateFolder state_{folder_.path()};
    server::EventLog log_{server::LogFormat::text, file_.get()};
};

TEST_F(HostKeys, AreMadeOnceAndKept) {
    const std::string made = netconf::fingerprint(netconf::host_key(state_, log_));
    EXPECT_THAT(made, StartsWith("SHA256:"));
    EXPECT_THAT(told(), HasSubstr("info host-key-made fingerprint=" + made + "\n"));
    EXPECT_EQ(netconf::fingerprint(netconf::host_key(state_, log_)), made);
    EXPECT_THAT(told(), HasSubstr("info host-key-read fingerprint=" + made + "\n"));
}

TEST_F(HostKeys, ThatAreNoneAreRefusedByName) {
    state_.write("ssh_host_ed25519_key", "no key\n");
    try {
        netconf::host_key(state_, log_);
        ADD_FAILURE() << "read";
    } catch (const server::StateError &error) {
        EXPECT_EQ(error.what(), state_.path_of("ssh_host_ed25519_key").string() +
                                    ": no private key of SSH, expected one as the server makes it when the file is not "
                                    "there");
    }
}

} // namespace host_key_tests
