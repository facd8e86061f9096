// The order of a read. Knows neither where filters come from nor how answers are shown.
#include "node/reader.h"

#include "node/stages.h"

#include <fmt/format.h>

namespace ocamp {

namespace {

std::string root_module(const yfw_datatree &root) {
    const lysc_node *schema = openconfig_schema().find(nullptr, root.tag, root.ns);
    return schema != nullptr ? schema->module->name : "";
}

} // namespace

void map_to_native(const Plugin &plugin, MappingRun &run) {
    const StageMark stage(Stage::to_native);
    const yfw_datatree *root = run.request();
    const Walker walker = plugin.to_native(root_module(*root), root->tag);
    run.begin_walk();
    const cerrno result = walker(run.context(), root, run.output());
    if (result != CERR_SUCCESS)
        throw RequestError(result, run.error_path());
}

ReadResult Reader::read(const NativeData &data, std::uint32_t kind, const Filter &filter, ReadReport *report) const {
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
    MappingRun run(kind, std::move(request));
    logs_.attach(*run.context());
    if (report != nullptr)
        report->request = tree_text(*run.request());
    map_to_native(plugin_, run);

    const OutputTree native_request(run.writes());
    if (report != nullptr)
        report->native_request = output_text(native_request.roots());
    run.set_native_path(named_configuration_entry(native_schema(), native_request.roots()));
    for (const NativeEntry &entry :
         select_entries(native_schema(), data, native_request.roots(), kind == YFW_KIND_GET_CONFIG)) {
        const std::string root = entry.tree.tag;
        const Walker walker = plugin_.to_openconfig(entry.module->name, root);
        if (walker == nullptr) {
            debug_log_line(kLogErrors,
                           fmt::format("{}: the plug-in maps no data of {}", entry.path, entry.module->name));
            continue;
        }
        DataTree tree(entry.tree);
        std::string shown = report != nullptr ? tree_text(*tree.root()) : std::string();
        run.begin_walk();
        const cerrno result = [&] {
            const StageMark stage(Stage::to_openconfig);
            return walker(run.context(), tree.root(), run.output());
        }();
        if (report != nullptr)
            report->walks.push_back({entry.module->name, entry.path, std::move(shown), result});
        if (result == YMAP_RC_SKIP)
            continue;
        if (result != CERR_SUCCESS)
            throw RequestError(result, entry.path);
        answer.add(OutputTree(run.writes()));
    }
}

} // namespace ocamp
