// How light passes a line. Knows neither nodes nor where settings come from.
#include "line/simulation.h"

#include "line/kept_number.h"
#include "line/noise.h"
#include "seam/json_text.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>

#include <fmt/format.h>

namespace ocamp {

using physics::decibels;
using physics::from_decibels;
using physics::Light;

namespace {

// Numbers of random sources: each quantity of each card has its own.
constexpr std::uint64_t sources_a_card = 8;
enum Quantity : std::uint64_t { input_quantity, output_quantity, gain_quantity, tilt_quantity, total_quantity };
constexpr std::uint64_t channel_sources = std::uint64_t{1} << 32U, fibre_sources = std::uint64_t{1} << 33U;

constexpr std::size_t nesting_limit = 8;
constexpr double full_turn = 2 * 3.14159265358979323846;

const GainRange &range_of(const SimulatedAmplifier &amplifier) noexcept {
    const auto &extended = amplifier.built.extended_gain_range;
    return amplifier.extended_range && extended ? *extended : amplifier.built.gain_range;
}

int hundredths(double value) noexcept {
    return static_cast<int>(std::lround(value * 100));
}

} // namespace

double SimulatedAmplifier::target_gain() const noexcept {
    const GainRange &range = range_of(*this);
    return std::clamp(settings.gain.value_or(built.gain), range.lowest, range.highest);
}

Simulation::Simulation(const LineDescription &line, std::uint64_t seed)
    : line_(line), structure_(line.structure()), seed_(seed) {
    for (std::size_t node = 0; node < line.nodes.size(); ++node)
        make_cards(node);
    for (std::size_t direction = 0; direction < line.directions.size(); ++direction) {
        channel_counts_.push_back(line.directions[direction].channels);
        for (const SpanDescription &span : line.spans)
            fibres_.push_back({.loss = {span.length, span.loss, span.connectors, span.drift, 0}});
    }
    hops_.resize(fibres_.size());
    reseed(seed);
    for (std::size_t direction = 0; direction < line.directions.size(); ++direction)
        make_path(direction);
}

void Simulation::reseed(std::uint64_t seed) {
    seed_ = seed;
    for (std::size_t i = 0; i < fibres_.size(); ++i)
        fibres_[i].loss.drift_phase = full_turn * noise::uniform(seed, fibre_sources + i, 0);
}

void Simulation::make_cards(std::size_t node) {
    const std::vector<SlotDescription> &slots = line_.nodes[node].slots;
    pulled_.emplace_back(slots.size(), false);
    for (std::size_t slot = 0; slot < slots.size(); ++slot) {
        for (const bool booster : {false, true}) {
            const auto &built = booster ? slots[slot].booster : slots[slot].pre_amplifier;
            if (built)
                amplifiers_.push_back({.node = node,
                                       .slot = slot,
                                       .booster = booster,
                                       .built = *built,
                                       .settings = {},
                                       .gain = built->gain,
                                       .extended_range = false,
                                       .input = {},
                                       .output = {},
                                       .reading = {}});
        }
        if (slots[slot].supervisory_power)
            channels_.push_back({.node = node,
                                 .slot = slot,
                                 .built_power = *slots[slot].supervisory_power,
                                 .sends = false,
                                 .receives = false,
                                 .settings = {},
                                 .reading = {}});
    }
}

void Simulation::make_path(std::size_t direction) {
    const bool forward = line_.directions[direction].forward;
    const std::size_t nodes = line_.nodes.size();
    paths_.emplace_back();
    DirectionIndex sender; // of the supervisory channel into the span
    for (std::size_t i = 0; i < nodes; ++i) {
        const std::size_t node = forward ? i : nodes - 1 - i;
        pass_amplifiers(node, direction);
        const NodeChannels here = channels_of(node, direction);
        if (i > 0) {
            const std::size_t span = forward ? node - 1 : node;
            hops_[direction * line_.spans.size() + span] = {sender, here.receiver};
            if (sender)
                channels_[*sender].sends = true;
            if (here.receiver)
                channels_[*here.receiver].receives = true;
        }
        sender = here.sender;
        if (i + 1 < nodes)
            paths_.back().push_back({Passage::Kind::span, forward ? node : node - 1});
    }
}

// The node's preamplifiers of the direction, then its boosters.
void Simulation::pass_amplifiers(std::size_t node, std::size_t direction) {
    for (const bool booster : {false, true}) {
        for (std::size_t index = 0; index < amplifiers_.size(); ++index) {
            const SimulatedAmplifier &amplifier = amplifiers_[index];
            if (amplifier.node != node || amplifier.booster != booster)
                continue;
            const SlotDescription &slot = line_.nodes[node].slots[amplifier.slot];
            if ((booster ? slot.sends : slot.receives) == direction)
                paths_.back().push_back({Passage::Kind::amplifier, index});
        }
    }
}

// Which of the node's supervisory channels sends into the direction, and which receives from it.
Simulation::NodeChannels Simulation::channels_of(std::size_t node, std::size_t direction) const {
    NodeChannels found;
    for (std::size_t index = 0; index < channels_.size(); ++index) {
        if (channels_[index].node != node)
            continue;
        const SlotDescription &slot = line_.nodes[node].slots[channels_[index].slot];
        if (slot.receives == direction)
            found.receiver = index;
        if (slot.sends == direction)
            found.sender = index;
    }
    return found;
}

// A tenth of a second of one amplifier; `light` is what reaches its site, and afterwards what leaves it.
void Simulation::tick(SimulatedAmplifier &amplifier, Light &light) const {
    if (pulled_[amplifier.node][amplifier.slot]) {
        amplifier.input = amplifier.output = light = {};
        amplifier.emitting = false;
        return;
    }
    const AmplifierDescription &built = amplifier.built;
    amplifier.input = light.times(from_decibels(-built.input_loss));
    // The signal is what counts: noise of the amplifiers before would hide a cut from those behind.
    const bool lost = amplifier.input.signal < from_decibels(built.loss_threshold);
    amplifier.ticks_of_change = lost == amplifier.input_lost ? 0 : amplifier.ticks_of_change + 1;
    if (amplifier.ticks_of_change >= hold_ticks) {
        amplifier.input_lost = lost;
        amplifier.ticks_of_change = 0;
    }
    const auto go_dark = [&] {
        amplifier.emitting = false;
        amplifier.actual_gain = 0;
        amplifier.output = light = {};
    };
    if (amplifier.input_lost || amplifier.settings.shut) {
        go_dark();
        return;
    }
    if (!amplifier.emitting) {
        amplifier.emitting = true;
        amplifier.extended_range = amplifier.settings.extended_range;
        amplifier.gain = range_of(amplifier).lowest;
    } else {
        constexpr double most = ramp / ticks_a_second;
        amplifier.gain += std::clamp(amplifier.target_gain() - amplifier.gain, -most, most);
    }
    const auto amplified = physics::amplify(amplifier.input, amplifier.gain, built.noise_figure,
                                            built.maximum_output - amplifier.pump_loss);
    if (!amplified) {
        go_dark();
        return;
    }
    amplifier.actual_gain = amplified->gain;
    amplifier.output = light = amplified->output;
}

void Simulation::pass(std::size_t direction) {
    Light light{from_decibels(line_.directions[direction].channel_power) * channel_counts_[direction], 0};
    for (const Passage &passage : paths_[direction]) {
        if (passage.kind == Passage::Kind::amplifier) {
            tick(amplifiers_[passage.index], light);
        } else {
            const SimulatedFibre &crossed = fibre(direction, passage.index);
            light = crossed.cut ? Light{} : light.times(from_decibels(-crossed.now));
        }
    }
}

void Simulation::pass_supervisory_light() {
    for (SimulatedChannel &channel : channels_) {
        const bool dark = !channel.sends || channel.settings.shut || pulled_[channel.node][channel.slot];
        channel.output = dark ? 0 : from_decibels(channel.settings.power.value_or(channel.built_power));
        channel.input = 0;
    }
    for (std::size_t i = 0; i < hops_.size(); ++i) {
        const SupervisoryHop &hop = hops_[i];
        if (!hop.from || !hop.to || fibres_[i].cut)
            continue;
        SimulatedChannel &receiver = channels_[*hop.to];
        if (!pulled_[receiver.node][receiver.slot])
            receiver.input = channels_[*hop.from].output * from_decibels(-fibres_[i].now);
    }
}

int Simulation::reading_of(double level, std::uint64_t source) const noexcept {
    const double deviation = line_.measurement_noise;
    return hundredths(deviation > 0 ? level + deviation * noise::normal(seed_, source, second_) : level);
}

int Simulation::power_reading(double power, std::uint64_t source) const noexcept {
    const double level = decibels(power);
    return level <= darkness ? dark_reading : std::max(dark_reading, reading_of(level, source));
}

void Simulation::read() {
    for (std::size_t i = 0; i < channels_.size(); ++i) {
        SimulatedChannel &channel = channels_[i];
        const std::uint64_t source = channel_sources + i * sources_a_card;
        channel.reading = {power_reading(channel.input, source + input_quantity),
                           power_reading(channel.output, source + output_quantity)};
    }
    std::size_t channel = 0; // both are in the order of nodes and slots
    for (std::size_t i = 0; i < amplifiers_.size(); ++i) {
        SimulatedAmplifier &amplifier = amplifiers_[i];
        const auto place = std::pair(amplifier.node, amplifier.slot);
        while (channel < channels_.size() && std::pair(channels_[channel].node, channels_[channel].slot) < place)
            ++channel;
        const bool has_channel = !amplifier.booster && channel < channels_.size() &&
                                 std::pair(channels_[channel].node, channels_[channel].slot) == place;
        // Measured where the input is: behind the loss inside the site.
        const double supervisory =
            has_channel ? channels_[channel].input * from_decibels(-amplifier.built.input_loss) : 0;
        const std::uint64_t source = i * sources_a_card;
        AmplifierReading &reading = amplifier.reading;
        reading.input = power_reading(amplifier.input.total(), source + input_quantity);
        reading.output = power_reading(amplifier.output.total(), source + output_quantity);
        reading.total_input = power_reading(amplifier.input.total() + supervisory, source + total_quantity);
        reading.gain = reading.tilt = 0;
        if (!amplifier.emitting)
            continue;
        const double tilt = amplifier.settings.tilt.value_or(amplifier.built.tilt) +
                            amplifier.built.tilt_slope * (amplifier.actual_gain - amplifier.target_gain());
        // Errors of the readings do not lead out of what there can be either.
        constexpr int steepest = static_cast<int>(steepest_tilt * 100);
        reading.gain = std::max(0, reading_of(amplifier.actual_gain, source + gain_quantity));
        reading.tilt = std::clamp(reading_of(tilt, source + tilt_quantity), -steepest, steepest);
    }
}

void Simulation::step() {
    ++second_;
    for (SimulatedFibre &crossed : fibres_)
        crossed.now = crossed.loss.at(static_cast<double>(second_));
    for (int i = 0; i < ticks_a_second; ++i)
        for (std::size_t direction = 0; direction < paths_.size(); ++direction)
            pass(direction);
    pass_supervisory_light();
    read();
}

template <class Change>
void Simulation::change_fibres(const LineEvent &event, Change change) {
    for (std::size_t direction = 0; direction < line_.directions.size(); ++direction)
        if (!event.direction || *event.direction == direction)
            change(fibres_[direction * line_.spans.size() + event.span]);
}

SimulatedAmplifier &Simulation::amplifier_of(const LineEvent &event) {
    return *std::find_if(amplifiers_.begin(), amplifiers_.end(), [&](const SimulatedAmplifier &amplifier) {
        return amplifier.node == event.node && amplifier.booster == event.booster &&
               line_.nodes[event.node].slots[amplifier.slot].number == event.slot;
    });
}

// What the card in a slot remembers goes with it: the next one is cold and whole. The node configures both.
void Simulation::reset_card(std::size_t node, std::size_t slot) {
    for (SimulatedAmplifier &amplifier : amplifiers_) {
        if (amplifier.node != node || amplifier.slot != slot)
            continue;
        amplifier.emitting = amplifier.input_lost = false;
        amplifier.ticks_of_change = 0;
        amplifier.pump_loss = 0;
    }
}

void Simulation::apply(const LineEvent &event) {
    using Kind = LineEvent::Kind;
    switch (event.kind) {
    case Kind::cut:
    case Kind::repair:
        change_fibres(event, [&](SimulatedFibre &changed) { changed.cut = event.kind == Kind::cut; });
        break;
    case Kind::added_loss:
        change_fibres(event, [&](SimulatedFibre &changed) { changed.loss.added = event.decibels; });
        break;
    case Kind::pump_failure:
    case Kind::pump_repair:
        amplifier_of(event).pump_loss = event.kind == Kind::pump_failure ? event.decibels : 0;
        break;
    case Kind::pull:
    case Kind::insert: {
        const std::vector<SlotDescription> &slots = line_.nodes[event.node].slots;
        for (std::size_t slot = 0; slot < slots.size(); ++slot)
            if (slots[slot].number == event.slot) {
                if (pulled_[event.node][slot])
                    reset_card(event.node, slot);
                pulled_[event.node][slot] = event.kind == Kind::pull;
            }
        break;
    }
    case Kind::channels:
        channel_counts_[*event.direction] = event.channels;
        break;
    case Kind::set: // acts through the node's configuration
        break;
    }
}

void Simulation::configure_amplifier(std::size_t index, const AmplifierSettings &settings) {
    amplifiers_[index].settings = settings;
}

void Simulation::configure_channel(std::size_t index, const ChannelSettings &settings) {
    channels_[index].settings = settings;
}

namespace {

Json optional_number(const std::optional<double> &number) {
    return number ? Json(*number) : Json();
}

std::optional<double> number_if_there(const Json &value) {
    return value.is_null() ? std::nullopt : std::optional(value.get<double>());
}

AmplifierReading amplifier_reading(const Json &from, std::size_t first) {
    const auto next = [&] { return whole_number<int>(from.at(first++)); };
    // In the order of the list.
    return {next(), next(), next(), next(), next()};
}

} // namespace

std::string Simulation::state() const {
    Json amplifiers = Json::array(), channels = Json::array(), fibres = Json::array();
    for (const SimulatedAmplifier &a : amplifiers_)
        amplifiers.push_back({a.gain, a.extended_range, a.emitting, a.input_lost, a.ticks_of_change, a.pump_loss,
                              a.reading.input, a.reading.output, a.reading.total_input, a.reading.gain, a.reading.tilt,
                              optional_number(a.settings.gain), optional_number(a.settings.tilt), a.settings.shut,
                              a.settings.extended_range});
    for (const SimulatedChannel &c : channels_)
        channels.push_back({c.reading.input, c.reading.output, optional_number(c.settings.power), c.settings.shut});
    for (const SimulatedFibre &f : fibres_)
        fibres.push_back({f.cut, f.loss.added, f.now});
    return Json{{"structure", structure_},
                {"second", second_},
                {"seed", seed_},
                {"amplifiers", std::move(amplifiers)},
                {"channels", std::move(channels)},
                {"fibres", std::move(fibres)},
                {"channel-counts", channel_counts_},
                {"pulled", pulled_}}
        .dump();
}

void Simulation::restore(std::string_view state) {
    const Json saved = parse_json(state, nesting_limit);
    try {
        if (whole_number<std::uint32_t>(saved.at("structure")) != structure_)
            throw OtherLineError("the state is that of a line with other nodes, slots or directions than line.json");
        const auto list = [&](const char *name, std::size_t size) -> const Json & {
            const Json &found = saved.at(name);
            if (!found.is_array() || found.size() != size)
                throw JsonError(fmt::format("the state is damaged: expected {} of \"{}\"", size, name));
            return found;
        };
        reseed(whole_number<std::uint64_t>(saved.at("seed")));
        second_ = whole_number<std::uint64_t>(saved.at("second"));
        const Json &amplifiers = list("amplifiers", amplifiers_.size());
        for (std::size_t i = 0; i < amplifiers_.size(); ++i) {
            const Json &from = amplifiers[i];
            SimulatedAmplifier &a = amplifiers_[i];
            a.gain = from.at(0);
            a.extended_range = from.at(1);
            a.emitting = from.at(2);
            a.input_lost = from.at(3);
            a.ticks_of_change = whole_number<int>(from.at(4));
            a.pump_loss = from.at(5);
            a.reading = amplifier_reading(from, 6);
            a.settings = {number_if_there(from.at(11)), number_if_there(from.at(12)), from.at(13), from.at(14)};
        }
        const Json &channels = list("channels", channels_.size());
        for (std::size_t i = 0; i < channels_.size(); ++i) {
            const Json &from = channels[i];
            channels_[i].reading = {whole_number<int>(from.at(0)), whole_number<int>(from.at(1))};
            channels_[i].settings = {number_if_there(from.at(2)), from.at(3)};
        }
        const Json &fibres = list("fibres", fibres_.size());
        for (std::size_t i = 0; i < fibres_.size(); ++i) {
            const Json &from = fibres[i];
            fibres_[i].cut = from.at(0);
            fibres_[i].loss.added = from.at(1);
            fibres_[i].now = from.at(2);
        }
        const Json &counts = list("channel-counts", line_.directions.size());
        std::ranges::transform(counts, channel_counts_.begin(),
                               [](const Json &count) { return whole_number<unsigned>(count); });
        pulled_ = list("pulled", line_.nodes.size()).get<std::vector<std::vector<bool>>>();
    } catch (const Json::exception &error) {
        throw JsonError(fmt::format("the state is damaged: {}", error.what()));
    }
    for (std::size_t node = 0; node < pulled_.size(); ++node)
        if (pulled_[node].size() != line_.nodes[node].slots.size())
            throw JsonError(fmt::format("the state is damaged: expected {} slots of {}", line_.nodes[node].slots.size(),
                                        line_.nodes[node].name));
}

} // namespace ocamp
