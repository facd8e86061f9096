// Which modules the server has, and their texts. Knows no session and no request.
#include "server/netconf/models.h"

#include "server/netconf/modules.h"
#include "server/served_modules.h"
#include "yang/error.h"
#include "yang/models.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include <fmt/format.h>

namespace ocamp::netconf {

namespace {

// What the adapter has of RFC 6241.
constexpr std::array<const char *, 7> netconf_features{
    "writable-running", "candidate", "confirmed-commit", "rollback-on-error", "validate", "xpath", nullptr};

// In an order in which each finds what it imports.
constexpr std::array<std::string_view, 9> protocol_modules{
    "ietf-netconf",     "ietf-netconf-monitoring", "ietf-netconf-with-defaults", "notifications",
    "nc-notifications", "ietf-datastores",         "ietf-netconf-notifications", "ietf-yang-library",
    "oc-amplifier-line"};
// Whose types these use; libyang has them itself.
constexpr std::array<std::string_view, 2> type_modules{"ietf-inet-types", "ietf-yang-types"};

const char *carried_text(std::string_view name) {
    const auto modules = netconf_modules();
    const auto found =
        std::find_if(modules.begin(), modules.end(), [&](const YangModule &module) { return module.name == name; });
    return found == modules.end() ? nullptr : found->text;
}

void load_protocol_modules() {
    ly_ctx *context = openconfig_schema().context();
    for (const std::string_view name : protocol_modules) {
        ly_in *in = nullptr;
        check(ly_in_new_memory(there(carried_text(name)), &in), context);
        const char *const *features = name == "ietf-netconf" ? netconf_features.data() : nullptr;
        const LY_ERR parsed = lys_parse(context, in, LYS_IN_YANG, const_cast<const char **>(features), nullptr);
        ly_in_free(in, 0);
        check(parsed, context);
    }
}

std::vector<std::string> features_of(const lys_module &module) {
    std::vector<std::string> names;
    std::uint32_t index = 0;
    const lysp_feature *feature = nullptr;
    while ((feature = lysp_feature_next(feature, module.parsed, &index)) != nullptr) {
        if ((feature->flags & LYS_FENABLED) != 0)
            names.emplace_back(feature->name);
    }
    return names;
}

struct Models {
    Models() {
        // Both are there before the context grows.
        native_schema();
        load_protocol_modules();
        schema.emplace(openconfig_schema(), protocol_modules);
        for (const server::ServedModule &module : server::served_modules())
            add({.name = module.name,
                 .revision = module.revision,
                 .ns = module.ns,
                 .deviations = module.deviated_by,
                 .implemented = module.implemented});
        for (const std::string_view name : protocol_modules)
            add_loaded(name, true);
        for (const std::string_view name : type_modules)
            add_loaded(name, false);
        std::sort(modules.begin(), modules.end(),
                  [](const ModuleEntry &one, const ModuleEntry &other) { return one.name < other.name; });
        set_id = identify();
    }

    std::optional<Schema> schema;
    std::vector<ModuleEntry> modules;
    std::string set_id;

  private:
    void add(ModuleEntry entry) {
        const bool known = std::any_of(modules.begin(), modules.end(),
                                       [&](const ModuleEntry &other) { return other.name == entry.name; });
        if (!known)
            modules.push_back(std::move(entry));
    }

    void add_loaded(std::string_view name, bool implemented) {
        const lys_module *module = ly_ctx_get_module_latest(openconfig_schema().context(), std::string(name).c_str());
        add({.name = module->name,
             .revision = module->revision != nullptr ? module->revision : "",
             .ns = module->ns,
             .features = features_of(*module),
             .implemented = implemented});
    }

    // FNV-1a over names, revisions and features.
    std::string identify() const {
        std::uint64_t sum = 14695981039346656037U;
        const auto add_text = [&](std::string_view text) {
            for (const char byte : text)
                sum = (sum ^ static_cast<unsigned char>(byte)) * 1099511628211U;
            sum *= 1099511628211U;
        };
        for (const ModuleEntry &module : modules) {
            add_text(module.name);
            add_text(module.revision);
            for (const std::string &feature : module.features)
                add_text(feature);
        }
        return fmt::format("{:016x}", sum);
    }
};

// Never taken apart, as the other models.
const Models &models() {
    static const Models &models = *new Models;
    return models;
}

std::string printed(const lys_module &module, LYS_OUTFORMAT format) {
    char *text = nullptr;
    check(lys_print_mem(&text, &module, format, 0), module.ctx);
    const std::unique_ptr<char, decltype(&std::free)> owned(text, &std::free);
    return there(text);
}

// The node's modules are those of a context of its own, in which the deviations are.
const lys_module &loaded(const std::string &name) {
    const lys_module *module = ly_ctx_get_module_latest(openconfig_schema().context(), name.c_str());
    return *there(module != nullptr ? module : ly_ctx_get_module_latest(&server::served_context(), name.c_str()));
}

} // namespace

void load_models() {
    models();
}

const Schema &protocol_schema() {
    return *models().schema;
}

const std::vector<ModuleEntry> &all_modules() {
    return models().modules;
}

const std::string &module_set_id() {
    return models().set_id;
}

std::optional<std::string> module_text(std::string_view name, std::string_view revision, SchemaFormat format) {
    const auto &modules = all_modules();
    const auto found = std::find_if(modules.begin(), modules.end(), [&](const ModuleEntry &module) {
        return module.name == name && (revision.empty() || module.revision == revision);
    });
    if (found == modules.end())
        return std::nullopt;
    if (format == SchemaFormat::yin)
        return printed(loaded(found->name), LYS_OUT_YIN);
    if (const char *text = carried_text(name); text != nullptr)
        return text;
    for (const server::ServedModule &module : server::served_modules()) {
        if (module.name == name)
            return module.text;
    }
    return printed(loaded(found->name), LYS_OUT_YANG);
}

const lysc_node *operation(std::string_view ns, std::string_view name) {
    // Its targets are startup configurations and URLs, and there are none.
    if (name == "delete-config")
        return nullptr;
    const lys_module *module = module_with_namespace(ns);
    if (module == nullptr)
        return nullptr;
    const lysc_node *node = nullptr;
    while ((node = lys_getnext(node, nullptr, module->compiled, 0)) != nullptr) {
        if (node->nodetype == LYS_RPC && node->name == name)
            return node;
    }
    return nullptr;
}

const lys_module *module_named(std::string_view name) {
    load_models();
    return ly_ctx_get_module_latest(openconfig_schema().context(), std::string(name).c_str());
}

const lys_module *module_with_namespace(std::string_view ns) {
    load_models();
    return ly_ctx_get_module_implemented_ns(openconfig_schema().context(), std::string(ns).c_str());
}

const lys_module *module_of_root(std::string_view name) {
    for (const Schema *schema : {&openconfig_schema(), &native_schema(), &protocol_schema()}) {
        if (const lysc_node *node = schema->find(nullptr, name); node != nullptr)
            return node->module;
    }
    return nullptr;
}

} // namespace ocamp::netconf
