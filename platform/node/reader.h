// Reads OpenConfig data from a node: requests through the plug-in to native requests, native data back through it to
// an answer. Knows neither where filters come from nor how answers are shown.
#pragma once

#include "framework/mapping_run.h"
#include "framework/provenance.h"
#include "log/log.h"
#include "node/answer.h"
#include "node/filter.h"
#include "node/node.h"
#include "node/plugin.h"
#include "yang/request_error.h"

#include <cstdint>
#include <string>
#include <vector>

namespace ocamp {

/// How the walk over one native entry went.
struct NativeWalkReport {
    std::string module;
    std::string entry; ///< data path
    RequestNode tree;
    cerrno result = CERR_SUCCESS;
    WalkTrace trace = {};
    std::vector<Placement> placements = {};
};
/// How one mapping run went. What was done before a refusal is there too.
struct RunReport {
    RequestNode request;
    std::vector<OutputNode> native_request = {};
    WalkTrace request_trace = {}; ///< of the walk over the request
    std::vector<NativeWalkReport> walks = {};
};
/// How a read went.
using ReadReport = std::vector<RunReport>;

/// What a read gives.
struct ReadResult {
    YangTree answer;
    std::vector<DroppedLeaf> dropped;
};

/// Carries reads out on native data in memory.
class Reader {
  public:
    /// All outlive the reader. Handlers write their messages to the logs of `logs`.
    Reader(const Plugin &plugin, LogSession &logs) : plugin_(plugin), logs_(logs) {}

    /// `kind`: YFW_KIND_GET or YFW_KIND_GET_CONFIG. `report` may be NULL. Throws RequestError.
    ReadResult read(const NativeData &data, std::uint32_t kind, const Filter &filter, ReadReport *report) const;
    /// The same without the refusals that need no mapping: of leaves that are not served and of slots that never are.
    ReadResult read_anyway(const NativeData &data, std::uint32_t kind, const Filter &filter, ReadReport *report) const;

  private:
    void read_one(const NativeData &data, std::uint32_t kind, RequestNode request, Answer &answer,
                  RunReport *report) const;

    const Plugin &plugin_;
    LogSession &logs_;
};

/// Runs the plug-in's OpenConfig walker over the run's request, its messages in `logs`: what it wrote is the native
/// request or edit. `trace`, which may be NULL, takes where the values come from. Throws RequestError with the place
/// when the walker refuses.
void map_to_native(const Plugin &plugin, LogSession &logs, MappingRun &run, WalkTrace *trace);

} // namespace ocamp
