// One byte far behind the tickets of the writers' queue, which the kernel unlocks when its holder ends. The lock is
// that of an open file, so that it holds between threads as it does between processes.
#include "node/configuration_lock.h"

#include "node/node.h"
#include "sysdb/writer_queue.h"
#include "yang/request_error.h"

#include <cerrno>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <unistd.h>

#include <fmt/format.h>

namespace ocamp {

namespace {

constexpr std::chrono::milliseconds pause{5};

// False when another has it.
bool try_lock(int descriptor, ConfigurationLock::Kind kind) {
    struct flock lock = {};
    lock.l_type = kind == ConfigurationLock::Kind::share ? F_RDLCK : F_WRLCK;
    lock.l_whence = SEEK_SET;
    lock.l_start = byte_behind_tickets;
    lock.l_len = 1;
    if (fcntl(descriptor, F_OFD_SETLK, &lock) == 0)
        return true;
    if (errno != EAGAIN && errno != EACCES && errno != EINTR)
        throw std::system_error(errno, std::generic_category(), "lock the configuration");
    return false;
}

[[noreturn]] void refuse(ConfigurationLock::Kind kind) {
    if (kind == ConfigurationLock::Kind::share)
        throw RequestError(error_tag::in_use, "", "another process has locked the configuration");
    throw RequestError(error_tag::lock_denied, "", "another process is changing the configuration, or has locked it");
}

} // namespace

ConfigurationLock::ConfigurationLock(const std::filesystem::path &folder, Kind kind, std::chrono::milliseconds limit)
    : descriptor_(
          open(Node::queue_file(folder).c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0666)) {
    if (descriptor_ < 0)
        throw std::system_error(errno, std::generic_category(), Node::queue_file(folder).string());
    const auto end = std::chrono::steady_clock::now() + limit;
    try {
        while (!try_lock(descriptor_, kind)) {
            if (std::chrono::steady_clock::now() >= end)
                refuse(kind);
            std::this_thread::sleep_for(pause);
        }
    } catch (...) {
        close(descriptor_);
        throw;
    }
}

ConfigurationLock::~ConfigurationLock() {
    close(descriptor_); // and with it its lock
}

} // namespace ocamp
