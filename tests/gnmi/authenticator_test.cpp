// Which RPCs share an attempt to log in, and who gets no place.
#include "server/gnmi/authenticator.h"

#include "../server/served_node.h"

#include "server/users.h"

#include <atomic>
#include <future>
#include <memory>
#include <string>
#include <vector>

using namespace server_tests;
using namespace ocamp::gnmi;

namespace {

class GnmiAuthenticator : public ServedNode {
  protected:
    void SetUp() override {
        ServedNode::SetUp();
        Users users;
        users.add({"olga", Role::operator_, hash_password("secret"), {}});
        users.write(StateFolder(folder()));
        restart();
        authenticator_ = std::make_shared<Authenticator>(core());
        // From now on attempts of the address wait for a minute.
        for (int i = 0; i < 10; ++i)
            core().log_ins().public_key(peer_, "olga", "ssh-ed25519", "AAAA", true);
    }
    void TearDown() override {
        authenticator_.reset();
        ServedNode::TearDown();
    }

    using Promise = std::shared_ptr<std::promise<Authentication>>;
    Promise ask(const std::string &password, std::shared_ptr<const std::atomic<bool>> wanted) {
        return ask(peer_, password, std::move(wanted));
    }
    Promise ask(const server::Peer &peer, const std::string &password,
                std::shared_ptr<const std::atomic<bool>> wanted) {
        const auto promise = std::make_shared<std::promise<Authentication>>();
        authenticator_->check(peer, {.certificate_name = {}, .user = "olga", .password = password},
                              {[wanted] { return wanted->load(); },
                               [promise](const Authentication &found) { promise->set_value(found); }});
        return promise;
    }
    static bool waits(const Promise &asked) {
        return asked->get_future().wait_for(std::chrono::seconds(0)) == std::future_status::timeout;
    }

    const server::Peer peer_{"gnmi", "192.0.2.1", 1};
    std::shared_ptr<Authenticator> authenticator_;
};

TEST_F(GnmiAuthenticator, AskersOfOnePasswordAreOneAttemptAndThoseWhoAskNoMoreMakeRoom) {
    const auto wanted = std::make_shared<std::atomic<bool>>(true), still = std::make_shared<std::atomic<bool>>(true);
    // Of attempts there would be room for an eighth.
    std::vector<Promise> asked;
    for (std::size_t i = 0; i < Authenticator::most_askers_of_address; ++i)
        asked.push_back(ask("secret", wanted));
    const Promise late = ask("other", still);
    EXPECT_EQ(late->get_future().get().lack, Authentication::Lack::too_many_attempts);
    for (const Promise &one : asked)
        EXPECT_TRUE(waits(one));
    *wanted = false;
    EXPECT_TRUE(waits(ask("other", still)));
}

TEST_F(GnmiAuthenticator, WhoHasProvedAPasswordNeedsNoAttemptUntilTheUsersAreReadAnew) {
    const auto wanted = std::make_shared<std::atomic<bool>>(true);
    const Promise first = ask({"gnmi", "192.0.2.2", 1}, "secret", wanted);
    EXPECT_TRUE(first->get_future().get().user);
    // At once, though attempts of this address wait.
    EXPECT_FALSE(waits(ask("secret", wanted)));
    EXPECT_TRUE(waits(ask("secret and more", wanted)));
    authenticator_->forget();
    EXPECT_TRUE(waits(ask("secret", wanted)));
}

} // namespace
