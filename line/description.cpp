// Reads and checks line descriptions. Knows nothing of their simulation.
#include "line/description.h"

#include "seam/json_text.h"
#include "seam/text.h"
#include "sysdb/crc32.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <map>
#include <set>
#include <span>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace ocamp {

namespace {

constexpr std::size_t nesting_limit = 16;
constexpr std::size_t most_nodes = 1000, longest_name = 64;
constexpr unsigned first_slot = 1, last_slot = 3;
constexpr std::size_t most_directions = std::size_t{2} * last_slot; // into each slot and out of it

template <class... Values>
[[noreturn]] void fail(std::string_view path, fmt::format_string<Values...> format, Values &&...values) {
    throw JsonError(fmt::format("{}: {}", path, fmt::format(format, std::forward<Values>(values)...)));
}

// What is escaped but for the backslash, which is doubled.
bool has_control_characters(std::string_view text) {
    const auto backslashes = std::count(text.begin(), text.end(), '\\');
    return escaped(text).size() != text.size() + static_cast<std::size_t>(backslashes);
}

struct Range {
    double lowest, highest;
};

// An object of the document, whose members are taken one by one; one that nobody took is unknown.
class Members {
  public:
    Members(const Json &object, std::string path) : object_(object), path_(std::move(path)) {
        if (!object.is_object())
            fail(path_, "expected an object, found {}", shown(object));
    }

    const std::string &path() const noexcept { return path_; }
    std::string path_of(const char *name) const { return fmt::format("{}.{}", path_, name); }

    // NULL when it is not there.
    const Json *find(const char *name) {
        taken_.emplace_back(name);
        const auto found = object_.find(name);
        return found == object_.end() ? nullptr : &*found;
    }

    const Json &need(const char *name) {
        const Json *found = find(name);
        if (found == nullptr)
            fail(path_, "the member \"{}\" is missing", name);
        return *found;
    }

    double number(const char *name, Range range, std::optional<double> otherwise = std::nullopt) {
        const Json *value = otherwise ? find(name) : &need(name);
        return value != nullptr ? number_of(*value, path_of(name), range) : *otherwise;
    }

    std::string text(const char *name) { return text_of(need(name), path_of(name)); }

    std::optional<std::string> optional_text(const char *name) {
        const Json *value = find(name);
        return value != nullptr ? std::optional(text_of(*value, path_of(name))) : std::nullopt;
    }

    const Json &list(const char *name, std::size_t least, std::size_t most) {
        const Json &value = need(name);
        if (!value.is_array() || value.size() < least || value.size() > most)
            fail(path_of(name), "expected an array of {} to {} members, found {}", least, most,
                 value.is_array() ? fmt::format("{}", value.size()) : shown(value));
        return value;
    }

    // Call when all that is known has been taken.
    void refuse_others() const {
        for (const auto &member : object_.items())
            if (std::find(taken_.begin(), taken_.end(), member.key()) == taken_.end())
                fail(path_, "unknown member {}, expected {}", shown(Json(member.key())), fmt::join(taken_, ", "));
    }

    static double number_of(const Json &value, const std::string &path, Range range) {
        const double number = value.is_number() ? value.get<double>() : std::nan("");
        if (!(number >= range.lowest && number <= range.highest))
            fail(path, "expected a number from {} to {}, found {}", range.lowest, range.highest, shown(value));
        return number;
    }

    static std::string text_of(const Json &value, const std::string &path) {
        if (!value.is_string() || value.get_ref<const std::string &>().empty())
            fail(path, "expected a text, found {}", shown(value));
        std::string text = value.get<std::string>();
        // A terminal would take them for orders, and a picture that is a document has no place for them.
        if (has_control_characters(text))
            fail(path, "expected a text without control characters, found {}", shown(value));
        return text;
    }

  private:
    const Json &object_;
    std::string path_;
    std::vector<std::string> taken_;
};

// A name that may be that of a folder and stands in events.
std::string name_of(Members &members) {
    std::string name = members.text("name");
    const auto fits = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_' ||
               c == '.';
    };
    if (name.size() > longest_name || name.front() == '.' || !std::all_of(name.begin(), name.end(), fits))
        fail(members.path_of("name"), "expected up to {} letters, digits, '-', '_' and '.', the first no '.', found {}",
             longest_name, shown(Json(name)));
    return name;
}

