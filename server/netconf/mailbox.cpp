// How work is handed over. Knows nothing of the work.
#include "server/netconf/mailbox.h"

#include <cerrno>
#include <cstdint>
#include <system_error>
#include <utility>

#include <sys/eventfd.h>
#include <unistd.h>

namespace ocamp::netconf {

Mailbox::Mailbox() : event_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (event_.get() < 0)
        throw std::system_error(errno, std::generic_category(), "eventfd");
}

void Mailbox::post(std::function<void()> work) {
    const std::scoped_lock lock(mutex_);
    work_.push_back(std::move(work));
    const std::uint64_t one = 1;
    // It can only be full, and then it is readable.
    static_cast<void>(::write(event_.get(), &one, sizeof one) < 0);
}

void Mailbox::run() {
    std::vector<std::function<void()>> work;
    {
        const std::scoped_lock lock(mutex_);
        std::uint64_t count = 0;
        static_cast<void>(::read(event_.get(), &count, sizeof count) < 0);
        work.swap(work_);
    }
    for (const auto &each : work)
        each();
}

} // namespace ocamp::netconf
