// The chain from the request to the answer, looked through for the first link that is missing. Knows nothing of leaves
// with a value.
#include "node/why_absence.h"

#include "node/mapping_rows.h"
#include "node/slots.h"
#include "seam/path_text.h"
#include "seam/text.h"
#include "yang/models.h"

#include <algorithm>
#include <iterator>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace ocamp {

namespace {

std::string shown(const std::string &text) {
    return fmt::format("\"{}\"", shortened(text, longest_shown_value));
}

/// Why a leaf has no value.
struct Finding {
    Absence absence;
    std::string reason;
};
using Found = std::optional<Finding>;

std::string item_of(const DatabaseLook &look) {
    return look.bind_point + (look.item.empty() ? "" : " " + look.item);
}

const DatabaseLook *look_with(const std::vector<DatabaseLook> &looks, DatabaseLook::Result result) {
    const auto found =
        std::find_if(looks.begin(), looks.end(), [&](const DatabaseLook &look) { return look.result == result; });
    return found != looks.end() ? &*found : nullptr;
}

Found damage_in(const std::vector<DatabaseLook> &looks) {
    const DatabaseLook *failed = look_with(looks, DatabaseLook::Result::failed);
    if (failed == nullptr)
        return std::nullopt;
    return Finding{Absence::damaged, failed->failure};
}

// What a check for the entry itself did not find.
Found missing_entry(const std::vector<DatabaseLook> &looks) {
    if (Found damage = damage_in(looks))
        return damage;
    const DatabaseLook *absent = look_with(looks, DatabaseLook::Result::absent);
    if (absent == nullptr)
        return std::nullopt;
    if (absent->listing)
        return Finding{
            Absence::not_in_inventory,
            fmt::format("the system database knows no such controller: looked through {}", item_of(*absent))};
    return Finding{Absence::not_in_inventory,
                   fmt::format("not in the inventory: the system database has no {}", item_of(*absent))};
}

// What a look for the value itself did not find.
Found missing_record(const TakenNode &node) {
    if (Found damage = damage_in(node.looks))
        return damage;
    for (const DatabaseLook &look : node.looks) {
        if (look.listing)
            continue;
        if (look.result == DatabaseLook::Result::absent)
            return Finding{Absence::no_record, fmt::format("the system database has no {}", item_of(look))};
        if (look.element.empty())
            return Finding{Absence::no_record,
                           fmt::format("the record {} ({}) lacks the element", item_of(look), look.record)};
        if (look.text && look.text->find_first_not_of(" \t\r\n\f\v") == std::string::npos)
            return Finding{Absence::no_record, fmt::format("{} {} in {} is {}", look.record, look.element,
                                                           item_of(look), shown(*look.text))};
    }
    return std::nullopt;
}

// Whether the leaf is a key: keys stand in the entry's own path.
bool is_key_leaf(const NativeWalkReport &walk, const TakenNode &leaf) {
    return walk.entry.find(fmt::format("[{}=", last_step(leaf.place))) != std::string::npos;
}

// What the walk did not find of what it checked for its entry.
Found missing_for_entry(const NativeWalkReport &walk) {
    for (const TakenNode &node : walk.trace) {
        if (node.path.empty() || !node.leaf || is_key_leaf(walk, node)) {
            if (Found missing = missing_entry(node.looks))
                return missing;
        }
    }
    return std::nullopt;
}

const TakenNode *node_that_wrote(const NativeWalkReport &walk, std::size_t number) {
    const auto found = std::find_if(walk.trace.begin(), walk.trace.end(), [&](const TakenNode &node) {
        return std::any_of(node.writes.begin(), node.writes.end(),
                           [&](const TracedWrite &write) { return write.number == number; });
    });
    return found != walk.trace.end() ? &*found : nullptr;
}

bool names_entry(const RequestNode &request) {
    if (!key_predicates(request).empty())
        return true;
    return std::any_of(request.children.begin(), request.children.end(), names_entry);
}

// Why a value was written into no entry.
Finding why_orphaned(const NativeWalkReport &walk, const Placement &placement) {
    if (Found missing = missing_for_entry(walk))
        return *std::move(missing);
    return {Absence::no_key,
            fmt::format("its entry has no key: {} was written for {}", shown(placement.value), walk.entry)};
}

class Chain {
  public:
    Chain(const ObservedRead &read, const lysc_node &schema, const WhyLeaf &leaf)
        : read_(read), schema_(schema), leaf_(leaf), place_(schema_place(schema)) {
        for (const MappingRow &row : mapping_rows()) {
            if (row.openconfig == place_)
                rows_.push_back(&row);
        }
        for (const RunReport &run : read.report) {
            for (const NativeWalkReport &walk : run.walks) {
                if (belongs(run, walk))
                    walks_.push_back(&walk);
            }
        }
    }

    Finding find() const {
        for (const auto step : {&Chain::never_there, &Chain::refused, &Chain::not_asked, &Chain::no_entry,
                                &Chain::entry_skipped, &Chain::dropped, &Chain::at_the_leaf, &Chain::no_leaf}) {
            if (Found found = (this->*step)())
                return *std::move(found);
        }
        return {Absence::no_value, "the plug-in wrote no value for it"};
    }

