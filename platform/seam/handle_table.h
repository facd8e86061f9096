// Objects that the plug-in holds by bare handle. A handle is followed only when the table knows it, so a stray or a
// stale one is found out. Knows nothing of what the objects are.
//
// The rule about threads, for every table and for what lies behind its handles: any thread may ask a table; the object
// is used by the one thread that runs the mapping, and one mapping runs at a time. Logs and traces alone are written
// from any thread.
#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <utility>

namespace ocamp {

/// Open handles and the objects behind them, which the table owns or was lent.
template <class Object>
class HandleTable {
  public:
    /// Makes an object, which the table owns until `close`. Its address is the handle.
    template <class... Arguments>
    Object *open(Arguments &&...arguments) {
        Entry entry(new Object(std::forward<Arguments>(arguments)...), {.owned = true});
        Object *object = entry.get();
        put(object, std::move(entry));
        return object;
    }

    /// Lets `handle` stand for an object that stays its owner's. It is to be closed before the object ends.
    void lend(const void *handle, Object &object) { put(handle, Entry(&object, {.owned = false})); }

    /// NULL when no such handle is open.
    Object *find(const void *handle) const noexcept {
        const std::lock_guard lock(mutex_);
        const auto found = objects_.find(handle);
        return found == objects_.end() ? nullptr : found->second.get();
    }

    /// False when no such handle is open.
    bool close(const void *handle) noexcept {
        const std::lock_guard lock(mutex_);
        return objects_.erase(handle) != 0;
    }

    /// Closes the handles whose object fulfils the condition. Returns how many.
    template <class Condition>
    std::size_t close_if(Condition condition) {
        const std::lock_guard lock(mutex_);
        return std::erase_if(objects_, [&](const auto &entry) { return condition(*entry.second); });
    }

  private:
    struct End {
        bool owned;
        void operator()(Object *object) const noexcept {
            if (owned)
                delete object;
        }
    };
    using Entry = std::unique_ptr<Object, End>;

    void put(const void *handle, Entry entry) {
        const std::lock_guard lock(mutex_);
        objects_.emplace(handle, std::move(entry));
    }

    mutable std::mutex mutex_;
    std::unordered_map<const void *, Entry> objects_;
};

} // namespace ocamp
