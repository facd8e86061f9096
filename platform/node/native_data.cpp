// How native documents are kept and selected from. Knows neither OpenConfig nor the plug-in.
#include "node/native_data.h"

#include "node/stages.h"

#include "log/log.h"
#include "sysdb/seal.h"

#include <algorithm>

#include <fmt/format.h>

namespace ocamp {

namespace {

constexpr const char *kTable = "native_data";
constexpr std::string_view kRunning = "running";

std::string document_to_store(std::string_view name, const lyd_node *tree) {
    try {
        return print_to_store(tree);
    } catch (const YangError &error) {
        throw YangError(fmt::format("native data '{}': {}", name, error.what()));
    }
}

void store(Database &database, std::string_view name, const lyd_node *tree) {
    const std::string document = document_to_store(name, tree);
    Statement insert =
        database.prepare("INSERT INTO native_data(name, document, checksum) VALUES(?1, ?2, ?3) ON CONFLICT(name) "
                         "DO UPDATE SET document = excluded.document, checksum = excluded.checksum");
    insert.bind(1, name).bind(2, document).bind(3, row_checksum({name, document})).step();
}

using Requests = std::vector<const OutputNode *>;

Requests children_with_tag(const Requests &requests, std::string_view tag) {
    Requests found;
    for (const OutputNode *request : requests) {
        for (const OutputNode &child : request->children) {
            if (child.tag == tag)
                found.push_back(&child);
        }
    }
    return found;
}

// True when every key that the request wrote is that of the entry.
bool keys_match(const lyd_node &entry, const OutputNode &request) {
    for (const lyd_node *key = lyd_child(&entry); key != nullptr && is_key(*key->schema); key = key->next) {
        const std::string *wanted = request.child_value(key->schema->name);
        if (wanted != nullptr && *wanted != leaf_text(*key))
            return false;
    }
    return true;
}

class Selection {
  public:
    explicit Selection(bool configuration_only) : configuration_only_(configuration_only) {}

    void add_root(const lyd_node &root, const OutputNode &request) {
        std::vector<RequestNode> above;
        descend(root, {&request}, above);
    }

    std::vector<NativeEntry> take() { return std::move(entries_); }

  private:
    static RequestNode shell(const lyd_node &node) {
        RequestNode shell{.tag = node.schema->name, .ns = node.schema->module->ns, .key = is_key(*node.schema)};
        if (is_leaf(*node.schema))
            shell.value = leaf_text(node);
        return shell;
    }

    bool handed_over(const lyd_node &node) const {
        return (node.flags & LYD_DEFAULT) == 0 && (!configuration_only_ || is_configuration(*node.schema));
    }

    // None for a list entry that the request does not select. `requests` are those for the nodes of this name.
    static std::optional<Requests> selecting(const lyd_node &node, Requests requests) {
        if (!is_list(*node.schema) || requests.empty())
            return requests;
        std::erase_if(requests, [&](const OutputNode *request) { return !keys_match(node, *request); });
        return requests.empty() ? std::nullopt : std::optional(std::move(requests));
    }

    // Looks for the outermost list entries; `above` is the chain of containers that leads to `container`.
    void descend(const lyd_node &container, const Requests &requests, std::vector<RequestNode> &above) {
        above.push_back(shell(container));
        for (const lyd_node *child = lyd_child(&container); child != nullptr; child = child->next) {
            if (is_leaf(*child->schema) || !handed_over(*child))
                continue;
            const std::optional<Requests> inner = selecting(*child, children_with_tag(requests, child->schema->name));
            if (!inner)
                continue;
            if (is_list(*child->schema))
                add_entry(*child, *inner, above);
            else
                descend(*child, *inner, above);
        }
        above.pop_back();
    }

    void add_entry(const lyd_node &entry, const Requests &requests, const std::vector<RequestNode> &above) {
        RequestNode tree = selected_part(entry, requests);
        for (auto container = above.rbegin(); container != above.rend(); ++container) {
            RequestNode outer = *container;
            outer.children.push_back(std::move(tree));
            tree = std::move(outer);
        }
        entries_.push_back({lyd_owner_module(&entry), data_path(entry), std::move(tree)});
    }

