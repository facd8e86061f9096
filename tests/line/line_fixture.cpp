// Lines for tests.
#include "line_fixture.h"

#include "line/event.h"
#include "support/files.h"

#include <stdexcept>

#include <nlohmann/json.hpp>

namespace line_tests {

using ocamp::Simulation;

std::string two_nodes(const std::string &more) {
    return R"({"name": "two nodes", )" + more + R"(
        "directions": [{"name": "east", "order": "forward", "channels": {"count": 4, "power-dbm": -3}}],
        "nodes": [
          {"name": "a", "slots": [{"slot": 1, "sends": "east", "supervisory-power-dbm": 1,
            "booster": {"gain-range-db": [10, 25], "noise-figure-db": 6, "maximum-output-dbm": 25, "gain-db": 20}}]},
          {"name": "b", "slots": [{"slot": 1, "receives": "east", "supervisory-power-dbm": 1,
            "pre-amplifier": {"gain-range-db": [10, 25], "extended-gain-range-db": [22, 35], "noise-figure-db": 5,
                              "maximum-output-dbm": 25, "gain-db": 17, "tilt-db": -1}}]}],
        "spans": [{"length-km": 80, "loss-db-per-km": 0.2, "connector-loss-db": [0.5, 0.5], "drift-db": 0}]})";
}

std::string three_sites() {
    return support::read_file(EXAMPLE_LINE);
}

std::string quiet_three_sites() {
    nlohmann::json line = nlohmann::json::parse(three_sites());
    line["measurement-noise-db"] = 0;
    for (nlohmann::json &span : line["spans"])
        span["drift-db"] = 0;
    return line.dump();
}

std::size_t amplifier_at(const Simulation &simulation, const std::string &node, unsigned slot, bool booster) {
    const std::size_t wanted = simulation.line().node_named(node);
    for (std::size_t i = 0; i < simulation.amplifiers().size(); ++i) {
        const ocamp::SimulatedAmplifier &amplifier = simulation.amplifiers()[i];
        if (amplifier.node == wanted && amplifier.booster == booster &&
            simulation.line().nodes[wanted].slots[amplifier.slot].number == slot)
            return i;
    }
    throw std::logic_error("no such amplifier");
}

void run(Simulation &simulation, int seconds) {
    for (int i = 0; i < seconds; ++i)
        simulation.step();
}

void happen(Simulation &simulation, const std::string &words) {
    simulation.apply(ocamp::parse_event(simulation.line(), words));
}

void set_gain(Simulation &simulation, std::size_t amplifier, double gain) {
    ocamp::AmplifierSettings settings = simulation.amplifiers()[amplifier].settings;
    settings.gain = gain;
    simulation.configure_amplifier(amplifier, settings);
}

} // namespace line_tests
