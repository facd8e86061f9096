// How past intervals are presented as the latest. Knows neither where filters come from nor how histories are shown.
#include "node/history.h"

#include "seam/path_text.h"
#include "sysdb/current_system_database.h"
#include "sysdb/seal.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <map>
#include <set>
#include <unordered_map>
#include <utility>

#include <fmt/format.h>

namespace ocamp {

namespace {

// Where the intervals are: entries of a native list by number, and items of the system database by hexadecimal number.
// The latest has number 1.
constexpr std::string_view history_module = "Korvex-pmengine-oper";
constexpr std::string_view interval_list = "optics-second30-optics-time-line-instance";
constexpr std::string_view interval_item = "/timeline_rev/0x";
constexpr unsigned latest = 1;
// Higher numbers are no intervals: a record may bear any.
constexpr unsigned oldest_possible = 256;
// In the place of a number: no interval at all.
constexpr unsigned none = 0;

// `none` for what is no number of an interval.
unsigned number_in(std::string_view text, int base) {
    unsigned number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    const bool whole = error == std::errc() && end == text.data() + text.size();
    return whole && number <= oldest_possible ? number : none;
}

bool is_interval(const lyd_node &node) {
    return node.schema->name == interval_list;
}
unsigned interval_number(const lyd_node &entry) {
    return number_in(leaf_text(*lyd_child(&entry)), 10);
}

void collect_numbers(const lyd_node *first, std::set<unsigned> &numbers) {
    for (const lyd_node *node = first; node != nullptr; node = node->next) {
        if (is_interval(*node))
            numbers.insert(interval_number(*node));
        else
            collect_numbers(lyd_child(node), numbers);
    }
}

void copy_below(YangTree &tree, const lyd_node &from, lyd_node *to) {
    for (const lyd_node *child = lyd_child(&from); child != nullptr; child = child->next) {
        if (is_key(*child->schema))
            continue;
        if (is_leaf(*child->schema))
            tree.set_leaf(to, *child->schema, leaf_text(*child));
        else
            copy_below(tree, *child, tree.add_container(to, *child->schema));
    }
}

// Leaves of each interval list the entry of that number, as the latest.
void present(YangTree &tree, lyd_node *parent, unsigned number) {
    const lyd_node *wanted = nullptr;
    std::vector<lyd_node *> others;
    for (lyd_node *child = tree.below(parent); child != nullptr; child = child->next) {
        if (!is_interval(*child))
            present(tree, child, number);
        else if (interval_number(*child) == number)
            wanted = child;
        else
            others.push_back(child);
    }
    for (lyd_node *other : others)
        tree.remove(other);
    if (wanted == nullptr || number == latest)
        return;
    const std::vector<std::string> key{std::to_string(latest)};
    copy_below(tree, *wanted, tree.add_entry(parent, *wanted->schema, key));
    tree.remove(const_cast<lyd_node *>(wanted));
}

// A copy of the records in memory, in which those of each interval can take the place of the latest.
class PresentedRecords {
  public:
    explicit PresentedRecords(SystemDatabase &records)
        : memory_(":memory:", Database::Mode::create), presented_(memory_) {
        for (const std::vector<std::string> &table : {seal_table_sql(), item_table_sql()}) {
            for (const std::string &statement : table)
                memory_.exec(statement);
        }
        for (const std::string &bind_point : records.bind_points()) {
            for (const std::string &item : records.items(bind_point))
                take(bind_point, item, *records.get(bind_point, item));
        }
    }

    SystemDatabase &database() noexcept { return presented_; }

    void collect_numbers(std::set<unsigned> &numbers) const {
        for (const auto &[place, intervals] : intervals_) {
            for (const auto &[number, record] : intervals)
                numbers.insert(number);
        }
    }

    void present(unsigned number) {
        for (const auto &[place, intervals] : intervals_) {
            const std::string item = fmt::format("{}{}{:x}", place.second, interval_item, latest);
            const auto record = intervals.find(number);
            if (record != intervals.end())
                presented_.put(place.first, item, record->second);
            else
                presented_.remove(place.first, item);
        }
    }

