// Who an RPC comes from. Remembers for a short time who has proved it, for each RPC brings its password again and a
// password is slow to check, as it is meant to be. Knows no RPC.
#pragma once

#include "server/core.h"

#include <array>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace ocamp::gnmi {

/// What an RPC says about its user.
struct Credentials {
    std::optional<std::string> certificate_name; ///< when client certificates are asked for
    std::optional<std::string> user, password;   ///< of the metadata
};

/// What has come of an RPC's credentials.
struct Authentication {
    /// Why there is no user.
    enum class Lack {
        not_proved,          ///< nobody was named, or nobody's password
        too_many_attempts,   ///< nobody looked at them: too many attempts or RPCs wait
        too_many_connections ///< of a user who has proved it
    };

    server::LogInAnswer user = {};
    Lack lack = Lack::not_proved; ///< without a user
};

/// Safe from any thread. Shared: an attempt that waits holds it.
class Authenticator : public std::enable_shared_from_this<Authenticator> {
  public:
    /// Outlives all calls of check().
    explicit Authenticator(server::Core &core);

    /// Who wants to know: `answer` is called once, at once or from another thread; perhaps never when the server ends,
    /// or when `is_wanted` has said no. That is asked in any thread, and need not change back.
    struct Asker {
        std::function<bool()> is_wanted;
        std::function<void(const Authentication &)> answer;
    };

    /// RPCs of one address with the same password share one attempt while it waits.
    void check(const server::Peer &peer, const Credentials &credentials, const Asker &asker);
    /// Forgets who has proved what: the users have been read anew.
    void forget();

    static constexpr std::size_t most_askers_of_address = 256;

  private:
    using Clock = std::chrono::steady_clock;
    using Fingerprint = std::array<unsigned char, 32>;
    struct Known {
        server::Principal principal;
        Clock::time_point until;
    };

    // The address as network_of has it, what it says, and the generation of users that it says it to.
    using Question = std::tuple<std::string, Fingerprint, std::uint64_t>;

    void check_password(const server::Peer &peer, std::string_view user, std::string_view password,
                        const Question &question, const Asker &asker);
    bool ask(const Question &question, const Asker &asker, bool &first);
    void drop_unwanted(const std::string &address);
    bool is_wanted(const Question &question);
    void answer(const Question &question, const Authentication &found);
    Fingerprint fingerprint(std::string_view kind, std::string_view user, std::string_view password) const;
    std::optional<server::Principal> find(const Fingerprint &fingerprint);
    void remember(const Fingerprint &fingerprint, const server::Principal &principal, std::uint64_t generation);
    std::uint64_t generation();

    server::Core &core_;
    const Fingerprint secret_; // so that what is kept tells nobody a password
    std::mutex mutex_;         // guards what follows
    std::map<Fingerprint, Known> known_;
    std::map<Question, std::vector<Asker>> asked_; // while their attempts wait
    std::uint64_t generation_ = 0;                 // of the users
};

} // namespace ocamp::gnmi
