// How connections are counted and ended.
#include "server/gnmi/connections.h"

#include <algorithm>

#include <fcntl.h>
#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace ocamp::gnmi {

// The service sees the end of its stream, and closes what it has of the connection.
void Connections::end(Held &held) noexcept {
    held.ended = true;
    shutdown(held.descriptor.get(), SHUT_RDWR);
}

// Whoever only holds connections keeps nobody out.
bool Connections::make_room_for(const std::string &network) {
    const auto waits = [](const Held &held) { return held.users.empty() && !held.ended; };
    const auto waits_at_address = [&](const Held &held) { return waits(held) && held.network == network; };
    auto leaving = all_.end();
    if (static_cast<std::size_t>(std::ranges::count_if(all_, waits_at_address)) >= limits_.connections_per_address)
        leaving = std::ranges::find_if(all_, waits_at_address);
    else if (all_.size() >= limits_.connections)
        leaving = std::ranges::find_if(all_, waits);
    if (leaving == all_.end())
        return false;
    end(*leaving);
    all_.erase(leaving);
    return true;
}

Connections::Added Connections::add(const server::AcceptedConnection &accepted, Clock::time_point now) {
    const std::lock_guard guard(mutex_);
    const std::string network = server::network_of(accepted.address);
    const bool made_room = make_room_for(network);
    if (all_.size() >= limits_.connections)
        return Added::full;
    server::Descriptor watched(fcntl(accepted.descriptor.get(), F_DUPFD_CLOEXEC, 0));
    if (watched.get() < 0)
        return Added::exhausted;
    all_.push_back({.descriptor = std::move(watched),
                    .address = accepted.address,
                    .network = network,
                    .port = accepted.port,
                    .late = now + limits_.log_in_time});
    return made_room ? Added::in_place_of_another : Added::in;
}

bool Connections::logged_in(const server::Peer &peer, const std::string &user) {
    const std::lock_guard guard(mutex_);
    const auto found = std::ranges::find_if(
        all_, [&](const Held &held) { return held.port == peer.port && held.address == peer.address; });
    if (found == all_.end() || std::ranges::find(found->users, user) != found->users.end())
        return true;
    const auto is_of_user = [&](const Held &held) { return !held.users.empty() && held.users.front() == user; };
    if (found->users.empty() &&
        static_cast<std::size_t>(std::ranges::count_if(all_, is_of_user)) >= limits_.connections_per_user)
        return false;
    found->users.push_back(user);
    return true;
}

// So many that whoever is in can work until the next ones have come.
void Connections::make_room() {
    constexpr int at_a_time = 16;
    const std::lock_guard guard(mutex_);
    int ended = 0;
    for (Held &held : all_) {
        if (!held.users.empty() || held.ended)
            continue;
        end(held);
        if (++ended == at_a_time)
            return;
    }
}

void Connections::users_changed(const std::function<bool(const std::string &user)> &is_there, Clock::time_point now) {
    const std::lock_guard guard(mutex_);
    for (Held &held : all_) {
        const bool had_one = !held.users.empty();
        std::erase_if(held.users, [&](const std::string &user) { return !is_there(user); });
        if (had_one && held.users.empty())
            held.late = now + limits_.log_in_time;
    }
}

void Connections::watch(std::vector<pollfd> &watched) const {
    const std::lock_guard guard(mutex_);
    // Only their end is of interest, which poll() tells anyhow.
    for (const Held &held : all_)
        watched.push_back({.fd = held.descriptor.get(), .events = 0, .revents = 0});
}

void Connections::drop_ended(std::span<const pollfd> watched) {
    const std::lock_guard guard(mutex_);
    std::size_t at = 0;
    std::erase_if(all_, [&](const Held &) { return watched[at++].revents != 0; });
}

// gRPC bounds headers, but not before it has a whole one: of one that never ends it copies all that has come, each time
// that more comes.
bool Connections::has_sent_too_much(const Held &held) noexcept {
    tcp_info info{};
    socklen_t size = sizeof info;
    return getsockopt(held.descriptor.get(), IPPROTO_TCP, TCP_INFO, &info, &size) == 0 &&
           info.tcpi_bytes_received > most_bytes_without_user;
}

void Connections::end_late(Clock::time_point now) {
    const std::lock_guard guard(mutex_);
    for (Held &held : all_) {
        if (held.users.empty() && !held.ended && (held.late <= now || has_sent_too_much(held)))
            end(held);
    }
}

Connections::Clock::time_point Connections::next_end() const {
    const std::lock_guard guard(mutex_);
    Clock::time_point next = Clock::time_point::max();
    for (const Held &held : all_) {
        if (held.users.empty() && !held.ended)
            next = std::min(next, held.late);
    }
    return next;
}

std::size_t Connections::count() const {
    const std::lock_guard guard(mutex_);
    return all_.size();
}

} // namespace ocamp::gnmi
