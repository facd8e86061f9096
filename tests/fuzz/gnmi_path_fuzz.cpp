// Hands arbitrary GetRequests to their reader and answers them from a tree. They may be refused, and only as readers
// say that they refuse. What a path finds stands once, and nothing of it below another.
#include "gnmi_message.h"

#include "server/gnmi/get.h"
#include "server/gnmi/rpc_error.h"
#include "yang/models.h"

#include <chrono>
#include <cstdlib>
#include <set>

namespace {

using namespace ocamp;
using namespace ocamp::gnmi;

const YangTree &whole_answer() {
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

void check_found(const Path &path) {
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

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    constexpr std::size_t most_bytes = 1 << 20;
    ::gnmi::GetRequest request;
    if (!read_message(data, size, request))
        return 0;
    try {
        for (const ::gnmi::Path &path : request.path())
            check_found(joined(request.prefix(), path));
    } catch (const RpcError &) { // NOLINT(bugprone-empty-catch): as it says that it does
    }
    try {
        const GetQuery query(request);
        const ::gnmi::GetResponse response =
            query.answer(whole_answer(), std::chrono::system_clock::time_point(), most_bytes);
        if (response.notification_size() != request.path_size() || response.ByteSizeLong() > 2 * most_bytes)
            std::abort();
    } catch (const RpcError &) { // NOLINT(bugprone-empty-catch): as it says that it does
    }
    return 0;
}
