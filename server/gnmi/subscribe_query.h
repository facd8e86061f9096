// What a client asks for with Subscribe: its list, checked against the models. Knows no stream and nobody who asks.
#pragma once

#include "server/gnmi/path.h"
#include "server/gnmi/readings.h"

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "gnmi.pb.h"

namespace ocamp::gnmi {

/// Leaves and when they are sent.
struct SubscribedItem {
    Path path;
    std::size_t levels = 0; ///< below the path; 0: all
    LeafKind kind = LeafKind::all;
    bool on_change = false;
    bool suppress_redundant = false;
    std::optional<Readings::Clock::duration> sample = {}, heartbeat = {};
};

/// A SubscribeRequest with a list, checked.
class SubscribeQuery {
  public:
    /// The shortest interval of a sample, and the one of values that the target samples by itself.
    static constexpr std::chrono::milliseconds shortest_sample{100};
    static constexpr std::chrono::seconds own_sample{10};

    /// Throws RpcError for whatever the request cannot have, its paths held against the models.
    explicit SubscribeQuery(const ::gnmi::SubscribeRequest &request);

    ::gnmi::SubscriptionList::Mode mode() const noexcept { return mode_; }
    ::gnmi::Encoding encoding() const noexcept { return encoding_; }
    const std::string &target() const noexcept { return target_; }
    bool updates_only() const noexcept { return updates_only_; }
    /// In the list's order; two for a subscription that leaves the mode to the target.
    const std::vector<SubscribedItem> &items() const noexcept { return items_; }
    /// Whether any item is sent on change.
    bool wants_changes() const noexcept { return wants_changes_; }

  private:
    void add(const ::gnmi::Subscription &subscription, const ::gnmi::SubscriptionList &list, std::size_t levels);
    void add_stream_item(SubscribedItem item, const ::gnmi::Subscription &subscription);

    ::gnmi::SubscriptionList::Mode mode_;
    ::gnmi::Encoding encoding_;
    std::string target_;
    bool updates_only_;
    bool wants_changes_ = false;
    WildcardCount wildcards_;
    std::vector<SubscribedItem> items_;
};

} // namespace ocamp::gnmi
