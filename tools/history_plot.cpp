// How histories are drawn. Knows nothing of nodes.
#include "history_plot.h"

#include "seam/path_text.h"
#include "seam/text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <string_view>

#include <fmt/format.h>

namespace ocamp {

namespace {

constexpr std::array<std::string_view, 8> blocks{"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
constexpr std::array<std::string_view, 8> characters{"_", ".", ":", "-", "=", "+", "*", "#"};

std::optional<double> number(const std::optional<std::string> &text) {
    double value = 0;
    if (!text || std::from_chars(text->data(), text->data() + text->size(), value).ec != std::errc())
        return std::nullopt;
    return value;
}

struct Range {
    double low = 0, high = 0;
    bool empty = true;

    void add(double value) {
        low = empty ? value : std::min(low, value);
        high = empty ? value : std::max(high, value);
        empty = false;
    }
    // From 0 at the lowest to 1 at the highest; in the middle when all are one.
    double place(double value) const { return high > low ? (value - low) / (high - low) : 0.5; }
};

Range range_of(const std::vector<LeafHistory> &leaves) {
    Range range;
    for (const LeafHistory &leaf : leaves) {
        for (const std::optional<std::string> &value : leaf.values) {
            if (const std::optional<double> there = number(value))
                range.add(*there);
        }
    }
    return range;
}

std::string bar(const LeafHistory &leaf, const Range &range, bool ascii) {
    const auto &levels = ascii ? characters : blocks;
    std::string text;
    for (const std::optional<std::string> &value : leaf.values) {
        const std::optional<double> there = number(value);
        text +=
            there ? levels[std::min(levels.size() - 1,
                                    static_cast<std::size_t>(range.place(*there) * static_cast<double>(levels.size())))]
                  : " ";
    }
    return text;
}

std::string numbers(const LeafHistory &leaf, const std::string &unit) {
    const LeafHistory *low = &leaf;
    std::optional<std::string> lowest, highest;
    for (const std::optional<std::string> &value : low->values) {
        if (!number(value))
            continue;
        if (!lowest || *number(value) < *number(lowest))
            lowest = value;
        if (!highest || *number(value) > *number(highest))
            highest = value;
    }
    if (!lowest)
        return "no values";
    return fmt::format("{} to {}{}, now {}", *lowest, *highest, unit.empty() ? "" : " " + unit,
                       leaf.values.back().value_or("none"));
}

// Sizes of a diagram, in pixels.
constexpr double left = 80, top = 40, width = 640, height = 160, below = 60;

class Diagram {
  public:
    Diagram(const Quantity &quantity, double y) : quantity_(quantity), range_(range_of(quantity.leaves)), y_(y + top) {}

    std::string svg() const {
        std::string text =
            fmt::format("  <text x=\"{}\" y=\"{}\">{}{}</text>\n", left, y_ - 12, escaped_markup(quantity_.path),
                        quantity_.unit.empty() ? "" : ", " + escaped_markup(quantity_.unit));
        text += fmt::format("  <rect x=\"{}\" y=\"{}\" width=\"{}\" height=\"{}\" class=\"frame\"/>\n", left, y_, width,
                            height);
        for (const double value : {range_.low, range_.high})
            text += fmt::format("  <text x=\"{}\" y=\"{:.1f}\" class=\"scale\">{:.2f}</text>\n", left - 8,
                                height_of(value) + 4, value);
        const std::vector<std::string> high = points("max"), low = points("min"), average = points("avg");
        if (!high.empty() && !low.empty()) {
            text += "  <polygon class=\"band\" points=\"";
            for (const std::string &point : high)
                text += point + " ";
            for (auto point = low.rbegin(); point != low.rend(); ++point)
                text += *point + " ";
            text += "\"/>\n";
        }
        for (const auto &[name, line] : {std::pair("max", &high), std::pair("min", &low), std::pair("avg", &average)}) {
            text += fmt::format("  <polyline class=\"{}\" points=\"", name);
            for (const std::string &point : *line)
                text += point + " ";
            text += "\"/>\n";
        }
        const std::size_t count = quantity_.leaves.front().values.size();
        text += fmt::format("  <text x=\"{}\" y=\"{}\">{} {} of {} s, the latest on the right</text>\n", left,
                            y_ + height + 20, count, count == 1 ? "interval" : "intervals", interval_seconds);
        return text;
    }

  private:
    static std::string escaped_markup(const std::string &text) {
        std::string result;
        for (const char character : escaped(text)) {
            if (character == '<' || character == '>' || character == '&')
                result += character == '<' ? "&lt;" : character == '>' ? "&gt;" : "&amp;";
            else
                result += character;
        }
        return result;
    }

    double height_of(double value) const { return y_ + height * (1 - range_.place(value)); }

    // A single interval is drawn across the whole width.
    std::vector<std::string> points(std::string_view name) const {
        std::vector<std::string> found;
        for (const LeafHistory &leaf : quantity_.leaves) {
            if (last_step(leaf.path) != name)
                continue;
            const std::size_t count = leaf.values.size();
            for (std::size_t i = 0; i < count; ++i) {
                const std::optional<double> value = number(leaf.values[i]);
                const double step = count > 1 ? width / static_cast<double>(count - 1) : 0;
                if (value)
                    found.push_back(
                        fmt::format("{:.1f},{:.1f}", left + step * static_cast<double>(i), height_of(*value)));
                if (value && count == 1)
                    found.push_back(fmt::format("{:.1f},{:.1f}", left + width, height_of(*value)));
            }
        }
        return found;
    }

    const Quantity &quantity_;
    Range range_;
    double y_;
};

} // namespace

std::vector<Quantity> quantities_of(const std::vector<LeafHistory> &leaves) {
    std::vector<Quantity> quantities;
    for (const LeafHistory &leaf : leaves) {
        const std::string container = leaf.path.substr(0, leaf.path.rfind('/'));
        if (quantities.empty() || quantities.back().path != container)
            quantities.push_back({container, leaf.unit, {}});
        quantities.back().leaves.push_back(leaf);
    }
    return quantities;
}

std::string plot_of(const Quantity &quantity, bool ascii) {
    const Range range = range_of(quantity.leaves);
    const std::size_t count = quantity.leaves.front().values.size();
    std::string text = fmt::format("{}: {} {} of {} s, the latest last\n", escaped(quantity.path), count,
                                   count == 1 ? "interval" : "intervals", interval_seconds);
    for (const LeafHistory &leaf : quantity.leaves)
        text += fmt::format("  {}  {}  {}\n", last_step(leaf.path), bar(leaf, range, ascii),
                            escaped(numbers(leaf, quantity.unit)));
    return text;
}

std::string svg_of(const std::vector<Quantity> &quantities) {
    const double each = top + height + below;
    std::string text = fmt::format("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"{}\" height=\"{}\" "
                                   "font-family=\"sans-serif\" font-size=\"13\">\n"
                                   "  <style>.frame{{fill:none;stroke:#999}} .scale{{text-anchor:end}} "
                                   ".band{{fill:#cfe2f3}} polyline{{fill:none}} .min,.max{{stroke:#6fa8dc}} "
                                   ".avg{{stroke:#0b5394;stroke-width:2}}</style>\n",
                                   left + width + 40, each * static_cast<double>(quantities.size()));
    for (std::size_t i = 0; i < quantities.size(); ++i)
        text += Diagram(quantities[i], each * static_cast<double>(i)).svg();
    return text + "</svg>\n";
}

} // namespace ocamp
