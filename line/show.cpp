// How lines are drawn. Knows neither files nor terminals.
#include "line/show.h"

#include "line/node_data.h"

#include <algorithm>
#include <cmath>

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
        return {fmt::format("pump failure, {:.1f} dB", amplifier.pump_loss), red};
    if (std::abs(amplifier.gain - amplifier.target_gain()) > 1e-9)
        return {"gain moves"};
    if (in_units(amplifier.reading.gain) < amplifier.target_gain() - noticed)
        return {"output limited"};
    return {};
}

} // namespace

std::string LinePicture::alarm(const std::string &text, const char *colour) const {
    if (text.empty() || !in_colour_)
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
    std::string row = fmt::format("    | {:.1f} km, {:.2f} dB", fibre.loss.length, fibre.now);
    if (fibre.cut)
        row += "  " + alarm("fibre cut", red);
    else if (fibre.loss.added > 0)
        row += "  " + alarm(fmt::format("{:.1f} dB added", fibre.loss.added), yellow);
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

// Sizes of the diagram, in pixels.
constexpr double width = 960, panel_height = 320, left = 70, right = 60, above = 40, below = 40;
constexpr double lowest_shown = -40, highest_shown = 25; // dBm
constexpr double site_width = 14;                        // between the two amplifiers of a site, in km of the scale

double place_of(double level, double top) {
    const double clipped = std::clamp(level, lowest_shown, highest_shown);
    const double height = panel_height - above - below;
    return top + above + (highest_shown - clipped) / (highest_shown - lowest_shown) * height;
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

} // namespace

std::string LinePicture::panel(const Simulation &simulation, std::size_t direction, double top) const {
    const std::vector<Passage> &path = simulation.path(direction);
    double whole = 0;
    for (const Passage &passage : path)
        whole += passage.kind == Passage::Kind::span ? line_.spans[passage.index].length : site_width;
    const double scale = (width - left - right) / std::max(whole, 1.0);

    std::string drawn =
        label(left, top + 18, fmt::format("{}, second {}", line_.directions[direction].name, simulation.second()),
              " font-weight=\"bold\"");
    constexpr int grid_step = 10;
    for (int level = static_cast<int>(lowest_shown); level <= highest_shown; level += grid_step) {
        const double y = place_of(level, top);
        drawn += fmt::format("<line x1=\"{:.1f}\" y1=\"{:.1f}\" x2=\"{:.1f}\" y2=\"{:.1f}\" stroke=\"#ddd\"/>\n", left,
                             y, width - right, y);
        drawn += label(left - 6, y + 4, fmt::format("{} dBm", level), " text-anchor=\"end\"");
    }

    std::string points, labels;
    double at = left;
    std::size_t node_before = line_.nodes.size(), amplifiers = 0;
    for (const Passage &passage : path) {
        if (passage.kind == Passage::Kind::span) {
            at += line_.spans[passage.index].length * scale;
            if (simulation.fibre(direction, passage.index).cut)
                labels += label(at - line_.spans[passage.index].length * scale / 2, place_of(lowest_shown, top) - 6,
                                "fibre cut", " fill=\"#c00\" text-anchor=\"middle\"");
            continue;
        }
        const SimulatedAmplifier &amplifier = simulation.amplifiers()[passage.index];
        const double end = at + site_width * scale;
        const double input = place_of(in_units(amplifier.reading.input), top);
        const double output = place_of(in_units(amplifier.reading.output), top);
        points += fmt::format("{:.1f},{:.1f} {:.1f},{:.1f} ", at, input, end, output);
        // Gains of neighbours at two heights, so that they do not cover each other.
        const double height = output - (amplifiers++ % 2 == 0 ? 8 : 20);
        labels += label((at + end) / 2, height,
                        fmt::format("{:.1f} / {:.2f}", amplifier.target_gain(), in_units(amplifier.reading.gain)),
                        trouble_of(simulation, amplifier).text.empty() ? " text-anchor=\"middle\""
                                                                       : " fill=\"#c00\" text-anchor=\"middle\"");
        if (amplifier.node != node_before)
            labels += label(at, place_of(lowest_shown, top) + 18, line_.nodes[amplifier.node].name);
        node_before = amplifier.node;
        at = end;
    }
    drawn += fmt::format("<polyline points=\"{}\" fill=\"none\" stroke=\"#0060a0\" stroke-width=\"2\"/>\n", points);
    return drawn + labels;
}

std::string LinePicture::svg(const Simulation &simulation) const {
    const double height = panel_height * static_cast<double>(line_.directions.size()) + above;
    std::string document = fmt::format(
        "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 {0} {1}\" width=\"{0}\" height=\"{1}\" "
        "font-family=\"sans-serif\" font-size=\"11\">\n<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n",
        width, height);
    document += label(left, 24, fmt::format("{}: power along the line, gains as set / as measured in dB", line_.name),
                      " font-size=\"14\"");
    for (std::size_t direction = 0; direction < line_.directions.size(); ++direction)
        document += panel(simulation, direction, above + panel_height * static_cast<double>(direction));
    return document + "</svg>\n";
}

} // namespace ocamp
