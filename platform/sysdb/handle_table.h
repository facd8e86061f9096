// Objects that the plug-in holds by bare handle. A handle is followed only when the table knows it, so a stray or a
// stale one is found out. Knows nothing of what the objects are. Not locked: one mapping runs at a time.
#pragma once

#include <cstddef>
#include <memory>
#include <unordered_map>
#include <utility>

namespace ocamp {

template <typename Object>
class HandleTable {
  public:
    // The table owns the object until `close`.
    template <typename... Arguments>
    Object *open(Arguments &&...arguments) {
        auto object = std::make_unique<Object>(std::forward<Arguments>(arguments)...);
        Object *handle = object.get();
        objects_.emplace(handle, std::move(object));
        return handle;
    }

    // NULL when no such handle is open.
    Object *find(const void *handle) const noexcept {
        const auto found = objects_.find(handle);
        return found == objects_.end() ? nullptr : found->second.get();
    }

    bool close(const void *handle) noexcept { return objects_.erase(handle) != 0; }

    template <typename Condition>
    std::size_t close_if(Condition condition) {
        return std::erase_if(objects_, [&](const auto &entry) { return condition(*entry.second); });
    }

  private:
    std::unordered_map<const void *, std::unique_ptr<Object>> objects_;
};

} // namespace ocamp
