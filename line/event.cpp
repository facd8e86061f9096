// Reads events. Knows nothing of what they do.
#include "line/event.h"

#include "node/edit_request.h"
#include "yang/models.h"
#include "yang/request_error.h"

#include <array>
#include <charconv>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace ocamp {

namespace {

using Kind = LineEvent::Kind;
using Words = std::vector<std::string_view>;

struct Form {
    Kind kind;
    std::string_view word;
    std::string_view arguments; ///< for people
    std::size_t least, most;    ///< how many
};

constexpr std::array<Form, 9> forms{{
    {Kind::cut, "cut", "SPAN [DIRECTION]", 1, 2},
    {Kind::repair, "repair", "SPAN [DIRECTION]", 1, 2},
    {Kind::added_loss, "add-loss", "SPAN DB [DIRECTION]", 2, 3},
    {Kind::pump_failure, "pump-failure", "NODE AMPLIFIER DB", 3, 3},
    {Kind::pump_repair, "pump-repair", "NODE AMPLIFIER", 2, 2},
    {Kind::pull, "pull", "NODE SLOT", 2, 2},
    {Kind::insert, "insert", "NODE SLOT", 2, 2},
    {Kind::channels, "channels", "DIRECTION NUMBER", 2, 2},
    {Kind::set, "set", "NODE PATH VALUE", 3, 3},
}};

constexpr double most_decibels = 60;
constexpr unsigned most_channels = 192;

Words split(std::string_view text) {
    Words words;
    for (;;) {
        const std::size_t begin = text.find_first_not_of(" \t\r");
        if (begin == std::string_view::npos)
            return words;
        text.remove_prefix(begin);
        const std::string_view word = text.substr(0, text.find_first_of(" \t\r"));
        words.push_back(word);
        text.remove_prefix(word.size());
    }
}

template <class Number>
Number number_of(std::string_view word, Number highest, const char *what) {
    Number number{};
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    if (error != std::errc() || end != word.data() + word.size() || !(number >= 0 && number <= highest))
        throw InputError(fmt::format("'{}' is no {}, expected a number from 0 to {}", word, what, highest));
    return number;
}

const SlotDescription &slot_of(const LineDescription &line, std::size_t node, unsigned number) {
    std::vector<unsigned> numbers;
    for (const SlotDescription &slot : line.nodes[node].slots) {
        if (slot.number == number)
            return slot;
        numbers.push_back(slot.number);
    }
    throw InputError(
        fmt::format("{} has no slot {}, expected one of: {}", line.nodes[node].name, number, fmt::join(numbers, ", ")));
}

// "0/1-AMP-PRE", as OpenConfig names it.
void read_amplifier(const LineDescription &line, std::string_view word, LineEvent &event) {
    constexpr std::string_view before = "0/", pre = "-AMP-PRE", booster = "-AMP-BST";
    constexpr std::size_t slot_at = before.size(), length = before.size() + 1 + pre.size();
    const bool is_booster = word.ends_with(booster);
    if (word.size() != length || !word.starts_with(before) || !(is_booster || word.ends_with(pre)))
        throw InputError(fmt::format("'{}' is no amplifier, expected one as in 0/1-AMP-PRE or 0/1-AMP-BST", word));
    event.slot = number_of<unsigned>(word.substr(slot_at, 1), 9, "slot");
    event.booster = is_booster;
    const SlotDescription &slot = slot_of(line, event.node, event.slot);
    if (!(is_booster ? slot.booster : slot.pre_amplifier))
        throw InputError(fmt::format("{} has no amplifier {}", line.nodes[event.node].name, word));
}

// A leaf and a value that the model has; whether the node takes it shows when it happens.
void read_edit_of(std::string_view path, std::string_view value, LineEvent &event) {
    event.path = path;
    event.value = value;
    try {
        EditRequest::set_leaf(openconfig_schema(), event.path, event.value);
    } catch (const RequestError &error) {
        throw InputError(error.what());
    }
}

LineEvent parse(const LineDescription &line, const Form &form, const Words &words) {
    LineEvent event{.kind = form.kind, .direction = {}, .path = {}, .value = {}};
    const auto direction_at = [&](std::size_t place) {
        return words.size() > place ? DirectionIndex(line.direction_named(words[place])) : std::nullopt;
    };
    switch (form.kind) {
    case Kind::cut:
    case Kind::repair:
        event.span = line.span_named(words[1]);
        event.direction = direction_at(2);
        break;
    case Kind::added_loss:
        event.span = line.span_named(words[1]);
        event.decibels = number_of(words[2], most_decibels, "loss in dB");
        event.direction = direction_at(3);
        break;
    case Kind::pump_failure:
        event.decibels = number_of(words[3], most_decibels, "fall of the output in dB");
        [[fallthrough]];
    case Kind::pump_repair:
        event.node = line.node_named(words[1]);
        read_amplifier(line, words[2], event);
        break;
    case Kind::pull:
    case Kind::insert:
        event.node = line.node_named(words[1]);
        event.slot = number_of<unsigned>(words[2], 9, "slot");
        slot_of(line, event.node, event.slot);
        break;
    case Kind::channels:
        event.direction = line.direction_named(words[1]);
        event.channels = number_of(words[2], most_channels, "number of channels");
        break;
    case Kind::set:
        event.node = line.node_named(words[1]);
        read_edit_of(words[2], words[3], event);
        break;
    }
    return event;
}

} // namespace

LineEvent parse_event(const LineDescription &line, std::string_view words) {
    const Words parts = split(words);
    std::vector<std::string_view> known;
    for (const Form &form : forms) {
        known.push_back(form.word);
        if (parts.empty() || parts[0] != form.word)
            continue;
        if (parts.size() - 1 < form.least || parts.size() - 1 > form.most)
            throw InputError(fmt::format("expected: {} {}", form.word, form.arguments));
        return parse(line, form, parts);
    }
    throw InputError(
        fmt::format("no event '{}', expected one of: {}", parts.empty() ? "" : parts[0], fmt::join(known, ", ")));
}

std::vector<ScriptedEvent> parse_script(const LineDescription &line, std::string_view script) {
    std::vector<ScriptedEvent> events;
    for (std::size_t number = 1; !script.empty(); ++number) {
        const std::size_t end = script.find('\n');
        std::string_view text = script.substr(0, end);
        script.remove_prefix(end == std::string_view::npos ? script.size() : end + 1);
        const std::size_t begin = text.find_first_not_of(" \t\r");
        if (begin == std::string_view::npos || text[begin] == '#')
            continue;
        text.remove_prefix(begin);
        const std::size_t blank = std::min(text.find_first_of(" \t"), text.size());
        try {
            const auto at = number_of<std::uint64_t>(text.substr(0, blank), 1'000'000'000, "second");
            if (!events.empty() && at < events.back().at)
                throw InputError(
                    fmt::format("second {} behind second {}, expected the order of time", at, events.back().at));
            text.remove_prefix(blank);
            events.push_back({at, fmt::format("{}", fmt::join(split(text), " ")), parse_event(line, text)});
        } catch (const InputError &error) {
            throw InputError(fmt::format("line {}: {}", number, error.what()));
        }
    }
    return events;
}

} // namespace ocamp
