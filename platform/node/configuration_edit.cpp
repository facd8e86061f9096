// How a document is told apart into its two sides, and these are carried out. Knows neither where edits come from nor
// where data is kept.
#include "node/configuration_edit.h"

#include "node/tree_edit.h"
#include "yang/error.h"
#include "yang/models.h"
#include "yang/request_error.h"

#include <fmt/format.h>

namespace ocamp {

namespace {

bool is_native(const ClientNode &node) {
    const lys_module *module = native_schema().module(node.module);
    return module != nullptr && (node.json ? module->name : module->ns) == node.module;
}

// Values may name identities of the side's own modules, so each side reads the document for itself.
std::vector<ClientNode> nodes_of_side(std::string_view document, const Schema &schema, bool native) {
    std::vector<ClientNode> nodes = read_edit(document, schema);
    std::erase_if(nodes, [&](const ClientNode &node) { return is_native(node) != native; });
    return nodes;
}

} // namespace

ConfigurationEdit::ConfigurationEdit(std::string_view document, DefaultOperation default_operation) {
    const std::vector<ClientNode> native = nodes_of_side(document, native_schema(), true);
    const std::vector<ClientNode> openconfig = nodes_of_side(document, openconfig_schema(), false);
    if (!native.empty())
        native_.emplace(native_schema(), native, default_operation);
    const bool replaced_natively = !native.empty() && default_operation == DefaultOperation::replace;
    if (!openconfig.empty() || native.empty())
        openconfig_.emplace(openconfig_schema(), openconfig,
                            replaced_natively ? DefaultOperation::merge : default_operation);
}

std::optional<std::string> ConfigurationEdit::first_native_node() const {
    return native_ ? std::optional(native_->roots().front().path) : std::nullopt;
}

void ConfigurationEdit::carry_out(const Editor &editor, NativeData &data) const {
    if (native_) {
        apply_edit(*native_, data.running.to_change());
        check_native_configuration(data.running.to_change());
    }
    if (openconfig_)
        editor.edit(data, *openconfig_, nullptr);
    if (native_ && openconfig_)
        check_kept(*native_, data.running.tree());
}

void check_native_configuration(YangTree &running) {
    try {
        native_schema().validate(running);
    } catch (const YangError &error) {
        throw RequestError(error_tag::operation_failed, error.path(),
                           fmt::format("the native configuration would not be valid: {}", error.complaint()))
            .with_app_tag(error.app_tag());
    }
}

} // namespace ocamp
