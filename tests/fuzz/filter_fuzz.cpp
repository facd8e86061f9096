// Hands arbitrary texts to the readers of paths and subtree filters, and cuts a whole answer with what they make of
// them. They may refuse them, and only as they say that they do. A second cut has to find nothing left to take away.
#include "node/filter.h"
#include "node/node.h"
#include "yang/client_document.h"
#include "yang/models.h"
#include "yang/request_error.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

using namespace ocamp;

YangTree whole_answer() {
    return openconfig_schema().parse(R"({"openconfig-optical-amplifier:optical-amplifier": {
        "amplifiers": {"amplifier": [
            {"name": "0/1-AMP-PRE",
             "config": {"name": "0/1-AMP-PRE", "target-gain": "17.5", "target-gain-tilt": "-0.5", "enabled": true},
             "state": {"name": "0/1-AMP-PRE", "type": "EDFA", "gain-range": "LOW_GAIN_RANGE", "enabled": true,
                       "actual-gain": {"instant": "17.5", "avg": "17.53", "min": "17.36", "max": "17.71"}}},
            {"name": "0/2-AMP-BST",
             "config": {"name": "0/2-AMP-BST", "target-gain": "13.1", "enabled": false},
             "state": {"name": "0/2-AMP-BST", "enabled": false,
                       "input-power-c-band": {"instant": "-15.43", "avg": "-15.38"}}}]},
        "supervisory-channels": {"supervisory-channel": [
            {"interface": "Optics0/1/0/4",
             "config": {"interface": "Optics0/1/0/4"},
             "state": {"interface": "Optics0/1/0/4", "output-power": {"instant": "2.03"}}}]}}})",
                                     LYD_JSON);
}

Filter read_filter(std::string_view text) {
    return text.starts_with('/') ? Filter::from_path(openconfig_schema(), text)
                                 : Filter::from_document(openconfig_schema(), text);
}

std::string cut_with(const Filter &filter, YangTree &answer) {
    filter.cut(answer);
    return answer.print(LYD_JSON);
}

void use(const Filter &filter) {
    static const YangTree whole = whole_answer();
    filter.requests();
    filter.path_target();
    YangTree answer = whole.copy();
    const std::string once = cut_with(filter, answer);
    if (cut_with(filter, answer) != once)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    try {
        use(read_filter({reinterpret_cast<const char *>(data), size}));
    } catch (const FilterError &) {   // no path of the model, or no filter
    } catch (const DocumentError &) { // no XML
    }
    return 0;
}
