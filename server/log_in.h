// Log-ins: who may in, and how long an address has to wait that guessed wrong. Knows no protocol.
#pragma once

#include "server/event_log.h"
#include "server/identity.h"
#include "server/users.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_map>

namespace ocamp::server {

/// How long an address, or what network_of makes of it, waits after wrong guesses. Keeps a bounded number of them, the
/// latest. Not locked.
class LogInDelays {
  public:
    using Clock = std::chrono::steady_clock;

    /// When an attempt of the address may be looked at, by the failures that are known now. In the past for most.
    Clock::time_point next_turn(const std::string &address) const;
    /// A wrong guess: from the third on the wait is 1 s and doubles up to 60 s. An address that was quiet for ten
    /// minutes begins anew.
    void failed(const std::string &address, Clock::time_point now);
    /// A right one: the address begins anew.
    void succeeded(const std::string &address);

    static constexpr std::size_t most_addresses = 4096;

  private:
    struct Entry {
        std::string address;
        unsigned failures = 0;
        Clock::time_point last = {};  // failure
        Clock::time_point until = {}; // the next turn
    };

    Entry &entry(const std::string &address, Clock::time_point now);
    static Clock::duration wait_after(unsigned failures) noexcept;

    std::list<Entry> latest_first_;
    std::unordered_map<std::string, std::list<Entry>::iterator> by_address_;
};

/// Who may in; none: refused, and the client is told nothing more.
using LogInAnswer = std::optional<Principal>;

/// Checks attempts against the users, slows them by address, and logs each. What network_of makes one is one address
/// here. Safe from any thread.
class LogIns {
  public:
    /// Both outlive this. Throws StateError.
    LogIns(const StateFolder &folder, EventLog &log);
    /// Attempts that wait are dropped unanswered.
    ~LogIns();
    LogIns(const LogIns &) = delete;
    LogIns &operator=(const LogIns &) = delete;

    /// Checks a password in a thread of its own, when the address need not wait any more: attempts of one address come
    /// one after the other, each after the wait that the ones before it have earned, and addresses take turns. `answer`
    /// is called there, once, and only hands over. False: too many wait, of that address or in all; nothing is checked
    /// and `answer` is not called. An attempt whose `is_wanted` says no leaves its place, unanswered; that is asked in
    /// any thread, without a lock of this object, and need not change back.
    [[nodiscard]] bool password(const Peer &peer, std::string_view user, std::string_view password,
                                std::function<bool()> is_wanted, std::function<void(const LogInAnswer &answer)> answer);

    /// A public key of that type and in base64, as PublicKey has them. Without a `proven` signature the attempt only
    /// asks whether the key would do; that is logged when it would not. A key that was proven in vain slows its address
    /// as a wrong password does. A question does not: clients ask for each of their keys in turn.
    LogInAnswer public_key(const Peer &peer, std::string_view user, std::string_view type, std::string_view blob,
                           bool proven);

    /// A user whose name the protocol has proved otherwise, such as by a client certificate.
    LogInAnswer certificate(const Peer &peer, std::string_view user);

    /// Who a user is now; none for one who is not there.
    LogInAnswer principal_of(std::string_view user) const;

    /// Reads the users anew; Core::reload_users also ends sessions. Throws StateError; the users are as before then.
    void reload();

    static constexpr std::size_t most_waiting = 1024;
    static constexpr std::size_t most_waiting_of_address = 32;
    /// Lines of the log about refusals; what is refused beyond them is counted, and told with the next one.
    static constexpr int most_refusals_told_a_second = 10;

  private:
    using Clock = LogInDelays::Clock;
    struct Attempt {
        Peer peer;
        std::string user, password;
        std::function<bool()> is_wanted;
        std::function<void(const LogInAnswer &)> answer;
    };
    using AttemptPointer = std::shared_ptr<const Attempt>;
    // What waits of one network; never empty.
    struct Line {
        std::string network;
        std::deque<AttemptPointer> waiting;
    };

    bool stand_in_line(const AttemptPointer &attempt);
    void drop_unwanted();
    AttemptPointer take_next(Clock::time_point now);
    std::optional<Clock::time_point> earliest_turn() const;

    std::optional<User> find(std::string_view user) const;
    LogInAnswer tell(const Peer &peer, std::string_view user, std::string_view method,
                     const std::optional<User> &found);
    std::optional<std::int64_t> take_refusal_line();
    void look_at(const Attempt &attempt);
    void check(const Attempt &attempt);
    void run();

    const StateFolder &folder_;
    EventLog &log_;
    const std::string &nobodys_hash_; // hashed against when there is no such user, so that both take as long

    mutable std::mutex mutex_; // guards what follows
    std::condition_variable changed_;
    Users users_;
    LogInDelays delays_;
    std::list<Line> lines_;                     // the one that was served last is the last
    std::size_t waiting_ = 0;                   // in all lines
    Clock::time_point refusals_told_from_ = {}; // the second that is counted
    int refusals_told_ = 0;                     // in it
    std::int64_t refusals_not_told_ = 0;        // since the last one that was
    bool ending_ = false;
    std::thread thread_;
};

} // namespace ocamp::server
