// The adapter's thread: accepts connections, counts them, and hands them to the service. Knows no RPC.
#include "server/gnmi/serve.h"

#include "server/core.h"
#include "server/gnmi/connections.h"
#include "server/gnmi/service.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <future>
#include <limits>
#include <list>
#include <span>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace ocamp::gnmi {

namespace {

using Clock = std::chrono::steady_clock;

// How long no connection is accepted after descriptors ran out.
constexpr std::chrono::milliseconds exhaustion_pause{200};
// Between lines of the log that tell of connections that were turned away.
constexpr std::chrono::seconds refusal_pause{1};
// Between looks at connections without a user, while there are any.
constexpr std::chrono::milliseconds stranger_pause{250};
// Between looks at the files of certificates.
constexpr std::chrono::seconds certificate_pause{1};

bool is_loopback(std::string_view address) {
    return address.starts_with("127.") || address.starts_with("[::1]:");
}

class Server : public server::Adapter {
  public:
    Server(server::Core &core, server::ServeSettings settings)
        : core_(core), sockets_(checked(std::move(settings.sockets), settings.tls)),
          connections_(std::make_shared<Connections>(core.limits())),
          certificates_(certificates_for(settings.tls, core)),
          // A password may be found right when this server is gone.
          service_(core, certificates_.get(),
                   [connections = connections_](const server::Peer &peer, const std::string &user) {
                       return connections->logged_in(peer, user);
                   }),
          wake_event_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
        if (wake_event_.get() < 0)
            throw std::system_error(errno, std::generic_category(), "eventfd");
        thread_ = std::thread([this] { run(); });
    }

    ~Server() override { Server::stop(std::chrono::milliseconds(0)); }

    void reload() override {
        if (certificates_)
            certificates_->look();
        service_.users_changed();
        connections_->users_changed(
            [this](const std::string &user) { return core_.log_ins().principal_of(user).has_value(); }, Clock::now());
        wake();
    }

    void stop(std::chrono::milliseconds limit) override {
        if (!thread_.joinable())
            return;
        stopping_ = true;
        wake();
        thread_.join();
        sockets_.clear();
        service_.stop(limit);
    }

  private:
    static std::vector<server::ListeningSocket> checked(std::vector<server::ListeningSocket> sockets,
                                                        const server::TlsSettings &tls) {
        for (const server::ListeningSocket &socket : sockets) {
            if (tls.insecure && !is_loopback(socket.address))
                throw server::ListenError(
                    fmt::format("{}: --insecure, expected an address of the loopback interface", socket.address));
        }
        return sockets;
    }

    static std::unique_ptr<Certificates> certificates_for(const server::TlsSettings &tls, server::Core &core) {
        return tls.insecure ? nullptr : std::make_unique<Certificates>(tls, core.state_folder(), core.log());
    }

    void wake() {
        const std::uint64_t one = 1;
        static_cast<void>(write(wake_event_.get(), &one, sizeof one) < 0);
    }

    void run() {
        for (;;) {
            wait();
            if (stopping_)
                return;
            std::uint64_t wakes = 0;
            static_cast<void>(read(wake_event_.get(), &wakes, sizeof wakes) < 0);
            const Clock::time_point now = Clock::now();
            connections_->drop_ended(std::span(watched_).subspan(1));
            connections_->end_late(now);
            look_at_certificates(now);
            accept_all(now);
        }
    }

    void wait() {
        watched_.clear();
        watched_.push_back({.fd = wake_event_.get(), .events = POLLIN, .revents = 0});
        connections_->watch(watched_);
        const Clock::time_point now = Clock::now();
        Clock::time_point until = connections_->next_end();
        if (until != Clock::time_point::max())
            until = std::min(until, now + stranger_pause);
        if (certificates_)
            until = std::min(until, next_look_);
        if (now >= accept_again_) {
            for (const server::ListeningSocket &socket : sockets_)
                watched_.push_back({.fd = socket.descriptor.get(), .events = POLLIN, .revents = 0});
        } else {
            until = std::min(until, accept_again_);
        }
        if (poll(watched_.data(), watched_.size(), timeout_until(until, now)) < 0) {
            if (errno != EINTR)
                throw std::system_error(errno, std::generic_category(), "poll");
            for (pollfd &watched : watched_)
                watched.revents = 0;
        }
    }

    // Of poll(), in milliseconds; one more than is left, so that the time has come then.
    static int timeout_until(Clock::time_point until, Clock::time_point now) {
        if (until == Clock::time_point::max())
            return -1;
        const std::int64_t left = std::chrono::duration_cast<std::chrono::milliseconds>(until - now).count() + 1;
        return static_cast<int>(std::clamp<std::int64_t>(left, 0, std::numeric_limits<int>::max()));
    }

    void look_at_certificates(Clock::time_point now) {
        if (!certificates_ || now < next_look_)
            return;
        next_look_ = now + certificate_pause;
        certificates_->look();
    }

    void accept_all(Clock::time_point now) {
        if (now < accept_again_)
            return;
        for (const server::ListeningSocket &socket : sockets_) {
            for (;;) {
                server::Accepted accepted = server::accept_from(socket);
                if (accepted.exhausted)
                    wait_for_descriptors(now);
                if (!accepted.connection)
                    break;
                serve(std::move(*accepted.connection), socket, now);
            }
        }
    }

    void serve(server::AcceptedConnection accepted, const server::ListeningSocket &socket, Clock::time_point now) {
        switch (connections_->add(accepted, now)) {
        case Connections::Added::full:
            log_refusal(accepted.address, "too many connections", now);
            return;
        case Connections::Added::exhausted:
            log_refusal(accepted.address, "no descriptor is left", now);
            wait_for_descriptors(now);
            return;
        case Connections::Added::in_place_of_another:
            log_refusal(accepted.address, "too many connections that have not logged in", now);
            break;
        case Connections::Added::in:
            break;
        }
        hand_over(std::move(accepted.descriptor), socket.descriptor.get());
    }

    // gRPC works off what a client sends in the thread that brings the connection, for as long as more comes: it is to
    // be none that others need.
    void hand_over(server::Descriptor connection, int listener) {
        std::erase_if(handed_over_, [](const std::future<void> &one) {
            return one.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
        });
        handed_over_.push_back(std::async(std::launch::async, [this, held = std::move(connection), listener]() mutable {
            service_.serve(std::move(held), listener);
        }));
    }

    void wait_for_descriptors(Clock::time_point now) {
        connections_->make_room();
        accept_again_ = now + exhaustion_pause;
    }

    void log_refusal(const std::string &address, std::string_view reason, Clock::time_point now) {
        if (now < log_again_)
            return;
        log_again_ = now + refusal_pause;
        core_.log().write(server::Severity::warning, "connection-refused",
                          {{"protocol", "gnmi"}, {"address", address}, {"reason", reason}});
    }

    server::Core &core_;
    std::vector<server::ListeningSocket> sockets_;
    std::shared_ptr<Connections> connections_;
    std::unique_ptr<Certificates> certificates_; // NULL: no TLS
    Service service_;
    std::list<std::future<void>> handed_over_; // connections that begin
    server::Descriptor wake_event_;            // something outside the thread has changed
    std::atomic<bool> stopping_ = false;
    std::vector<pollfd> watched_;
    Clock::time_point accept_again_{}, log_again_{}, next_look_{};
    std::thread thread_;
};

} // namespace

std::unique_ptr<server::Adapter> serve(server::Core &core, server::ServeSettings settings) {
    return std::make_unique<Server>(core, std::move(settings));
}

} // namespace ocamp::gnmi
