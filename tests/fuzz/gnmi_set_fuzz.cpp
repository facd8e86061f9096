// Hands arbitrary SetRequests to their reader and makes steps of an edit of them. They may be refused, and only as the
// reader says that it refuses. A step is a JSON document.
#include "gnmi_message.h"

#include "server/gnmi/rpc_error.h"
#include "server/gnmi/set.h"
#include "yang/models.h"

#include <cstdlib>

#include <nlohmann/json.hpp>

namespace {

using namespace ocamp;
using namespace ocamp::gnmi;

const YangTree &configuration() {
    static const YangTree &tree = *new YangTree(openconfig_schema().parse(
        R"({"openconfig-optical-amplifier:optical-amplifier": {"amplifiers": {"amplifier": [
            {"name": "0/1-AMP-PRE",
             "config": {"name": "0/1-AMP-PRE", "target-gain": "17.5", "target-gain-tilt": "-0.5", "enabled": true}},
            {"name": "0/2-AMP-BST", "config": {"name": "0/2-AMP-BST", "target-gain": "13.1"}}]}}})",
        LYD_JSON));
    return tree;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    ::gnmi::SetRequest request;
    if (!read_message(data, size, request))
        return 0;
    try {
        const SetEdit edit(request);
        for (const server::EditStep &step : edit.steps(configuration())) {
            if (!nlohmann::json::accept(step.document))
                std::abort();
        }
        const int operations =
            request.delete__size() + request.replace_size() + request.update_size() + request.union_replace_size();
        if (edit.response(std::chrono::system_clock::time_point()).response_size() != operations)
            std::abort();
    } catch (const RpcError &) { // NOLINT(bugprone-empty-catch): as it says that it does
    }
    return 0;
}
