// Hands arbitrary texts to the reader of XPath filters and cuts a tree with what it takes. They may be refused, and
// only as the reader says that it refuses. A cut adds nothing, and leaves no entry without its key.
#include "node/filter.h"
#include "node/xpath_filter.h"
#include "yang/models.h"

#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>
#include <string_view>

namespace {

using namespace ocamp;

const YangTree &whole_answer() {
    static const YangTree &tree = *new YangTree(openconfig_schema().parse(
        R"({"openconfig-optical-amplifier:optical-amplifier": {
        "amplifiers": {"amplifier": [
            {"name": "0/1-AMP-PRE",
             "config": {"name": "0/1-AMP-PRE", "target-gain": "17.5", "enabled": true},
             "state": {"name": "0/1-AMP-PRE", "type": "EDFA", "actual-gain": {"instant": "17.5", "avg": "17.53"}}},
            {"name": "0/2-AMP-BST", "config": {"name": "0/2-AMP-BST", "enabled": false}}]},
        "supervisory-channels": {"supervisory-channel": [
            {"interface": "Optics0/1/0/4", "config": {"interface": "Optics0/1/0/4"},
             "state": {"interface": "Optics0/1/0/4"}}]}}})",
        LYD_JSON));
    return tree;
}

// Entries without their keys are none.
std::size_t count(const lyd_node *first) {
    std::size_t nodes = 0;
    for (const lyd_node *node = first; node != nullptr; node = node->next) {
        const lyd_node *child = lyd_child(node);
        if (is_list(*node->schema) && (child == nullptr || !is_key(*child->schema)))
            std::abort();
        nodes += 1 + count(child);
    }
    return nodes;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static const std::map<std::string, std::string> namespaces{{"o", "http://openconfig.net/yang/optical-amplfier"},
                                                               {"x", "urn:nobody"}};
    try {
        const XPathFilter filter(openconfig_schema(), {reinterpret_cast<const char *>(data), size}, namespaces);
        YangTree answer = whole_answer().copy();
        filter.cut(answer);
        if (count(answer.first()) > count(whole_answer().first()))
            std::abort();
    } catch (const FilterError &) { // NOLINT(bugprone-empty-catch): as it says that it does
    }
    return 0;
}
