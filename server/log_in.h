// Log-ins: who may in, and how long an address has to wait that guessed wrong. Knows no protocol.
#pragma once

#include "server/event_log.h"
#include "server/identity.h"
#include "server/users.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <list>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace ocamp::server {

/// How long an address waits after wrong guesses. Keeps a bounded number of addresses, the latest. Not locked.
class LogInDelays {
  public:
    using Clock = std::chrono::steady_clock;

    /// From now until the address may try again; 0: now.
    Clock::duration wait(const std::string &address, Clock::time_point now) const;
    /// A wrong guess: after the third, each doubles the wait, from 1 s to 60 s. An address that was quiet for ten
    /// minutes begins anew.
    void failed(const std::string &address, Clock::time_point now);
    /// A right one: the address begins anew.
    void succeeded(const std::string &address);

    static constexpr std::size_t most_addresses = 4096;

  private:
    struct Entry {
        std::string address;
        unsigned failures = 0;
        Clock::time_point last = {};
        Clock::time_point until = {};
    };

    std::list<Entry> latest_first_;
    std::unordered_map<std::string, std::list<Entry>::iterator> by_address_;
};

/// What becomes of an attempt.
struct LogInAnswer {
    /// None: refused. The client is told nothing more.
    std::optional<Principal> principal;
    /// An attempt of the same address before this time has passed is refused unlooked at, right or wrong: the adapter
    /// holds its answer, or the next attempt, back for so long, or closes the connection.
    std::chrono::milliseconds wait{0};
};

/// Checks attempts against the users, slows them by address and logs each. Safe from any thread.
class LogIns {
  public:
    /// Both outlive this. Throws StateError.
    LogIns(const StateFolder &folder, EventLog &log);

    /// Takes some ten milliseconds in the caller's thread, also for a user who is not there; none while the address has
    /// to wait. At most two are hashed at a time.
    LogInAnswer password(const Peer &peer, std::string_view user, std::string_view password);

    /// A public key in base64, as PublicKey::blob. Without a `proven` signature the attempt only asks whether the key
    /// would do, and is not logged.
    LogInAnswer public_key(const Peer &peer, std::string_view user, std::string_view blob, bool proven);

    /// A user whose protocol has proved its name otherwise, such as by a client certificate.
    LogInAnswer certificate(const Peer &peer, std::string_view user);

    /// Reads the users anew; sessions that are there stay. Throws StateError; the users are as before then.
    void reload();

  private:
    std::optional<User> find(std::string_view user) const;
    LogInAnswer answer(const Peer &peer, std::string_view user, std::string_view method, std::optional<Role> role);
    std::optional<LogInAnswer> refused_unlooked_at(const Peer &peer, std::string_view user, std::string_view method);

    const StateFolder &folder_;
    EventLog &log_;
    mutable std::mutex mutex_; // guards what follows
    Users users_;
    LogInDelays delays_;
    std::string no_users_hash_; // hashed against when there is no such user
    std::mutex hashing_;
};

} // namespace ocamp::server
