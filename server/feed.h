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
    /// Whether there is a listener with this interest.
    bool is_wanted(Interest interest) const;

    /// What a client reads of a node's configuration.
    struct NodeView {
        YangTree openconfig;
        YangTree native;
    };
    /// The configuration. Throws as Reader::read.
    static NodeView view(const NativeData &data, const Reader &reader);
    /// Whether there is an earlier view to compare with.
    bool has_view() const noexcept { return last_.has_value(); }
    /// Keeps the view and tells what has changed since the one before.
    void tell_changes(NodeView now, const Author &author);
    /// Forgets the view: nobody wants to know what changed any more.
    void forget() noexcept { last_.reset(); }

    /// Calls the listeners.
    void
    tell(std::variant<DataChange, DataWritten, SessionStarted, SessionEnded, ConfirmedCommitEvent, PlantEvent> what);

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
    std::optional<NodeView> last_;
};

} // namespace ocamp::server
