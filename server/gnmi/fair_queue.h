// Work for users, done by one thread: each user has a line, and the lines take turns, so that whoever asks for much
// waits for it, and others do not. Knows nothing of the work.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <thread>

namespace ocamp::gnmi {

/// Safe from any thread.
class FairQueue {
  public:
    using Job = std::function<void()>;

    FairQueue() : thread_([this] { run(); }) {}
    /// Drops what waits, and ends the thread.
    ~FairQueue();
    FairQueue(const FairQueue &) = delete;
    FairQueue &operator=(const FairQueue &) = delete;

    /// The job is done in the thread, behind those of the user's that wait. It throws nothing.
    void post(const std::string &user, Job job);

  private:
    struct Line {
        std::string user;
        std::deque<Job> jobs;
    };

    void run();
    Job take_next();

    std::mutex mutex_; // guards what follows
    std::condition_variable changed_;
    std::list<Line> lines_; // of those who wait; the first has the next turn
    bool ending_ = false;
    std::thread thread_;
};

} // namespace ocamp::gnmi
