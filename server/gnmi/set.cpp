// How operations of a Set become documents of an edit.
#include "server/gnmi/set.h"

#include "server/gnmi/rpc_error.h"
#include "server/gnmi/value.h"
#include "yang/error.h"

#include <algorithm>
#include <map>
#include <set>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace ocamp::gnmi {

namespace {

constexpr std::size_t most_operations = 1000;
constexpr std::string_view annotation = "ietf-netconf:operation";

bool is_wildcard(const Step &step) {
    return step.name == "*" || step.name == "...";
}

// A node of the model on the way to an operation's target.
struct Place {
    const lysc_node *node;
    std::map<std::string, std::string> keys; // by their plain names; values as the model writes them
};

// The value of a key as the model writes it: "07" and "7" are one number.
std::string key_value(const lysc_node &key, const std::string &value, const std::string &path) {
    try {
        return Schema::check_value(key, value);
    } catch (const YangError &error) {
        throw invalid(path, fmt::format("key '{}': {}", key.name, error.what()));
    }
}

std::map<std::string, std::string> keys_of(const lysc_node &list, const Step &step, const std::string &path) {
    std::map<std::string, std::string> keys;
    for (const auto &[name, value] : step.keys) {
        const std::string plain = name.substr(name.find(':') + 1);
        if (!keys.emplace(plain, value).second)
            throw invalid(path, fmt::format("key '{}' is given twice", plain));
    }
    for (const lysc_node *key : list_keys(list)) {
        const auto found = keys.find(key->name);
        if (found == keys.end() || found->second == "*")
            throw invalid(path, fmt::format("expected a value for key '{}'", key->name));
        found->second = key_value(*key, found->second, path);
    }
    return keys;
}

// The way to the one node that a path without wildcards names; empty for the root.
std::vector<Place> way_to(const Path &path) {
    const Schema &schema = schema_of(path.origin);
    std::vector<Place> way;
    for (const Step &step : path.steps) {
        if (is_wildcard(step))
            throw invalid(text_of(path), "has a wildcard, expected the path of one node");
        const lysc_node *parent = way.empty() ? nullptr : way.back().node;
        // The module's name was checked with the path.
        const lysc_node *node = schema.find(parent, std::string_view(step.name).substr(step.name.find(':') + 1));
        if (node == nullptr)
            throw invalid(text_of(path), "is not in the model");
        way.push_back({node, {}});
        if (is_list(*node))
            way.back().keys = keys_of(*node, step, text_of(path));
    }
    return way;
}

// A text for the root and for each node on a way.
std::vector<std::string> nodes_on(const std::vector<Place> &way, Origin origin) {
    std::vector<std::string> nodes{text_of(Path{origin, {}})};
    Path path{origin, {}};
    for (const Place &place : way) {
        path.steps.push_back({place.node->name, place.keys});
        nodes.push_back(text_of(path));
    }
    return nodes;
}

std::string member_name(const lysc_node &node, const lysc_node *parent) {
    return parent == nullptr || parent->module != node.module ? fmt::format("{}:{}", node.module->name, node.name)
                                                              : std::string(node.name);
}

std::string text_of_key(const Json &value) {
    return value.is_string() ? value.get<std::string>() : value.dump();
}

// Puts the path's keys into an entry. A value that says otherwise is refused.
void add_keys(Json &entry, const Place &place, const std::string &path) {
    const Schema &schema = schema_of(origin_of(*place.node));
    Json keys = Json::object();
    for (const lysc_node *key : list_keys(*place.node)) {
        const std::string &wanted = place.keys.at(key->name);
        if (entry.contains(key->name) && key_value(*key, text_of_key(entry[key->name]), path) != wanted)
            throw invalid(path, fmt::format("key '{}' is '{}' in the path and '{}' in the value, expected one of them",
                                            key->name, wanted, text_of_key(entry[key->name])));
        ::gnmi::TypedValue text;
        text.set_ascii_val(wanted);
        keys[key->name] = edit_value(schema, key, text, path);
        entry.erase(key->name);
    }
    for (const auto &[name, value] : entry.items())
        keys[name] = value;
    entry = std::move(keys);
}

// Messages off the wire hold UTF-8 only; others need not.
std::string printed(const Json &json, const std::string &path) {
    try {
        return json.dump();
    } catch (const Json::type_error &) {
        throw invalid(path, "holds text that is no UTF-8");
    }
}

// The document that puts a value at the end of a way. An operation annotates the node there.
std::string document_of(const std::vector<Place> &way, Json value, std::string_view operation,
                        const std::string &path) {
    const Json mark = Json{{std::string(annotation), operation}};
    for (std::size_t i = way.size(); i-- > 0;) {
        const Place &place = way[i];
        const bool target = i + 1 == way.size();
        if (is_list(*place.node))
            add_keys(value, place, path);
        const std::string name = member_name(*place.node, i == 0 ? nullptr : way[i - 1].node);
        Json member = Json::object();
        if (target && !operation.empty()) {
            if (is_leaf(*place.node))
                member["@" + name] = mark;
            else
                value["@"] = mark;
        }
        if (is_list(*place.node))
            member[name] = Json::array({std::move(value)});
        else if (!value.is_discarded())
            member[name] = std::move(value);
        value = std::move(member);
    }
    return printed(value, path);
}

server::EditStep removal_of(const lyd_node &node, Origin origin) {
    const Path path{origin, steps_to(node)};
    const std::vector<Place> way = way_to(path);
    Json nothing = is_leaf(*node.schema) ? Json(Json::value_t::discarded) : Json(Json::object());
    return {.document = document_of(way, std::move(nothing), "remove", text_of(path)),
            .default_operation = DefaultOperation::none};
}

CommitAction action_of(const gnmi_ext::Commit &commit) {
    if (commit.id().empty())
        throw invalid("commit", "has no id");
    CommitAction action{.id = commit.id()};
    const auto set_duration = [&](const google::protobuf::Duration &duration) {
        constexpr std::int64_t longest = std::int64_t{7} * 24 * 3600;
        // A part of a second counts as a whole one: what is taken back is not taken back early.
        const std::int64_t seconds = duration.seconds() + (duration.nanos() > 0 ? 1 : 0);
        if (seconds < 1 || seconds > longest || duration.nanos() < 0)
            throw invalid("commit", fmt::format("rollback_duration is {} s, expected 1 to {}", seconds, longest));
        action.duration = std::chrono::seconds(seconds);
    };
    switch (commit.action_case()) {
    case gnmi_ext::Commit::kCommit:
        if (commit.commit().has_rollback_duration())
            set_duration(commit.commit().rollback_duration());
        return action;
    case gnmi_ext::Commit::kConfirm:
        action.kind = CommitAction::Kind::confirm;
        return action;
    case gnmi_ext::Commit::kCancel:
        action.kind = CommitAction::Kind::cancel;
        return action;
    case gnmi_ext::Commit::kSetRollbackDuration:
        action.kind = CommitAction::Kind::set_duration;
        set_duration(commit.set_rollback_duration().rollback_duration());
        return action;
    default:
        throw invalid("commit", "has no action");
    }
}

} // namespace

