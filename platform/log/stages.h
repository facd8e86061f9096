// The stages of a read or an edit, for one observer who wants to know where the time goes. Costs one load a stage when
// nobody observes. Knows neither who observes nor what the stages do.
#pragma once

#include <atomic>

namespace ocamp {

/// What can take time in a request.
enum class Stage {
    database,      ///< the database is opened, locked and let go
    parse,         ///< native documents are read and become trees
    to_native,     ///< the plug-in's walk over the request
    look_up,       ///< native entries are selected and made ready for the plug-in
    to_openconfig, ///< the plug-in's walks over native entries
    put_together,  ///< what the walks wrote becomes trees, and these one answer
    filter,        ///< the answer is cut to what was asked for
    apply,         ///< the native edit is carried out
    check,         ///< libyang validates a tree
    print,         ///< a tree becomes text
    commit         ///< the change is brought to the disk
};

/// Stages lie inside one another; time belongs to the innermost.
class StageObserver {
  public:
    virtual ~StageObserver() = default;
    /// Called at the beginning of a stage, on the thread that is in it.
    virtual void enter(Stage stage) noexcept = 0;
    /// Called at the end of the stage entered last.
    virtual void leave() noexcept = 0;
};

namespace detail {
inline std::atomic<StageObserver *> current_stage_observer{nullptr};
}

/// The observer stays its owner's; NULL ends the observing. Not while a request is under way.
inline void set_stage_observer(StageObserver *observer) noexcept {
    detail::current_stage_observer.store(observer, std::memory_order_release);
}

/// The rest of the block is part of `stage`.
class StageMark {
  public:
    /// The stage begins here and ends with the object.
    explicit StageMark(Stage stage) noexcept
        : observer_(detail::current_stage_observer.load(std::memory_order_acquire)) {
        if (observer_ != nullptr)
            observer_->enter(stage);
    }
    ~StageMark() {
        if (observer_ != nullptr)
            observer_->leave();
    }
    StageMark(const StageMark &) = delete;
    StageMark &operator=(const StageMark &) = delete;

  private:
    StageObserver *observer_;
};

} // namespace ocamp