  private:
    using Record = std::vector<std::uint8_t>;

    void take(const std::string &bind_point, const std::string &item, const Record &record) {
        const std::size_t at = item.rfind(interval_item);
        const unsigned number = at == std::string::npos ? none : number_in(item.substr(at + interval_item.size()), 16);
        if (number == none)
            presented_.put(bind_point, item, record);
        else
            intervals_[{bind_point, item.substr(0, at)}][number] = record;
    }

    Database memory_;
    SystemDatabase presented_;
    // By bind point and what stands before the number.
    std::map<std::pair<std::string, std::string>, std::map<unsigned, Record>> intervals_;
};

bool is_statistic(const lyd_node &leaf) {
    const std::string_view name = leaf.schema->name;
    return is_leaf(*leaf.schema) && (name == "min" || name == "avg" || name == "max");
}

struct Statistics {
    std::vector<LeafHistory> order; // without values
    std::unordered_map<std::string, std::string> values;

    void add(const lyd_node *first) {
        for (const lyd_node *node = first; node != nullptr; node = node->next) {
            if (is_statistic(*node)) {
                const char *unit = reinterpret_cast<const lysc_node_leaf *>(node->schema)->units;
                order.push_back({without_modules(data_path(*node)), unit != nullptr ? unit : "", {}});
                values.emplace(order.back().path, leaf_text(*node));
            }
            add(lyd_child(node));
        }
    }
    std::optional<std::string> value(const std::string &path) const {
        const auto found = values.find(path);
        return found != values.end() ? std::optional(found->second) : std::nullopt;
    }
};

// The native data and the records of one node, of which any interval can be read as if it were the latest.
class Past {
  public:
    Past(NativeData data, SystemDatabase &records) : data_(std::move(data)), records_(records) {
        const auto found =
            std::find_if(data_.operational.begin(), data_.operational.end(),
                         [](const NativeDocument &document) { return document.may_be_of(history_module); });
        if (found != data_.operational.end()) {
            document_ = &*found;
            history_ = found->tree().copy();
        }
    }

    unsigned oldest() const {
        std::set<unsigned> numbers{latest};
        collect_numbers(history_.first(), numbers);
        records_.collect_numbers(numbers);
        return *numbers.rbegin();
    }

    Statistics read(unsigned number, const Filter &filter, const Reader &reader) {
        if (document_ != nullptr) {
            YangTree presented = history_.copy();
            present(presented, nullptr, number);
            *document_ = NativeDocument(std::move(presented));
        }
        records_.present(number);
        const CurrentSystemDatabase current(records_.database());
        const ReadResult result = reader.read(data_, YFW_KIND_GET, filter, nullptr);
        Statistics statistics;
        statistics.add(result.answer.first());
        return statistics;
    }

  private:
    NativeData data_;
    NativeDocument *document_ = nullptr; // of the data; NULL when there is none
    YangTree history_;                   // as it is stored
    PresentedRecords records_;
};

} // namespace

std::vector<LeafHistory> history_of(NativeData data, SystemDatabase &records, const Filter &filter,
                                    const Reader &reader) {
    Past past(std::move(data), records);
    // A leaf that is there without any history is not told by one.
    const Statistics always = past.read(none, filter, reader);
    std::vector<Statistics> intervals;
    for (unsigned number = past.oldest(); number >= latest; --number)
        intervals.push_back(past.read(number, filter, reader));
    std::vector<LeafHistory> leaves;
    for (auto seen = intervals.rbegin(); seen != intervals.rend(); ++seen) {
        for (const LeafHistory &leaf : seen->order) {
            const auto same = [&](const LeafHistory &other) { return other.path == leaf.path; };
            if (std::none_of(leaves.begin(), leaves.end(), same))
                leaves.push_back(leaf);
        }
    }
    for (LeafHistory &leaf : leaves) {
        for (const Statistics &interval : intervals)
            leaf.values.push_back(interval.value(leaf.path));
        if (always.value(leaf.path))
            std::fill(leaf.values.begin(), leaf.values.end() - 1, std::nullopt);
    }
    return leaves;
}

} // namespace ocamp
