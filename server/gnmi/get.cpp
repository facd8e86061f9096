// How Get is answered.
#include "server/gnmi/get.h"

#include "server/gnmi/rpc_error.h"
#include "server/served_modules.h"

#include <algorithm>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace ocamp::gnmi {

namespace {

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
void add_leaves(const lyd_node &node, ::gnmi::Encoding encoding, const LeafTest &wanted, std::size_t levels,
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
        add_leaves(*child, encoding, wanted, levels == 0 ? 0 : levels - 1, notification);
    }
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

GetQuery::GetQuery(const ::gnmi::GetRequest &request)
    : request_(request), wanted_(test_of(request.type())), levels_(depth_of(request.extension())) {
    check_encoding(request.encoding());
    check_models(request.use_models());
    if (request.path().empty())
        throw invalid("path", "is missing, expected one at least");
    for (const ::gnmi::Path &path : request.path()) {
        paths_.push_back(joined(request.prefix(), path));
        schema_nodes(paths_.back());
    }
}

bool GetQuery::wants_native() const noexcept {
    return std::ranges::any_of(paths_, [](const Path &path) { return path.origin == Origin::native; });
}

::gnmi::GetResponse GetQuery::answer(const YangTree &tree, std::chrono::system_clock::time_point read_at) const {
    const bool ietf = request_.encoding() == ::gnmi::JSON_IETF;
    const bool json = ietf || request_.encoding() == ::gnmi::JSON;
    ::gnmi::GetResponse response;
    for (const Path &path : paths_) {
        ::gnmi::Notification &notification = *response.add_notification();
        notification.set_timestamp(
            std::chrono::duration_cast<std::chrono::nanoseconds>(read_at.time_since_epoch()).count());
        if (!request_.prefix().target().empty())
            notification.mutable_prefix()->set_target(request_.prefix().target());
        if (path.origin == Origin::native)
            notification.mutable_prefix()->set_origin("native");
        const std::vector<const lyd_node *> nodes = data_nodes(tree, path);
        if (json && path.steps.empty()) {
            Json roots = Json::object();
            for (const lyd_node *root : nodes)
                add_member(roots, *root, nullptr, ietf, wanted_, levels_);
            if (!roots.empty())
                set_json(*notification.add_update(), roots, ietf);
            if (!roots.empty())
                notification.mutable_update(0)->mutable_path();
        } else {
            for (const lyd_node *node : nodes) {
                if (!json) {
                    // The root is one level above its nodes.
                    if (!path.steps.empty())
                        add_leaves(*node, request_.encoding(), wanted_, levels_, notification);
                    else if (levels_ != 1)
                        add_leaves(*node, request_.encoding(), wanted_, levels_ == 0 ? 0 : levels_ - 1, notification);
                    continue;
                }
                const Json value = json_of(*node, ietf, wanted_, levels_);
                if (value.is_discarded())
                    continue;
                ::gnmi::Update &update = *notification.add_update();
                *update.mutable_path() = to_message(steps_to(*node));
                set_json(update, value, ietf);
            }
        }
        if (notification.update().empty())
            throw refused(Code::not_found, text_of(path), "has no data");
    }
    return response;
}

} // namespace ocamp::gnmi