  private:
    // Every walk of a request for one entry is for that entry; else those that wrote into it. A path whose entries are
    // not known has one reason for all of them.
    bool belongs(const RunReport &run, const NativeWalkReport &walk) const {
        if (leaf_.entry.empty() || leaf_.entry.find('[') == std::string::npos)
            return true;
        if (names_entry(run.request))
            return true;
        return std::any_of(walk.placements.begin(), walk.placements.end(),
                           [&](const Placement &placement) { return placement.path.starts_with(leaf_.entry + "/"); });
    }

    Found never_there() const {
        const std::size_t quote = leaf_.entry.find_first_of("'\"");
        if (quote == std::string::npos)
            return std::nullopt;
        const std::string key = leaf_.entry.substr(quote + 1, leaf_.entry.rfind(leaf_.entry[quote]) - quote - 1);
        if (const std::optional<std::string> never = why_never_there(key))
            return Finding{Absence::no_such_slot, *never};
        if (place_.starts_with("/optical-amplifier/amplifiers/") && !is_amplifier_name(key))
            return Finding{Absence::not_in_inventory, "no amplifier has such a name, expected one such as 0/1-AMP-PRE"};
        return std::nullopt;
    }

    Found refused() const {
        if (read_.refusal.empty())
            return std::nullopt;
        return Finding{Absence::refused, "the request is refused: " + read_.refusal};
    }

    static std::string root_of(std::string_view path) { return std::string(path_steps(path).front()); }

    bool is_asked(const MappingRow &row) const {
        return std::any_of(read_.report.begin(), read_.report.end(), [&](const RunReport &run) {
            return std::any_of(run.native_request.begin(), run.native_request.end(),
                               [&](const OutputNode &root) { return root.tag == root_of(row.native); });
        });
    }

    Found not_asked() const {
        if (read_.kind == YFW_KIND_GET_CONFIG && !is_configuration(schema_))
            return Finding{Absence::not_asked,
                           "the request never asked for it: it reads configuration, and this is state"};
        if (rows_.empty() || std::any_of(rows_.begin(), rows_.end(), [&](const auto *row) { return is_asked(*row); }))
            return std::nullopt;
        return Finding{Absence::not_asked,
                       fmt::format("the request never asked for it: the native request of the plug-in leaves out {}",
                                   fmt::join(native_leaves(), " and "))};
    }

    std::vector<std::string> native_leaves() const {
        std::vector<std::string> leaves;
        for (const MappingRow *row : rows_)
            leaves.emplace_back(row->native);
        return leaves;
    }

    // Walks over data that could answer the leaf.
    std::vector<const NativeWalkReport *> answering_walks() const {
        std::vector<const NativeWalkReport *> answering;
        std::copy_if(walks_.begin(), walks_.end(), std::back_inserter(answering), [&](const NativeWalkReport *walk) {
            return std::any_of(rows_.begin(), rows_.end(),
                               [&](const MappingRow *row) { return root_of(row->native) == walk->tree.tag; });
        });
        return answering;
    }

    // The native list entry that was asked for, as a path.
    static std::string asked_entry(const OutputNode &node, const std::string &above) {
        std::string path = above + "/" + node.tag;
        for (const OutputNode &child : node.children) {
            if (child.children.empty() && child.value)
                path += step_with_key("", child.tag, *child.value);
        }
        if (node.list_entry)
            return path;
        for (const OutputNode &child : node.children) {
            if (!child.children.empty())
                return asked_entry(child, path);
        }
        return path;
    }

    Found no_entry() const {
        if (rows_.empty() || !answering_walks().empty())
            return std::nullopt;
        for (const RunReport &run : read_.report) {
            if (!run.request_trace.empty()) {
                if (Found missing = missing_entry(run.request_trace.front().looks))
                    return missing;
            }
        }
        std::vector<std::string> asked;
        for (const RunReport &run : read_.report) {
            for (const OutputNode &root : run.native_request) {
                if (root.tag != root_of(rows_.front()->native))
                    continue;
                const std::string path = asked_entry(root, "");
                if (std::find(asked.begin(), asked.end(), path) == asked.end())
                    asked.push_back(path);
            }
        }
        return Finding{Absence::no_native_entry,
                       fmt::format("the node has no native entry {}", fmt::join(asked, ", "))};
    }

    // Entries that the plug-in did not take, for want of something that it checked.
    Found entry_skipped() const {
        for (const NativeWalkReport *walk : answering_walks()) {
            const bool placed = std::any_of(walk->placements.begin(), walk->placements.end(),
                                            [](const Placement &placement) { return placement.dropped.empty(); });
            if (Found missing = placed ? std::nullopt : missing_for_entry(*walk))
                return missing;
        }
        return std::nullopt;
    }

