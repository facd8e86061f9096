// What a line is made of, read from a JSON document. Knows neither the state of a line nor nodes. docs/line.md has the
// members one by one, examples/lines/line.schema.json the form.
#pragma once

#include "seam/json_error.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ocamp {

inline constexpr double steepest_tilt = 5; ///< dB up or down over the band, as amplifiers are set and read

/// Both in dB.
struct GainRange {
    double lowest, highest;
};

/// An amplifier as it was built, and what it is first set to. All in dB and dBm.
struct AmplifierDescription {
    GainRange gain_range;
    std::optional<GainRange> extended_gain_range;
    double noise_figure;
    double maximum_output;
    double gain;           ///< set at first
    double tilt;           ///< set at first
    double input_loss;     ///< inside the site, before the amplifier
    double loss_threshold; ///< a signal below it is lost
    double tilt_slope;     ///< tilt for each dB that the gain is above what is set
};

/// Indexes of LineDescription::directions; none where no fibre is connected.
using DirectionIndex = std::optional<std::size_t>;

/// A line-card slot of a node, with the fibres that end at it.
struct SlotDescription {
    unsigned number;         ///< 1 to 3
    DirectionIndex receives; ///< of the fibre that comes in, at the pre-amplifier
    DirectionIndex sends;    ///< of the fibre that goes out, at the booster
    std::optional<AmplifierDescription> pre_amplifier, booster;
    std::optional<double> supervisory_power; ///< dBm, launched first; none: the slot has no supervisory channel
};

/// A node, with the slots that hold cards.
struct NodeDescription {
    std::string name; ///< also that of the node's folder
    std::vector<SlotDescription> slots;
};

/// A cable between two neighbours with one fibre a direction.
struct SpanDescription {
    double length;     ///< km
    double loss;       ///< dB/km
    double connectors; ///< dB, of both ends
    double drift;      ///< dB, amplitude over a day; no more than the loss
};

/// A way of light along the line, with what the terminal sends.
struct DirectionDescription {
    std::string name;
    bool forward;         ///< along the order of the nodes, or against it
    unsigned channels;    ///< at the terminal
    double channel_power; ///< dBm each
};

/// A whole line. Span i lies between the nodes i and i + 1.
struct LineDescription {
    std::string name;
    std::int64_t start;       ///< seconds since 1970 at second 0 of line time
    double measurement_noise; ///< dB, standard deviation
    std::vector<DirectionDescription> directions;
    std::vector<NodeDescription> nodes;
    std::vector<SpanDescription> spans;

    /// What a kept state of the line stands for: its directions, nodes, slots and cards, by name and order, and not how
    /// they are built. Equal for lines that are alike in these.
    std::uint32_t structure() const;
    /// "NODE/NODE", as events and people name it.
    std::string span_name(std::size_t span) const { return nodes[span].name + "/" + nodes[span + 1].name; }
    /// Index of the node or direction of that name. Throw InputError.
    std::size_t node_named(std::string_view wanted) const;
    std::size_t direction_named(std::string_view wanted) const;
    /// Index of the span of that name, with the nodes in either order. Throws InputError.
    std::size_t span_named(std::string_view wanted) const;
};

/// Throws JsonError for a document that is no line.
LineDescription read_line(std::string_view json);

} // namespace ocamp
