// The adapter's thread: accepts connections, counts them, and hands them to the service. Knows no RPC.
#include "server/gnmi/serve.h"

#include "server/core.h"
#include "server/gnmi/service.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
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

bool is_loopback(std::string_view address) {
    return address.starts_with("127.") || address.starts_with("[::1]:");
}

class Server : public server::Adapter {
  public:
    Server(server::Core &core, server::ServeSettings settings)
        : core_(core), sockets_(checked(std::move(settings.sockets), settings.tls)), service_(core, settings.tls),
          stop_event_(eventfd(0, EFD_CLOEXEC)) {
        if (stop_event_.get() < 0)
            throw std::system_error(errno, std::generic_category(), "eventfd");
        thread_ = std::thread([this] { run(); });
    }

    ~Server() override { Server::stop(std::chrono::milliseconds(0)); }

    // Certificates are watched by themselves.
    void reload() override { service_.users_changed(); }

    void stop(std::chrono::milliseconds limit) override {
        if (!thread_.joinable())
            return;
        const std::uint64_t one = 1;
        static_cast<void>(!write(stop_event_.get(), &one, sizeof one));
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

    void run() {
        for (;;) {
            wait();
            if ((watched_.front().revents & POLLIN) != 0)
                return;
            drop_ended();
            accept_all();
        }
    }

    void wait() {
        watched_.clear();
        watched_.push_back({.fd = stop_event_.get(), .events = POLLIN, .revents = 0});
        // Only their end is of interest, which poll() tells anyhow.
        for (const server::Descriptor &connection : connections_)
            watched_.push_back({.fd = connection.get(), .events = 0, .revents = 0});
        const bool accepting = Clock::now() >= accept_again_;
        if (accepting) {
            for (const server::ListeningSocket &socket : sockets_)
                watched_.push_back({.fd = socket.descriptor.get(), .events = POLLIN, .revents = 0});
        }
        const int timeout = accepting ? -1 : static_cast<int>(exhaustion_pause.count());
        if (poll(watched_.data(), watched_.size(), timeout) < 0) {
            if (errno != EINTR)
                throw std::system_error(errno, std::generic_category(), "poll");
            for (pollfd &watched : watched_)
                watched.revents = 0;
        }
    }

    void drop_ended() {
        std::size_t kept = 0;
        for (std::size_t i = 0; i < connections_.size(); ++i) {
            if (watched_[i + 1].revents == 0)
                std::swap(connections_[kept++], connections_[i]);
        }
        connections_.resize(kept);
    }

    void accept_all() {
        if (Clock::now() < accept_again_)
            return;
        for (const server::ListeningSocket &socket : sockets_) {
            for (;;) {
                server::Accepted accepted = server::accept_from(socket);
                if (accepted.exhausted)
                    accept_again_ = Clock::now() + exhaustion_pause;
                if (!accepted.connection)
                    break;
                serve(std::move(*accepted.connection), socket);
            }
        }
    }

    // A second descriptor of the connection stays here: by it poll() tells when the service has ended it.
    void serve(server::AcceptedConnection accepted, const server::ListeningSocket &socket) {
        if (connections_.size() >= core_.limits().connections) {
            log_refusal(accepted.address, "too many connections");
            return;
        }
        server::Descriptor watched(fcntl(accepted.descriptor.get(), F_DUPFD_CLOEXEC, 0));
        if (watched.get() < 0) {
            log_refusal(accepted.address, "no descriptor is left");
            accept_again_ = Clock::now() + exhaustion_pause;
            return;
        }
        connections_.push_back(std::move(watched));
        service_.serve(std::move(accepted.descriptor), socket.descriptor.get());
    }

    void log_refusal(const std::string &address, std::string_view reason) {
        if (Clock::now() < log_again_)
            return;
        log_again_ = Clock::now() + refusal_pause;
        core_.log().write(server::Severity::warning, "connection-refused",
                          {{"protocol", "gnmi"}, {"address", address}, {"reason", reason}});
    }

    server::Core &core_;
    std::vector<server::ListeningSocket> sockets_;
    Service service_;
    server::Descriptor stop_event_;
    std::vector<server::Descriptor> connections_;
    std::vector<pollfd> watched_;
    Clock::time_point accept_again_{}, log_again_{};
    std::thread thread_;
};

} // namespace

std::unique_ptr<server::Adapter> serve(server::Core &core, server::ServeSettings settings) {
    return std::make_unique<Server>(core, std::move(settings));
}

} // namespace ocamp::gnmi