    Found dropped() const {
        for (const NativeWalkReport *walk : walks_) {
            for (const Placement &placement : walk->placements) {
                const bool is_this = placement.path == leaf_.path || placement.path == place_;
                const TakenNode *node = is_this ? node_that_wrote(*walk, placement.write) : nullptr;
                if (!is_this || placement.dropped.empty() || node == nullptr)
                    continue;
                return placement.path == leaf_.path ? why_dropped(placement, *node) : why_orphaned(*walk, placement);
            }
        }
        return std::nullopt;
    }

    Finding why_dropped(const Placement &placement, const TakenNode &node) const {
        if (placement.value.empty()) {
            if (Found missing = missing_record(node))
                return *std::move(missing);
            if (node.text && node.text->find_first_not_of(" \t\r\n\f\v") == std::string::npos)
                return {Absence::no_native_leaf, fmt::format("the native leaf {} is {}", node.path, shown(*node.text))};
            return {Absence::no_value, no_value_of(node)};
        }
        return {Absence::unfit, fmt::format("{} from {} fits no type of the leaf: {}", shown(placement.value),
                                            source_of(placement, node), placement.dropped)};
    }

    static std::string source_of(const Placement &placement, const TakenNode &node) {
        const auto write = std::find_if(node.writes.begin(), node.writes.end(),
                                        [&](const TracedWrite &made) { return made.number == placement.write; });
        const bool from_database = write != node.writes.end() && write->source == TracedWrite::Source::database;
        return from_database ? item_of(node.looks[write->look]) : node.path;
    }

    std::string no_value_of(const TakenNode &node) const {
        const MappingRow *row = mapping_row(place_, node.place);
        return fmt::format("{} makes no value of {} = {}", row != nullptr ? row->converter : "the plug-in", node.path,
                           shown(node.text.value_or("")));
    }

    // The native leaf was in hand, and nothing was written for it.
    Found at_the_leaf() const {
        for (const NativeWalkReport *walk : answering_walks()) {
            for (const TakenNode &node : walk->trace) {
                if (mapping_row(place_, node.place) == nullptr)
                    continue;
                if (Found missing = missing_entry(node.looks))
                    return missing;
                return Finding{Absence::no_value, no_value_of(node)};
            }
        }
        return std::nullopt;
    }

    Found no_leaf() const {
        const std::vector<const NativeWalkReport *> walks = answering_walks();
        if (walks.empty())
            return std::nullopt;
        std::vector<std::string> paths;
        for (const MappingRow *row : rows_) {
            for (const NativeWalkReport *walk : walks) {
                if (root_of(row->native) == walk->tree.tag)
                    paths.push_back(path_in(*walk, row->native));
            }
        }
        return Finding{
            Absence::no_native_leaf,
            fmt::format("the native {} {} absent", paths.size() == 1 ? "leaf" : "leaves",
                        paths.size() == 1 ? paths.front() + " is" : fmt::format("{} are", fmt::join(paths, " and ")))};
    }

    // The data path that a native leaf would have: the keys are those of the entries that are there.
    static std::string path_in(const NativeWalkReport &walk, std::string_view native) {
        std::string path;
        const RequestNode *at = nullptr;
        for (const std::string_view step : path_steps(native)) {
            const RequestNode *below = nullptr;
            if (path.empty()) {
                below = &walk.tree;
            } else if (at != nullptr) {
                const auto found = std::find_if(at->children.begin(), at->children.end(),
                                                [&](const RequestNode &child) { return child.tag == step; });
                below = found != at->children.end() ? &*found : nullptr;
            }
            at = below;
            path.append("/").append(step).append(at != nullptr ? key_predicates(*at) : "");
        }
        return path;
    }

    const ObservedRead &read_;
    const lysc_node &schema_;
    const WhyLeaf &leaf_;
    std::string place_;
    std::vector<const MappingRow *> rows_;
    std::vector<const NativeWalkReport *> walks_;
};

} // namespace

void tell_absence(const ObservedRead &read, const lysc_node &schema, WhyLeaf &leaf) {
    if (!is_served(schema)) {
        leaf.absence = Absence::not_served;
        leaf.reason = "the device does not serve this leaf";
        return;
    }
    Finding found = Chain(read, schema, leaf).find();
    leaf.absence = found.absence;
    leaf.reason = std::move(found.reason);
}

void tell_orphan(const NativeWalkReport &walk, const Placement &placement, WhyLeaf &leaf) {
    Finding found = why_orphaned(walk, placement);
    leaf.absence = found.absence;
    leaf.reason = std::move(found.reason);
}

std::vector<std::string> entries_left_out(const ReadReport &report) {
    std::vector<std::string> reasons;
    for (const RunReport &run : report) {
        if (names_entry(run.request))
            continue;
        for (const TakenNode &node : run.request_trace) {
            for (const DatabaseLook &look : node.looks) {
                const Found missing = look.listing ? std::nullopt : missing_entry({look});
                if (missing && std::find(reasons.begin(), reasons.end(), missing->reason) == reasons.end())
                    reasons.push_back(missing->reason);
            }
        }
    }
    return reasons;
}

std::string schema_place(const lysc_node &node) {
    return (node.parent != nullptr ? schema_place(*node.parent) : "") + "/" + node.name;
}

} // namespace ocamp
