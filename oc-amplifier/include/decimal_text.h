// Native numbers as OpenConfig decimals and back, digit by digit: most values are short texts, and the C library's
// general conversions would be most of their cost.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string.h>

namespace ymap {

/// How many decimals a native integer has when it is read in the OpenConfig unit.
enum class NativeDecimals { tenths = 1, hundredths = 2 };

/// Most digits before the point. Up to here a double tells two decimals apart, so that the C library prints the digits
/// of the text; beyond, what it prints depends on its rounding (705861301793541 tenths are 70586130179354.09).
inline constexpr size_t longest_whole = 13;

/// Bytes that divided_integer() writes at most: sign, whole digits, point, decimals, terminator.
inline constexpr size_t divided_integer_size = 1 + longest_whole + 1 + 2 + 1;

/// Writes the integer in `text`, an optional minus sign and 1 to 14 (tenths) or 15 (hundredths) digits, divided by 10
/// or 100 with two decimals to `out` (divided_integer_size bytes), which must not overlap it: the text that "%.2f"
/// prints for the quotient. False, with nothing written, when `text` is anything else.
inline bool divided_integer(const char *text, NativeDecimals native, char *out) {
    const bool negative = *text == '-';
    const char *digits = text + (negative ? 1 : 0);
    const size_t decimals = native == NativeDecimals::hundredths ? 2 : 1;
    size_t count = 0;
    while (digits[count] >= '0' && digits[count] <= '9')
        if (++count > longest_whole + decimals)
            return false;
    if (count == 0 || digits[count] != '\0')
        return false;
    while (count > 1 && *digits == '0') { // the C library prints no leading zeros
        ++digits;
        --count;
    }
    const size_t whole = count > decimals ? count - decimals : 0;
    if (negative)
        *out++ = '-';
    if (whole == 0)
        *out++ = '0';
    for (size_t i = 0; i < whole; ++i)
        *out++ = digits[i];
    *out++ = '.';
    for (size_t i = count; i < decimals; ++i)
        *out++ = '0';
    for (size_t i = whole; i < count; ++i)
        *out++ = digits[i];
    if (decimals == 1)
        *out++ = '0';
    *out = '\0';
    return true;
}

/// Most digits that short_decimal() reads. Any number of so many digits is a double, and so is any power of ten up to
/// there, so that their quotient is the double that is nearest to the decimal: the one that the C library reads.
inline constexpr int safe_decimal_digits = 15;

/// Reads `text`, an optional minus sign and 1 to 15 digits with a point between two of them or none. False, with
/// `number` as it was, when `text` is anything else.
inline bool short_decimal(const char *text, double &number) {
    const bool negative = *text == '-';
    const char *at = text + (negative ? 1 : 0);
    int64_t digits = 0;
    int count = 0;
    double divisor = 1.0; // ten for each digit after the point
    bool after_point = false;
    for (;; ++at) {
        if (*at == '.' && !after_point && count != 0) {
            after_point = true;
            continue;
        }
        if (*at < '0' || *at > '9' || ++count > safe_decimal_digits)
            break;
        digits = digits * 10 + (*at - '0');
        if (after_point)
            divisor *= 10.0;
    }
    if (*at != '\0' || count == 0 || at[-1] == '.')
        return false;
    const double magnitude = static_cast<double>(digits) / divisor;
    number = negative ? -magnitude : magnitude;
    return true;
}

} // namespace ymap
