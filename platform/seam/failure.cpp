// How failures are kept. Knows nothing of who runs the plug-in.
#include "seam/failure.h"

#include <algorithm>
#include <cerrno>
#include <string>
#include <utility>

namespace ocamp {

namespace {

// Of the run of this thread: a server of many nodes has a thread for each.
thread_local constinit FailureWatch *current_watch = nullptr;

} // namespace

FailureWatch::FailureWatch() noexcept : previous_(std::exchange(current_watch, this)) {}

FailureWatch::~FailureWatch() {
    current_watch = previous_;
}

void FailureWatch::check() const {
    if (noted_)
        throw PlatformFailure(std::string(reason_.data(), length_));
}

bool is_shortage(int error) noexcept {
    switch (error) {
    case EIO:
    case ENOMEM:
    case EMFILE:
    case ENFILE:
    case ENOSPC:
    case EDQUOT:
        return true;
    default:
        return false;
    }
}

void note_failure(std::string_view reason) noexcept {
    if (current_watch == nullptr || current_watch->noted_)
        return;
    current_watch->noted_ = true;
    current_watch->length_ = std::min(reason.size(), current_watch->reason_.size());
    std::copy_n(reason.begin(), current_watch->length_, current_watch->reason_.begin());
}

} // namespace ocamp