GainRange gain_range_of(const Json &value, const std::string &path) {
    constexpr Range gains{0, 40};
    if (!value.is_array() || value.size() != 2)
        fail(path, "expected [lowest, highest], found {}", shown(value));
    const GainRange range{Members::number_of(value[0], path + "[0]", gains),
                          Members::number_of(value[1], path + "[1]", gains)};
    if (range.lowest > range.highest)
        fail(path, "expected the lowest gain first, found {} and {}", range.lowest, range.highest);
    return range;
}

// What amplifiers have in common is said once, under a name.
using AmplifierTypes = std::map<std::string, Json>;

AmplifierTypes unchecked_types(Members &line) {
    AmplifierTypes types;
    const Json *value = line.find("amplifier-types");
    if (value == nullptr)
        return types;
    if (!value->is_object())
        fail(line.path_of("amplifier-types"), "expected an object, found {}", shown(*value));
    for (const auto &member : value->items())
        types.emplace(member.key(), member.value());
    return types;
}

// The amplifier's own members before those of its type.
Json with_type(const Json &value, const std::string &path, const AmplifierTypes &types) {
    if (!value.is_object() || !value.contains("type"))
        return value;
    const std::string word = Members::text_of(value["type"], path + ".type");
    const auto type = types.find(word);
    if (type == types.end())
        fail(path + ".type", "no amplifier type {}, expected one of \"amplifier-types\"", shown(value["type"]));
    Json whole = value;
    whole.erase("type");
    for (const auto &member : type->second.items())
        if (!whole.contains(member.key()))
            whole[member.key()] = member.value();
    return whole;
}

// What an amplifier is built like. A type may leave everything to the amplifiers that use it; what it leaves out is of
// no account then.
AmplifierDescription read_members(Members &members, bool is_type) {
    const auto needed = [&](const char *name, Range range) {
        return members.number(name, range, is_type ? std::optional(range.lowest) : std::nullopt);
    };
    AmplifierDescription amplifier{};
    const char *const range = "gain-range-db", *const extended_range = "extended-gain-range-db";
    if (const Json *value = is_type ? members.find(range) : &members.need(range); value != nullptr)
        amplifier.gain_range = gain_range_of(*value, members.path_of(range));
    if (const Json *value = members.find(extended_range); value != nullptr)
        amplifier.extended_gain_range = gain_range_of(*value, members.path_of(extended_range));
    amplifier.noise_figure = needed("noise-figure-db", {0, 20});
    amplifier.maximum_output = needed("maximum-output-dbm", {-10, 30});
    amplifier.gain = needed("gain-db", {0, 40});
    amplifier.tilt = members.number("tilt-db", {-steepest_tilt, steepest_tilt}, 0);
    amplifier.input_loss = members.number("input-loss-db", {0, 40}, 0);
    amplifier.loss_threshold = members.number("loss-threshold-dbm", {-39, 10}, -35);
    amplifier.tilt_slope = members.number("tilt-slope", {-2, 2}, 0.7);
    members.refuse_others();
    return amplifier;
}

AmplifierTypes read_types(Members &line) {
    AmplifierTypes types = unchecked_types(line);
    for (const auto &[name, value] : types) {
        Members members(value, fmt::format("{}.{}", line.path_of("amplifier-types"), name));
        read_members(members, true);
    }
    return types;
}

AmplifierDescription read_amplifier(const Json &value, const std::string &path, const AmplifierTypes &types) {
    const Json whole = with_type(value, path, types);
    Members members(whole, path);
    const AmplifierDescription amplifier = read_members(members, false);
    if (amplifier.gain < amplifier.gain_range.lowest || amplifier.gain > amplifier.gain_range.highest)
        fail(members.path_of("gain-db"), "expected a gain in the range from {} to {}, found {}",
             amplifier.gain_range.lowest, amplifier.gain_range.highest, amplifier.gain);
    return amplifier;
}

DirectionIndex direction_of(Members &slot, const char *name, const LineDescription &line) {
    const std::optional<std::string> word = slot.optional_text(name);
    if (!word)
        return std::nullopt;
    for (std::size_t i = 0; i < line.directions.size(); ++i)
        if (line.directions[i].name == *word)
            return i;
    fail(slot.path_of(name), "no direction {}, expected one of \"directions\"", shown(Json(*word)));
}

