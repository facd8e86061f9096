// Messages and trees that the tests of the adapter's parts share. Knows nothing of what they expect.
#pragma once

#include "server/gnmi/path.h"
#include "server/gnmi/rpc_error.h"
#include "yang/models.h"

#include <string>
#include <string_view>

#include <gmock/gmock.h>

namespace gnmi_tests {

using namespace ocamp;
using namespace ocamp::gnmi;

/// "a/b[key=value]" as a message. Neither names nor values may hold the marks.
inline ::gnmi::Path path_of(std::string_view text) {
    ::gnmi::Path path;
    if (text.starts_with('/'))
        text.remove_prefix(1);
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('/'), text.size());
        const std::string_view step = text.substr(0, end);
        const std::size_t bracket = std::min(step.find('['), step.size());
        ::gnmi::PathElem &elem = *path.add_elem();
        elem.set_name(std::string(step.substr(0, bracket)));
        if (const std::size_t equals = step.find('='); equals != std::string_view::npos)
            (*elem.mutable_key())[std::string(step.substr(bracket + 1, equals - bracket - 1))] =
                std::string(step.substr(equals + 1, step.size() - equals - 2));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return path;
}

/// Two entries, "a" with more leaves than "b".
inline YangTree two_amplifiers() {
    return openconfig_schema().parse(
        R"({"openconfig-optical-amplifier:optical-amplifier": {"amplifiers": {"amplifier": [
        {"name": "a", "config": {"name": "a", "target-gain": "17.5", "enabled": true},
         "state": {"name": "a", "type": "openconfig-optical-amplifier:EDFA", "actual-gain": {"instant": "17.25"}}},
        {"name": "b", "config": {"name": "b", "target-gain": "3.0"}}]}}})",
        LYD_JSON);
}

/// The leaf at a path like "optical-amplifier/amplifiers/amplifier[name=a]/config/target-gain" of the OpenConfig model.
inline const lysc_node &leaf_at(std::string_view text) {
    return *schema_nodes(joined({}, path_of(text))).at(0);
}

/// What throws an RpcError with this code and a text that has the words.
inline auto refused_with(Code code, const std::string &words) {
    return testing::Throws<RpcError>(testing::AllOf(testing::Property(&RpcError::code, code),
                                                    testing::Property(&RpcError::what, testing::HasSubstr(words))));
}

} // namespace gnmi_tests
