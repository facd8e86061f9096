// Who listens to events, and what the node held when they were last told: the difference to that is what changed.
// Belongs to the worker but for subscribing. Knows neither protocols nor requests.
#pragma once

#include "node/service.h"
#include "server/changes.h"

#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace ocamp::server {

/// The listeners and the last view of the node.
class Feed {
  public:
    Feed() : listeners_(std::make_shared<Listeners>()) {}

    /// From any thread, and not from inside a listener.
    Subscription subscribe(Interest interest, Listener listener);
    /// The most that anybody wants to know; none when nobody listens.
    std::optional<Interest> wanted() const;

    /// What a client reads of a node.
    struct NodeView {
        YangTree openconfig;
        YangTree native;
    };
    /// As the most interested listener wants it. Throws as Reader::read.
    NodeView view(const NativeData &data, const Reader &reader) const;
    /// Whether there is an earlier view to compare with, of as much as is wanted now.
    bool has_view() const noexcept;
    /// Keeps the view and tells what has changed since the one before, if anybody wants to know.
    void tell_changes(NodeView now, const Author &author);
    /// Forgets the view: nobody listens any more.
    void forget() noexcept { last_.reset(); }

    /// Calls the listeners.
    void tell(std::variant<DataChange, SessionStarted, SessionEnded, ConfirmedCommitEvent, PlantEvent> what);

  private:
    struct Entry {
        Interest interest;
        Listener listener;
    };
    struct Listeners {
        mutable std::mutex mutex;
        std::vector<std::shared_ptr<Entry>> entries;
    };

    std::shared_ptr<Listeners> listeners_; // subscriptions may outlive the feed
    std::optional<std::pair<Interest, NodeView>> last_;
};

} // namespace ocamp::server
