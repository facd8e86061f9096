// The checksum of everything that a node keeps: CRC-32 with the reflected polynomial 0xedb88320, start and final value
// inverted.
#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace ocamp {

namespace detail {

constexpr std::array<std::uint32_t, 256> make_crc_table() {
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t i = 0; i < table.size(); ++i) {
        std::uint32_t value = i;
        for (int bit = 0; bit < 8; ++bit)
            value = (value >> 1U) ^ ((value & 1U) != 0 ? 0xedb88320U : 0U);
        table[i] = value;
    }
    return table;
}

inline constexpr auto crc_table = make_crc_table();

} // namespace detail

/// `before` is the checksum of the bytes in front of these.
inline std::uint32_t crc32(std::span<const std::uint8_t> bytes, std::uint32_t before = 0) noexcept {
    std::uint32_t value = ~before;
    for (const std::uint8_t byte : bytes)
        value = (value >> 8U) ^ detail::crc_table[(value ^ byte) & 0xffU];
    return ~value;
}

} // namespace ocamp
