// Work that other threads hand over to one thread, which sleeps in poll() meanwhile. Knows nothing of the work.
#pragma once

#include "server/listeners.h"

#include <functional>
#include <mutex>
#include <vector>

namespace ocamp::netconf {

/// Lives as long as anyone who may post: share it.
class Mailbox {
  public:
    /// Throws std::system_error.
    Mailbox();

    /// Readable while there is work. For poll().
    int descriptor() const noexcept { return event_.get(); }

    /// From any thread. The work is done in the thread that calls run(), in the order in which it was posted; none of
    /// it when that thread has gone.
    void post(std::function<void()> work);

    /// Does what has been posted.
    void run();

  private:
    server::Descriptor event_;
    std::mutex mutex_;
    std::vector<std::function<void()>> work_;
};

} // namespace ocamp::netconf
