// The operations, one function each. Knows no session but whose request it is.
#include "server/netconf/operations.h"

#include "node/filter.h"
#include "node/xpath_filter.h"
#include "seam/path_text.h"
#include "seam/text.h"
#include "server/netconf/models.h"
#include "server/netconf/state_data.h"
#include "yang/client_document.h"
#include "yang/error.h"

#include <algorithm>
#include <array>
#include <charconv>

#include <fmt/format.h>

namespace ocamp::netconf {

namespace {

[[noreturn]] void refuse(RpcError error) {
    throw Refusal(std::move(error));
}

[[noreturn]] void refuse(ErrorTag tag, ErrorType type, const std::string &message) {
    refuse({.tag = tag, .type = type, .message = message});
}

std::string reply_ok(const server::Result &) {
    return fmt::format("<ok xmlns=\"{}\"/>", netconf_namespace);
}

template <class Operation>
Task to_core(Operation operation) {
    Task task{.reply = reply_ok};
    // In its place: GCC 12 takes the other alternatives of a variant on its way for uninitialised.
    task.operation.emplace(std::move(operation));
    return task;
}

// Text of a parameter; empty when it is not given.
std::string text_of(const Element &operation, std::string_view name) {
    const Element *parameter = operation.child(name);
    return parameter != nullptr ? std::string(trimmed(parameter->text)) : std::string();
}

std::uint32_t number_of(const Element &operation, std::string_view name, std::uint32_t missing) {
    const std::string text = text_of(operation, name);
    std::uint32_t number = missing;
    // The model has checked it; a sign is no part of what is read here.
    const std::size_t begin = std::min(text.find_first_not_of('+'), text.size());
    std::from_chars(text.data() + begin, text.data() + text.size(), number);
    return number;
}

// The model has seen to it that there is one, and which.
server::Datastore datastore_of(const Element &parameter) {
    return parameter.child("candidate") != nullptr ? server::Datastore::candidate : server::Datastore::running;
}

server::Source source_of(const Element &parameter) {
    if (const Element *config = parameter.child("config"))
        return server::EditStep{.document = config->document(), .default_operation = DefaultOperation::replace};
    return datastore_of(parameter);
}

const Attribute *filter_attribute(const Element &filter, std::string_view name) {
    const auto found = std::find_if(filter.attributes.begin(), filter.attributes.end(), [&](const Attribute &each) {
        return each.name == name && (each.ns.empty() || each.ns == netconf_namespace);
    });
    return found != filter.attributes.end() ? &*found : nullptr;
}

server::ReadFilter filter_of(const Element &operation) {
    // In whichever namespace: the model has checked that.
    const auto filter = std::find_if(operation.children.begin(), operation.children.end(),
                                     [](const Element &each) { return each.name == "filter"; });
    if (filter == operation.children.end())
        return server::WholeTree();
    const Attribute *type = filter_attribute(*filter, "type");
    if (type == nullptr || type->value == "subtree") {
        // A filter that is no subtree is refused here, whoever it is for.
        try {
            std::string document = filter->document();
            Filter::from_document(protocol_schema(), document);
            return server::SubtreeFilter{.xml = std::move(document)};
        } catch (const InputError &error) {
            refuse(bad_element(ErrorType::protocol, "filter", error.what()));
        }
    }
    if (type->value != "xpath")
        refuse(bad_attribute(ErrorType::protocol, "filter", "type",
                             fmt::format("filter type '{}', expected 'subtree' or 'xpath'", type->value)));
    const Attribute *select = filter_attribute(*filter, "select");
    if (select == nullptr)
        refuse(missing_attribute(ErrorType::protocol, "filter", "select"));
    // Before it gets to the node's thread, or to that of all connections with every event.
    try {
        check_cost_of_xpath(select->value);
    } catch (const FilterError &error) {
        refuse({.tag = ErrorTag::too_big, .type = ErrorType::protocol, .message = error.what()});
    }
    const Namespaces namespaces = filter->inside->all();
    return server::ExpressionFilter{.expression = select->value, .namespaces = {namespaces.begin(), namespaces.end()}};
}

// No module has default values: each form of with-defaults gives the same data.
void check_with_defaults(const Element &operation) {
    const auto parameter = std::find_if(operation.children.begin(), operation.children.end(),
                                        [](const Element &each) { return each.name == "with-defaults"; });
    if (parameter != operation.children.end() && trimmed(parameter->text) == "report-all-tagged")
        refuse({.tag = ErrorTag::invalid_value,
                .type = ErrorType::protocol,
                .message = "with-defaults 'report-all-tagged', expected 'report-all', 'trim' or 'explicit'",
                .info = {{"bad-element", "with-defaults"}}});
}

std::string data_reply(YangTree data) {
    return fmt::format("<data xmlns=\"{}\">{}</data>", netconf_namespace, data.empty() ? "" : data.print(LYD_XML));
}

Task get_config(const Element &operation, const Caller &) {
    check_with_defaults(operation);
    return {.operation =
                server::Read{.source = datastore_of(*operation.child("source")), .filter = filter_of(operation)},
            .reply = [](server::Result result) { return data_reply(std::move(result.data)); }};
}

Task get(const Element &operation, const Caller &caller) {
    check_with_defaults(operation);
    server::ReadFilter filter = filter_of(operation);
    return {.operation = server::Read{.configuration_only = false, .filter = filter},
            .reply = [filter, &core = caller.core, &statistics = caller.statistics](server::Result result) {
                result.data.add(state_data(core, statistics, filter));
                return data_reply(std::move(result.data));
            }};
}

DefaultOperation default_operation_of(const Element &operation) {
    const std::string word = text_of(operation, "default-operation");
    if (word == "replace")
        return DefaultOperation::replace;
    return word == "none" ? DefaultOperation::none : DefaultOperation::merge;
}

Task edit_config(const Element &operation, const Caller &) {
    if (text_of(operation, "error-option") == "continue-on-error")
        refuse(ErrorTag::not_supported, ErrorType::protocol,
               "error-option 'continue-on-error', expected 'stop-on-error' or 'rollback-on-error': an edit is carried "
               "out as a whole or not at all");
    // A test without its outcome is no use, so that every edit is tested: "set" is "test-then-set".
    return to_core(server::Edit{.target = datastore_of(*operation.child("target")),
                                .steps = {{.document = operation.child("config")->document(),
                                           .default_operation = default_operation_of(operation)}},
                                .test_only = text_of(operation, "test-option") == "test-only"});
}

Task copy_config(const Element &operation, const Caller &) {
    check_with_defaults(operation);
    server::Source source = source_of(*operation.child("source"));
    const server::Datastore target = datastore_of(*operation.child("target"));
    if (const auto *datastore = std::get_if<server::Datastore>(&source); datastore != nullptr && *datastore == target)
        refuse({.tag = ErrorTag::invalid_value,
                .type = ErrorType::protocol,
                .message = "source and target are the same",
                .info = {{"bad-element", "source"}}});
    return to_core(server::CopyConfig{.source = std::move(source), .target = target});
}

Task validate(const Element &operation, const Caller &) {
    return to_core(server::Validate{.source = source_of(*operation.child("source"))});
}

Task lock(const Element &operation, const Caller &) {
    return to_core(server::Lock{.target = datastore_of(*operation.child("target"))});
}

Task unlock(const Element &operation, const Caller &) {
    return to_core(server::Unlock{.target = datastore_of(*operation.child("target"))});
}

std::optional<std::string> optional_text(const Element &operation, std::string_view name) {
    return operation.child(name) != nullptr ? std::optional(text_of(operation, name)) : std::nullopt;
}

Task commit(const Element &operation, const Caller &) {
    const bool confirmed = operation.child("confirmed") != nullptr;
    for (const std::string_view name : {"confirm-timeout", "persist"}) {
        if (!confirmed && operation.child(name) != nullptr)
            refuse(bad_element(ErrorType::protocol, name, fmt::format("'{}' without 'confirmed'", name)));
    }
    return to_core(server::Commit{.confirmed = confirmed,
                                  .timeout = std::chrono::seconds(number_of(operation, "confirm-timeout", 600)),
                                  .persist = optional_text(operation, "persist"),
                                  .persist_id = optional_text(operation, "persist-id")});
}

Task cancel_commit(const Element &operation, const Caller &) {
    return to_core(server::CancelCommit{.persist_id = optional_text(operation, "persist-id")});
}

Task discard_changes(const Element &, const Caller &) {
    return to_core(server::DiscardChanges());
}

Task kill_session(const Element &operation, const Caller &caller) {
    const std::uint32_t session = number_of(operation, "session-id", server::no_session);
    if (session == caller.session)
        refuse({.tag = ErrorTag::invalid_value,
                .type = ErrorType::protocol,
                .message = "a session cannot kill itself; close-session ends it",
                .info = {{"bad-element", "session-id"}}});
    return to_core(server::KillSession{.session = session});
}

Task close_session(const Element &, const Caller &) {
    return {.reply = reply_ok, .closes = true};
}

Task get_schema(const Element &operation, const Caller &) {
    const std::string name = text_of(operation, "identifier"), revision = text_of(operation, "version");
    std::string format = text_of(operation, "format");
    format.erase(0, format.find(':') + 1);
    std::optional<std::string> text;
    if (format.empty() || format == "yang" || format == "yin")
        text = module_text(name, revision, format == "yin" ? SchemaFormat::yin : SchemaFormat::yang);
    if (!text)
        refuse({.tag = ErrorTag::invalid_value,
                .message = fmt::format("no schema '{}' of revision '{}' as '{}'; netconf-state/schemas has them all",
                                       name, revision, format.empty() ? "yang" : format)});
    return {.reply = [text = std::move(*text)](const server::Result &) {
        return fmt::format("<data xmlns=\"{}\">{}</data>", module_named("ietf-netconf-monitoring")->ns, xml_text(text));
    }};
}

Task create_subscription(const Element &operation, const Caller &caller) {
    if (caller.subscribed)
        refuse(ErrorTag::operation_failed, ErrorType::application, "the session is subscribed already");
    if (const std::string stream = text_of(operation, "stream"); !stream.empty() && stream != "NETCONF")
        refuse({.tag = ErrorTag::invalid_value,
                .message = fmt::format("no stream '{}', expected 'NETCONF'", stream),
                .info = {{"bad-element", "stream"}}});
    for (const std::string_view name : {"startTime", "stopTime"}) {
        if (operation.child(name) != nullptr)
            refuse({.tag = ErrorTag::not_supported,
                    .message = fmt::format("'{}', but the stream NETCONF is not replayed", name),
                    .info = {}});
    }
    return {.reply = reply_ok, .subscribes = filter_of(operation)};
}

struct Row {
    std::string_view name;
    Task (*task)(const Element &operation, const Caller &caller);
};
constexpr std::array<Row, 14> rows{{{"get", get},
                                    {"get-config", get_config},
                                    {"edit-config", edit_config},
                                    {"copy-config", copy_config},
                                    {"lock", lock},
                                    {"unlock", unlock},
                                    {"validate", validate},
                                    {"commit", commit},
                                    {"cancel-commit", cancel_commit},
                                    {"discard-changes", discard_changes},
                                    {"kill-session", kill_session},
                                    {"close-session", close_session},
                                    {"get-schema", get_schema},
                                    {"create-subscription", create_subscription}}};

} // namespace

Task task_of(const Request &request, const Caller &caller) {
    const Element &operation = request.operation();
    const auto *const row =
        std::find_if(rows.begin(), rows.end(), [&](const Row &each) { return each.name == operation.name; });
    if (row == rows.end())
        refuse(ErrorTag::not_supported, ErrorType::protocol,
               fmt::format("the server has no operation '{}'", operation.name));
    return row->task(operation, caller);
}

RpcError error_of(const server::Refusal &refusal) {
    RpcError error{.tag = refusal.tag, .message = refusal.reason, .path = refusal.path, .app_tag = refusal.app_tag};
    if (refusal.code != CERR_SUCCESS)
        error.message += fmt::format(" (0x{:08x})", refusal.code);
    const std::string name(last_step(without_keys(refusal.path)));
    switch (refusal.tag) {
    case ErrorTag::unknown_namespace:
    case ErrorTag::missing_element:
    case ErrorTag::bad_element:
    case ErrorTag::unknown_element:
        error.info = {{"bad-element", name}};
        break;
    case ErrorTag::missing_attribute:
    case ErrorTag::bad_attribute:
    case ErrorTag::unknown_attribute:
        error.info = {{"bad-attribute", refusal.attribute}, {"bad-element", name}};
        break;
    case ErrorTag::lock_denied:
        error.type = ErrorType::protocol;
        error.info = {{"session-id", std::to_string(refusal.holder.value_or(server::no_session))}};
        break;
    default:
        break;
    }
    return error;
}

} // namespace ocamp::netconf
