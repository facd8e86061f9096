// How lines take turns.
#include "server/gnmi/fair_queue.h"

#include <algorithm>
#include <utility>

namespace ocamp::gnmi {

FairQueue::~FairQueue() {
    {
        const std::lock_guard guard(mutex_);
        ending_ = true;
    }
    changed_.notify_one();
    thread_.join();
}

void FairQueue::post(const std::string &user, Job job) {
    {
        const std::lock_guard guard(mutex_);
        auto line = std::ranges::find(lines_, user, &Line::user);
        if (line == lines_.end())
            line = lines_.insert(lines_.end(), {.user = user, .jobs = {}});
        line->jobs.push_back(std::move(job));
    }
    changed_.notify_one();
}

// With the lock held. The line goes behind all others.
FairQueue::Job FairQueue::take_next() {
    Line &line = lines_.front();
    Job job = std::move(line.jobs.front());
    line.jobs.pop_front();
    if (line.jobs.empty())
        lines_.pop_front();
    else
        lines_.splice(lines_.end(), lines_, lines_.begin());
    return job;
}

void FairQueue::run() {
    std::unique_lock lock(mutex_);
    while (!ending_) {
        if (lines_.empty()) {
            changed_.wait(lock);
            continue;
        }
        Job job = take_next();
        lock.unlock();
        job();
        job = nullptr; // what it holds may end here, and not under the lock
        lock.lock();
    }
    const std::list<Line> dropped = std::exchange(lines_, {});
    lock.unlock();
}

} // namespace ocamp::gnmi
