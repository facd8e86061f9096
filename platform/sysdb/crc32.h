// The checksum of everything that a node keeps: CRC-32 with the reflected polynomial 0xedb88320, start and final value
// inverted.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace ocamp {

namespace detail {

// Table k holds the checksum of each byte with k zero bytes behind it, so that the tables of eight bytes in a row can
// be looked up at once.
using CrcTables = std::array<std::array<std::uint32_t, 256>, 8>;

constexpr CrcTables make_crc_tables() {
    CrcTables tables{};
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
        std::uint32_t value = byte;
        for (int bit = 0; bit < 8; ++bit)
            value = (value >> 1U) ^ ((value & 1U) != 0 ? 0xedb88320U : 0U);
        tables[0][byte] = value;
    }
    for (std::size_t zeros = 1; zeros < tables.size(); ++zeros) {
        for (std::size_t byte = 0; byte < 256; ++byte) {
            const std::uint32_t before = tables[zeros - 1][byte];
            tables[zeros][byte] = (before >> 8U) ^ tables[0][before & 0xffU];
        }
    }
    return tables;
}

inline constexpr CrcTables crc_tables = make_crc_tables();

} // namespace detail

/// `before` is the checksum of the bytes in front of these.
inline std::uint32_t crc32(std::span<const std::uint8_t> bytes, std::uint32_t before = 0) noexcept {
    const auto &tables = detail::crc_tables;
    std::uint32_t value = ~before;
    // Every document of a node goes through here in every read.
    for (; bytes.size() >= tables.size(); bytes = bytes.subspan(tables.size())) {
        const std::uint32_t first_four = value ^ (std::uint32_t{bytes[0]} | std::uint32_t{bytes[1]} << 8U |
                                                  std::uint32_t{bytes[2]} << 16U | std::uint32_t{bytes[3]} << 24U);
        value = tables[7][first_four & 0xffU] ^ tables[6][(first_four >> 8U) & 0xffU] ^
                tables[5][(first_four >> 16U) & 0xffU] ^ tables[4][first_four >> 24U] ^ tables[3][bytes[4]] ^
                tables[2][bytes[5]] ^ tables[1][bytes[6]] ^ tables[0][bytes[7]];
    }
    for (const std::uint8_t byte : bytes)
        value = (value >> 8U) ^ tables[0][(value ^ byte) & 0xffU];
    return ~value;
}

} // namespace ocamp
