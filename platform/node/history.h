// Minimum, average and maximum of past intervals, as OpenConfig would have told them then. The OpenConfig model tells
// the latest interval alone; here the native history is presented to the plug-in one interval after the other, each in
// the place of the latest. Knows neither where filters come from nor how histories are shown.
#pragma once

#include "node/reader.h"
#include "sysdb/system_database.h"

#include <optional>
#include <string>
#include <vector>

namespace ocamp {

/// Length of an interval of the native history.
inline constexpr unsigned interval_seconds = 30;

/// One leaf min, avg or max over the past.
struct LeafHistory {
    std::string path;
    std::string unit; ///< as the model says it, such as "dB"
    /// One for each interval, the latest last; none where the node kept nothing.
    std::vector<std::optional<std::string>> values;
};

/// The leaves min, avg and max that the filter selects, in the order of the model. All have the same number of
/// intervals. A leaf that does not come from a history has its present value alone. Throws what Reader::read throws.
std::vector<LeafHistory> history_of(NativeData data, SystemDatabase &records, const Filter &filter,
                                    const Reader &reader);

} // namespace ocamp
