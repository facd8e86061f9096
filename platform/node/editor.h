// Edits OpenConfig data of a node: the request through the plug-in to a native edit, and that onto the native
// configuration, or a refusal. Knows neither where edits come from nor where data is kept.
#pragma once

#include "log/log.h"
#include "node/edit_request.h"
#include "node/leaf_changes.h"
#include "node/native_data.h"
#include "node/plugin.h"
#include "node/reader.h"
#include "node/why_edit.h"

#include <string>
#include <vector>

namespace ocamp {

/// How an edit went, for people. What was done before a refusal is there too.
struct EditRunReport {
    RequestNode request;
    std::vector<OutputNode> native_edit = {};
    WalkTrace trace = {}; ///< of the walk over the request
};
/// How the whole edit went.
struct EditReport {
    std::vector<EditRunReport> runs;
    std::vector<WhyEdit> leaves;                 ///< what becomes of what was asked for
    std::vector<std::string> native_changes;     ///< as changes() gives them
    std::vector<std::string> openconfig_changes; ///< the same for what a client reads
};

/// A value that the node holds less exactly than it was asked for.
struct Rounding {
    std::string path; ///< of the OpenConfig leaf
    std::string asked;
    std::string held;
    std::string unit = {}; ///< of both values, see model_unit
};
/// What an edit did, as clients see it.
struct EditOutcome {
    std::vector<LeafChange> changed; ///< leaves of the OpenConfig configuration
    std::vector<Rounding> rounded;   ///< of what was asked for, in its order
};

/// Carries edits out on native data in memory.
class Editor {
  public:
    /// All outlive the editor. Handlers write their messages to the logs of `logs`.
    Editor(const Plugin &plugin, LogSession &logs) : plugin_(plugin), logs_(logs), reader_(plugin, logs) {}

    /// Changes `data.running`, which is to be thrown away when this throws RequestError. `report` may be NULL.
    EditOutcome edit(NativeData &data, const EditRequest &asked, EditReport *report) const;

  private:
    YangTree configuration(const NativeData &data) const;
    void run_one(NativeData &data, RequestNode request, std::vector<Write> &writes, EditReport *report) const;
    std::vector<std::string> native_entries(const NativeData &data, const std::string &openconfig_path) const;

    const Plugin &plugin_;
    LogSession &logs_;
    Reader reader_;
};

} // namespace ocamp
