// The power shim's log, read. For the tests that look into it; the shim itself knows only what is in power_log.h.
#pragma once

#include "power_log.h"

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace power {

/// One thing that was done to a file or a folder. Which members mean something is told by the action.
struct Step {
    Action action;
    std::string name;
    std::uint64_t at;
    std::string data;
};

/// What was done, in its order, from the bytes of a log.
inline std::vector<Step> steps_of(const std::string &log) {
    std::vector<Step> steps;
    for (std::size_t at = 0; at < log.size();) {
        Record record{};
        std::memcpy(&record, log.data() + at, sizeof record);
        at += sizeof record;
        steps.push_back({record.action, log.substr(at, record.name_size), record.at,
                         log.substr(at + record.name_size, record.data_size)});
        at += record.name_size + record.data_size;
    }
    return steps;
}

} // namespace power
