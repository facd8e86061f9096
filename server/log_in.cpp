// How attempts are slowed, checked and told. Knows no protocol.
#include "server/log_in.h"

#include <algorithm>
#include <utility>

namespace ocamp::server {

namespace {

constexpr unsigned free_failures = 2;
constexpr std::chrono::seconds first_wait{1}, longest_wait{60};
constexpr std::chrono::minutes quiet_time{10};

} // namespace

LogInDelays::Clock::duration LogInDelays::wait_after(unsigned failures) noexcept {
    if (failures <= free_failures)
        return Clock::duration::zero();
    constexpr unsigned most_doublings = 6;
    return std::min<Clock::duration>(first_wait * (1U << std::min(failures - free_failures - 1, most_doublings)),
                                     longest_wait);
}

LogInDelays::Entry &LogInDelays::entry(const std::string &address, Clock::time_point now) {
    if (const auto found = by_address_.find(address); found != by_address_.end()) {
        latest_first_.splice(latest_first_.begin(), latest_first_, found->second);
        Entry &known = latest_first_.front();
        if (now > std::max(known.last, known.until) + quiet_time)
            known = {.address = address};
        return known;
    }
    if (by_address_.size() >= most_addresses) {
        by_address_.erase(latest_first_.back().address);
        latest_first_.pop_back();
    }
    latest_first_.push_front({.address = address});
    by_address_.emplace(address, latest_first_.begin());
    return latest_first_.front();
}

LogInDelays::Clock::time_point LogInDelays::next_turn(const std::string &address, Clock::time_point now) {
    Entry &known = entry(address, now);
    const Clock::time_point turn = std::max(now, known.until);
    known.last = now;
    known.until = turn + wait_after(known.failures);
    return turn;
}

void LogInDelays::failed(const std::string &address, Clock::time_point now) {
    Entry &known = entry(address, now);
    ++known.failures;
    known.last = now;
    known.until = std::max(known.until, now + wait_after(known.failures));
}

void LogInDelays::succeeded(const std::string &address) {
    const auto found = by_address_.find(address);
    if (found == by_address_.end())
        return;
    latest_first_.erase(found->second);
    by_address_.erase(found);
}

namespace {

// It takes as long as a log-in: once for all nodes of a process.
const std::string &nobodys_hash() {
    static const std::string hash = hash_password("nobody");
    return hash;
}

} // namespace

LogIns::LogIns(const StateFolder &folder, EventLog &log)
    : folder_(folder), log_(log), nobodys_hash_(nobodys_hash()), users_(Users::read(folder)),
      thread_([this] { run(); }) {}

LogIns::~LogIns() {
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

std::optional<User> LogIns::find(std::string_view user) const {
    const std::lock_guard lock(mutex_);
    const User *found = users_.find(user);
    return found != nullptr ? std::optional(*found) : std::nullopt;
}

LogInAnswer LogIns::tell(const Peer &peer, std::string_view user, std::string_view method,
                         const std::optional<User> &found) {
    log_.write(found ? Severity::info : Severity::warning, found ? "log-in" : "log-in-refused",
               {{"user", user},
                {"address", peer.address},
                {"port", peer.port},
                {"protocol", peer.protocol},
                {"method", method},
                {"role", found ? word_of(found->role) : "none"}});
    return found ? LogInAnswer(Principal{found->name, found->role}) : std::nullopt;
}

void LogIns::password(const Peer &peer, std::string_view user, std::string_view password,
                      std::function<void(const LogInAnswer &)> answer) {
    {
        const std::lock_guard lock(mutex_);
        if (waiting_.size() < most_waiting) {
            waiting_.emplace(delays_.next_turn(peer.address, Clock::now()),
                             Attempt{peer, std::string(user), std::string(password), std::move(answer)});
            changed_.notify_all();
            return;
        }
    }
    tell(peer, user, "password", std::nullopt);
    answer(std::nullopt);
}

void LogIns::check(const Attempt &attempt) {
    std::optional<User> found = find(attempt.user);
    const bool has_password = found && !found->password_hash.empty();
    const bool right = is_password(attempt.password, has_password ? found->password_hash : nobodys_hash_);
    if (!right || !has_password)
        found.reset();
    {
        const std::lock_guard lock(mutex_);
        if (found)
            delays_.succeeded(attempt.peer.address);
        else
            delays_.failed(attempt.peer.address, Clock::now());
    }
    attempt.answer(tell(attempt.peer, attempt.user, "password", found));
}

void LogIns::run() {
    std::unique_lock lock(mutex_);
    while (!ending_) {
        if (waiting_.empty()) {
            changed_.wait(lock);
        } else if (const Clock::time_point turn = waiting_.begin()->first; turn > Clock::now()) {
            changed_.wait_until(lock, turn);
        } else {
            const Attempt attempt = std::move(waiting_.extract(waiting_.begin()).mapped());
            lock.unlock();
            check(attempt);
            lock.lock();
        }
    }
}

LogInAnswer LogIns::public_key(const Peer &peer, std::string_view user, std::string_view type, std::string_view blob,
                               bool proven) {
    std::optional<User> found = find(user);
    const auto is_it = [&](const PublicKey &key) { return key.type == type && key.blob == blob; };
    if (found && std::none_of(found->keys.begin(), found->keys.end(), is_it))
        found.reset();
    if (proven) {
        const std::lock_guard lock(mutex_);
        if (found)
            delays_.succeeded(peer.address);
        else
            delays_.failed(peer.address, Clock::now());
    }
    if (proven || !found)
        return tell(peer, user, "public-key", found);
    return Principal{found->name, found->role};
}

LogInAnswer LogIns::certificate(const Peer &peer, std::string_view user) {
    return tell(peer, user, "certificate", find(user));
}

LogInAnswer LogIns::principal_of(std::string_view user) const {
    const std::optional<User> found = find(user);
    return found ? LogInAnswer(Principal{found->name, found->role}) : std::nullopt;
}

void LogIns::reload() {
    Users users = Users::read(folder_);
    const std::lock_guard lock(mutex_);
    users_ = std::move(users);
}

} // namespace ocamp::server
