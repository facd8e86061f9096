// How signals are waited for.
#include "gnmi/stop_signals.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <system_error>

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace ocamp::gnmi_client {

namespace {

constexpr int interrupted_status = 1;

int opened(int descriptor, const char *what) {
    if (descriptor < 0)
        throw std::system_error(errno, std::generic_category(), what);
    return descriptor;
}

bool is_readable(int descriptor) noexcept {
    pollfd asked{.fd = descriptor, .events = POLLIN, .revents = 0};
    return poll(&asked, 1, 0) > 0;
}

void raise_event(int descriptor) noexcept {
    const std::uint64_t one = 1;
    // The counter of an event never fills with what is written here.
    [[maybe_unused]] const ssize_t written = write(descriptor, &one, sizeof one);
}

} // namespace

StopSignals::StopSignals() : signals_(-1), stopped_(opened(eventfd(0, EFD_CLOEXEC), "event")) {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    signals_ = opened(signalfd(-1, &signals, SFD_CLOEXEC), "signals");
}

StopSignals::~StopSignals() {
    close(signals_);
    close(stopped_);
}

bool StopSignals::stopped() const noexcept {
    return is_readable(stopped_);
}

void StopSignals::wait(int end, const std::function<void()> &stop) const {
    for (;;) {
        std::array<pollfd, 2> asked{
            {{.fd = signals_, .events = POLLIN, .revents = 0}, {.fd = end, .events = POLLIN, .revents = 0}}};
        if (poll(asked.data(), asked.size(), -1) < 0)
            continue;
        if (asked[1].revents != 0)
            return;
        signalfd_siginfo signal{};
        if (read(signals_, &signal, sizeof signal) != sizeof signal)
            continue;
        // Whoever asks twice does not want to wait, such as for a reader of the output.
        if (stopped())
            _exit(interrupted_status);
        raise_event(stopped_);
        stop();
    }
}

StopSignals::Watch::Watch(const StopSignals &signals, std::function<void()> stop)
    : end_(opened(eventfd(0, EFD_CLOEXEC), "event")),
      thread_([this, &signals, stop = std::move(stop)] { signals.wait(end_, stop); }) {}

StopSignals::Watch::~Watch() {
    raise_event(end_);
    thread_.join();
    close(end_);
}

} // namespace ocamp::gnmi_client
