// Hands arbitrary texts to the plug-in's name forms, text helpers and decimals. What they make is held to the C
// library's scanning and printing, and nothing is written behind a buffer's documented size.
#include "fuzzed_input.h"
#include "plugin/c_library_decimal.h"
#include "utility.h"

#include <array>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

void require(bool holds) {
    if (!holds)
        std::abort();
}

/// A buffer of the documented size, with bytes behind it that have to stay.
template <std::size_t Size>
class GuardedBuffer {
  public:
    GuardedBuffer() { bytes_.fill('~'); }
    char *data() { return bytes_.data(); }
    /// What was written to it.
    std::string text() const {
        for (std::size_t i = Size; i < bytes_.size(); ++i)
            require(bytes_[i] == '~');
        const void *end = std::memchr(bytes_.data(), '\0', Size);
        require(end != nullptr);
        return {bytes_.data(), static_cast<const char *>(end)};
    }

  private:
    std::array<char, Size + 64> bytes_;
};

constexpr std::size_t value_size = 200;
constexpr std::size_t name_size = 20;
constexpr std::size_t replaced_size = 4096;

/// Beyond an int the C library's scanning promises nothing.
bool has_long_number(const std::string &text) {
    std::size_t digits = 0;
    for (const char c : text) {
        digits = std::isdigit(static_cast<unsigned char>(c)) != 0 ? digits + 1 : 0;
        if (digits > 9)
            return true;
    }
    return false;
}

std::string printed(const char *form, int slot, int port) {
    char text[value_size];
    std::snprintf(text, sizeof text, form, slot, port);
    return text;
}

void check_amplifier_name(const std::string &name) {
    GuardedBuffer<value_size> formatted, controller, key, ingress, egress;
    const int length = ampli_key_to_key(name.c_str(), "slot %d port %d", formatted.data());
    ampli_key_to_ots_ctrl_key(name.c_str(), controller.data());
    ampli_key_to_sysdb_ots_ctrl_key(name.c_str(), key.data());
    convert_amplifier_key_to_otsctrl_port(name.c_str(), ingress.data(), 0);
    convert_amplifier_key_to_otsctrl_port(name.c_str(), egress.data(), 1);
    require(static_cast<std::size_t>(length) == formatted.text().size());
    require(!ingress.text().empty() && !egress.text().empty());
    if (has_long_number(name))
        return;
    int slot = -1;
    std::sscanf(name.c_str(), "0/%d", &slot);
    int port = -1;
    if (name.find("PRE") != std::string::npos)
        port = 0;
    else if (name.find("BST") != std::string::npos)
        port = 1;
    require(formatted.text() == printed("slot %d port %d", slot, port));
    require(controller.text() == printed("Ots0/%d/0/%d", slot, port));
    require(key.text() == printed("Ots0_%d_0_%d", slot, port));
}

void check_controller_name(const std::string &name) {
    GuardedBuffer<name_size> amplifier;
    const int length = ots_ctrl_key_to_ampli_key(name.c_str(), amplifier.data());
    require(static_cast<std::size_t>(length) >= amplifier.text().size());
    if (!has_long_number(name)) {
        int slot = -1;
        int port = -1;
        std::sscanf(name.c_str(), "Ots0/%d/0/%d", &slot, &port);
        const std::string whole = "0/" + std::to_string(slot) + "-AMP-" + (port == 0 ? "PRE" : "BST");
        require(amplifier.text() == whole.substr(0, name_size - 1));
    }

    std::string swapped = name;
    swap_controller(swapped.data());
    std::size_t differences = 0;
    for (std::size_t i = 0; i < name.size(); ++i)
        differences += swapped[i] != name[i] ? 1 : 0;
    require(swapped.size() == name.size() && differences <= 1);
    swap_controller(swapped.data());
    require(swapped == name);
}

void check_strip(const std::string &text) {
    const std::string spaces(" \t\n\v\f\r");
    const std::size_t first = text.find_first_not_of(spaces);
    const std::string expected =
        first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(spaces) + 1 - first);
    std::string stripped = text;
    require(strstrip(stripped.data()) == expected);
}

void check_replacement(const std::string &text, const std::string &needle, const std::string &replacement) {
    const std::size_t found = text.find(needle);
    const char *replaced = replace_str(text.c_str(), needle.c_str(), replacement.c_str());
    if (found == std::string::npos) {
        require(replaced == text.c_str());
        return;
    }
    std::string expected = text;
    expected.replace(found, needle.size(), replacement);
    require(replaced == expected.substr(0, replaced_size - 1));
}

void check_decimals(const std::string &text) {
    for (const ymap::NativeDecimals native : {ymap::NativeDecimals::tenths, ymap::NativeDecimals::hundredths}) {
        GuardedBuffer<ymap::divided_integer_size> divided;
        if (ymap::divided_integer(text.c_str(), native, divided.data()))
            require(divided.text() == c_library_decimal(text.c_str(), native));
    }
    double number = 0;
    if (ymap::short_decimal(text.c_str(), number))
        require(number == std::strtod(text.c_str(), nullptr));
}

} // namespace

// Three texts, each to the next newline; the third may have newlines.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::string all(reinterpret_cast<const char *>(data), size);
    for (char &c : all)
        c = c == '\0' ? ' ' : c;
    std::array<std::string, 3> texts;
    std::size_t at = 0;
    for (std::size_t i = 0; i < texts.size(); ++i) {
        const std::size_t end = i + 1 < texts.size() ? std::min(all.find('\n', at), all.size()) : all.size();
        texts[i] = all.substr(at, end - at);
        at = std::min(end + 1, all.size());
    }
    for (const std::string &text : texts) {
        check_amplifier_name(text);
        check_controller_name(text);
        check_strip(text);
        check_decimals(text);
    }
    check_replacement(texts[0], texts[1], texts[2]);
    check_replacement(texts[2], texts[1], texts[0]);
    return 0;
}
