// How attempts are slowed, checked and told. Knows no protocol.
#include "server/log_in.h"

#include <algorithm>
#include <semaphore>
#include <unordered_set>
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

LogInDelays::Clock::time_point LogInDelays::next_turn(const std::string &address) const {
    const auto found = by_address_.find(address);
    return found != by_address_.end() ? found->second->until : Clock::time_point{};
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

// How many were not told before this one; none: this one is not told either.
std::optional<std::int64_t> LogIns::take_refusal_line() {
    const std::lock_guard lock(mutex_);
    const Clock::time_point now = Clock::now();
    if (now - refusals_told_from_ >= std::chrono::seconds(1)) {
        refusals_told_from_ = now;
        refusals_told_ = 0;
    }
    if (refusals_told_ == most_refusals_told_a_second) {
        ++refusals_not_told_;
        return std::nullopt;
    }
    ++refusals_told_;
    return std::exchange(refusals_not_told_, 0);
}

LogInAnswer LogIns::tell(const Peer &peer, std::string_view user, std::string_view method,
                         const std::optional<User> &found) {
    if (!found) {
        const std::optional<std::int64_t> not_told = take_refusal_line();
        if (!not_told)
            return std::nullopt;
        if (*not_told != 0)
            log_.write(Severity::warning, "log-ins-refused", {{"count", *not_told}});
    }
    log_.write(found ? Severity::info : Severity::warning, found ? "log-in" : "log-in-refused",
               {{"user", user},
                {"address", peer.address},
                {"port", peer.port},
                {"protocol", peer.protocol},
                {"method", method},
                {"role", found ? word_of(found->role) : "none"}});
    return found ? LogInAnswer(Principal{found->name, found->role}) : std::nullopt;
}

bool LogIns::password(const Peer &peer, std::string_view user, std::string_view password,
                      std::function<bool()> is_wanted, std::function<void(const LogInAnswer &answer)> answer) {
    const auto attempt = std::make_shared<const Attempt>(
        Attempt{peer, std::string(user), std::string(password), std::move(is_wanted), std::move(answer)});
    if (stand_in_line(attempt))
        return true;
    drop_unwanted();
    if (stand_in_line(attempt))
        return true;
    tell(peer, user, "password", std::nullopt);
    return false;
}

bool LogIns::stand_in_line(const AttemptPointer &attempt) {
    const std::lock_guard lock(mutex_);
    const std::string network = network_of(attempt->peer.address);
    auto line = std::find_if(lines_.begin(), lines_.end(), [&](const Line &one) { return one.network == network; });
    if (waiting_ >= most_waiting || (line != lines_.end() && line->waiting.size() >= most_waiting_of_address))
        return false;
    if (line == lines_.end())
        line = lines_.insert(lines_.end(), {.network = network, .waiting = {}});
    line->waiting.push_back(attempt);
    ++waiting_;
    changed_.notify_all();
    return true;
}

// Asks, and lets go of attempts, without the lock: what they hold may have locks of its own.
void LogIns::drop_unwanted() {
    std::unordered_set<AttemptPointer> unwanted;
    {
        const std::lock_guard lock(mutex_);
        for (const Line &line : lines_)
            unwanted.insert(line.waiting.begin(), line.waiting.end());
    }
    std::erase_if(unwanted, [](const AttemptPointer &attempt) { return attempt->is_wanted(); });
    const std::lock_guard lock(mutex_);
    for (Line &line : lines_)
        waiting_ -= std::erase_if(line.waiting, [&](const AttemptPointer &one) { return unwanted.contains(one); });
    lines_.remove_if([](const Line &line) { return line.waiting.empty(); });
}

// With the lock held. The line goes behind all others, so that whoever guesses costs others one check at a time.
LogIns::AttemptPointer LogIns::take_next(Clock::time_point now) {
    const auto line = std::find_if(lines_.begin(), lines_.end(),
                                   [&](const Line &one) { return delays_.next_turn(one.network) <= now; });
    if (line == lines_.end())
        return nullptr;
    AttemptPointer attempt = std::move(line->waiting.front());
    line->waiting.pop_front();
    --waiting_;
    if (line->waiting.empty())
        lines_.erase(line);
    else
        lines_.splice(lines_.end(), lines_, line);
    return attempt;
}

// With the lock held. None: nobody waits.
std::optional<LogIns::Clock::time_point> LogIns::earliest_turn() const {
    std::optional<Clock::time_point> earliest;
    for (const Line &line : lines_) {
        const Clock::time_point turn = delays_.next_turn(line.network);
        earliest = earliest ? std::min(*earliest, turn) : turn;
    }
    return earliest;
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
            delays_.succeeded(network_of(attempt.peer.address));
        else
            delays_.failed(network_of(attempt.peer.address), Clock::now());
    }
    attempt.answer(tell(attempt.peer, attempt.user, "password", found));
}

// A check takes 16 MiB and all of a core: a few at a time in the whole process, or the nodes of a line together would
// take all memory and all time of it.
void LogIns::look_at(const Attempt &attempt) {
    constexpr int at_a_time = 4;
    static std::counting_semaphore<at_a_time> turns(at_a_time);
    turns.acquire();
    if (attempt.is_wanted())
        check(attempt);
    turns.release();
}

void LogIns::run() {
    std::unique_lock lock(mutex_);
    while (!ending_) {
        if (AttemptPointer attempt = take_next(Clock::now())) {
            lock.unlock();
            look_at(*attempt);
            attempt.reset();
            lock.lock();
        } else if (const std::optional<Clock::time_point> turn = earliest_turn()) {
            changed_.wait_until(lock, *turn);
        } else {
            changed_.wait(lock);
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
            delays_.succeeded(network_of(peer.address));
        else
            delays_.failed(network_of(peer.address), Clock::now());
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
