// How subscriptions are fed.
#include "server/gnmi/subscription.h"

#include "server/gnmi/value.h"

#include <algorithm>
#include <unordered_set>

#include <fmt/format.h>

namespace ocamp::gnmi {

namespace {

// Leaves that the subscriptions of a list may select, each counted as often as it is selected; more on a large node, as
// long as each is selected no more often than that.
constexpr std::size_t most_selected = 65536, overlap = 8;
// Of one response; a client that reads gets the next one at once.
constexpr std::size_t most_updates = 256;

std::int64_t nanoseconds(std::chrono::system_clock::time_point time) {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(time.time_since_epoch()).count();
}

} // namespace

// Backlog

void Backlog::put(const LeafPointer &leaf, bool gone, std::chrono::system_clock::time_point at) {
    const auto found = by_path_.find(leaf->path);
    if (found == by_path_.end()) {
        items_.push_back({leaf, gone, at, 0});
        by_path_.emplace(leaf->path, std::prev(items_.end()));
        return;
    }
    Item &item = *found->second;
    // One reading tells a leaf twice when two subscriptions have it.
    item = {leaf, gone, at, item.duplicates + (item.at == at ? 0 : 1)};
}

void Backlog::update(const LeafPointer &leaf, std::chrono::system_clock::time_point at) {
    put(leaf, false, at);
}

void Backlog::remove(const LeafPointer &leaf, std::chrono::system_clock::time_point at) {
    if (known_.contains(leaf)) {
        put(leaf, true, at);
    } else if (const auto found = by_path_.find(leaf->path); found != by_path_.end()) {
        items_.erase(found->second);
        by_path_.erase(found);
    }
}

void Backlog::sync() {
    if (items_.empty() || items_.back().leaf != nullptr)
        items_.emplace_back();
}

std::optional<::gnmi::SubscribeResponse> Backlog::take(::gnmi::Encoding encoding, const std::string &target) {
    if (items_.empty())
        return std::nullopt;
    ::gnmi::SubscribeResponse response;
    if (items_.front().leaf == nullptr) {
        response.set_sync_response(true);
        items_.pop_front();
        return response;
    }
    const Item first = items_.front();
    const std::size_t depth = first.leaf->container.size();
    ::gnmi::Notification &notification = *response.mutable_update();
    notification.set_timestamp(nanoseconds(first.at));
    *notification.mutable_prefix() = to_message(first.leaf->container);
    notification.mutable_prefix()->set_target(target);
    if (origin_of(*first.leaf->schema) == Origin::native)
        notification.mutable_prefix()->set_origin("native");
    const auto beside_first = [&](const Leaf &leaf) {
        const std::size_t name = first.leaf->path.rfind('/');
        return leaf.container.size() == depth && leaf.path.compare(0, name + 1, first.leaf->path, 0, name + 1) == 0;
    };
    std::size_t taken = 0;
    while (!items_.empty() && taken < most_updates) {
        const Item &item = items_.front();
        if (item.leaf == nullptr || item.at != first.at || !beside_first(*item.leaf))
            break;
        const ::gnmi::Path path = to_message({Step{item.leaf->schema->name, {}}});
        if (item.gone) {
            *notification.add_delete_() = path;
            known_.erase(item.leaf);
        } else {
            known_.insert(item.leaf);
            ::gnmi::Update &update = *notification.add_update();
            *update.mutable_path() = path;
            *update.mutable_val() = leaf_value(*item.leaf->schema, item.leaf->value, encoding);
            update.set_duplicates(item.duplicates);
        }
        by_path_.erase(item.leaf->path);
        items_.pop_front();
        ++taken;
    }
    return response;
}

// Stream

Stream::Stream(const ::gnmi::SubscribeRequest &request, Readings &readings, Wake wake)
    : readings_(readings), wake_(std::move(wake)), query_(request) {
    for (const SubscribedItem &item : query_.items())
        items_.push_back({item});
}

Stream::~Stream() {
    readings_.forget(this);
}

// Items are not added once the stream has begun, and their paths stay as they are.
std::vector<Path> Stream::paths(bool on_change_only) const {
    std::vector<Path> paths;
    for (const Item &item : items_) {
        if (item.on_change || !on_change_only)
            paths.push_back(item.path);
    }
    return paths;
}

void Stream::read(std::vector<Path> paths, std::function<void(const Reading &reading)> use) {
    readings_.read(std::move(paths), [weak = weak_from_this(), use = std::move(use)](const ReadingOutcome &outcome) {
        const std::shared_ptr<Stream> stream = weak.lock();
        if (!stream)
            return;
        try {
            if (const auto *error = std::get_if<RpcError>(&outcome))
                throw RpcError(*error);
            const std::lock_guard guard(stream->mutex_);
            use(*std::get<std::shared_ptr<const Reading>>(outcome));
        } catch (const std::exception &error) {
            stream->fail(rpc_error_of(error));
        }
        stream->wake_();
    });
}

void Stream::fail(const RpcError &error) {
    const std::lock_guard guard(mutex_);
    end_ = End{error};
}

void Stream::start() {
    if (query_.mode() == ::gnmi::SubscriptionList::POLL)
        return;
    // Before the first reading, so that no change falls between.
    if (query_.wants_changes())
        readings_.watch(this, [weak = weak_from_this()] {
            if (const std::shared_ptr<Stream> stream = weak.lock())
                stream->node_changed();
        });
    deliver_everything();
    if (query_.mode() != ::gnmi::SubscriptionList::STREAM)
        return;
    const Clock::time_point now = Clock::now();
    for (std::size_t i = 0; i < items_.size(); ++i) {
        const Item &item = items_[i];
        if (item.sample)
            repeat(i, *item.sample, item.suppress_redundant ? Extent::changed : Extent::everything, now + *item.sample);
        if (item.heartbeat && (item.on_change || item.suppress_redundant))
            repeat(i, *item.heartbeat, Extent::everything, now + *item.heartbeat);
    }
}

void Stream::poll() {
    if (query_.mode() != ::gnmi::SubscriptionList::POLL)
        throw invalid("poll", "stands on a list whose mode is not POLL");
    deliver_everything();
}

// All values and sync_response, or with updates_only sync_response alone.
void Stream::deliver_everything() {
    read(paths(false), [this](const Reading &reading) {
        select_all(reading);
        for (Item &item : items_) {
            if (query_.updates_only())
                assume_known(item, reading);
            else
                deliver(item, reading, Extent::everything);
        }
        backlog_.sync();
        synchronized_ = true;
        if (query_.mode() == ::gnmi::SubscriptionList::ONCE)
            end_ = End{};
    });
}

// With the lock held, as what follows. Throws RpcError when subscriptions that overlap would select leaves again and
// again: readings are for everybody, and so is the time that they take.
void Stream::select_all(const Reading &reading) const {
    std::size_t selected = 0;
    std::unordered_set<const Leaf *> leaves;
    for (const Item &item : items_) {
        const std::shared_ptr<const Leaves> selection = reading.select(item.path, item.levels, item.kind);
        selected += selection->size();
        for (const LeafPointer &leaf : *selection)
            leaves.insert(leaf.get());
        if (selected > most_selected && selected > overlap * leaves.size())
            throw refused(Code::resource_exhausted, "subscription",
                          fmt::format("all together select more than {} leaves, each {} times and more, expected fewer "
                                      "that are alike",
                                      most_selected, overlap));
    }
}

void Stream::assume_known(Item &item, const Reading &reading) {
    item.sent = reading.select(item.path, item.levels, item.kind);
    for (const LeafPointer &leaf : *item.sent)
        backlog_.know(leaf);
}

void Stream::deliver(Item &item, const Reading &reading, Extent extent) {
    static const auto none = std::make_shared<const Leaves>();
    const std::shared_ptr<const Leaves> now = reading.select(item.path, item.levels, item.kind);
    const std::shared_ptr<const Difference> difference = reading.difference(item.sent ? item.sent : none, now);
    for (const LeafPointer &leaf : difference->gone)
        backlog_.remove(leaf, reading.read_at());
    for (const LeafPointer &leaf : extent == Extent::everything ? *now : difference->changed)
        backlog_.update(leaf, reading.read_at());
    item.sent = now;
}

void Stream::node_changed() {
    {
        const std::lock_guard guard(mutex_);
        // A reading that is asked for later shows this change, too.
        if (reading_for_change_)
            return;
        reading_for_change_ = true;
    }
    read(paths(true), [this](const Reading &reading) {
        reading_for_change_ = false;
        for (Item &item : items_) {
            if (item.on_change && synchronized_)
                deliver(item, reading, Extent::changed);
        }
    });
}

void Stream::repeat(std::size_t index, Clock::duration interval, Extent extent, Clock::time_point due) {
    // Streams that are due at about the same time share a reading.
    const Clock::duration past_tick = due.time_since_epoch() % shortest_sample;
    const Clock::time_point tick =
        past_tick == Clock::duration::zero() ? due : due + (Clock::duration(shortest_sample) - past_tick);
    readings_.at(tick, this, [weak = weak_from_this(), index, interval, extent, due] {
        const std::shared_ptr<Stream> stream = weak.lock();
        if (!stream)
            return;
        stream->read({stream->items_[index].path},
                     [self = stream.get(), index, interval, extent, due](const Reading &reading) {
                         if (self->synchronized_)
                             self->deliver(self->items_[index], reading, extent);
                         // The grid of the intervals stays; what was missed is not made up for.
                         Clock::time_point next = due + interval;
                         const Clock::time_point now = Clock::now();
                         if (next < now)
                             next += ((now - next) / interval + 1) * interval;
                         self->repeat(index, interval, extent, next);
                     });
    });
}

std::optional<::gnmi::SubscribeResponse> Stream::take() {
    const std::lock_guard guard(mutex_);
    return backlog_.take(query_.encoding(), query_.target());
}

std::optional<Stream::End> Stream::end() const {
    const std::lock_guard guard(mutex_);
    return backlog_.empty() ? end_ : std::nullopt;
}

} // namespace ocamp::gnmi