SetEdit::SetEdit(const ::gnmi::SetRequest &request) {
    std::size_t operations = 0;
    for (const int count :
         {request.delete__size(), request.replace_size(), request.update_size(), request.union_replace_size()})
        operations += static_cast<std::size_t>(count);
    if (operations > most_operations)
        throw invalid("/", fmt::format("{} operations, expected at most {}", operations, most_operations));
    for (const gnmi_ext::Extension &extension : request.extension()) {
        if (extension.has_commit())
            commit_ = action_of(extension.commit());
        if (extension.has_master_arbitration())
            election_ = {extension.master_arbitration().role().id(),
                         extension.master_arbitration().election_id().high(),
                         extension.master_arbitration().election_id().low()};
    }
    if (request.has_prefix())
        *results_.mutable_prefix() = request.prefix();
    for (const ::gnmi::Path &path : request.delete_())
        add_delete(request.prefix(), path);
    add_union(request);
    for (const ::gnmi::Update &update : request.replace()) {
        add_update(joined(request.prefix(), update.path()), update.val(), true);
        add_result(update.path(), ::gnmi::UpdateResult::REPLACE);
    }
    for (const ::gnmi::Update &update : request.update()) {
        add_update(joined(request.prefix(), update.path()), update.val(), false);
        add_result(update.path(), ::gnmi::UpdateResult::UPDATE);
    }
    if (commit_ && commit_->kind != CommitAction::Kind::commit && !empty())
        throw invalid("commit", "confirms, cancels or extends and holds operations, expected one of them");
}

void SetEdit::add_result(const ::gnmi::Path &path, ::gnmi::UpdateResult::Operation operation) {
    ::gnmi::UpdateResult &result = *results_.add_response();
    *result.mutable_path() = path;
    result.set_op(operation);
}

void SetEdit::note_origin(const Path &path) {
    if (path.origin == Origin::native && !native_path_)
        native_path_ = text_of(path);
}

void SetEdit::add_delete(const ::gnmi::Path &prefix, const ::gnmi::Path &path) {
    Path whole = joined(prefix, path);
    wildcards_.add(whole);
    note_origin(whole);
    const std::vector<const lysc_node *> nodes = schema_nodes(whole);
    if (std::ranges::all_of(nodes, [](const lysc_node *node) { return node != nullptr && !is_configuration(*node); }))
        throw invalid(text_of(whole), "is read-only");
    deletes_.push_back(std::move(whole));
    add_result(path, ::gnmi::UpdateResult::DELETE);
}

