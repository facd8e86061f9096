// How lines are drawn. Knows neither files nor terminals.
#include "line/show.h"

#include "line/node_data.h"

#include <algorithm>
#include <cmath>
#include <string_view>
#include <vector>

#include <fmt/format.h>

namespace ocamp {

namespace {

constexpr const char *red = "31;1", *yellow = "33";
constexpr double noticed = 0.5; // dB that a gain may read below what is set before it is told

using Passage = Simulation::Passage;

std::string clock_text(std::uint64_t second) {
    constexpr std::uint64_t minute = 60, hour = 3600;
    return fmt::format("{:02}:{:02}:{:02}", second / hour, second % hour / minute, second % minute);
}

double in_units(int hundredths) noexcept {
    return hundredths / 100.0;
}

// What is wrong with an amplifier, the worst first; empty when nothing is.
struct Trouble {
    std::string text;
    const char *colour = yellow;
};

Trouble trouble_of(const Simulation &simulation, const SimulatedAmplifier &amplifier) {
    if (simulation.is_pulled(amplifier.node, amplifier.slot))
        return {"card pulled", red};
    if (amplifier.input_lost)
        return {"input lost, shut down", red};
    if (amplifier.settings.shut)
        return {"shut by configuration"};
    if (amplifier.pump_loss > 0)
        return {fmt::format("pump failure, {:.1f} dB{}", amplifier.pump_loss, amplifier.emitting ? "" : ", dark"), red};
    if (!amplifier.emitting)
        return {"input above the maximum output, dark", red};
    if (std::abs(amplifier.gain - amplifier.target_gain()) > 1e-9)
        return {"gain moves"};
    if (in_units(amplifier.reading.gain) < amplifier.target_gain() - noticed)
        return {"output limited"};
    return {};
}

// A card that is there waits for light that does not come.
bool is_supervision_lost(const Simulation &simulation, const SupervisoryHop &hop) {
    if (!hop.from || !hop.to)
        return false;
    const SimulatedChannel &receiver = simulation.channels()[*hop.to];
    return !simulation.is_pulled(receiver.node, receiver.slot) && receiver.reading.input == dark_reading;
}

} // namespace

std::string LinePicture::alarm(const std::string &text, const char *colour) const {
    if (!in_colour_)
        return text;
    return fmt::format("\033[{}m{}\033[0m", colour, text);
}

std::string LinePicture::amplifier_row(const Simulation &simulation, const SimulatedAmplifier &amplifier) const {
    const NodeDescription &node = line_.nodes[amplifier.node];
    const AmplifierReading &reading = amplifier.reading;
    const Trouble trouble = trouble_of(simulation, amplifier);
    const std::string row =
        fmt::format("  {:<16} {:<11} {:>7.2f} {:>7.1f} {:>7.2f} {:>7.2f} {:>7.2f}", node.name,
                    amplifier_name(node.slots[amplifier.slot].number, amplifier.booster), in_units(reading.input),
                    amplifier.target_gain(), in_units(reading.gain), in_units(reading.tilt), in_units(reading.output));
    return trouble.text.empty() ? row + "\n" : fmt::format("{}  {}\n", row, alarm(trouble.text, trouble.colour));
}

std::string LinePicture::span_row(const Simulation &simulation, std::size_t direction, std::size_t span) const {
    const SimulatedFibre &fibre = simulation.fibre(direction, span);
    const SupervisoryHop &hop = simulation.supervision(direction, span);
    std::string row = fmt::format("    | {:.1f} km, {:.2f} dB", fibre.loss.length, fibre.now);
    if (hop.from && hop.to)
        row +=
            fmt::format(", supervisory {:.2f} > {:.2f} dBm", in_units(simulation.channels()[*hop.from].reading.output),
                        in_units(simulation.channels()[*hop.to].reading.input));
    if (fibre.cut)
        row += "  " + alarm("fibre cut", red);
    else if (fibre.loss.added > 0)
        row += "  " + alarm(fmt::format("{:.1f} dB added", fibre.loss.added), yellow);
    if (is_supervision_lost(simulation, hop))
        row += "  " + alarm("supervisory channel lost", red);
    return row + "\n";
}

std::string LinePicture::text(const Simulation &simulation) const {
    std::string text = fmt::format("{}  {} (second {})  seed {}\n", line_.name, clock_text(simulation.second()),
                                   simulation.second(), simulation.seed());
    for (std::size_t direction = 0; direction < line_.directions.size(); ++direction) {
        text += fmt::format("\n{}: {} channels of {:.2f} dBm\n", line_.directions[direction].name,
                            simulation.channel_count(direction), line_.directions[direction].channel_power);
        text += fmt::format("  {:<16} {:<11} {:>7} {:>7} {:>7} {:>7} {:>7}\n", "node", "amplifier", "in dBm", "set dB",
                            "gain dB", "tilt dB", "out dBm");
        for (const Passage &passage : simulation.path(direction))
            text += passage.kind == Passage::Kind::amplifier
                        ? amplifier_row(simulation, simulation.amplifiers()[passage.index])
                        : span_row(simulation, direction, passage.index);
    }
    return text;
}

namespace {

// Sizes of the diagram, in pixels. Labels along the line stand upright, so that each takes the height of a letter only.
constexpr double least_width = 960, left = 70, right = 60, above = 130, plot_height = 240, head = 40;
constexpr double amplifier_width = 16, least_span_width = 16; // room for an upright label each
constexpr double letter_width = 7, letter_height = 11;        // at most, of the diagram's font
constexpr double lowest_shown = -40, highest_shown = 25;      // dBm

double place_of(double level, double top) {
    const double clipped = std::clamp(level, lowest_shown, highest_shown);
    return top + above + (highest_shown - clipped) / (highest_shown - lowest_shown) * plot_height;
}

std::string escaped_text(const std::string &text) {
    std::string result;
    for (const char c : text) {
        if (c == '&' || c == '<' || c == '>')
            result += c == '&' ? "&amp;" : c == '<' ? "&lt;" : "&gt;";
        else
            result += c;
    }
    return result;
}

std::string label(double x, double y, const std::string &text, const char *more = "") {
    return fmt::format("<text x=\"{:.1f}\" y=\"{:.1f}\"{}>{}</text>\n", x, y, more, escaped_text(text));
}

constexpr const char *alarm_fill = " fill=\"#c00\"", *hanging = " text-anchor=\"end\"";

// Read from below, with its middle at x: upwards from y, or `hanging`, up to y.
std::string upright_label(double x, double y, const std::string &text, std::string_view more = "") {
    const double base = x + letter_height / 3;
    return label(base, y, text, fmt::format(" transform=\"rotate(-90 {:.1f} {:.1f})\"{}", base, y, more).c_str());
}

std::string line_between(double x1, double y1, double x2, double y2, const char *look) {
    return fmt::format("<line x1=\"{:.1f}\" y1=\"{:.1f}\" x2=\"{:.1f}\" y2=\"{:.1f}\" {}/>\n", x1, y1, x2, y2, look);
}

} // namespace

// How wide things are drawn, the same for all directions.
struct LinePicture::Scale {
    double width; // of the whole diagram
    double below; // the line, for the names of nodes
    std::vector<double> spans;

