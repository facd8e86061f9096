// What is done with gNMI's requests once they are messages, however they came: they may be refused, and only as their
// readers say that they refuse. Knows neither bytes nor texts.
#pragma once

#include "server/gnmi/get.h"
#include "server/gnmi/rpc_error.h"
#include "server/gnmi/set.h"
#include "server/gnmi/subscribe_query.h"
#include "yang/models.h"

#include <chrono>
#include <cstdlib>
#include <set>

#include <nlohmann/json.hpp>

namespace fuzzed {

using namespace ocamp;
using namespace ocamp::gnmi;

inline const YangTree &whole_answer() {
    static const YangTree &tree = *new YangTree(openconfig_schema().parse(
        R"({"openconfig-optical-amplifier:optical-amplifier": {
        "amplifiers": {"amplifier": [
            {"name": "0/1-AMP-PRE",
             "config": {"name": "0/1-AMP-PRE", "target-gain": "17.5", "target-gain-tilt": "-0.5", "enabled": true},
             "state": {"name": "0/1-AMP-PRE", "type": "EDFA", "gain-range": "LOW_GAIN_RANGE", "enabled": true,
                       "actual-gain": {"instant": "17.5", "avg": "17.53", "min": "17.36", "max": "17.71"}}},
            {"name": "0/2-AMP-BST", "config": {"name": "0/2-AMP-BST", "target-gain": "13.1", "enabled": false}}]},
        "supervisory-channels": {"supervisory-channel": [
            {"interface": "Optics0/1/0/4", "config": {"interface": "Optics0/1/0/4"},
             "state": {"interface": "Optics0/1/0/4", "output-power": {"instant": "2.03"}}}]}}})",
        LYD_JSON));
    return tree;
}

inline const YangTree &configuration() {
    static const YangTree &tree = *new YangTree(openconfig_schema().parse(
        R"({"openconfig-optical-amplifier:optical-amplifier": {"amplifiers": {"amplifier": [
            {"name": "0/1-AMP-PRE",
             "config": {"name": "0/1-AMP-PRE", "target-gain": "17.5", "target-gain-tilt": "-0.5", "enabled": true}},
            {"name": "0/2-AMP-BST", "config": {"name": "0/2-AMP-BST", "target-gain": "13.1"}}]}}})",
        LYD_JSON));
    return tree;
}

template <class Work>
void refusable(Work work) {
    try {
        work();
    } catch (const RpcError &) { // NOLINT(bugprone-empty-catch): as it says that it does
    }
}

// What a path finds stands once, and nothing of it below another.
inline void check_found(const Path &path) {
    const std::vector<const lyd_node *> found = data_nodes(whole_answer(), path);
    const std::set<const lyd_node *> all(found.begin(), found.end());
    if (all.size() != found.size())
        std::abort();
    for (const lyd_node *node : found) {
        for (const lyd_node *above = lyd_parent(node); above != nullptr; above = lyd_parent(above)) {
            if (all.contains(above))
                std::abort();
        }
    }
}

inline void use(const ::gnmi::GetRequest &request) {
    constexpr std::size_t most_bytes = 1 << 20;
    refusable([&] {
        for (const ::gnmi::Path &path : request.path())
            check_found(joined(request.prefix(), path));
    });
    refusable([&] {
        const GetQuery query(request);
        const ::gnmi::GetResponse response =
            query.answer(whole_answer(), std::chrono::system_clock::time_point(), most_bytes);
        if (response.notification_size() != request.path_size() || response.ByteSizeLong() > 2 * most_bytes)
            std::abort();
    });
}

// A step of an edit is a JSON document.
inline void use(const ::gnmi::SetRequest &request) {
    refusable([&] {
        const SetEdit edit(request);
        for (const server::EditStep &step : edit.steps(configuration())) {
            if (!nlohmann::json::accept(step.document))
                std::abort();
        }
        const int operations =
            request.delete__size() + request.replace_size() + request.update_size() + request.union_replace_size();
        if (edit.response(std::chrono::system_clock::time_point()).response_size() != operations)
            std::abort();
    });
}

// Samples and heartbeats have intervals that a timer can keep.
inline void use(const ::gnmi::SubscribeRequest &request) {
    refusable([&] {
        const SubscribeQuery query(request);
        if (query.items().empty())
            std::abort();
        for (const SubscribedItem &item : query.items()) {
            check_found(item.path);
            for (const auto &interval : {item.sample, item.heartbeat}) {
                if (interval && (*interval < SubscribeQuery::shortest_sample || *interval > std::chrono::days(30)))
                    std::abort();
            }
        }
    });
}

} // namespace fuzzed
