// How the served modules are found: by compiling them together once more, with the deviations. Knows nothing of data.
#include "server/served_modules.h"

#include "yang/modules.h"
#include "yang/tree.h"

#include <algorithm>
#include <array>

namespace ocamp::server {

namespace {

constexpr std::array<std::string_view, 7> modules{
    "openconfig-optical-amplifier", "openconfig-optical-amplifier-deviations", "Korvex-ifmgr-cfg",
    "Korvex-controller-optics-cfg", "Korvex-controller-orvo8-ots-oper",        "Korvex-controller-optics-oper",
    "Korvex-pmengine-oper"};

const Schema &served_schema() {
    static const Schema &schema = *new Schema(modules);
    return schema;
}

std::string text_or_empty(const char *text) {
    return text != nullptr ? text : "";
}

// The program carries the texts of all modules that it serves.
std::string source_of(const lys_module &module) {
    const auto modules_here = yang_modules();
    const auto found = std::ranges::find(modules_here, std::string_view(module.name), &YangModule::name);
    return found->text;
}

void add_imports(const lys_module &module, std::vector<const lys_module *> &all) {
    const std::size_t count = LY_ARRAY_COUNT(module.parsed->imports);
    for (std::size_t i = 0; i < count; ++i) {
        const lys_module *imported = module.parsed->imports[i].module;
        if (std::find(all.begin(), all.end(), imported) != all.end())
            continue;
        all.push_back(imported);
        add_imports(*imported, all);
    }
}

ServedModule served(const lys_module &module, bool implemented) {
    ServedModule served{.name = module.name,
                        .revision = text_or_empty(module.revision),
                        .ns = module.ns,
                        .prefix = module.prefix,
                        .organization = text_or_empty(module.org),
                        .text = source_of(module),
                        .implemented = implemented,
                        .deviated_by = {}};
    const std::size_t deviations = LY_ARRAY_COUNT(module.deviated_by);
    for (std::size_t i = 0; i < deviations; ++i)
        served.deviated_by.emplace_back(module.deviated_by[i]->name);
    return served;
}

std::vector<ServedModule> all_modules() {
    std::vector<const lys_module *> found;
    for (const std::string_view name : modules)
        found.push_back(served_schema().module(name));
    for (std::size_t i = 0; i < modules.size(); ++i)
        add_imports(*found[i], found);
    std::vector<ServedModule> all;
    for (std::size_t i = 0; i < found.size(); ++i)
        all.push_back(served(*found[i], i < modules.size()));
    return all;
}

} // namespace

const std::vector<ServedModule> &served_modules() {
    static const std::vector<ServedModule> &all = *new std::vector<ServedModule>(all_modules());
    return all;
}

const ly_ctx &served_context() {
    return *served_schema().context();
}

} // namespace ocamp::server
