// Optical powers along a line in closed form: decibels, fibre loss, amplified spontaneous emission, saturation. Knows
// neither lines nor nodes. docs/line.md tells the formulas with their sources.
#pragma once

#include <cmath>
#include <limits>
#include <optional>

namespace ocamp::physics {

inline constexpr double planck_constant = 6.62607015e-34; ///< J s
inline constexpr double carrier_frequency = 193.7e12;     ///< Hz, the middle of the band
inline constexpr double band_width = 4.8e12;              ///< Hz, the C band from 191.3 to 196.1 THz

/// 10^(dB/10), which is also the power in mW of a level in dBm.
inline double from_decibels(double decibels) noexcept {
    return std::pow(10.0, decibels / 10.0);
}

/// Level in dBm of a power in mW, dB of a ratio; minus infinity for 0.
inline double decibels(double ratio) noexcept {
    return ratio > 0 ? 10.0 * std::log10(ratio) : -std::numeric_limits<double>::infinity();
}

/// h·ν·F over the whole band, in mW: what an amplifier of the noise factor F (not in dB) adds for each unit of G - 1.
inline double noise_unit(double noise_factor) noexcept {
    return planck_constant * carrier_frequency * noise_factor * band_width * 1e3;
}

/// Amplified spontaneous emission, in mW, of an amplifier of the gain G (not in dB): h·ν·(G-1)·F over the band. None
/// for a gain below 1.
inline double spontaneous_emission(double gain, double noise_factor) noexcept {
    return gain > 1 ? noise_unit(noise_factor) * (gain - 1) : 0;
}

/// The gain at which an amplifier gives the output, both in mW: output = G·input + h·ν·(G-1)·F, solved for G.
inline double gain_for_output(double output, double input, double noise_factor) noexcept {
    const double unit = noise_unit(noise_factor);
    return (output + unit) / (input + unit);
}

/// Light in a fibre, in mW.
struct Light {
    double signal = 0; ///< of the channels
    double noise = 0;  ///< amplified spontaneous emission of all amplifiers before

    double total() const noexcept { return signal + noise; }
    /// Both times a ratio.
    Light times(double ratio) const noexcept { return {signal * ratio, noise * ratio}; }
};

/// What an amplifier makes of its input.
struct Amplified {
    Light output;
    double gain; ///< in dB; less than asked for when the output is limited
};

/// `gain`, at least 0, and `noise_figure` in dB, `maximum` in dBm: the output is limited to it, by a lower gain. None
/// when that would be below 0 dB: fibre that is pumped too little absorbs what it should amplify.
inline std::optional<Amplified> amplify(const Light &input, double gain, double noise_figure, double maximum) noexcept {
    const double noise_factor = from_decibels(noise_figure);
    const double limit = from_decibels(maximum);
    double ratio = from_decibels(gain);
    if (ratio * input.total() + spontaneous_emission(ratio, noise_factor) > limit)
        ratio = gain_for_output(limit, input.total(), noise_factor);
    if (ratio < 1)
        return std::nullopt;
    Light output = input.times(ratio);
    output.noise += spontaneous_emission(ratio, noise_factor);
    return Amplified{output, decibels(ratio)};
}

/// Loss of a span in dB: fibre, connectors, and what was added.
struct SpanLoss {
    double length;          ///< km
    double loss;            ///< dB/km
    double connectors;      ///< dB, of both ends
    double drift_amplitude; ///< dB
    double drift_phase;     ///< radians
    double added = 0;       ///< dB

    /// At a second of line time: the drift is a sine with a period of a day.
    double at(double second) const noexcept {
        constexpr double seconds_a_day = 86400;
        constexpr double full_turn = 2 * 3.14159265358979323846;
        return length * loss + connectors + added +
               drift_amplitude * std::sin(full_turn * second / seconds_a_day + drift_phase);
    }
};

} // namespace ocamp::physics
