// Hands arbitrary documents to the readers of line descriptions, of events and of a line's kept state, and runs what
// they take for some seconds: readings stay within what a card can read, and a kept state comes back as it was.
#include "line/line_fixture.h"
#include "line/simulation.h"

#include "seam/failure.h"

#include <cstdint>
#include <cstdlib>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace ocamp;

constexpr int brightest_reading = 20000; // hundredths of dBm; no description makes 200 dBm
constexpr int steepest_reading = static_cast<int>(steepest_tilt * 100);

void require(bool holds) {
    if (!holds)
        std::abort();
}

/// The result, or none where the input is refused as it may be.
template <class Read>
auto read_or_refuse(Read read) -> std::optional<decltype(read())> {
    try {
        return read();
    } catch (const InputError &error) {
        require(!std::string_view(error.what()).empty());
        return std::nullopt;
    }
}

void check_readings(const Simulation &simulation) {
    const auto in_range = [](int power) { return power >= dark_reading && power <= brightest_reading; };
    for (const SimulatedAmplifier &amplifier : simulation.amplifiers()) {
        const AmplifierReading &reading = amplifier.reading;
        require(in_range(reading.input) && in_range(reading.output) && in_range(reading.total_input));
        require(reading.gain >= 0 && std::abs(reading.tilt) <= steepest_reading);
    }
    for (const SimulatedChannel &channel : simulation.channels())
        require(in_range(channel.reading.input) && in_range(channel.reading.output));
}

void run_with_events(Simulation &simulation, const std::vector<ScriptedEvent> &events) {
    for (const ScriptedEvent &event : events) {
        simulation.apply(event.event);
        simulation.step();
        check_readings(simulation);
    }
    for (int second = 0; second < 3; ++second)
        simulation.step();
    check_readings(simulation);
}

void check_kept_state(const LineDescription &line, const Simulation &simulation) {
    Simulation again(line, 2);
    again.restore(simulation.state());
    require(again.state() == simulation.state());
}

} // namespace

// A description, a script of events and a kept state, with a line "---" between them. No description: the tests' own.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string_view all(reinterpret_cast<const char *>(data), size);
    std::string_view parts[3];
    std::string_view rest = all;
    for (std::string_view &part : parts) {
        const std::size_t end = rest.find("\n---\n");
        part = rest.substr(0, end);
        rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 5);
    }
    static const std::string &own = *new std::string(line_tests::two_nodes());
    const auto line = read_or_refuse([&] { return read_line(parts[0].empty() ? own : parts[0]); });
    if (!line)
        return 0;
    Simulation simulation(*line, 1);
    if (const auto events = read_or_refuse([&] { return parse_script(*line, parts[1]); }))
        run_with_events(simulation, *events);
    check_kept_state(*line, simulation);
    if (!parts[2].empty() && read_or_refuse([&] {
            simulation.restore(parts[2]);
            return true;
        }))
        run_with_events(simulation, {});
    return 0;
}
