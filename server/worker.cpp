// How jobs wait and are done. Knows neither requests nor sessions but by their numbers.
#include "server/worker.h"

#include <algorithm>
#include <utility>

namespace ocamp::server {

Worker::Worker(Tick tick) : tick_(std::move(tick)), thread_([this] { run(); }) {}

Worker::~Worker() {
    std::map<SessionId, std::deque<Job>> dropped; // ended outside of the lock
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
        dropped.swap(waiting_);
        turns_.clear();
    }
    changed_.notify_all();
    thread_.join();
}

void Worker::post(SessionId session, Job job) {
    const std::lock_guard lock(mutex_);
    if (ending_)
        return;
    std::deque<Job> &jobs = waiting_[session];
    if (jobs.empty())
        turns_.push_back(session);
    jobs.push_back(std::move(job));
    changed_.notify_all();
}

void Worker::post_urgent(Job job) {
    const std::lock_guard lock(mutex_);
    urgent_.push_back(std::move(job));
    changed_.notify_all();
}

void Worker::drop(SessionId session) {
    std::deque<Job> dropped; // ended outside of the lock
    const std::lock_guard lock(mutex_);
    const auto found = waiting_.find(session);
    if (found == waiting_.end())
        return;
    dropped.swap(found->second);
    waiting_.erase(found);
    std::erase(turns_, session);
}

// Empty when there is none.
Worker::Job Worker::next_job() {
    if (!urgent_.empty()) {
        Job job = std::move(urgent_.front());
        urgent_.pop_front();
        return job;
    }
    if (turns_.empty())
        return {};
    const SessionId session = turns_.front();
    turns_.pop_front();
    const auto found = waiting_.find(session);
    Job job = std::move(found->second.front());
    found->second.pop_front();
    if (found->second.empty())
        waiting_.erase(found);
    else
        turns_.push_back(session);
    return job;
}

void Worker::run() {
    std::unique_lock lock(mutex_);
    for (;;) {
        if (Job job = next_job(); job) {
            lock.unlock();
            job();
            job = nullptr;
        } else if (ending_) {
            return;
        } else {
            lock.unlock();
        }
        const Clock::time_point next = tick_();
        lock.lock();
        if (urgent_.empty() && turns_.empty() && !ending_)
            changed_.wait_until(lock, next);
    }
}

} // namespace ocamp::server
