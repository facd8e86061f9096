// Lines for tests, small enough to be worked out by hand: without noise and drift unless asked for.
#pragma once

#include "line/description.h"
#include "line/simulation.h"

#include <string>
#include <vector>

namespace line_tests {

/// Two nodes, "a" and "b", with one span of 17 dB: 80 km of 0.2 dB/km and two connectors of 0.5 dB. Eastwards a booster
/// in slot 1 of a (gain 20 dB, noise figure 6 dB, at most 25 dBm) and a pre-amplifier in slot 1 of b (17 dB, 5 dB, at
/// most 25 dBm). Four channels of -3 dBm. Supervisory channels of 1 dBm in both slots. `more`: members of the line,
/// each followed by a comma, before "directions".
std::string two_nodes(const std::string &more = "\"measurement-noise-db\": 0,");

/// The example with three sites, with noise and drift as it stands.
std::string three_sites();
/// The same without both.
std::string quiet_three_sites();

/// Position of the amplifier in the simulation. The slot is the one of that number.
std::size_t amplifier_at(const ocamp::Simulation &simulation, const std::string &node, unsigned slot, bool booster);

/// Runs that many seconds.
void run(ocamp::Simulation &simulation, int seconds);

/// Lets it happen.
void happen(ocamp::Simulation &simulation, const std::string &words);

/// What the amplifier at that place reads.
inline const ocamp::AmplifierReading &reading(const ocamp::Simulation &simulation, const std::string &node,
                                              unsigned slot, bool booster) {
    return simulation.amplifiers()[amplifier_at(simulation, node, slot, booster)].reading;
}

/// Sets the gain as configuration does.
void set_gain(ocamp::Simulation &simulation, std::size_t amplifier, double gain);

} // namespace line_tests
