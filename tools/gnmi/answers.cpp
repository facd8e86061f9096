// How answers are written.
#include "gnmi/answers.h"

#include "gnmi/path_text.h"
#include "gnmi/rpc_failure.h"
#include "gnmi/value.h"
#include "seam/text.h"

#include <chrono>

#include <fmt/format.h>

namespace ocamp::gnmi_client {

namespace {

// Names that the protocol does not have are numbers.
template <class Enum>
std::string name_or_number(const std::string &name, Enum value) {
    return name.empty() ? std::to_string(static_cast<int>(value)) : name;
}

Json notification_json(const ::gnmi::Notification &notification) {
    Json json{{"timestamp", notification.timestamp()},
              {"time", utc_text(std::chrono::nanoseconds(notification.timestamp()), 9)}};
    if (!notification.prefix().target().empty())
        json["target"] = notification.prefix().target();
    if (notification.atomic())
        json["atomic"] = true;
    if (notification.update_size() > 0)
        json["updates"] = Json::array();
    for (const ::gnmi::Update &update : notification.update()) {
        const std::string path = path_text(notification.prefix(), update.path());
        Json &told = json["updates"].emplace_back(Json{{"path", path}, {"value", json_of(update.val(), path)}});
        if (update.duplicates() != 0)
            told["duplicates"] = update.duplicates();
    }
    if (notification.delete__size() > 0)
        json["deletes"] = Json::array();
    for (const ::gnmi::Path &path : notification.delete_())
        json["deletes"].push_back(path_text(notification.prefix(), path));
    return json;
}

std::string line(std::string_view path, std::string_view value) {
    std::string text;
    append_escaped(text, path);
    text += ": ";
    append_escaped(text, value);
    return text + '\n';
}

// A line for each leaf of a value. Entries of a list have no key that could be told without the model: they are counted
// from 1.
void append_leaves(std::string &text, const std::string &path, const Json &value) {
    if (value.is_object() && !value.empty()) {
        for (const auto &[name, member] : value.items())
            append_leaves(text, (path == "/" ? "" : path) + "/" + name, member);
    } else if (value.is_array() && !value.empty() && value.front().is_object()) {
        for (std::size_t i = 0; i < value.size(); ++i)
            append_leaves(text, fmt::format("{}[{}]", path, i + 1), value[i]);
    } else {
        text += line(path, value.is_string() ? value.get<std::string>() : printed(value));
    }
}

std::string flat_text_of(const ::gnmi::Notification &notification) {
    std::string text;
    for (const ::gnmi::Update &update : notification.update()) {
        const std::string path = path_text(notification.prefix(), update.path());
        append_leaves(text, path, json_of(update.val(), path));
    }
    for (const ::gnmi::Path &path : notification.delete_())
        text += "- " + escaped(path_text(notification.prefix(), path)) + '\n';
    return text;
}

std::string notification_text(const ::gnmi::Notification &notification, Output output) {
    return output == Output::flat ? flat_text_of(notification) : printed(notification_json(notification)) + '\n';
}

} // namespace

std::string text_of(const ::gnmi::CapabilityResponse &response, Output output) {
    Json encodings = Json::array();
    for (const int encoding : response.supported_encodings())
        encodings.push_back(name_or_number(::gnmi::Encoding_Name(encoding), encoding));
    if (output == Output::flat) {
        std::string text = line("version", response.gnmi_version());
        for (const Json &encoding : encodings)
            text += line("encoding", encoding.get<std::string>());
        for (const ::gnmi::ModelData &model : response.supported_models())
            text += line("model", fmt::format("{} {}{}", model.name(), model.version(),
                                              model.organization().empty() ? "" : " " + model.organization()));
        return text;
    }
    Json models = Json::array();
    for (const ::gnmi::ModelData &model : response.supported_models())
        models.push_back(
            {{"name", model.name()}, {"organization", model.organization()}, {"version", model.version()}});
    return printed(Json{{"version", response.gnmi_version()}, {"encodings", encodings}, {"models", models}}) + '\n';
}

std::string text_of(const ::gnmi::GetResponse &response, Output output) {
    std::string text;
    for (const ::gnmi::Notification &notification : response.notification())
        text += notification_text(notification, output);
    return text;
}

std::string text_of(const ::gnmi::SetResponse &response, Output output) {
    Json results = Json::array();
    std::string text;
    for (const ::gnmi::UpdateResult &result : response.response()) {
        const std::string operation = name_or_number(::gnmi::UpdateResult::Operation_Name(result.op()), result.op());
        const std::string path = path_text(response.prefix(), result.path());
        text += line(path, operation);
        results.push_back({{"operation", operation}, {"path", path}});
    }
    if (output == Output::flat)
        return text;
    return printed(Json{{"timestamp", response.timestamp()},
                        {"time", utc_text(std::chrono::nanoseconds(response.timestamp()), 9)},
                        {"results", results}}) +
           '\n';
}

std::string text_of(const ::gnmi::SubscribeResponse &response, Output output) {
    switch (response.response_case()) {
    case ::gnmi::SubscribeResponse::kUpdate:
        return notification_text(response.update(), output);
    case ::gnmi::SubscribeResponse::kSyncResponse:
        return output == Output::flat ? "" : printed(Json{{"sync", response.sync_response()}}) + '\n';
    default:
        throw RpcFailure("", "the target answered with neither values nor sync_response");
    }
}

} // namespace ocamp::gnmi_client
