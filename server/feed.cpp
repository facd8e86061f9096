// How changes are found and told. Knows neither protocols nor requests.
#include "server/feed.h"

#include "yang/models.h"

#include <algorithm>

namespace ocamp::server {

namespace {

bool is_told(Interest interest, const Event &event) {
    if (std::holds_alternative<DataChange>(event.what))
        return interest == Interest::configuration;
    return interest == Interest::writes || !std::holds_alternative<DataWritten>(event.what);
}

bool has_configuration(const std::vector<LeafChange> &changes) {
    return std::any_of(changes.begin(), changes.end(), [](const LeafChange &change) { return change.configuration; });
}

} // namespace

Subscription Feed::subscribe(Interest interest, Listener listener) {
    const auto entry = std::make_shared<Entry>(Entry{interest, std::move(listener)});
    {
        const std::lock_guard lock(listeners_->mutex);
        listeners_->entries.push_back(entry);
    }
    // What a subscription keeps is this deleter: it waits for a call that is under way.
    return Subscription(std::shared_ptr<void>(entry.get(), [listeners = listeners_, entry](void *) {
        const std::lock_guard lock(listeners->mutex);
        std::erase(listeners->entries, entry);
    }));
}

bool Feed::is_wanted(Interest interest) const {
    const std::lock_guard lock(listeners_->mutex);
    return std::ranges::any_of(listeners_->entries,
                               [interest](const auto &entry) { return entry->interest == interest; });
}

Feed::NodeView Feed::view(const NativeData &data, const Reader &reader) {
    return {.openconfig = reader.read(data, YFW_KIND_GET_CONFIG, Filter(openconfig_schema()), nullptr).answer,
            .native = data.running.tree().copy()};
}

void Feed::tell_changes(NodeView now, const Author &author) {
    if (last_) {
        DataChange change{.author = author,
                          .openconfig = leaf_changes(last_->openconfig, now.openconfig),
                          .native = leaf_changes(last_->native, now.native)};
        if (has_configuration(change.openconfig) || has_configuration(change.native))
            tell(std::move(change));
    }
    last_ = std::move(now);
}

void Feed::tell(
    std::variant<DataChange, DataWritten, SessionStarted, SessionEnded, ConfirmedCommitEvent, PlantEvent> what) {
    const auto event = std::make_shared<const Event>(Event{std::chrono::system_clock::now(), std::move(what)});
    const std::lock_guard lock(listeners_->mutex);
    for (const std::shared_ptr<Entry> &entry : listeners_->entries) {
        if (is_told(entry->interest, *event))
            entry->listener(event);
    }
}

} // namespace ocamp::server
