// Checks and escapes text for logs and records. Pure functions; knows nothing of where the text goes.
#include "seam/text.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <ctime>

#include <fmt/format.h>

namespace ocamp {

namespace {

struct Utf8Form {
    unsigned char lead_mask, lead_bits;
    std::size_t length;
    char32_t smallest; // anything below has a shorter form
};

constexpr Utf8Form long_forms[] = {{0xe0, 0xc0, 2, 0x80}, {0xf0, 0xe0, 3, 0x800}, {0xf8, 0xf0, 4, 0x10000}};

struct Utf8Character {
    std::size_t length = 0; // 0: not well-formed
    char32_t value = 0;
};

// Of a text that is not empty.
Utf8Character first_character(std::string_view text) noexcept {
    const auto lead = static_cast<unsigned char>(text[0]);
    if (lead < 0x80)
        return {1, lead};
    for (const Utf8Form &form : long_forms) {
        if ((lead & form.lead_mask) != form.lead_bits)
            continue;
        if (text.size() < form.length)
            return {};
        char32_t value = lead & static_cast<unsigned char>(~form.lead_mask);
        for (std::size_t i = 1; i < form.length; ++i) {
            const auto byte = static_cast<unsigned char>(text[i]);
            if ((byte & 0xc0U) != 0x80U)
                return {};
            value = (value << 6) | (byte & 0x3fU);
        }
        const bool surrogate = value >= 0xd800 && value <= 0xdfff;
        if (value < form.smallest || value > 0x10ffff || surrogate)
            return {};
        return {form.length, value};
    }
    return {};
}

bool breaks_a_line(char32_t value) noexcept {
    return value < 0x20 || (value >= 0x7f && value < 0xa0) || value == 0x2028 || value == 0x2029;
}

// What changes the order in which a terminal shows the text around it, or is not seen at all.
bool misleads(char32_t value) noexcept {
    return value == 0x61c || value == 0x200e || value == 0x200f || (value >= 0x202a && value <= 0x202e) ||
           (value >= 0x2066 && value <= 0x2069) || value == 0xfeff;
}

bool is_escaped(char32_t value) noexcept {
    return breaks_a_line(value) || misleads(value);
}

void append_hex_byte(std::string &line, char byte) {
    constexpr char digits[] = "0123456789abcdef";
    const auto value = static_cast<unsigned char>(byte);
    line += "\\x";
    line += digits[value >> 4];
    line += digits[value & 0xf];
}

} // namespace

std::string_view without_leading_blanks(std::string_view text) noexcept {
    text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
    return text;
}

std::string_view trimmed(std::string_view text) noexcept {
    text = without_leading_blanks(text);
    return text.substr(0, text.find_last_not_of(blanks) + 1);
}

std::string_view without_error_number(std::string_view complaint) noexcept {
    constexpr std::string_view close = "] ";
    const std::size_t end = complaint.starts_with('[') ? complaint.find(close) : std::string_view::npos;
    return end == std::string_view::npos ? complaint : complaint.substr(end + close.size());
}

bool is_utf8(std::string_view text) noexcept {
    while (!text.empty()) {
        const std::size_t length = first_character(text).length;
        if (length == 0)
            return false;
        text.remove_prefix(length);
    }
    return true;
}

void append_escaped(std::string &line, std::string_view text, char quote) {
    while (!text.empty()) {
        const Utf8Character character = first_character(text);
        const std::size_t length = character.length == 0 ? 1 : character.length;
        if (character.value == '\n')
            line += "\\n";
        else if (character.value == '\r')
            line += "\\r";
        else if (character.value == '\t')
            line += "\\t";
        else if (character.value == '\\')
            line += "\\\\";
        else if (quote != 0 && text[0] == quote)
            (line += '\\') += quote;
        else if (character.length == 0 || is_escaped(character.value))
            for (const char byte : text.substr(0, length))
                append_hex_byte(line, byte);
        else
            line += text.substr(0, length);
        text.remove_prefix(length);
    }
}

std::string escaped(std::string_view text) {
    std::string line;
    append_escaped(line, text);
    return line;
}

namespace {

// `Escape` writes the number of a character.
template <class Escape>
std::string escaped_document(std::string_view document, Escape escape) {
    constexpr char32_t replacement = 0xfffd;
    std::string text;
    text.reserve(document.size());
    while (!document.empty()) {
        const Utf8Character character = first_character(document);
        const std::size_t length = std::max<std::size_t>(character.length, 1);
        const bool kept = character.value == '\n' || character.value == '\t' || !is_escaped(character.value);
        if (character.length == 0)
            text += escape(replacement);
        else if (kept)
            text += document.substr(0, length);
        else
            text += escape(character.value);
        document.remove_prefix(length);
    }
    return text;
}

} // namespace

std::string escaped_json(std::string_view document) {
    return escaped_document(document,
                            [](char32_t value) { return fmt::format("\\u{:04x}", static_cast<std::uint32_t>(value)); });
}

std::string escaped_xml(std::string_view document) {
    return escaped_document(document,
                            [](char32_t value) { return fmt::format("&#x{:X};", static_cast<std::uint32_t>(value)); });
}

std::string shortened(std::string_view text, std::size_t most) {
    if (text.size() <= most)
        return std::string(text);
    const auto continues = [&](std::size_t at) { return (static_cast<unsigned char>(text[at]) & 0xc0U) == 0x80U; };
    // The beginning tells more than the end: it gets three quarters. No character is cut in two.
    std::size_t head = most / 4 * 3, tail = text.size() - most / 4;
    while (head > 0 && continues(head))
        --head;
    while (tail < text.size() && continues(tail))
        ++tail;
    return fmt::format("{} ... [{} bytes] ... {}", text.substr(0, head), text.size(), text.substr(tail));
}

std::string utc_text(std::chrono::nanoseconds since_epoch, int digits) {
    const auto seconds = std::chrono::floor<std::chrono::seconds>(since_epoch);
    const std::time_t time = seconds.count();
    std::tm utc{};
    gmtime_r(&time, &utc);
    std::string text = fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:09}", utc.tm_year + 1900, utc.tm_mon + 1,
                                   utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec, (since_epoch - seconds).count());
    constexpr std::size_t all_digits = 9;
    text.resize(text.size() - all_digits + static_cast<std::size_t>(digits));
    return text + 'Z';
}

} // namespace ocamp