    double panel_height() const noexcept { return above + plot_height + below; }
};

LinePicture::Scale LinePicture::scale_of(const Simulation &simulation) const {
    std::size_t most_amplifiers = 0, longest_name = 0;
    for (std::size_t direction = 0; direction < line_.directions.size(); ++direction)
        most_amplifiers = std::max(most_amplifiers, simulation.path(direction).size() - line_.spans.size());
    for (const NodeDescription &node : line_.nodes)
        longest_name = std::max(longest_name, node.name.size());
    double length = 0;
    for (const SpanDescription &span : line_.spans)
        length += span.length;
    const double taken = left + right + amplifier_width * static_cast<double>(most_amplifiers) +
                         least_span_width * static_cast<double>(line_.spans.size());
    Scale scale{.width = std::max(least_width, taken),
                .below = letter_width * static_cast<double>(longest_name) + 2 * letter_height,
                .spans = {}};
    for (const SpanDescription &span : line_.spans)
        scale.spans.push_back(least_span_width + (scale.width - taken) * span.length / std::max(length, 1.0));
    return scale;
}

std::string LinePicture::grid(const Simulation &simulation, std::size_t direction, double top,
                              const Scale &scale) const {
    std::string drawn =
        label(left, top + 18, fmt::format("{}, second {}", line_.directions[direction].name, simulation.second()),
              " font-weight=\"bold\"");
    constexpr int grid_step = 10;
    for (int level = static_cast<int>(lowest_shown); level <= highest_shown; level += grid_step) {
        const double y = place_of(level, top);
        drawn += line_between(left, y, scale.width - right, y, "stroke=\"#ddd\"");
        drawn += label(left - 6, y + 4, fmt::format("{} dBm", level), hanging);
    }
    return drawn;
}

std::string LinePicture::panel(const Simulation &simulation, std::size_t direction, double top,
                               const Scale &scale) const {
    const double bottom = place_of(lowest_shown, top);
    std::string drawn = grid(simulation, direction, top, scale), points, labels;
    double at = left;
    std::size_t node_before = line_.nodes.size();
    for (const Passage &passage : simulation.path(direction)) {
        if (passage.kind == Passage::Kind::span) {
            const double end = at + scale.spans[passage.index];
            if (simulation.fibre(direction, passage.index).cut)
                labels += upright_label((at + end) / 2, bottom - 6, "fibre cut", alarm_fill);
            const SupervisoryHop &hop = simulation.supervision(direction, passage.index);
            if (hop.from && hop.to)
                drawn += line_between(at, place_of(in_units(simulation.channels()[*hop.from].reading.output), top), end,
                                      place_of(in_units(simulation.channels()[*hop.to].reading.input), top),
                                      "stroke=\"#208040\" stroke-dasharray=\"4 3\"");
            at = end;
            continue;
        }
        const SimulatedAmplifier &amplifier = simulation.amplifiers()[passage.index];
        const double end = at + amplifier_width;
        points += fmt::format("{:.1f},{:.1f} {:.1f},{:.1f} ", at, place_of(in_units(amplifier.reading.input), top), end,
                              place_of(in_units(amplifier.reading.output), top));
        labels +=
            upright_label((at + end) / 2, top + above - 6,
                          fmt::format("{:.1f} / {:.2f}", amplifier.target_gain(), in_units(amplifier.reading.gain)),
                          trouble_of(simulation, amplifier).text.empty() ? "" : alarm_fill);
        if (amplifier.node != node_before)
            labels += upright_label((at + end) / 2, bottom + 6, line_.nodes[amplifier.node].name, hanging);
        node_before = amplifier.node;
        at = end;
    }
    drawn += fmt::format("<polyline points=\"{}\" fill=\"none\" stroke=\"#0060a0\" stroke-width=\"2\"/>\n", points);
    return drawn + labels;
}

std::string LinePicture::svg(const Simulation &simulation) const {
    const Scale scale = scale_of(simulation);
    std::string document = fmt::format(
        "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 {0:.0f} {1:.0f}\" width=\"{0:.0f}\" "
        "height=\"{1:.0f}\" "
        "font-family=\"sans-serif\" font-size=\"{2:.0f}\">\n<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n",
        scale.width, head + scale.panel_height() * static_cast<double>(line_.directions.size()), letter_height);
    document +=
        label(left, 24,
              fmt::format("{}: power along the line, gains as set / as measured in dB; dashed: supervisory channels",
                          line_.name),
              " font-size=\"14\"");
    for (std::size_t direction = 0; direction < line_.directions.size(); ++direction)
        document += panel(simulation, direction, head + scale.panel_height() * static_cast<double>(direction), scale);
    return document + "</svg>\n";
}

} // namespace ocamp