// The values of one node are united and then take its place, those below it too, whatever their order: the ones above
// come first. Native values come before the others: what OpenConfig says beside them is merged into what they leave,
// for both describe one configuration.
void SetEdit::add_union(const ::gnmi::SetRequest &request) {
    struct Value {
        Path path;
        std::vector<std::string> nodes; // each on the way to it and itself, the same however the path is written
        const ::gnmi::TypedValue *value;
    };
    std::vector<Value> all;
    for (const ::gnmi::Update &update : request.union_replace()) {
        Path path = joined(request.prefix(), update.path());
        schema_nodes(path);
        std::vector<std::string> nodes = nodes_on(way_to(path), path.origin);
        all.push_back({std::move(path), std::move(nodes), &update.val()});
    }
    // Clang 14 does not take libstdc++'s std::ranges::stable_sort of this.
    std::stable_sort(all.begin(), all.end(), [](const Value &a, const Value &b) {
        return std::pair(a.path.origin != Origin::native, a.nodes.size()) <
               std::pair(b.path.origin != Origin::native, b.nodes.size());
    });
    const bool native = !all.empty() && all.front().path.origin == Origin::native;
    std::set<std::string> replaced;
    for (const Value &one : all) {
        const bool united =
            std::ranges::any_of(one.nodes, [&](const std::string &node) { return replaced.contains(node); });
        replaced.insert(one.nodes.back());
        add_update(one.path, *one.value, !united && (one.path.origin == Origin::native || !native));
    }
    for (const ::gnmi::Update &update : request.union_replace())
        add_result(update.path(), ::gnmi::UpdateResult::UNION_REPLACE);
}

void SetEdit::add_update(const Path &path, const ::gnmi::TypedValue &value, bool replace) {
    schema_nodes(path);
    note_origin(path);
    const std::vector<Place> way = way_to(path);
    const std::string text = text_of(path);
    const lysc_node *target = way.empty() ? nullptr : way.back().node;
    Json json = edit_value(schema_of(path.origin), target, value, text);
    if (target != nullptr && is_list(*target) && !json.is_object())
        throw invalid(text, "is a list entry, expected a JSON object");
    if (!way.empty()) {
        others_.push_back({.document = document_of(way, std::move(json), replace ? "replace" : "", text)});
        return;
    }
    if (!replace) {
        others_.push_back({.document = printed(json, text)});
        return;
    }
    // Everything goes but what the value holds.
    const Schema &schema = schema_of(path.origin);
    for (const std::string_view name : schema.children(nullptr)) {
        const lysc_node &root = *schema.find(nullptr, name);
        const std::string member = member_name(root, nullptr);
        if (!is_configuration(root))
            continue;
        const bool given = json.contains(member);
        Json content = given ? json[member] : Json::object();
        content["@"] = Json{{std::string(annotation), given ? "replace" : "remove"}};
        others_.push_back({.document = printed(Json{{member, std::move(content)}}, text),
                           .default_operation = given ? DefaultOperation::merge : DefaultOperation::none});
    }
}

server::Edit SetEdit::edit() const {
    if (deletes_.empty())
        return {.steps = others_};
    return {.steps = {}, .steps_for = [this](const YangTree &configuration) { return steps(configuration); }};
}

std::vector<server::EditStep> SetEdit::steps(const YangTree &configuration) const {
    std::vector<server::EditStep> steps;
    std::set<const lyd_node *> removed;
    const auto is_removed = [&](const lyd_node *node) {
        while (node != nullptr && !removed.contains(node))
            node = lyd_parent(node);
        return node != nullptr;
    };
    for (const Path &path : deletes_) {
        // What a wildcard hits and cannot be deleted is passed over; who names it is refused.
        const bool any = std::ranges::any_of(path.steps, is_wildcard);
        for (const lyd_node *node : data_nodes(configuration, path)) {
            if (!is_configuration(*node->schema) || is_removed(node) || (any && names_its_entry(*node->schema)))
                continue;
            steps.push_back(removal_of(*node, path.origin));
            removed.insert(node);
        }
    }
    steps.insert(steps.end(), others_.begin(), others_.end());
    return steps;
}

::gnmi::SetResponse SetEdit::response(std::chrono::system_clock::time_point changed_at) const {
    ::gnmi::SetResponse response = results_;
    response.set_timestamp(std::chrono::duration_cast<std::chrono::nanoseconds>(changed_at.time_since_epoch()).count());
    return response;
}

} // namespace ocamp::gnmi
