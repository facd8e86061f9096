// The adapter's thread: one poll() over sockets, connections and what other threads post. Knows no message.
#include "server/netconf/serve.h"

#include "server/core.h"
#include "server/netconf/call_home.h"
#include "server/netconf/connection.h"
#include "server/netconf/host_key.h"
#include "server/netconf/mailbox.h"
#include "server/netconf/models.h"
#include "server/netconf/request.h"
#include "yang/expat_library.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <map>
#include <stdexcept>
#include <thread>
#include <utility>

#include <fmt/format.h>
#include <poll.h>

namespace ocamp::netconf {

namespace {

using Clock = std::chrono::steady_clock;

// How long no connection is accepted after descriptors ran out.
constexpr std::chrono::milliseconds exhaustion_pause{200};
// Connections that are accepted before those that are there have their turn.
constexpr int most_accepted_at_once = 16;

using SshBind = std::unique_ptr<ssh_bind_struct, void (*)(ssh_bind)>;

SshBind make_bind(const server::StateFolder &folder, server::EventLog &log) {
    SshBind bind(ssh_bind_new(), ssh_bind_free);
    if (bind == nullptr)
        throw std::bad_alloc();
    // No file of the machine's says how this server behaves.
    const bool process_config = false;
    SshKey key = host_key(folder, log);
    if (ssh_bind_options_set(bind.get(), SSH_BIND_OPTIONS_PROCESS_CONFIG, &process_config) != SSH_OK ||
        ssh_bind_options_set(bind.get(), SSH_BIND_OPTIONS_IMPORT_KEY, key.get()) != SSH_OK)
        throw std::runtime_error(fmt::format("SSH: {}", ssh_get_error(bind.get())));
    static_cast<void>(key.release()); // it is the bind's now
    return bind;
}

class Server : public server::Adapter {
  public:
    Server(server::Core &core, server::ServeSettings settings)
        : core_(core), sockets_(std::move(settings.sockets)),
          mailbox_(std::make_shared<Mailbox>()), surroundings_{core, mailbox_, statistics_},
          bind_(make_bind(core.state_folder(), core.log())), door_{surroundings_, bind_.get()},
          call_home_(settings.call_home, core.log()) {
        statistics_.started = core.statistics().started;
        expat(); // loaded while there are descriptors left
        thread_ = std::thread([this] { run(); });
    }

    ~Server() override { Server::stop(std::chrono::milliseconds(0)); }

    // The host key stays for as long as the server runs; users are the core's.
    void reload() override {}

    void stop(std::chrono::milliseconds limit) override {
        if (!thread_.joinable())
            return;
        mailbox_->post([this, limit] {
            stop_by_ = Clock::now() + limit;
            sockets_.clear();
            for (const Held &held : connections_)
                held.connection->close(server::SessionEnd::shutdown, limit);
        });
        thread_.join();
    }

  private:
    struct Held {
        std::shared_ptr<Connection> connection;
        std::optional<std::size_t> called; ///< the client that the server called
    };

    void run() {
        while (!stop_by_ || (!connections_.empty() && Clock::now() < *stop_by_)) {
            wait();
            const Clock::time_point now = Clock::now();
            mailbox_->run();
            if (!stop_by_) {
                accept_all(now);
                for (CallHome::Made &made : call_home_.run(now))
                    add(std::move(made.connection), made.client, now);
            }
            run_connections(now);
        }
        connections_.clear();
    }

    void wait() {
        watched_.clear();
        watched_.push_back({.fd = mailbox_->descriptor(), .events = POLLIN, .revents = 0});
        for (const Held &held : connections_)
            watched_.push_back(
                {.fd = held.connection->descriptor(), .events = held.connection->wanted_events(), .revents = 0});
        const bool accepting = Clock::now() >= accept_again_;
        if (accepting) {
            for (const server::ListeningSocket &socket : sockets_)
                watched_.push_back({.fd = socket.descriptor.get(), .events = POLLIN, .revents = 0});
        }
        call_home_.watch(watched_);
        if (::poll(watched_.data(), watched_.size(), timeout()) < 0 && errno != EINTR)
            throw std::system_error(errno, std::generic_category(), "poll");
    }

    int timeout() const {
        std::optional<Clock::time_point> first = stop_by_;
        const auto consider = [&](std::optional<Clock::time_point> time) {
            if (time)
                first = first ? std::min(*first, *time) : *time;
        };
        for (const Held &held : connections_)
            consider(held.connection->deadline());
        if (!stop_by_)
            consider(call_home_.deadline());
        if (Clock::now() < accept_again_)
            consider(accept_again_);
        if (!first)
            return -1;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(*first - Clock::now());
        return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, 60000));
    }