    RequestNode selected_part(const lyd_node &node, const Requests &requests) const {
        RequestNode part = shell(node);
        for (const lyd_node *child = lyd_child(&node); child != nullptr; child = child->next) {
            if (!handed_over(*child))
                continue;
            const std::optional<Requests> inner = selecting(*child, children_with_tag(requests, child->schema->name));
            if (inner)
                part.children.push_back(selected_part(*child, *inner));
        }
        return part;
    }

    bool configuration_only_;
    std::vector<NativeEntry> entries_;
};

std::optional<RequestNode> find_named(const Schema &schema, const lysc_node *parent, const OutputNode &at) {
    const lysc_node *node = schema.find(parent, at.tag);
    if (node == nullptr || !is_configuration(*node))
        return std::nullopt;
    if (is_list(*node)) {
        RequestNode entry{.tag = node->name, .ns = node->module->ns};
        for (const lysc_node *key : list_keys(*node)) {
            const std::string *value = at.child_value(key->name);
            if (value == nullptr)
                return std::nullopt;
            entry.children.push_back({.tag = key->name, .ns = key->module->ns, .value = *value, .key = true});
        }
        return entry;
    }
    for (const OutputNode &child : at.children) {
        if (std::optional<RequestNode> found = find_named(schema, node, child))
            return found;
    }
    return std::nullopt;
}

} // namespace

const lyd_node *NativeData::root(const lysc_node &schema) const {
    if (const lyd_node *found = find_instance(running.get(), schema); found != nullptr)
        return found;
    for (const YangTree &tree : operational) {
        if (const lyd_node *found = find_instance(tree.get(), schema); found != nullptr)
            return found;
    }
    return nullptr;
}

std::vector<std::string> native_table_sql() {
    return sealed_table_sql(kTable, "name TEXT PRIMARY KEY, document TEXT NOT NULL, checksum INTEGER NOT NULL");
}

void store_running(Database &database, const lyd_node *tree) {
    store(database, kRunning, tree);
}

void store_operational(Database &database, std::string_view module, const lyd_node *tree) {
    store(database, module, tree);
}

NativeData load_native(Database &database, const Schema &schema) {
    const StageMark stage(Stage::parse);
    NativeData data;
    Statement select = database.prepare("SELECT name, document, checksum FROM native_data ORDER BY name");
    std::int64_t count = 0, sum = 0;
    while (select.step()) {
        if (row_checksum({select.text(0), select.text(1)}) != select.number(2))
            throw DamageError(fmt::format("{}: native data '{}' is damaged: it does not hold its checksum",
                                          database.file(), select.text(0)));
        ++count;
        sum += select.number(2);
        YangTree tree;
        try {
            tree = schema.parse(select.text(1), LYD_JSON);
        } catch (const YangError &error) {
            throw YangError(fmt::format("{}: native data '{}': {}", database.file(), select.text(0), error.what()));
        }
        if (select.text(0) == kRunning)
            data.running = std::move(tree);
        else
            data.operational.push_back(std::move(tree));
    }
    check_seal(database, kTable, count, sum);
    return data;
}

std::vector<NativeEntry> select_entries(const Schema &schema, const NativeData &data,
                                        const std::vector<OutputNode> &request, bool configuration_only) {
    const StageMark stage(Stage::look_up);
    Selection selection(configuration_only);
    for (const OutputNode &root : request) {
        const lysc_node *node = schema.find(nullptr, root.tag);
        if (node == nullptr) {
            debug_log_line(kLogErrors, fmt::format("native request: no model has /{}", root.tag));
            continue;
        }
        const lyd_node *instance = data.root(*node);
        if (instance != nullptr && (!configuration_only || is_configuration(*node)))
            selection.add_root(*instance, root);
    }
    return selection.take();
}

std::optional<RequestNode> named_configuration_entry(const Schema &schema, const std::vector<OutputNode> &request) {
    for (const OutputNode &root : request) {
        if (std::optional<RequestNode> found = find_named(schema, nullptr, root))
            return found;
    }
    return std::nullopt;
}

} // namespace ocamp
