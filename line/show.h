// A line drawn for people: as text for a terminal, and as a level diagram. Knows neither files nor terminals.
#pragma once

#include "line/simulation.h"

#include <string>

namespace ocamp {

/// Draws states of one line.
class LinePicture {
  public:
    /// `line` outlives the picture. `in_colour`: alarms in the text are coloured by ECMA-48 sequences.
    LinePicture(const LineDescription &line, bool in_colour) : line_(line), in_colour_(in_colour) {}

    /// Sites, spans with losses and supervisory light, powers and gains, and what is wrong, a line each, direction by
    /// direction.
    std::string text(const Simulation &simulation) const;
    /// Power along the line with configured and measured gains, as an SVG document that is as wide as the line needs.
    std::string svg(const Simulation &simulation) const;

  private:
    struct Scale;

    std::string amplifier_row(const Simulation &simulation, const SimulatedAmplifier &amplifier) const;
    std::string span_row(const Simulation &simulation, std::size_t direction, std::size_t span) const;
    std::string alarm(const std::string &text, const char *colour) const;
    Scale scale_of(const Simulation &simulation) const;
    std::string grid(const Simulation &simulation, std::size_t direction, double top, const Scale &scale) const;
    std::string panel(const Simulation &simulation, std::size_t direction, double top, const Scale &scale) const;

    const LineDescription &line_;
    bool in_colour_;
};

} // namespace ocamp
