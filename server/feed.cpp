// How changes are found and told. Knows neither protocols nor requests.
#include "server/feed.h"

#include "yang/models.h"

#include <algorithm>

namespace ocamp::server {

namespace {

bool is_wanted(Interest interest, const Event &event) {
    const auto *change = std::get_if<DataChange>(&event.what);
    if (change == nullptr)
        return true;
    return interest == Interest::everything || (interest == Interest::configuration && change->configuration);
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

std::optional<Interest> Feed::wanted() const {
    const std::lock_guard lock(listeners_->mutex);
    std::optional<Interest> most;
    for (const std::shared_ptr<Entry> &entry : listeners_->entries)
        most = std::max(most.value_or(entry->interest), entry->interest);
    return most;
}

Feed::NodeView Feed::view(const NativeData &data, const Reader &reader) const {
    const bool everything = wanted() == Interest::everything;
    NodeView view;
    view.openconfig =
        reader.read(data, everything ? YFW_KIND_GET : YFW_KIND_GET_CONFIG, Filter(openconfig_schema()), nullptr).answer;
    view.native = data.running.tree().copy();
    for (const NativeDocument &document : everything ? std::span(data.operational) : std::span<const NativeDocument>())
        view.native.add(document.tree().copy());
    return view;
}

bool Feed::has_view() const noexcept {
    return last_ && last_->first == wanted();
}

void Feed::tell_changes(NodeView now, const Author &author) {
    const std::optional<Interest> interest = wanted();
    if (!interest || *interest == Interest::sessions_and_commits) {
        forget();
        return;
    }
    const bool comparable = has_view();
    if (comparable) {
        DataChange change{.author = author,
                          .openconfig = leaf_changes(last_->second.openconfig, now.openconfig),
                          .native = leaf_changes(last_->second.native, now.native),
                          .configuration = false};
        change.configuration = has_configuration(change.openconfig) || has_configuration(change.native);
        if (!change.openconfig.empty() || !change.native.empty())
            tell(std::move(change));
    }
    last_.emplace(*interest, std::move(now));
}

void Feed::tell(std::variant<DataChange, SessionStarted, SessionEnded, ConfirmedCommitEvent, PlantEvent> what) {
    const auto event = std::make_shared<const Event>(Event{std::chrono::system_clock::now(), std::move(what)});
    const std::lock_guard lock(listeners_->mutex);
    for (const std::shared_ptr<Entry> &entry : listeners_->entries) {
        if (is_wanted(entry->interest, *event))
            entry->listener(event);
    }
}

} // namespace ocamp::server
