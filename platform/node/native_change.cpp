// How native data are changed by hand. Knows neither OpenConfig nor the plug-in.
#include "node/native_change.h"

#include "node/filter.h"
#include "node/native_data.h"
#include "yang/error.h"
#include "yang/models.h"
#include "yang/request_error.h"

#include <algorithm>
#include <map>

#include <fmt/format.h>

namespace ocamp {

namespace {

[[noreturn]] void refuse(std::string_view path, const YangError &error) {
    throw RequestError(error_tag::invalid_value, std::string(path),
                       fmt::format("the native model refuses it: {}", error.what()));
}

// The native data of a node while they are changed: each document is taken out when one of its roots is asked for, and
// all of them are stored at the end, or none.
class NativeChange {
  public:
    explicit NativeChange(Node &node)
        : database_(node.database()), transaction_(database_), data_(load_native(database_, native_schema())) {}

    // The document that holds that root, or would hold it.
    YangTree &document_of(const lysc_node &root) {
        const std::string module = is_configuration(root) ? "" : root.module->name;
        const auto taken = documents_.find(module);
        if (taken != documents_.end())
            return taken->second.now;
        Document &document = documents_[module];
        document.before = stored(root).copy();
        document.now = document.before.copy();
        return document.now;
    }

    // `path`: what complaints are told of.
    void finish(std::string_view path, const TellChanges &tell) {
        std::vector<LeafChange> changed;
        for (auto &[module, document] : documents_) {
            try {
                native_schema().validate(document.now);
            } catch (const YangError &error) {
                refuse(path, error);
            }
            const std::vector<LeafChange> here = changed_leaves(document.before, document.now);
            // It would be hidden for as long as there are live data.
            const bool live = is_live(database_, module);
            if (live && !here.empty())
                throw RequestError(error_tag::operation_failed, std::string(path),
                                   fmt::format("{} is written by what measures the node, into {}; expected another",
                                               module, database_.file_of(live_schema)));
            changed.insert(changed.end(), here.begin(), here.end());
            if (module.empty())
                store_running(database_, document.now);
            else if (!live)
                store_operational(database_, module, document.now);
        }
        tell(changed);
        transaction_.commit("the native data are changed");
    }

  private:
    struct Document {
        YangTree before, now;
    };

    const YangTree &stored(const lysc_node &root) const {
        static const YangTree nothing;
        if (is_configuration(root))
            return data_.running.tree();
        const auto same =
            std::find_if(data_.operational.begin(), data_.operational.end(),
                         [&](const NativeDocument &document) { return document.may_be_of(root.module->name); });
        return same != data_.operational.end() ? same->tree() : nothing;
    }

    Database &database_;
    Transaction transaction_;
    NativeData data_;
    std::map<std::string, Document> documents_; // by module; the configuration under the empty name
};

std::vector<std::string> keys_of(const RequestNode &entry, const lysc_node &list, std::string_view path) {
    std::vector<std::string> keys;
    for (const lysc_node *key : list_keys(list)) {
        const auto named = std::find_if(entry.children.begin(), entry.children.end(), [&](const RequestNode &child) {
            return child.key && child.value && child.tag == key->name;
        });
        if (named == entry.children.end())
            throw PathError(error_tag::missing_element, path,
                            fmt::format("names no entry of '{}', expected its key '{}'", list.name, key->name));
        keys.push_back(*named->value);
    }
    return keys;
}

// Goes down the chain of a path and makes what is missing; gives the leaf at its end its value.
void set_at(YangTree &tree, const RequestNode &step, const std::string &value, std::string_view path) {
    lyd_node *parent = nullptr;
    const lysc_node *parent_schema = nullptr;
    for (const RequestNode *at = &step;; at = &at->children.back()) {
        const lysc_node &schema = *native_schema().find(parent_schema, at->tag, at->ns);
        if (is_leaf(schema)) {
            tree.set_leaf(parent, schema, value);
            return;
        }
        lyd_node *found = nullptr;
        if (is_list(schema)) {
            const std::vector<std::string> keys = keys_of(*at, schema, path);
            found = find_entry(tree.below(parent), schema, keys);
            parent = found != nullptr ? found : tree.add_entry(parent, schema, keys);
        } else {
            found = find_instance(tree.below(parent), schema);
            parent = found != nullptr ? found : tree.add_container(parent, schema);
        }
        parent_schema = &schema;
    }
}

const lysc_node &root_of(const RequestNode &request) {
    return *native_schema().find(nullptr, request.tag, request.ns);
}

// A copy with that root alone.
YangTree only(const YangTree &tree, const lysc_node &root) {
    YangTree part = tree.copy();
    for (lyd_node *at = part.first(), *next = nullptr; at != nullptr; at = next) {
        next = at->next;
        if (at->schema != &root)
            part.remove(at);
    }
    return part;
}

} // namespace

void set_native(Node &node, std::string_view path, const std::string &value, const TellChanges &tell) {
    const Filter filter = Filter::from_path(native_schema(), path);
    const lysc_node *target = filter.path_target();
    if (target == nullptr || !is_leaf(*target) || is_key(*target))
        throw PathError(error_tag::invalid_value, path,
                        fmt::format("leads to {}, expected a leaf that is no key", target == nullptr ? "all data"
                                                                                   : is_leaf(*target)
                                                                                       ? "a key"
                                                                                       : "more than one leaf"));
    const RequestNode request = filter.requests().front();
    NativeChange change(node);
    try {
        set_at(change.document_of(root_of(request)), request, value, path);
    } catch (const YangError &error) {
        refuse(path, error);
    }
    change.finish(path, tell);
}

void put_native(Node &node, const YangTree &document, const TellChanges &tell) {
    NativeChange change(node);
    for (const lyd_node *root = document.first(); root != nullptr; root = root->next)
        change.document_of(*root->schema).merge(only(document, *root->schema));
    change.finish("", tell);
}

void remove_native(Node &node, std::string_view path, const TellChanges &tell) {
    const Filter filter = Filter::from_path(native_schema(), path);
    const lysc_node *target = filter.path_target();
    if (target == nullptr || is_key(*target))
        throw PathError(error_tag::invalid_value, path,
                        fmt::format("leads to {}, expected what can be taken away by itself",
                                    target == nullptr ? "all data" : "a key"));
    NativeChange change(node);
    filter.remove_selected(change.document_of(root_of(filter.requests().front())));
    change.finish(path, [&](const std::vector<LeafChange> &changed) {
        if (changed.empty())
            throw RequestError(error_tag::data_missing, std::string(path), "does not exist in the native data");
        tell(changed);
    });
}

} // namespace ocamp
