// The words of operations, and how exceptions become refusals.
#include "server/requests.h"

#include "node/attribute_error.h"
#include "node/filter.h"
#include "seam/path_text.h"
#include "server/held_error.h"
#include "yang/client_document.h"
#include "yang/error.h"
#include "yang/models.h"

#include <array>
#include <new>

namespace ocamp::server {

namespace {

// Steps of a data path with their predicates.
std::vector<std::string_view> steps_of(std::string_view path) {
    std::vector<std::string_view> steps;
    std::size_t begin = 0;
    char quote = '\0';
    for (std::size_t at = 0; at <= path.size(); ++at) {
        const char character = at < path.size() ? path[at] : '/';
        if (at < path.size() && quote != '\0') {
            quote = character == quote ? '\0' : quote;
        } else if (character == '\'' || character == '"') {
            quote = character;
        } else if (character == '/') {
            if (at > begin)
                steps.push_back(path.substr(begin, at - begin));
            begin = at + 1;
        }
    }
    return steps;
}

// The child of that name; of the models' roots for NULL.
const lysc_node *find_node(const lysc_node *parent, std::string_view name) {
    if (const lysc_node *found = openconfig_schema().find(parent, name); found != nullptr)
        return found;
    return parent != nullptr ? nullptr : native_schema().find(nullptr, name);
}

// A data path with module names where the module changes, as far as the models have it.
std::string with_modules(const std::string &path) {
    std::string qualified;
    const lysc_node *at = nullptr;
    bool known = true;
    for (const std::string_view step : steps_of(path)) {
        std::string_view name = step.substr(0, step.find('['));
        const std::string_view predicates = step.substr(name.size());
        name = without_prefix(name);
        const lysc_node *node = known ? find_node(at, name) : nullptr;
        known = node != nullptr;
        qualified += '/';
        if (known && (at == nullptr || at->module != node->module))
            qualified.append(node->module->name).append(":");
        qualified.append(known ? name : step.substr(0, step.size() - predicates.size())).append(predicates);
        at = node;
    }
    return qualified;
}

} // namespace

std::string_view word_of(Datastore datastore) noexcept {
    return datastore == Datastore::running ? "running" : "candidate";
}

std::string_view word_of(const Operation &operation) noexcept {
    constexpr std::array<std::string_view, std::variant_size_v<Operation>> words{
        "read",   "edit",          "copy-config",     "validate",     "lock", "unlock",
        "commit", "cancel-commit", "discard-changes", "kill-session", "wait"};
    return words[operation.index()];
}

Refusal refusal_of(const std::exception &error) {
    std::optional<SessionId> holder;
    if (const auto *held = dynamic_cast<const HeldError *>(&error))
        holder = held->holder();
    if (const auto *refused = dynamic_cast<const RequestError *>(&error)) {
        // A lock of another process has no session.
        if (!holder && (refused->tag() == ErrorTag::lock_denied || refused->tag() == ErrorTag::in_use))
            holder = no_session;
        const auto *of_attribute = dynamic_cast<const AttributeError *>(&error);
        return {.tag = refused->tag(),
                .app_tag = refused->app_tag(),
                .path = with_modules(refused->path()),
                .reason = refused->reason(),
                .attribute = of_attribute != nullptr ? of_attribute->attribute() : std::string(),
                .code = refused->code(),
                .holder = holder};
    }
    if (dynamic_cast<const DocumentError *>(&error) != nullptr)
        return {.tag = ErrorTag::malformed_message, .reason = error.what()};
    if (dynamic_cast<const InputError *>(&error) != nullptr)
        return {.tag = ErrorTag::invalid_value, .reason = error.what()};
    if (dynamic_cast<const std::bad_alloc *>(&error) != nullptr)
        return {.tag = ErrorTag::resource_denied, .reason = "out of memory"};
    return {.tag = ErrorTag::operation_failed, .reason = error.what()};
}

} // namespace ocamp::server
