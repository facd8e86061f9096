// The one thread that works on the node, and who comes next: sessions take turns, and what one session asks is done in
// its order. Knows neither requests nor sessions but by their numbers.
#pragma once

#include "server/identity.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <thread>

namespace ocamp::server {

/// Jobs must not throw.
class Worker {
  public:
    using Clock = std::chrono::steady_clock;
    using Job = std::function<void()>;
    /// Called in the thread after each job and when its time has come; tells when it wants to be called next.
    using Tick = std::function<Clock::time_point()>;

    /// The thread begins at once.
    explicit Worker(Tick tick);
    /// Does the urgent jobs that are left, drops the others, and ends.
    ~Worker();
    Worker(const Worker &) = delete;
    Worker &operator=(const Worker &) = delete;

    /// Behind what the session has waiting; when it has nothing, behind all sessions that have.
    void post(SessionId session, Job job);
    /// Before all that waits, behind other urgent jobs.
    void post_urgent(Job job);
    /// Drops what the session has waiting.
    void drop(SessionId session);

  private:
    void run();
    Job next_job();

    Tick tick_;
    std::mutex mutex_; // guards what follows
    std::condition_variable changed_;
    std::deque<Job> urgent_;
    std::map<SessionId, std::deque<Job>> waiting_;
    std::deque<SessionId> turns_; // each session that has something waiting, once
    bool ending_ = false;
    std::thread thread_;
};

} // namespace ocamp::server
