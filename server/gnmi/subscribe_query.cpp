// How a client's list of subscriptions is read.
#include "server/gnmi/subscribe_query.h"

#include "server/gnmi/get.h"
#include "server/gnmi/value.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

namespace ocamp::gnmi {

namespace {

constexpr int most_subscriptions = 1024;

std::chrono::nanoseconds interval(std::uint64_t nanoseconds, std::string_view word) {
    constexpr std::uint64_t longest = std::uint64_t{30} * 24 * 3600 * 1000000000;
    const auto shortest = static_cast<std::uint64_t>(std::chrono::nanoseconds(SubscribeQuery::shortest_sample).count());
    if (nanoseconds < shortest || nanoseconds > longest)
        throw invalid(word, fmt::format("{} ns, expected {} to {}", nanoseconds, shortest, longest));
    return std::chrono::nanoseconds(nanoseconds);
}

} // namespace

SubscribeQuery::SubscribeQuery(const ::gnmi::SubscribeRequest &request)
    : mode_(request.subscribe().mode()), encoding_(request.subscribe().encoding()),
      target_(request.subscribe().prefix().target()), updates_only_(request.subscribe().updates_only()) {
    if (!request.has_subscribe())
        throw invalid("request", "expected a SubscriptionList first");
    const ::gnmi::SubscriptionList &list = request.subscribe();
    if (!::gnmi::SubscriptionList::Mode_IsValid(list.mode()))
        throw invalid("mode", fmt::format("{}, expected STREAM, ONCE or POLL", static_cast<int>(list.mode())));
    check_encoding(list.encoding());
    check_models(list.use_models());
    if (list.subscription().empty())
        throw invalid("subscription", "is missing, expected one at least");
    if (list.subscription_size() > most_subscriptions)
        throw invalid("subscription",
                      fmt::format("{}, expected at most {}", list.subscription_size(), most_subscriptions));
    for (const ::gnmi::Subscription &subscription : list.subscription())
        add(subscription, list, depth_of(request.extension()));
}

void SubscribeQuery::add(const ::gnmi::Subscription &subscription, const ::gnmi::SubscriptionList &list,
                         std::size_t levels) {
    SubscribedItem item{.path = joined(list.prefix(), subscription.path()), .levels = levels};
    wildcards_.add(item.path);
    schema_nodes(item.path);
    if (mode_ == ::gnmi::SubscriptionList::STREAM)
        add_stream_item(std::move(item), subscription);
    else
        items_.push_back(std::move(item));
}

void SubscribeQuery::add_stream_item(SubscribedItem item, const ::gnmi::Subscription &subscription) {
    if (subscription.heartbeat_interval() != 0)
        item.heartbeat = interval(subscription.heartbeat_interval(), "heartbeat_interval");
    item.suppress_redundant = subscription.suppress_redundant();
    switch (subscription.mode()) {
    case ::gnmi::ON_CHANGE:
        item.on_change = true;
        break;
    case ::gnmi::SAMPLE:
        item.sample = subscription.sample_interval() == 0 ? std::chrono::nanoseconds(shortest_sample)
                                                          : interval(subscription.sample_interval(), "sample_interval");
        break;
    case ::gnmi::TARGET_DEFINED: {
        if (subscription.sample_interval() != 0)
            throw invalid("sample_interval", "stands with TARGET_DEFINED, expected it with SAMPLE");
        SubscribedItem measured = item;
        measured.kind = LeafKind::measured;
        // Samples that are sent whatever their value are heartbeats, too.
        measured.sample = item.heartbeat && !item.suppress_redundant
                              ? std::min<Readings::Clock::duration>(own_sample, *item.heartbeat)
                              : own_sample;
        items_.push_back(std::move(measured));
        item.kind = LeafKind::settled;
        item.on_change = true;
        break;
    }
    default:
        throw invalid("mode", fmt::format("{}, expected TARGET_DEFINED, ON_CHANGE or SAMPLE",
                                          static_cast<int>(subscription.mode())));
    }
    wants_changes_ = wants_changes_ || item.on_change;
    items_.push_back(std::move(item));
}

} // namespace ocamp::gnmi
