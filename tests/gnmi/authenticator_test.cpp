// Which RPCs share an attempt to log in, and who gets no place.
#include "server/gnmi/authenticator.h"

#include "../server/served_node.h"

#include "server/log_in.h"
#include "server/users.h"

#include <atomic>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include <fmt/format.h>

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
        // From now on attempts of the addresses wait for a minute.
        for (int i = 0; i < 10; ++i) {
            core().log_ins().public_key(peer_, "olga", "ssh-ed25519", "AAAA", true);
            core().log_ins().public_key(next_peer_, "olga", "ssh-ed25519", "AAAA", true);
        }
    }
    void TearDown() override {
        authenticator_.reset();
        ServedNode::TearDown();
    }

    using Promise = std::shared_ptr<std::promise<Authentication>>;
    Promise ask(const std::string &password, std::shared_ptr<const std::atomic<bool>> wanted) {
        return ask(peer_, {.certificate_name = {}, .user = "olga", .password = password}, std::move(wanted));
    }
    Promise ask(const server::Peer &peer, const Credentials &credentials,
                std::shared_ptr<const std::atomic<bool>> wanted = std::make_shared<std::atomic<bool>>(true)) {
        const auto promise = std::make_shared<std::promise<Authentication>>();
        authenticator_->check(peer, credentials,
                              {[wanted] { return wanted->load(); },
                               [promise](const Authentication &found) { promise->set_value(found); }});
        return promise;
    }
    // By certificate, which is answered at once.
    bool is_known(const std::string &user) {
        return ask(peer_, {.certificate_name = user, .user = {}, .password = {}})->get_future().get().user.has_value();
    }
    static bool waits(const Promise &asked) {
        return asked->get_future().wait_for(std::chrono::seconds(0)) == std::future_status::timeout;
    }

    const server::Peer peer_{"gnmi", "192.0.2.1", 1}, next_peer_{"gnmi", "192.0.2.2", 1};
    std::shared_ptr<Authenticator> authenticator_;
};

TEST_F(GnmiAuthenticator, AskersOfOnePasswordAreOneAttemptAndThoseWhoAskNoMoreMakeRoom) {
    const auto wanted = std::make_shared<std::atomic<bool>>(true), still = std::make_shared<std::atomic<bool>>(true);
    // Those of another address have places of their own.
    const Promise next = ask(next_peer_, {.certificate_name = {}, .user = "olga", .password = "secret"});
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
    EXPECT_TRUE(waits(next));
    // The attempt that nobody asks any more has left its place when others need it: "other" has one, and these the
    // rest.
    std::size_t attempts = 0;
    while (core().log_ins().password(
        peer_, "olga", "x", [] { return true; }, [](const LogInAnswer &) {}))
        ++attempts;
    EXPECT_EQ(attempts, LogIns::most_waiting_of_address - 1);
}

TEST_F(GnmiAuthenticator, WhoHasNoPasswordIsNobody) {
    for (const Credentials &credentials : {Credentials{}, Credentials{{}, "olga", {}}, Credentials{{}, {}, "secret"}}) {
        const Authentication found = ask(peer_, credentials)->get_future().get();
        EXPECT_FALSE(found.user);
        EXPECT_EQ(found.lack, Authentication::Lack::not_proved);
    }
}

TEST_F(GnmiAuthenticator, ABoundedNumberOfUsersIsRemembered) {
    const StateFolder state(folder());
    const auto set_users = [&](int first, int count) {
        Users users;
        for (int i = first; i < first + count; ++i)
            users.add({fmt::format("u{}", i), Role::reader, "", {}});
        users.write(state);
        core().log_ins().reload();
    };
    constexpr int most = 1024;
    set_users(0, 1);
    EXPECT_TRUE(is_known("u0"));
    // Whoever is remembered is not looked for: the server says when users have been read anew.
    set_users(1, most);
    EXPECT_TRUE(is_known("u0"));
    for (int i = 1; i < most; ++i)
        EXPECT_TRUE(is_known(fmt::format("u{}", i)));
    EXPECT_TRUE(is_known("u0"));
    EXPECT_TRUE(is_known(fmt::format("u{}", most)));
    EXPECT_FALSE(is_known("u0"));
}

TEST_F(GnmiAuthenticator, WhoHasProvedAPasswordNeedsNoAttemptUntilTheUsersAreReadAnew) {
    const auto wanted = std::make_shared<std::atomic<bool>>(true);
    const Promise first =
        ask({"gnmi", "192.0.2.3", 1}, {.certificate_name = {}, .user = "olga", .password = "secret"}, wanted);
    EXPECT_TRUE(first->get_future().get().user);
    // At once, though attempts of this address wait.
    EXPECT_FALSE(waits(ask("secret", wanted)));
    EXPECT_TRUE(waits(ask("secret and more", wanted)));
    authenticator_->forget();
    EXPECT_TRUE(waits(ask("secret", wanted)));
}

} // namespace