SlotDescription read_slot(const Json &value, const std::string &path, const AmplifierTypes &types,
                          const LineDescription &line) {
    Members members(value, path);
    SlotDescription slot{};
    const double number = members.number("slot", {first_slot, last_slot});
    slot.number = static_cast<unsigned>(number);
    if (number != slot.number)
        fail(members.path_of("slot"), "expected a whole number, found {}", number);
    const DirectionIndex both = direction_of(members, "direction", line);
    slot.receives = direction_of(members, "receives", line);
    slot.sends = direction_of(members, "sends", line);
    if (both && (slot.receives || slot.sends))
        fail(path, "expected \"direction\", or \"receives\" and \"sends\"");
    if (both)
        slot.receives = slot.sends = both;
    if (const Json *amplifier = members.find("pre-amplifier"); amplifier != nullptr)
        slot.pre_amplifier = read_amplifier(*amplifier, members.path_of("pre-amplifier"), types);
    if (const Json *amplifier = members.find("booster"); amplifier != nullptr)
        slot.booster = read_amplifier(*amplifier, members.path_of("booster"), types);
    if (const Json *power = members.find("supervisory-power-dbm"); power != nullptr)
        slot.supervisory_power = Members::number_of(*power, members.path_of("supervisory-power-dbm"), {-40, 10});
    members.refuse_others();
    if (slot.pre_amplifier && !slot.receives)
        fail(path, "expected the direction that the pre-amplifier receives");
    if (slot.booster && !slot.sends)
        fail(path, "expected the direction that the booster sends");
    return slot;
}

NodeDescription read_node(const Json &value, const std::string &path, const AmplifierTypes &types,
                          const LineDescription &line) {
    Members members(value, path);
    NodeDescription node{name_of(members), {}};
    const Json &slots = members.list("slots", 1, last_slot);
    std::set<unsigned> numbers;
    std::set<std::size_t> received, sent;
    for (std::size_t i = 0; i < slots.size(); ++i) {
        const std::string slot_path = fmt::format("{}.slots[{}]", path, i);
        const SlotDescription &slot = node.slots.emplace_back(read_slot(slots[i], slot_path, types, line));
        if (!numbers.insert(slot.number).second)
            fail(slot_path, "slot {} is there already, expected each once", slot.number);
        if (slot.receives && !received.insert(*slot.receives).second)
            fail(slot_path, "another slot receives {}, expected one", line.directions[*slot.receives].name);
        if (slot.sends && !sent.insert(*slot.sends).second)
            fail(slot_path, "another slot sends {}, expected one", line.directions[*slot.sends].name);
    }
    members.refuse_others();
    return node;
}

SpanDescription read_span(const Json &value, const std::string &path) {
    Members members(value, path);
    SpanDescription span{};
    span.length = members.number("length-km", {0, 500});
    span.loss = members.number("loss-db-per-km", {0, 5});
    const Json *connectors = members.find("connector-loss-db");
    if (connectors != nullptr) {
        if (!connectors->is_array() || connectors->size() != 2)
            fail(members.path_of("connector-loss-db"), "expected one loss for each end, found {}", shown(*connectors));
        for (const Json &end : *connectors)
            span.connectors += Members::number_of(end, members.path_of("connector-loss-db"), {0, 10});
    }
    constexpr double usual_drift = 0.1;
    const double whole = span.length * span.loss + span.connectors;
    span.drift = members.number("drift-db", {0, 3}, std::min(usual_drift, whole));
    members.refuse_others();
    if (span.drift > whole)
        fail(members.path_of("drift-db"),
             "expected at most the span's loss, {:g} dB, found {:g}: fibre does not amplify", whole, span.drift);
    return span;
}

DirectionDescription read_direction(const Json &value, const std::string &path) {
    Members members(value, path);
    DirectionDescription direction{.name = name_of(members), .forward = true, .channels = 0, .channel_power = 0};
    const std::string order = members.text("order");
    if (order != "forward" && order != "backward")
        fail(members.path_of("order"), "expected \"forward\" or \"backward\", found {}", shown(Json(order)));
    direction.forward = order == "forward";
    Members channels(members.need("channels"), members.path_of("channels"));
    const double count = channels.number("count", {0, 192});
    direction.channels = static_cast<unsigned>(count);
    if (count != direction.channels)
        fail(channels.path_of("count"), "expected a whole number, found {}", count);
    direction.channel_power = channels.number("power-dbm", {-40, 10});
    channels.refuse_others();
    members.refuse_others();
    return direction;
}

