// How leaves with a value are traced back to what was read for them, and which leaves there are. Knows nothing of how
// it is shown.
#include "node/why.h"

#include "node/mapping_rows.h"
#include "node/why_absence.h"
#include "seam/path_text.h"
#include "yang/models.h"

#include <algorithm>
#include <array>
#include <map>
#include <set>

#include <fmt/format.h>

namespace ocamp {

namespace {

constexpr std::array<std::string_view, 12> absence_words{
    "not-served", "no-such-slot",   "not-asked", "refused",  "no-native-entry", "not-in-inventory",
    "damaged",    "no-native-leaf", "no-record", "no-value", "unfit",           "no-key"};

/// A value that a walk wrote, with what it did for it.
struct Written {
    const Placement *placement;
    const TakenNode *node;
    const TracedWrite *write;
};

const TakenNode *node_of(const WalkTrace &trace, std::size_t write, const TracedWrite *&traced) {
    for (const TakenNode &node : trace) {
        for (const TracedWrite &made : node.writes) {
            if (made.number == write) {
                traced = &made;
                return &node;
            }
        }
    }
    return nullptr;
}

WhySource source_of(const DatabaseLook &look) {
    return {.database = true,
            .place = look.bind_point,
            .item = look.item,
            .record = look.record,
            .element = look.element,
            .text = look.text.value_or("")};
}

WhySource source_of(const TakenNode &node) {
    return {.place = node.path, .text = node.text.value_or("")};
}

WhySource source_of(const Written &written) {
    return written.write->source == TracedWrite::Source::database ? source_of(written.node->looks[written.write->look])
                                                                  : source_of(*written.node);
}

class Explanation {
  public:
    explicit Explanation(const ObservedRead &read) : read_(read), requests_(read.filter.requests()) {
        collect_values(read.result.answer.first());
        for (const RunReport &run : read.report) {
            for (const NativeWalkReport &walk : run.walks)
                collect_writes(walk);
        }
        for (const lysc_node *node = read.filter.path_target(); node != nullptr; node = node->parent)
            way_.insert(way_.begin(), node);
    }

    std::vector<WhyLeaf> leaves() {
        for (const std::string_view root : openconfig_schema().children(nullptr)) {
            const lysc_node &node = *openconfig_schema().find(nullptr, root);
            const auto request = std::find_if(requests_.begin(), requests_.end(),
                                              [&](const RequestNode &known) { return known.tag == root; });
            if (request != requests_.end())
                add(node, &*request, "", "", 0);
        }
        return std::move(leaves_);
    }

  private:
    void collect_values(const lyd_node *first) {
        for (const lyd_node *node = first; node != nullptr; node = node->next) {
            if (is_leaf(*node->schema))
                values_.emplace(plain_path(*node), leaf_text(*node));
            collect_values(lyd_child(node));
        }
    }

    void collect_writes(const NativeWalkReport &walk) {
        std::string entry;
        for (const Placement &placement : walk.placements) {
            const TracedWrite *write = nullptr;
            if (const TakenNode *node = node_of(walk.trace, placement.write, write); node != nullptr)
                writes_[placement.path].push_back({&placement, node, write});
            if (const std::string named = entry_of(placement.path); !named.empty())
                entry = named;
            else if (!placement.dropped.empty())
                orphans_.push_back({&walk, &placement});
        }
        if (entry.empty())
            return;
        if (known_entries_.insert(entry).second)
            entries_.push_back(entry); // in the order in which they were written
        for (const TakenNode &node : walk.trace) {
            for (const TracedWrite &write : node.writes)
                all_writes_[{entry, write.path}].push_back({nullptr, &node, &write});
        }
    }

    // The list entry in a data path; empty when it names none.
    static std::string entry_of(const std::string &path) {
        const std::size_t key = path.find('[');
        const std::size_t quote = key != std::string::npos ? path.find_first_of("'\"", key) : std::string::npos;
        const std::size_t end = quote != std::string::npos ? path.find(path[quote], quote + 1) : std::string::npos;
        return end != std::string::npos ? path.substr(0, end + 2) : "";
    }

    // The leaves at `node` or below. `request`: the request's node there, NULL below its end. `depth`: of the node on
    // the way to what was asked for.
    void add(const lysc_node &node, const RequestNode *request, const std::string &above, const std::string &entry,
             std::size_t depth) {
        if (depth < way_.size() && way_[depth] != &node)
            return;
        const std::string path = above + "/" + node.name;
        if (is_leaf(node))
            add_leaf(node, path, entry);
        else if (is_list(node))
            add_entries(node, request, path, depth);
        else
            add_children(node, request, path, entry, depth);
    }

    void add_children(const lysc_node &node, const RequestNode *request, const std::string &path,
                      const std::string &entry, std::size_t depth) {
        for (const lysc_node *child = lysc_node_child(&node); child != nullptr; child = child->next)
            add(*child, child_of(request, child->name), path, entry, depth + 1);
    }

    void add_entries(const lysc_node &list, const RequestNode *request, const std::string &path, std::size_t depth) {
        const std::string keys = request != nullptr ? key_predicates(*request) : "";
        std::vector<std::string> entries;
        if (!keys.empty())
            entries.push_back(path + keys);
        for (const std::string &known : entries_) {
            if (keys.empty() && known.starts_with(path + "["))
                entries.push_back(known);
        }
        const std::size_t leaves_before = leaves_.size();
        for (const std::string &entry : entries)
            add_children(list, request, entry, entry, depth);
        if (keys.empty())
            add_orphans(list, path, depth);
        if (leaves_.size() == leaves_before)
            add_children(list, request, path, path, depth); // no entry is known: there is one reason for all
    }

