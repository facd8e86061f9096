// A queue of byte locks. Byte 0 is locked while someone takes a ticket; each ticket is a locked byte behind it, and it
// is a writer's turn when no byte before its own is locked. The kernel unlocks what a killed writer leaves. The locks
// are those of an open file, so that threads of one process queue as processes do.
#include "sysdb/writer_queue.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fmt/format.h>

namespace ocamp {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds shortest_pause{1}, longest_pause{10};
constexpr off_t ticket_office = 0;

struct flock byte_lock(short type, off_t first, off_t count) noexcept {
    struct flock lock = {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = first;
    lock.l_len = count;
    return lock;
}

// False when someone else has it; -1 of errno on failure is told by `failed`.
bool try_lock(int descriptor, short type, off_t byte, bool &failed) noexcept {
    struct flock lock = byte_lock(type, byte, 1);
    if (fcntl(descriptor, F_OFD_SETLK, &lock) == 0)
        return true;
    failed = errno != EAGAIN && errno != EACCES && errno != EINTR;
    return false;
}

// Whether nobody else has a lock there.
bool is_free(int descriptor, off_t first, off_t count, bool &failed) noexcept {
    struct flock lock = byte_lock(F_WRLCK, first, count);
    failed = fcntl(descriptor, F_OFD_GETLK, &lock) != 0;
    return !failed && lock.l_type == F_UNLCK;
}

} // namespace

void WriterTurn::fail(const char *action) const {
    throw WriterQueueError(fmt::format("{}: {}: {}", file_, action, std::strerror(errno)));
}

void WriterTurn::refuse_file(const char *found) const {
    throw WriterQueueError(fmt::format("{}: {}, expected the queue of the writers or nothing", file_, found));
}

template <class Attempt>
void WriterTurn::wait_until(Attempt attempt, const char *action) {
    milliseconds pause = shortest_pause;
    for (bool failed = false; !attempt(failed);) {
        if (failed)
            fail(action);
        if (std::chrono::steady_clock::now() >= end_)
            throw WriterQueueError(fmt::format("{}: other writers kept it busy for longer than the busy limit of {} s",
                                               file_, std::chrono::duration<double>(limit_).count()));
        std::this_thread::sleep_for(pause);
        pause = std::min(2 * pause, longest_pause);
    }
}

// Takes the ticket behind the last one given.
void WriterTurn::join() {
    wait_until([&](bool &failed) { return try_lock(descriptor_, F_WRLCK, ticket_office, failed); }, "lock");
    bool failed = false;
    long long last = 0;
    // When nobody waits, tickets begin anew.
    const bool alone = is_free(descriptor_, ticket_office + 1, byte_behind_tickets - 1, failed);
    if (!alone && (failed || pread(descriptor_, &last, sizeof last, 0) != sizeof last))
        fail("read the queue");
    if (!alone && (last < 1 || last >= byte_behind_tickets - 1))
        throw WriterQueueError(fmt::format(
            "{}: holds the ticket {}, expected one from 1 on; remove the file when nobody writes", file_, last));
    ticket_ = last + 1;
    if (pwrite(descriptor_, &ticket_, sizeof ticket_, 0) != sizeof ticket_)
        fail("join the queue");
    wait_until([&](bool &lock_failed) { return try_lock(descriptor_, F_WRLCK, ticket_, lock_failed); }, "lock");
    if (!try_lock(descriptor_, F_UNLCK, ticket_office, failed))
        fail("unlock");
}

WriterTurn::WriterTurn(const std::string &file, milliseconds limit)
    : file_(file), limit_(limit), end_(std::chrono::steady_clock::now() + limit),
      descriptor_(open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0666)) {
    if (descriptor_ < 0 && errno == ELOOP)
        refuse_file("a symbolic link");
    if (descriptor_ < 0)
        fail("open");
    try {
        struct stat status = {};
        if (fstat(descriptor_, &status) != 0)
            fail("look at");
        if (!S_ISREG(status.st_mode))
            refuse_file("no regular file");
        join();
        wait_until(
            [&](bool &failed) { return ticket_ == 1 || is_free(descriptor_, ticket_office + 1, ticket_ - 1, failed); },
            "wait");
    } catch (...) {
        close(descriptor_);
        throw;
    }
}

WriterTurn::~WriterTurn() {
    close(descriptor_); // and with it its locks
}

} // namespace ocamp
