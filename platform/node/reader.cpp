// The order of a read. Knows neither where filters come from nor how answers are shown.
#include "node/reader.h"

#include "log/stages.h"
#include "node/slots.h"
#include "yang/models.h"

#include <algorithm>

#include <fmt/format.h>

namespace ocamp {

namespace {

std::string root_module(const yfw_datatree &root) {
    const lysc_node *schema = openconfig_schema().find(nullptr, root.tag, root.ns);
    return schema != nullptr ? schema->module->name : "";
}

struct NamedEntry {
    const RequestNode *entry;
    std::string path; // its data path
};

// The list entry that the client named by its key, at `node` or below.
std::optional<NamedEntry> named_entry(const RequestNode &node, const std::string &above = "") {
    const std::string path = above + "/" + node.tag + key_predicates(node);
    if (std::any_of(node.children.begin(), node.children.end(), is_named_key))
        return NamedEntry{&node, path};
    for (const RequestNode &child : node.children) {
        if (std::optional<NamedEntry> found = named_entry(child, path))
            return found;
    }
    return std::nullopt;
}

// Data path of the node that a request for a path leads to.
std::string path_of(const RequestNode &node) {
    const std::string path = "/" + node.tag + key_predicates(node);
    return node.children.empty() || is_named_key(node.children.back()) ? path : path + path_of(node.children.back());
}

void refuse_unserved(const Filter &filter) {
    const lysc_node *target = filter.path_target();
    if (target != nullptr && !is_served(*target))
        throw RequestError(error_tag::not_supported, path_of(filter.requests().front()), "not served by this device");
}

// A path to an entry that can never be there is a mistake; one that is merely not there gives an empty answer.
void refuse_impossible_entry(const Filter &filter) {
    if (filter.path_target() == nullptr)
        return;
    const RequestNode request = filter.requests().front();
    const std::optional<NamedEntry> named = named_entry(request);
    for (const RequestNode &key : named ? named->entry->children : std::vector<RequestNode>()) {
        const std::optional<std::string> reason = is_named_key(key) ? why_never_there(*key.value) : std::nullopt;
        if (reason)
            throw RequestError(error_tag::invalid_value, named->path, *reason);
    }
}

// Runs the walker over one native entry. `report` may be NULL.
cerrno walk_entry(Walker walker, MappingRun &run, DataTree &tree, NativeWalkReport *report) {
    const std::unique_lock turn = turn_to_walk();
    const StageMark stage(Stage::to_openconfig);
    std::optional<ProvenanceRecorder> recorder;
    if (report != nullptr)
        recorder.emplace(report->trace, &tree);
    const cerrno result = walker(run.context(), tree.root(), run.output());
    if (report != nullptr)
        report->result = result;
    return result;
}

} // namespace

void map_to_native(const Plugin &plugin, LogSession &logs, MappingRun &run, WalkTrace *trace) {
    logs.attach(*run.context());
    std::optional<ProvenanceRecorder> recorder;
    if (trace != nullptr)
        recorder.emplace(*trace, nullptr);
    const StageMark stage(Stage::to_native);
    const yfw_datatree *root = run.request();
    const Walker walker = plugin.to_native(root_module(*root), root->tag);
    run.begin_walk();
    const std::unique_lock turn = turn_to_walk();
    const cerrno result = walker(run.context(), root, run.output());
    if (result != CERR_SUCCESS)
        throw RequestError(result, run.error_path());
}

ReadResult Reader::read(const NativeData &data, std::uint32_t kind, const Filter &filter, ReadReport *report) const {
    refuse_unserved(filter);
    ReadResult result = read_anyway(data, kind, filter, report);
    if (result.answer.empty())
        refuse_impossible_entry(filter);
    return result;
}

ReadResult Reader::read_anyway(const NativeData &data, std::uint32_t kind, const Filter &filter,
                               ReadReport *report) const {
    ReadResult result;
    Answer answer(openconfig_schema(), kind == YFW_KIND_GET_CONFIG);
    for (RequestNode &request : filter.requests())
        read_one(data, kind, std::move(request), answer, report != nullptr ? &report->emplace_back() : nullptr);
    result.dropped = answer.dropped();
    result.answer = answer.take_tree();
    filter.cut(result.answer);
    return result;
}

void Reader::read_one(const NativeData &data, std::uint32_t kind, RequestNode request, Answer &answer,
                      RunReport *report) const {
    const std::optional<NamedEntry> named = named_entry(request);
    const std::string asked_path = named ? named->path : "";
    if (report != nullptr)
        report->request = request;
    MappingRun run(kind, std::move(request));
    map_to_native(plugin_, logs_, run, report != nullptr ? &report->request_trace : nullptr);

    const OutputTree native_request(run.writes());
    if (report != nullptr)
        report->native_request = native_request.roots();
    // A request that names no entry reaches none, whatever entries the plug-in asks for to answer it.
    if (named)
        run.set_native_path(named_configuration_entry(native_schema(), native_request.roots()));
    for (NativeEntry &entry :
         select_entries(native_schema(), data, native_request.roots(), kind == YFW_KIND_GET_CONFIG)) {
        const Walker walker = plugin_.to_openconfig(entry.module->name, entry.tree.tag);
        if (walker == nullptr) {
            debug_log_line(log_errors,
                           fmt::format("{}: the plug-in maps no data of {}", entry.path, entry.module->name));
            continue;
        }
        DataTree tree = [&] {
            const StageMark stage(Stage::look_up);
            return DataTree(entry.tree);
        }();
        NativeWalkReport *const walk =
            report != nullptr
                ? &report->walks.emplace_back(NativeWalkReport{entry.module->name, entry.path, std::move(entry.tree)})
                : nullptr;
        run.begin_walk();
        const cerrno result = walk_entry(walker, run, tree, walk);
        if (result == YMAP_RC_SKIP)
            continue;
        if (result != CERR_SUCCESS)
            throw RequestError(result, asked_path, "native data " + entry.path);
        answer.add(OutputTree(run.writes()), walk != nullptr ? &walk->placements : nullptr);
    }
}

} // namespace ocamp
