// How paths are completed. Knows no command line.
#include "node/path_completion.h"

#include "seam/path_text.h"
#include "yang/models.h"

#include <fmt/format.h>

namespace ocamp {

namespace {

// Where the last step begins, behind its slash. Slashes in the quotes of a key are none.
std::size_t last_step_begin(std::string_view path) {
    std::size_t begin = 0;
    char quote = '\0';
    for (std::size_t at = 0; at < path.size(); ++at) {
        if (quote != '\0')
            quote = path[at] == quote ? '\0' : quote;
        else if (path[at] == '\'' || path[at] == '"')
            quote = path[at];
        else if (path[at] == '/')
            begin = at + 1;
    }
    return begin;
}

// The node that a path of whole steps, with a slash at its end, leads to; false when it leads nowhere. NULL for "/".
bool find_node(const Schema &schema, std::string_view path, const lysc_node *&node) {
    node = nullptr;
    while (path.size() > 1) {
        path.remove_prefix(1);
        const std::size_t step_end = path.find_first_of("/[");
        node = schema.find(node, without_prefix(path.substr(0, step_end)));
        if (node == nullptr)
            return false;
        path.remove_prefix(step_end);
        while (path.starts_with('[')) {
            const std::size_t quote = path.find_first_of("'\"");
            const std::size_t end = quote == std::string_view::npos ? quote : path.find(path[quote], quote + 1);
            if (end == std::string_view::npos || !path.substr(end + 1).starts_with(']'))
                return false;
            path.remove_prefix(end + 2);
        }
        if (!path.starts_with('/'))
            return false;
    }
    return true;
}

} // namespace

std::vector<std::string> completed_paths(const Schema &schema, std::string_view begun, const EntryKeys &keys) {
    const std::string_view path = begun.empty() ? std::string_view("/") : begun;
    const std::string above(path.substr(0, last_step_begin(path)));
    const lysc_node *parent = nullptr;
    if (!above.starts_with('/') || !find_node(schema, above, parent))
        return {};
    std::vector<std::string> found;
    const auto offer = [&](const std::string &candidate) {
        if (candidate.starts_with(path))
            found.push_back(candidate);
    };
    for (const std::string_view name : schema.children(parent)) {
        const lysc_node &node = *schema.find(parent, name);
        const std::string step = above + std::string(name);
        if (!is_served(node) || !(step.starts_with(path) || path.starts_with(step)))
            continue;
        offer(is_leaf(node) ? step : step + "/");
        const std::vector<const lysc_node *> list = is_list(node) ? list_keys(node) : std::vector<const lysc_node *>();
        if (list.size() != 1)
            continue;
        for (const std::string &key : keys(step))
            offer(above + step_with_key(name, list.front()->name, key) + "/");
    }
    return found;
}

} // namespace ocamp
