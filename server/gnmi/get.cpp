// How Get is answered.
#include "server/gnmi/get.h"

#include "server/gnmi/rpc_error.h"
#include "server/served_modules.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace ocamp::gnmi {

namespace {

constexpr int most_paths = 1024;

LeafTest test_of(::gnmi::GetRequest::DataType type) {
    switch (type) {
    case ::gnmi::GetRequest::ALL:
        return [](const lysc_node &) { return true; };
    case ::gnmi::GetRequest::CONFIG:
        return [](const lysc_node &leaf) { return is_configuration(leaf); };
    case ::gnmi::GetRequest::STATE:
        return [](const lysc_node &leaf) { return !is_configuration(leaf); };
    case ::gnmi::GetRequest::OPERATIONAL:
        return [](const lysc_node &leaf) { return !is_configuration(leaf) && !is_applied_configuration(leaf); };
    default:
        throw invalid("type", fmt::format("{}, expected ALL, CONFIG, STATE or OPERATIONAL", static_cast<int>(type)));
    }
}

// Adds the leaves at and below a node, an update each.
void add_leaves_of(const lyd_node &node, ::gnmi::Encoding encoding, const LeafTest &wanted, std::size_t levels,
                   ::gnmi::Notification &notification) {
    if (is_leaf(*node.schema)) {
        if (!wanted(*node.schema))
            return;
        ::gnmi::Update &update = *notification.add_update();
        *update.mutable_path() = to_message(steps_to(node));
        *update.mutable_val() = leaf_value(*node.schema, canonical_text(node), encoding);
        return;
    }
    for (const lyd_node *child = lyd_child(&node); child != nullptr; child = child->next) {
        if (levels == 1 && !is_leaf(*child->schema))
            continue;
        add_leaves_of(*child, encoding, wanted, levels == 0 ? 0 : levels - 1, notification);
    }
}

// Containers without a leaf below them are no data.
bool has_data(const lyd_node &node) {
    if (is_leaf(*node.schema))
        return true;
    for (const lyd_node *child = lyd_child(&node); child != nullptr; child = child->next) {
        if (has_data(*child))
            return true;
    }
    return false;
}

void set_json(::gnmi::Update &update, const Json &json, bool ietf) {
    std::string text = json.dump(-1, ' ', false, Json::error_handler_t::replace);
    if (ietf)
        update.mutable_val()->set_json_ietf_val(std::move(text));
    else
        update.mutable_val()->set_json_val(std::move(text));
}

} // namespace

bool is_applied_configuration(const lysc_node &leaf) {
    const lysc_node *state = leaf.parent;
    if (is_configuration(leaf) || state == nullptr || state->parent == nullptr)
        return false;
    const auto child = [](const lysc_node &parent, std::string_view name) -> const lysc_node * {
        const lysc_node *node = lysc_node_child(&parent);
        while (node != nullptr && node->name != name)
            node = node->next;
        return node;
    };
    const lysc_node *config = child(*state->parent, "config");
    return std::string_view(state->name) == "state" && config != nullptr && child(*config, leaf.name) != nullptr;
}

void check_models(const google::protobuf::RepeatedPtrField<::gnmi::ModelData> &models) {
    for (const ::gnmi::ModelData &model : models) {
        const bool known = std::ranges::any_of(server::served_modules(), [&](const server::ServedModule &module) {
            return module.implemented && module.name == model.name() &&
                   (model.version().empty() || model.version() == module.revision);
        });
        if (!known)
            throw refused(Code::unimplemented, "use_models",
                          fmt::format("{} {}, expected models that Capabilities lists", model.name(), model.version()));
    }
}

GetQuery::GetQuery(::gnmi::GetRequest request)
    : request_(std::move(request)), wanted_(test_of(request_.type())), levels_(depth_of(request_.extension())) {
    check_encoding(request_.encoding());
    check_models(request_.use_models());
    if (request_.path().empty())
        throw invalid("path", "is missing, expected one at least");
    if (request_.path_size() > most_paths)
        throw invalid("path", fmt::format("{} paths, expected at most {}", request_.path_size(), most_paths));
    WildcardCount wildcards;
    for (const ::gnmi::Path &path : request_.path()) {
        paths_.push_back(joined(request_.prefix(), path));
        wildcards.add(paths_.back());
        schema_nodes(paths_.back());
    }
}

// An update for each node; of the root one for all, with an empty path.
void GetQuery::add_json(const std::vector<const lyd_node *> &nodes, bool root,
                        ::gnmi::Notification &notification) const {
    const bool ietf = request_.encoding() == ::gnmi::JSON_IETF;
    if (root) {
        Json roots = Json::object();
        for (const lyd_node *node : nodes)
            add_member(roots, *node, nullptr, ietf, wanted_, levels_);
        if (roots.empty())
            return;
        ::gnmi::Update &update = *notification.add_update();
        update.mutable_path();
        set_json(update, roots, ietf);
        return;
    }
    for (const lyd_node *node : nodes) {
        const Json value = json_of(*node, ietf, wanted_, levels_);
        if (value.is_discarded())
            continue;
        ::gnmi::Update &update = *notification.add_update();
        *update.mutable_path() = to_message(steps_to(*node));
        set_json(update, value, ietf);
    }
}

void GetQuery::add_leaves(const std::vector<const lyd_node *> &nodes, bool root,
                          ::gnmi::Notification &notification) const {
    // The root is one level above its nodes.
    if (root && levels_ == 1)
        return;
    const std::size_t levels = root && levels_ != 0 ? levels_ - 1 : levels_;
    for (const lyd_node *node : nodes)
        add_leaves_of(*node, request_.encoding(), wanted_, levels, notification);
}

::gnmi::GetResponse GetQuery::answer(const YangTree &tree, std::chrono::system_clock::time_point read_at,
                                     std::size_t most_bytes) const {
    const bool json = request_.encoding() == ::gnmi::JSON_IETF || request_.encoding() == ::gnmi::JSON;
    ::gnmi::GetResponse response;
    std::size_t bytes = 0;
    for (const Path &path : paths_) {
        ::gnmi::Notification &notification = *response.add_notification();
        notification.set_timestamp(
            std::chrono::duration_cast<std::chrono::nanoseconds>(read_at.time_since_epoch()).count());
        if (!request_.prefix().target().empty())
            notification.mutable_prefix()->set_target(request_.prefix().target());
        if (path.origin == Origin::native)
            notification.mutable_prefix()->set_origin("native");
        const std::vector<const lyd_node *> nodes = data_nodes(tree, path);
        if (std::ranges::none_of(nodes, [](const lyd_node *node) { return has_data(*node); }))
            throw refused(Code::not_found, text_of(path), "has no data");
        if (json)
            add_json(nodes, path.steps.empty(), notification);
        else
            add_leaves(nodes, path.steps.empty(), notification);
        bytes += notification.ByteSizeLong();
        if (bytes > most_bytes)
            throw refused(Code::resource_exhausted, "path",
                          fmt::format("the answer has more than {} bytes, expected fewer paths", most_bytes));
    }
    return response;
}

} // namespace ocamp::gnmi
