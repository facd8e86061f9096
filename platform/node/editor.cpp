// The order of an edit, and what must hold before and after it. Knows neither where edits come from nor where data is
// kept.
#include "node/editor.h"

#include "node/edit_checks.h"
#include "node/native_edit.h"
#include "node/slots.h"
#include "seam/path_text.h"
#include "yang/error.h"
#include "yang/models.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include <fmt/format.h>

namespace ocamp {

namespace {

// How far a number may read back from what was asked, in the leaf's unit. The loss that is allowed is that of a native
// leaf which takes whole numbers of the unit or of a part of it: less than one. More is no rounding any more.
constexpr double farthest_read_back = 1.0;

// Takes away the entries that a remove names and that are not there for the client: what stands for them natively, if
// anything, is not the client's.
void drop_absent_removals(EditNode &node, lyd_node *siblings) {
    lyd_node *instance = instance_of(node, siblings);
    lyd_node *below = instance != nullptr ? lyd_child(instance) : nullptr;
    std::erase_if(node.children, [&](EditNode &child) {
        const bool absent = child.schema != nullptr && is_list(*child.schema) && is_operation(child, YFW_OP_REMOVE) &&
                            instance_of(child, below) == nullptr;
        if (absent)
            refuse_missing_slot(child);
        return absent;
    });
    for (EditNode &child : node.children)
        drop_absent_removals(child, below);
}

std::optional<double> number(const lysc_node &leaf, const std::string &text) {
    const lysc_type &type = type_of(leaf);
    const bool is_number = is_short_integer(type) || type.basetype == LY_TYPE_DEC64 || type.basetype == LY_TYPE_INT64 ||
                           type.basetype == LY_TYPE_UINT64;
    if (!is_number)
        return std::nullopt;
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(value) : std::nullopt;
}

bool reads_back(const EditNode &leaf, const std::string &now) {
    const std::optional<double> asked = number(*leaf.schema, *leaf.value);
    const std::optional<double> read = number(*leaf.schema, now);
    if (asked && read)
        return std::abs(*asked - *read) <= farthest_read_back;
    return *leaf.value == now;
}

// Whether a value that reads back has lost something on the way.
bool is_rounded(const EditNode &leaf, const std::string &now) {
    const std::optional<double> asked = number(*leaf.schema, *leaf.value);
    return asked && asked != number(*leaf.schema, now);
}

// What was asked for must be what a client reads afterwards; a mapping that lost it has not carried the edit out. What
// was merely rounded is added to `rounded`.
void check_after(const EditNode &node, lyd_node *siblings, std::vector<Rounding> &rounded) {
    if (node.schema == nullptr || is_key_leaf(node))
        return;
    lyd_node *instance = instance_of(node, siblings);
    if (is_deleted(node)) {
        if (instance != nullptr && node.own_operation && names_its_entry(*node.schema))
            throw RequestError(error_tag::bad_attribute, node.path,
                               "cannot be deleted alone: the key refers to it, expected the operation on the entry");
        if (instance != nullptr && node.own_operation && !(node.schema->nodetype == LYS_CONTAINER))
            throw RequestError(error_tag::not_supported, node.path, "cannot be deleted");
        return;
    }
    if (is_list(*node.schema) && instance == nullptr)
        refuse_absent(node, error_tag::invalid_value,
                      fmt::format("the node has no such entry to configure: the '{}' of none is '{}'",
                                  list_keys(*node.schema).front()->name, node.keys().front()));
    if (is_leaf(*node.schema) && node.operation) {
        if (instance == nullptr)
            throw RequestError(error_tag::not_supported, node.path, "the node does not keep this value");
        const std::string now = leaf_text(*instance);
        if (!reads_back(node, now))
            throw RequestError(error_tag::invalid_value, node.path,
                               fmt::format("the node cannot hold '{}': it would read back as '{}'", *node.value, now));
        if (is_rounded(node, now))
            rounded.push_back({node.path, *node.value, now, model_unit(*node.schema)});
    }
    for (const EditNode &child : node.children)
        check_after(child, instance != nullptr ? lyd_child(instance) : nullptr, rounded);
}

// Checks the whole of the native configuration. What is wrong with it is told of the OpenConfig node whose write stands
// where the native model complains, or else of the whole edit.
void check_natively(YangTree &running, const std::vector<Write> &writes) {
    try {
        native_schema().validate(running);
    } catch (const YangError &error) {
        const std::string place = without_keys(error.path());
        const std::vector<std::string_view> steps = path_steps(place);
        const auto guilty = std::find_if(writes.rbegin(), writes.rend(), [&](const Write &write) {
            return !write.source_path.empty() && !steps.empty() && path_steps(write.path) == steps;
        });
        throw RequestError(error_tag::operation_failed, guilty == writes.rend() ? "" : guilty->source_path,
                           fmt::format("the native configuration would not be valid: {}", error.what()));
    }
}

} // namespace

YangTree Editor::configuration(const NativeData &data) const {
    return reader_.read(data, YFW_KIND_GET_CONFIG, Filter(openconfig_schema()), nullptr).answer;
}

EditOutcome Editor::edit(NativeData &data, const EditRequest &asked, EditReport *report) const {
    EditRequest request = asked;
    // Before the read: the whole tree does for that, too, and is not parsed once more.
    const YangTree native_before = data.running.tree().copy();
    const YangTree before = configuration(data);
    for (EditNode &root : request.roots()) {
        check_before(root, before.first());
        drop_absent_removals(root, before.first());
    }
    if (report != nullptr)
        report->leaves = asked_leaves(request);
    std::vector<Write> writes;
    for (RequestNode &run : request.requests())
        run_one(data, std::move(run), writes, report);
    check_natively(data.running.to_change(), writes);
    const YangTree after = configuration(data);
    if (report != nullptr) {
        note_read_back(report->leaves, after);
        report->native_changes = changes(native_before, data.running.tree());
        report->openconfig_changes = changes(before, after);
    }
    EditOutcome outcome{.changed = changed_leaves(before, after), .rounded = {}};
    for (const EditNode &root : request.roots())
        check_after(root, after.first(), outcome.rounded);
    return outcome;
}

void Editor::run_one(NativeData &data, RequestNode request, std::vector<Write> &writes, EditReport *report) const {
    EditRunReport *const shown =
        report != nullptr ? &report->runs.emplace_back(EditRunReport{.request = request}) : nullptr;
    MappingRun run(YFW_KIND_EDIT, std::move(request));
    map_to_native(plugin_, logs_, run, shown != nullptr ? &shown->trace : nullptr);
    const OutputTree edit(run.writes());
    if (shown != nullptr) {
        shown->native_edit = edit.roots();
        note_native_edit(report->leaves, edit.roots());
    }
    writes.insert(writes.end(), run.writes().begin(), run.writes().end());
    apply_native_edit(
        native_schema(), edit.roots(), [&](const std::string &path) { return native_entries(data, path); },
        data.running.to_change());
}

// A read of the same path says which entries it stands for.
std::vector<std::string> Editor::native_entries(const NativeData &data, const std::string &openconfig_path) const {
    std::vector<std::string> paths;
    for (RequestNode &request : Filter::from_path(openconfig_schema(), openconfig_path).requests()) {
        MappingRun run(YFW_KIND_GET_CONFIG, std::move(request));
        map_to_native(plugin_, logs_, run, nullptr);
        const OutputTree native_request(run.writes());
        for (const NativeEntry &entry : select_entries(native_schema(), data, native_request.roots(), true))
            paths.push_back(entry.path);
    }
    return paths;
}

} // namespace ocamp
