// How paths become a filter.
#include "server/gnmi/read_filter.h"

#include <algorithm>
#include <set>
#include <string>

#include <fmt/format.h>

namespace ocamp::gnmi {

namespace {

// More of them cost as much as everything.
constexpr std::size_t most_selections = 16;

bool is_wildcard(const Step &step) {
    return step.name == "*" || step.name == "...";
}

std::string_view without_module(std::string_view name) {
    return name.substr(name.find(':') + 1);
}

// Values that are written in XML as they are, and mean themselves there. All others are left to whoever looks for the
// entry in the answer.
bool is_plain(std::string_view value) {
    constexpr std::string_view plain = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz/-_.:";
    return !value.empty() && value.find_first_not_of(plain) == std::string_view::npos;
}

// A path as an element of a subtree filter, as far as it has no wildcard.
std::string element_of(const Path &path, const lysc_node *parent, std::size_t at) {
    if (at == path.steps.size() || is_wildcard(path.steps[at]))
        return "";
    const Step &step = path.steps[at];
    const lysc_node *node = schema_of(path.origin).find(parent, without_module(step.name));
    if (node == nullptr)
        return "";
    std::string element = fmt::format("<{} xmlns=\"{}\">", node->name, node->module->ns);
    for (const lysc_node *key : list_keys(*node)) {
        for (const auto &[name, value] : step.keys) {
            if (without_module(name) != key->name)
                continue;
            if (const std::string text = key_text(*key, value); is_plain(text))
                element += fmt::format("<{0}>{1}</{0}>", key->name, text);
        }
    }
    return element + element_of(path, node, at + 1) + fmt::format("</{}>", node->name);
}

server::Models models_of(std::span<const Path> paths) {
    const auto is_native = [](const Path &path) { return path.origin == Origin::native; };
    if (std::ranges::none_of(paths, is_native))
        return server::Models::openconfig;
    return std::ranges::all_of(paths, is_native) ? server::Models::native : server::Models::both;
}

} // namespace

server::Read whole_read_of(std::span<const Path> paths) {
    return {.configuration_only = false, .models = models_of(paths)};
}

server::Read read_of(std::span<const Path> paths) {
    server::Read read = whole_read_of(paths);
    std::set<std::string> selections;
    for (const Path &path : paths) {
        std::string selection = element_of(path, nullptr, 0);
        if (selection.empty())
            return read;
        selections.insert(std::move(selection));
        if (selections.size() > most_selections)
            return read;
    }
    server::SubtreeFilter filter;
    for (const std::string &selection : selections)
        filter.xml += selection;
    read.filter = std::move(filter);
    return read;
}

bool is_partial(const server::Read &read) {
    return !std::holds_alternative<server::WholeTree>(read.filter);
}

} // namespace ocamp::gnmi