    void accept_all(Clock::time_point now) {
        if (now < accept_again_)
            return;
        for (const server::ListeningSocket &socket : sockets_) {
            for (int count = 0; count < most_accepted_at_once; ++count) {
                server::Accepted accepted = server::accept_from(socket);
                if (accepted.exhausted)
                    accept_again_ = now + exhaustion_pause;
                if (!accepted.connection)
                    break;
                add(std::move(*accepted.connection), std::nullopt, now);
            }
        }
    }

    void add(server::AcceptedConnection accepted, std::optional<std::size_t> called, Clock::time_point now) {
        make_room(accepted.address, now);
        const std::string address = accepted.address;
        try {
            if (connections_.size() >= core_.limits().connections)
                throw std::runtime_error("too many connections");
            connections_.push_back({Connection::accept(door_, std::move(accepted)), called});
        } catch (const std::exception &error) {
            log_refusal(address, error.what(), now);
            if (called)
                call_home_.ended(*called, false, now);
        }
    }

    // Of those that have not logged in yet, the oldest makes room for a new one: of the same address when that has too
    // many, of any when there are too many in all. Whoever only holds connections keeps nobody out.
    void make_room(const std::string &address, Clock::time_point now) {
        const auto not_yet_in = [](const Held &held) { return !held.connection->logged_in(); };
        const auto not_yet_in_of_address = [&, network = server::network_of(address)](const Held &held) {
            return not_yet_in(held) && server::network_of(held.connection->peer().address) == network;
        };
        const auto of_address = std::count_if(connections_.begin(), connections_.end(), not_yet_in_of_address);
        auto leaving = connections_.end();
        if (static_cast<std::size_t>(of_address) >= core_.limits().connections_per_address)
            leaving = std::find_if(connections_.begin(), connections_.end(), not_yet_in_of_address);
        else if (connections_.size() >= core_.limits().connections)
            leaving = std::find_if(connections_.begin(), connections_.end(), not_yet_in);
        if (leaving == connections_.end())
            return;
        log_refusal(leaving->connection->peer().address, "too many connections that have not logged in", now);
        remove(leaving, now);
    }

    // A flood of connections is no flood of lines.
    void log_refusal(const std::string &address, std::string_view reason, Clock::time_point now) {
        ++refusals_;
        if (now < next_refusal_line_)
            return;
        core_.log().write(server::Severity::warning, "connection-refused",
                          {{"address", address}, {"reason", reason}, {"connections", refusals_}});
        refusals_ = 0;
        next_refusal_line_ = now + std::chrono::seconds(1);
    }

    void run_connections(Clock::time_point now) {
        // The mailbox comes first, then the connections as they were when poll() began.
        std::map<int, short> events;
        for (const pollfd &each : watched_) {
            if (each.revents != 0)
                events[each.fd] = each.revents;
        }
        for (const Held &held : connections_)
            held.connection->run(events.contains(held.connection->descriptor()), now);
        for (std::size_t i = connections_.size(); i-- > 0;) {
            if (connections_[i].connection->finished())
                remove(connections_.begin() + static_cast<std::ptrdiff_t>(i), now);
        }
    }

    void remove(std::vector<Held>::iterator held, Clock::time_point now) {
        if (held->called)
            call_home_.ended(*held->called, held->connection->logged_in(), now);
        connections_.erase(held);
    }

    server::Core &core_;
    std::vector<server::ListeningSocket> sockets_;
    std::shared_ptr<Mailbox> mailbox_;
    Statistics statistics_;
    Surroundings surroundings_;
    SshBind bind_;
    Door door_;
    CallHome call_home_;
    std::vector<Held> connections_; // the oldest first
    std::vector<pollfd> watched_;
    Clock::time_point accept_again_ = {};
    Clock::time_point next_refusal_line_ = {};
    std::int64_t refusals_ = 0;
    std::optional<Clock::time_point> stop_by_;
    std::thread thread_;
};

} // namespace

std::unique_ptr<server::Adapter> serve(server::Core &core, server::ServeSettings settings) {
    load_models();
    capabilities();
    if (ssh_init() != SSH_OK)
        throw std::runtime_error("SSH: the library could not be set up");
    return std::make_unique<Server>(core, std::move(settings));
}

} // namespace ocamp::netconf
