// How native documents are kept and selected from. Knows neither OpenConfig nor the plug-in.
#include "node/native_data.h"

#include "log/log.h"
#include "log/stages.h"
#include "node/document_part.h"
#include "sysdb/seal.h"
#include "yang/error.h"
#include "yang/modules.h"

#include <algorithm>
#include <functional>
#include <set>

#include <fmt/format.h>

namespace ocamp {

namespace {

constexpr const char *table_name = "native_data";
constexpr std::string_view running_name = "running";
// Among the seals: the document of the name that follows was found valid by a program with the modules of that
// fingerprint when it had that checksum.
constexpr std::string_view valid_word = "valid ";

std::string document_to_store(std::string_view name, const YangTree &tree) {
    try {
        return tree.print_to_store();
    } catch (const YangError &error) {
        throw YangError(fmt::format("native data '{}': {}", name, error.what()));
    }
}

// Gives the row's checksum.
std::int64_t store_text(Database &database, std::string_view name, std::string_view document) {
    const std::int64_t checksum = row_checksum({name, document});
    Statement insert =
        database.prepare("INSERT INTO native_data(name, document, checksum) VALUES(?1, ?2, ?3) ON CONFLICT(name) "
                         "DO UPDATE SET document = excluded.document, checksum = excluded.checksum");
    insert.bind(1, name).bind(2, document).bind(3, checksum).step();
    return checksum;
}

void store(Database &database, std::string_view name, const YangTree &tree) {
    const std::int64_t checksum = store_text(database, name, document_to_store(name, tree));
    Statement mark =
        database.prepare("INSERT INTO seal(name, row_count, checksum_sum) VALUES(?1, ?2, ?3) ON CONFLICT(name) "
                         "DO UPDATE SET row_count = excluded.row_count, checksum_sum = excluded.checksum_sum");
    mark.bind(1, std::string(valid_word).append(name)).bind(2, modules_fingerprint()).bind(3, checksum).step();
}

// The document of that name and text, from the earlier ones when it is among them.
NativeDocument take_or_make(NativeData &earlier, const Schema &schema, std::string_view name, std::string_view text,
                            bool valid, const std::string &file) {
    if (earlier.running.is_stored(name, text))
        return std::move(earlier.running);
    const auto same = std::find_if(earlier.operational.begin(), earlier.operational.end(),
                                   [&](const NativeDocument &document) { return document.is_stored(name, text); });
    if (same != earlier.operational.end())
        return std::move(*same);
    return {schema, std::string(name), std::string(text), valid, fmt::format("{}: native data '{}'", file, name)};
}

// The row has name, document and checksum.
void check_row(const Statement &row, const std::string &file) {
    if (row_checksum({row.text(0), row.text(1)}) != row.number(2))
        throw DamageError(
            fmt::format("{}: native data '{}' is damaged: it does not hold its checksum", file, row.text(0)));
}

// Calls `take` with the name and the text of each document of the table, which is checked, and whether this program or
// one with the same modules found the document valid.
template <class Take>
void load_table(Database &database, std::string_view schema, Take take) {
    const std::string &file = database.file_of(schema);
    Statement select = database.prepare(fmt::format(
        "SELECT name, document, checksum, EXISTS(SELECT 1 FROM {0}seal WHERE seal.name = ?1 || stored.name "
        "AND row_count = ?2 AND checksum_sum = checksum) FROM {0}native_data AS stored ORDER BY stored.name",
        Database::table_prefix(schema)));
    select.bind(1, valid_word).bind(2, modules_fingerprint());
    std::int64_t count = 0, sum = 0;
    while (select.step()) {
        check_row(select, file);
        ++count;
        sum += select.number(2);
        take(select.text(0), select.text(1), select.number(3) != 0);
    }
    check_seal(database, table_name, count, sum, schema);
}

using Requests = std::vector<const OutputNode *>;

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
        return !is_implicit(node) && (!configuration_only_ || is_configuration(*node.schema));
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

NativeDocument::NativeDocument(const Schema &schema, std::string name, std::string text, bool valid,
                               const std::string &place)
    : schema_(&schema), place_(place), stored_(Stored{std::move(name), std::move(text), valid}) {}

const YangTree &NativeDocument::tree() const {
    if (schema_ == nullptr)
        return tree_;
    tree_ = parsed(&Schema::parse, stored_->text);
    schema_ = nullptr;
    return tree_;
}

const YangTree &NativeDocument::written() const {
    if (schema_ == nullptr || !stored_->valid)
        return tree();
    if (written_.empty())
        written_ = parsed(&Schema::parse_valid, stored_->text);
    return written_;
}

const YangTree &NativeDocument::written_for(const lysc_node &root, const OutputNode &request) const {
    if (schema_ == nullptr || !stored_->valid || part_ || !written_.empty())
        return written();
    const std::optional<std::string> part = document_part(*schema_, stored_->text, root, request);
    // Half of it saves less than the whole does when it is looked into again.
    if (!part || part->size() > stored_->text.size() / 2)
        return written();
    return part_.emplace(parsed(&Schema::parse_valid, *part));
}

YangTree NativeDocument::parsed(YangTree (Schema::*parse)(std::string_view, LYD_FORMAT) const,
                                std::string_view text) const {
    const StageMark stage(Stage::parse);
    try {
        return (schema_->*parse)(text, LYD_JSON);
    } catch (const YangError &error) {
        throw YangError(fmt::format("{}: {}", place_, error.what()));
    }
}

YangTree &NativeDocument::to_change() {
    tree();
    stored_.reset();
    return tree_;
}

bool NativeDocument::is_stored(std::string_view name, std::string_view text) const noexcept {
    return stored_ && stored_->name == name && stored_->text == text;
}

bool NativeDocument::may_be_of(std::string_view module) const noexcept {
    return !stored_ || stored_->name == module;
}

template <class TreeOf>
const lyd_node *NativeData::root_in(TreeOf tree_of, const lysc_node &schema) const {
    if (is_configuration(schema)) {
        if (const lyd_node *found = find_instance(tree_of(running).first(), schema); found != nullptr)
            return found;
    }
    for (const NativeDocument &document : operational) {
        if (!document.may_be_of(schema.module->name))
            continue;
        if (const lyd_node *found = find_instance(tree_of(document).first(), schema); found != nullptr)
            return found;
    }
    return nullptr;
}

const lyd_node *NativeData::root(const lysc_node &schema) const {
    return root_in([](const NativeDocument &document) -> const YangTree & { return document.tree(); }, schema);
}

const lyd_node *NativeData::selected_root(const lysc_node &schema, const OutputNode &request) const {
    return root_in(
        [&](const NativeDocument &document) -> const YangTree & { return document.written_for(schema, request); },
        schema);
}

std::vector<std::string> native_table_sql() {
    return sealed_table_sql(table_name, "name TEXT PRIMARY KEY, document TEXT NOT NULL, checksum INTEGER NOT NULL");
}

void store_running(Database &database, const YangTree &tree) {
    store(database, running_name, tree);
}

void store_operational(Database &database, std::string_view module, const YangTree &tree) {
    store(database, module, tree);
}

void store_document(Database &database, std::string_view module, std::string_view document) {
    store_text(database, module, document);
}

bool is_live(Database &database, std::string_view module) {
    if (!database.has_attached(live_schema))
        return false;
    Statement select = database.prepare(
        fmt::format("SELECT 1 FROM {}native_data WHERE name = ?1", Database::table_prefix(live_schema)));
    return select.bind(1, module).step();
}

NativeData load_native(Database &database, const Schema &schema, NativeData earlier) {
    const StageMark stage(Stage::parse);
    NativeData data;
    std::set<std::string, std::less<>> live; // modules
    if (database.has_attached(live_schema))
        load_table(database, live_schema, [&](std::string_view name, std::string_view text, bool valid) {
            live.emplace(name);
            data.operational.push_back(take_or_make(earlier, schema, name, text, valid, database.file_of(live_schema)));
        });
    load_table(database, Database::own_schema, [&](std::string_view name, std::string_view text, bool valid) {
        if (live.contains(name))
            return;
        NativeDocument document = take_or_make(earlier, schema, name, text, valid, database.file());
        if (name == running_name)
            data.running = std::move(document);
        else
            data.operational.push_back(std::move(document));
    });
    return data;
}

std::vector<NativeEntry> select_entries(const Schema &schema, const NativeData &data,
                                        const std::vector<OutputNode> &request, bool configuration_only) {
    const StageMark stage(Stage::look_up);
    Selection selection(configuration_only);
    for (const OutputNode &root : request) {
        const lysc_node *node = schema.find(nullptr, root.tag);
        if (node == nullptr) {
            debug_log_line(log_errors, fmt::format("native request: no model has /{}", root.tag));
            continue;
        }
        if (configuration_only && !is_configuration(*node))
            continue;
        if (const lyd_node *instance = data.selected_root(*node, root); instance != nullptr)
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