template <class Item>
void check_names(const std::vector<Item> &items, const char *path) {
    std::set<std::string> names;
    for (std::size_t i = 0; i < items.size(); ++i)
        if (!names.insert(items[i].name).second)
            fail(fmt::format("{}[{}].name", path, i), "\"{}\" is there already, expected each name once",
                 items[i].name);
}

template <class Item>
std::size_t named(const std::vector<Item> &items, std::string_view name, const char *what) {
    std::vector<std::string_view> names;
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (items[i].name == name)
            return i;
        names.push_back(items[i].name);
    }
    constexpr std::size_t most_shown = 12;
    const bool all = names.size() <= most_shown;
    names.resize(std::min(names.size(), most_shown));
    throw InputError(
        fmt::format("no {} '{}', expected one of: {}{}", what, name, fmt::join(names, ", "), all ? "" : ", ..."));
}

} // namespace

LineDescription read_line(std::string_view json) {
    const Json document = parse_json(json, nesting_limit);
    Members members(document, "$");
    LineDescription line{};
    line.name = members.text("name");
    constexpr double year_2025 = 1735689600, last_second = 4e9;
    line.start = static_cast<std::int64_t>(members.number("start", {0, last_second}, year_2025));
    line.measurement_noise = members.number("measurement-noise-db", {0, 1}, 0.03);
    const Json &directions = members.list("directions", 1, most_directions);
    for (std::size_t i = 0; i < directions.size(); ++i)
        line.directions.push_back(read_direction(directions[i], fmt::format("$.directions[{}]", i)));
    check_names(line.directions, "$.directions");
    const AmplifierTypes types = read_types(members);
    const Json &nodes = members.list("nodes", 1, most_nodes);
    for (std::size_t i = 0; i < nodes.size(); ++i)
        line.nodes.push_back(read_node(nodes[i], fmt::format("$.nodes[{}]", i), types, line));
    check_names(line.nodes, "$.nodes");
    const Json &spans = members.list("spans", nodes.size() - 1, nodes.size() - 1);
    for (std::size_t i = 0; i < spans.size(); ++i)
        line.spans.push_back(read_span(spans[i], fmt::format("$.spans[{}]", i)));
    members.refuse_others();
    return line;
}

std::uint32_t LineDescription::structure() const {
    std::string words; // names have no blanks
    for (const DirectionDescription &direction : directions)
        words += fmt::format("{} {} ", direction.name, direction.forward);
    const auto end_of = [](const DirectionIndex &direction) { return direction ? static_cast<int>(*direction) : -1; };
    for (const NodeDescription &node : nodes) {
        words += fmt::format("; {} ", node.name);
        for (const SlotDescription &slot : node.slots)
            words += fmt::format("{} {} {} {} {} {} ", slot.number, end_of(slot.receives), end_of(slot.sends),
                                 slot.pre_amplifier.has_value(), slot.booster.has_value(),
                                 slot.supervisory_power.has_value());
    }
    return crc32(std::span(reinterpret_cast<const std::uint8_t *>(words.data()), words.size()));
}

std::size_t LineDescription::node_named(std::string_view wanted) const {
    return named(nodes, wanted, "node");
}

std::size_t LineDescription::direction_named(std::string_view wanted) const {
    return named(directions, wanted, "direction");
}

std::size_t LineDescription::span_named(std::string_view wanted) const {
    const std::size_t slash = wanted.find('/');
    if (slash == std::string_view::npos)
        throw InputError(fmt::format("no span '{}', expected the names of two neighbours, as in {}", wanted,
                                     spans.empty() ? "a/b" : span_name(0)));
    const std::size_t one = node_named(wanted.substr(0, slash)), other = node_named(wanted.substr(slash + 1));
    if (std::max(one, other) - std::min(one, other) != 1)
        throw InputError(fmt::format("no span '{}', expected the names of two neighbours", wanted));
    return std::min(one, other);
}

} // namespace ocamp