    // Values that were written into no entry.
    void add_orphans(const lysc_node &list, const std::string &path, std::size_t depth) {
        const lysc_node *end = way_.empty() ? &list : way_.back();
        const std::string asked = depth + 1 < way_.size() ? schema_place(*end) : path;
        for (const auto &[walk, placement] : orphans_) {
            const bool is_asked = placement->path == asked || placement->path.starts_with(asked + "/");
            if (!placement->path.starts_with(path + "/") || !is_asked)
                continue;
            WhyLeaf leaf{.path = placement->path, .entry = path};
            tell_orphan(*walk, *placement, leaf);
            leaves_.push_back(std::move(leaf));
        }
    }

    static const RequestNode *child_of(const RequestNode *request, std::string_view tag) {
        if (request == nullptr)
            return nullptr;
        const auto found = std::find_if(request->children.begin(), request->children.end(),
                                        [&](const RequestNode &child) { return child.tag == tag; });
        return found != request->children.end() ? &*found : nullptr;
    }

    void add_leaf(const lysc_node &schema, const std::string &path, const std::string &entry) {
        WhyLeaf leaf{.path = path, .entry = entry};
        leaf.unit = unit_of(schema_place(schema));
        const auto value = values_.find(path);
        if (value != values_.end()) {
            leaf.value = value->second;
            tell_source(schema, leaf);
        } else {
            tell_absence(read_, schema, leaf);
        }
        leaves_.push_back(std::move(leaf));
    }

    static std::string unit_of(const std::string &place) {
        for (const MappingRow &row : mapping_rows()) {
            if (row.openconfig == place && !row.unit.empty())
                return std::string(row.unit);
        }
        return {};
    }

    // A key stands as it was written first, another leaf as it was written last.
    void tell_source(const lysc_node &schema, WhyLeaf &leaf) const {
        std::vector<Written> writes;
        if (const auto found = writes_.find(leaf.path); found != writes_.end())
            writes = found->second;
        const auto counts = [](const Written &written) { return written.placement->dropped.empty(); };
        const auto first = std::find_if(writes.begin(), writes.end(), counts);
        if (first == writes.end())
            return;
        const auto chosen = is_key(schema) ? first : std::find_if(writes.rbegin(), writes.rend(), counts).base() - 1;
        tell_chosen(schema, *chosen, leaf);
        if (!is_key(schema))
            tell_others(schema, *chosen, leaf);
    }

    // Values that were written for the leaf too, in the order in which they were.
    void tell_others(const lysc_node &schema, const Written &chosen, WhyLeaf &leaf) const {
        const auto writes = all_writes_.find({leaf.entry, schema_place(schema)});
        for (const Written &other : writes != all_writes_.end() ? writes->second : std::vector<Written>()) {
            if (other.write != chosen.write)
                leaf.passed_over.push_back(
                    {source_of(other), fmt::format("gave {} and was replaced", other.write->value)});
        }
    }

    static void tell_chosen(const lysc_node &schema, const Written &written, WhyLeaf &leaf) {
        const MappingRow *row = mapping_row(schema_place(schema), written.node->place);
        leaf.written = written.placement->value;
        leaf.converter =
            written.write->converter.empty() && row != nullptr ? std::string(row->converter) : written.write->converter;
        leaf.rule = row != nullptr ? row->rule : "";
        if (written.node->path.empty())
            return;
        leaf.from = source_of(written);
        const bool from_database = written.write->source == TracedWrite::Source::database;
        if (from_database)
            leaf.passed_over.push_back({source_of(*written.node), "is not used for " + kind_of_entry(leaf.entry)});
        for (std::size_t i = 0; i < written.node->looks.size(); ++i) {
            const DatabaseLook &look = written.node->looks[i];
            const bool used = from_database && i == written.write->look;
            if (!used && look.result == DatabaseLook::Result::found)
                leaf.checked.push_back(source_of(look));
        }
    }

    // "amplifiers" for /optical-amplifier/amplifiers/amplifier[...].
    static std::string kind_of_entry(const std::string &entry) {
        const std::vector<std::string_view> steps = path_steps(std::string_view(entry).substr(0, entry.find('[')));
        return steps.size() < 2 ? "this leaf" : std::string(steps[steps.size() - 2]);
    }

    const ObservedRead &read_;
    std::vector<RequestNode> requests_;
    std::vector<const lysc_node *> way_;        // from the root to what was asked for; empty for the whole model
    std::map<std::string, std::string> values_; // of the answer, by path
    std::map<std::string, std::vector<Written>> writes_;
    std::map<std::pair<std::string, std::string>, std::vector<Written>> all_writes_; // by entry and path without keys
    std::vector<std::string> entries_;
    std::set<std::string> known_entries_;
    std::vector<std::pair<const NativeWalkReport *, const Placement *>> orphans_;
    std::vector<WhyLeaf> leaves_;
};

} // namespace

std::string_view word_of(Absence absence) noexcept {
    return absence_words[static_cast<std::size_t>(absence)];
}

std::string plain_path(const lyd_node &node) {
    std::string path = node.parent != nullptr ? plain_path(*reinterpret_cast<const lyd_node *>(node.parent)) : "";
    path.append("/").append(node.schema->name);
    if (is_list(*node.schema)) {
        for (const lysc_node *key : list_keys(*node.schema)) {
            if (const lyd_node *leaf = find_instance(lyd_child(&node), *key); leaf != nullptr)
                path += step_with_key("", key->name, leaf_text(*leaf));
        }
    }
    return path;
}

WhyReport why(const ObservedRead &read) {
    WhyReport report;
    report.leaves = Explanation(read).leaves();
    report.left_out = entries_left_out(read.report);
    report.failure = !read.failure.empty() ? read.failure : read.refusal;
    return report;
}

} // namespace ocamp
