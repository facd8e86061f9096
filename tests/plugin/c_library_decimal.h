// What the C library makes of a native number: the measure of the conversion by digits.
#pragma once

#include "decimal_text.h"

#include <cstdio>
#include <string>

/// The number that `text` starts with, divided by 10 or 100 and printed with two decimals.
inline std::string c_library_decimal(const char *text, ymap::NativeDecimals native) {
    double number = 0.0;
    std::sscanf(text, "%lf", &number);
    char printed[400];
    std::snprintf(printed, sizeof printed, "%.2f", number / (native == ymap::NativeDecimals::tenths ? 10.0 : 100.0));
    return printed;
}
