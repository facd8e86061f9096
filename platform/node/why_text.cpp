// Answers of why as people read them. Knows nothing of how they are found.
#include "node/why_text.h"

#include "seam/text.h"

#include <algorithm>
#include <string_view>

#include <fmt/format.h>

namespace ocamp {

namespace {

std::string quoted(const std::string &text) {
    std::string line = "\"";
    append_escaped(line, shortened(text, longest_shown_value), '"');
    return line + "\"";
}

std::string with_unit(const std::string &value, const std::string &unit) {
    return escaped(value) + (unit.empty() ? "" : " " + unit);
}

std::string trimmed_text(const std::string &text) {
    constexpr const char *blanks = " \t\r\n\f\v";
    const std::size_t begin = text.find_first_not_of(blanks);
    return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

// The steps of a data path; slashes inside keys part nothing.
std::vector<std::string> steps_of(const std::string &path) {
    std::vector<std::string> steps;
    char quote = '\0';
    for (const char character : path) {
        if (character == '/' && quote == '\0')
            steps.emplace_back();
        else if (!steps.empty())
            steps.back() += character;
        if (quote != '\0')
            quote = character == quote ? '\0' : quote;
        else if (character == '\'' || character == '"')
            quote = character;
    }
    return steps;
}

std::string without_keys(const std::string &step) {
    return step.substr(0, step.find('['));
}

// The value of a step's last key; empty when it has none.
std::string last_key(const std::string &step) {
    const std::size_t equals = step.rfind('=');
    return equals == std::string::npos || step.size() < equals + 4 ? ""
                                                                   : step.substr(equals + 2, step.size() - equals - 4);
}

// A native leaf in short: "opr/average of Ots0/1/0/0"; a key, whose text names its entry, without the entry.
std::string native_in_short(const std::string &path, const std::string &value) {
    const std::vector<std::string> steps = steps_of(path);
    std::string text = steps.empty() ? path : without_keys(steps.back());
    if (steps.size() > 1)
        text.insert(0, without_keys(steps[steps.size() - 2]) + "/");
    for (const std::string &step : steps) {
        if (const std::string key = last_key(step); !key.empty())
            return escaped(key == value ? text : text.append(" of ").append(key));
    }
    return escaped(text);
}

// The last two names of an element.
std::string element_in_short(const std::string &element) {
    const std::size_t last = element.rfind('.');
    const std::size_t before = last == std::string::npos || last == 0 ? last : element.rfind('.', last - 1);
    return before == std::string::npos ? element : element.substr(before + 1);
}

std::string short_source(const WhySource &source) {
    const std::string what = source.database
                                 ? fmt::format("database {} of {}", escaped(element_in_short(source.element)),
                                               escaped(source.item.substr(0, source.item.find('/'))))
                                 : "native " + native_in_short(source.place, source.text);
    return fmt::format("{} = {}", what, quoted(source.text));
}

// ---- One leaf ------------------------------------------------------------------------------------------------------

std::string rule_text(const WhyLeaf &leaf) {
    const std::string &raw = leaf.from ? leaf.from->text : leaf.written;
    std::string text = leaf.rule;
    for (const auto &[scale, divisor] : {std::pair{"tenths", 10}, std::pair{"hundredths", 100}}) {
        if (leaf.rule == fmt::format("native {}", scale))
            text = fmt::format("{} of a {}, divided by {}: {} is {}", scale, leaf.unit, divisor, escaped(raw),
                               escaped(leaf.written));
    }
    if (text.empty())
        return text;
    const bool as_it_stands = leaf.rule == "as it stands" || trimmed_text(raw) == leaf.written;
    if (as_it_stands && raw != leaf.written)
        text += ", white space removed";
    if (leaf.value != leaf.written)
        text += fmt::format(", which the model writes {}", escaped(*leaf.value));
    return text;
}

void append_source(std::string &text, std::string_view word, const WhySource &source) {
    if (source.database) {
        text += fmt::format("  {:<6} system database {} {}\n", word, escaped(source.place), escaped(source.item));
        if (!source.element.empty())
            text += fmt::format("         {} {} = {}\n", escaped(source.record), escaped(source.element),
                                quoted(source.text));
    } else {
        text += fmt::format("  {:<6} native {} = {}\n", word, escaped(source.place), quoted(source.text));
    }
}

std::string paragraph(const WhyLeaf &leaf) {
    if (!leaf.value)
        return fmt::format("{} has no value\n  why    {}\n", escaped(leaf.path), escaped(leaf.reason));
    std::string text = fmt::format("{} = {}\n", escaped(leaf.path), with_unit(*leaf.value, leaf.unit));
    if (leaf.from)
        append_source(text, "from", *leaf.from);
    if (const std::string rule = rule_text(leaf); !leaf.converter.empty() || !rule.empty())
        text += fmt::format("  by     {}{}{}\n", leaf.converter.empty() ? "the plug-in" : leaf.converter,
                            rule.empty() ? "" : ": ", rule);
    for (const WhySource &checked : leaf.checked)
        text += fmt::format("  after  system database {} {}{} was found\n", escaped(checked.place),
                            escaped(checked.item), checked.item.empty() ? checked.element : "");
    for (const PassedOver &other : leaf.passed_over)
        text += fmt::format("  other  {} {}\n", short_source(other.source), escaped(other.reason));
    return text;
}

// ---- Tables --------------------------------------------------------------------------------------------------------

struct Line {
    std::string leaf, value, source;
};

Line line_of(const WhyLeaf &leaf, std::size_t skipped) {
    Line line{.leaf = escaped(leaf.path.substr(skipped)), .value = "-", .source = escaped(leaf.reason)};
    if (!leaf.value)
        return line;
    line.value = with_unit(shortened(*leaf.value, longest_shown_value), leaf.unit);
    line.source = "the plug-in's own";
    if (leaf.from)
        line.source = short_source(*leaf.from);
    return line;
}

// The width that the column takes.
std::size_t width_of(const std::vector<Line> &lines, std::string Line::*column, std::size_t most) {
    std::size_t width = 0;
    for (const Line &line : lines)
        width = std::max(width, (line.*column).size());
    return std::min(width, most);
}

// What does not fit into a line goes on in further ones, under its column.
std::string wrapped(const std::string &text, std::size_t indent, std::size_t columns) {
    const std::size_t room = columns > indent + 20 ? columns - indent : 20;
    std::string lines;
    std::string rest = text;
    while (rest.size() > room) {
        std::size_t end = rest.find_last_of(" /", room);
        if (end == std::string::npos || end == 0)
            end = room;
        const std::size_t text_end = rest.find_last_not_of(' ', end - 1) + 1;
        lines.append(rest.substr(0, text_end)).append("\n").append(indent, ' ');
        rest.erase(0, rest[end] == ' ' ? end + 1 : end);
    }
    return lines + rest;
}

std::string table(std::span<const WhyLeaf> leaves, std::size_t columns) {
    std::string text;
    std::vector<Line> lines;
    for (const WhyLeaf &leaf : leaves)
        lines.push_back(line_of(leaf, leaf.entry.empty() ? 1 : leaf.entry.size() + 1));
    const std::size_t leaf_width = width_of(lines, &Line::leaf, columns / 3);
    const std::size_t value_width = width_of(lines, &Line::value, columns / 4);
    const std::size_t before = 2 + leaf_width + 2 + value_width + 2;
    for (const Line &line : lines)
        text += fmt::format("  {:<{}}  {:<{}}  {}\n", wrapped(line.leaf, 2, leaf_width + 2), leaf_width,
                            shortened(line.value, value_width), value_width, wrapped(line.source, before, columns));
    return text;
}

} // namespace

std::string why_text(const WhyReport &report, std::size_t columns) {
    std::string text;
    if (report.leaves.size() == 1)
        text = paragraph(report.leaves.front());
    for (std::size_t begin = 0, end = 0; begin < report.leaves.size() && report.leaves.size() > 1; begin = end) {
        const std::string &entry = report.leaves[begin].entry;
        while (end < report.leaves.size() && report.leaves[end].entry == entry)
            ++end;
        text += entry.empty() ? "" : escaped(entry) + "\n";
        text += table(std::span(report.leaves).subspan(begin, end - begin), columns);
    }
    for (const std::string &reason : report.left_out)
        text += wrapped("Left out: " + escaped(reason), 10, columns) + "\n";
    const bool told = report.leaves.size() == 1 && report.leaves.front().reason.ends_with(report.failure);
    if (!report.failure.empty() && !told)
        text += fmt::format("A read of this fails: {}\n", escaped(report.failure));
    return text;
}

namespace {

std::string paragraph(const WhyEdit &leaf) {
    std::string text = fmt::format("{} {}\n", escaped(leaf.path),
                                   leaf.asked ? "= " + with_unit(*leaf.asked, leaf.unit) : "is removed");
    if (leaf.native.empty())
        text += "  native no leaf of its own\n";
    else if (leaf.stored)
        text += fmt::format("  native {} = {}{}\n", escaped(leaf.native), quoted(*leaf.stored),
                            leaf.native_unit.empty() ? "" : ", in units of " + leaf.native_unit);
    else
        text += fmt::format("  native {} is removed\n", escaped(leaf.native));
    if (leaf.carried_out)
        text += fmt::format("  back   {}\n", leaf.reads_back ? with_unit(*leaf.reads_back, leaf.unit) : "nothing");
    if (!leaf.lost.empty())
        text += fmt::format("  lost   {}\n", escaped(leaf.lost));
    return text;
}

} // namespace

std::string why_text(std::span<const WhyEdit> leaves) {
    std::string text;
    for (const WhyEdit &leaf : leaves)
        text += paragraph(leaf);
    return text;
}

} // namespace ocamp
