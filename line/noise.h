// Random numbers that depend on nothing but the seed, whose they are, and the second: in whatever order and however
// often they are asked for, and whenever the simulation was stopped in between. Knows nothing of what they are for.
#pragma once

#include <cmath>
#include <cstdint>

namespace ocamp::noise {

/// Scrambles 64 bits: the finalizer of a splitmix generator.
inline std::uint64_t scrambled(std::uint64_t value) noexcept {
    value += 0x9e3779b97f4a7c15U;
    value = (value ^ (value >> 30U)) * 0xbf58476d1ce4e5b9U;
    value = (value ^ (value >> 27U)) * 0x94d049bb133111ebU;
    return value ^ (value >> 31U);
}

/// Uniform in (0, 1).
inline double uniform(std::uint64_t seed, std::uint64_t source, std::uint64_t second) noexcept {
    const std::uint64_t bits = scrambled(scrambled(scrambled(seed) ^ source) ^ second);
    return (static_cast<double>(bits >> 12U) + 0.5) / static_cast<double>(std::uint64_t{1} << 52U);
}

/// Standard normal, by Box and Muller.
inline double normal(std::uint64_t seed, std::uint64_t source, std::uint64_t second) noexcept {
    constexpr double full_turn = 2 * 3.14159265358979323846;
    return std::sqrt(-2 * std::log(uniform(seed, 2 * source, second))) *
           std::cos(full_turn * uniform(seed, 2 * source + 1, second));
}

} // namespace ocamp::noise
