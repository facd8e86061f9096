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

namespace ocamp::gnmi {

/// What an RPC says about its user.
struct Credentials {
    std::optional<std::string> certificate_name; ///< when client certificates are asked for
    std::optional<std::string> user, password;   ///< of the metadata
};

/// Safe from any thread. Shared: an attempt that waits holds it.
class Authenticator : public std::enable_shared_from_this<Authenticator> {
  public:
    /// Outlives all calls of check().
    explicit Authenticator(server::Core &core);

    /// Calls `answer` once, at once or from another thread, with the user or none; when the server ends, perhaps never.
    void check(const server::Peer &peer, const Credentials &credentials,
               std::function<void(const server::LogInAnswer &answer)> answer);
    /// Forgets who has proved what: the users have been read anew.
    void forget();

  private:
    using Clock = std::chrono::steady_clock;
    using Fingerprint = std::array<unsigned char, 32>;
    struct Known {
        server::Principal principal;
        Clock::time_point until;
    };

    Fingerprint fingerprint(std::string_view kind, std::string_view user, std::string_view password) const;
    std::optional<server::Principal> find(const Fingerprint &fingerprint);
    void remember(const Fingerprint &fingerprint, const server::Principal &principal, std::uint64_t generation);
    std::uint64_t generation();

    server::Core &core_;
    const Fingerprint secret_; // so that what is kept tells nobody a password
    std::mutex mutex_;         // guards what follows
    std::map<Fingerprint, Known> known_;
    std::uint64_t generation_ = 0; // of the users
};

} // namespace ocamp::gnmi
