// Compares the conversion of native integers by digits with the C library's: every value of up to eight digits, with
// and without sign, in tenths and in hundredths, and random ones of up to fourteen (tenths) and fifteen. Run it with
// scripts/prove_decimals.sh; it takes minutes.
#include "c_library_decimal.h"

#include <algorithm>
#include <cinttypes>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <thread>
#include <vector>

namespace {

constexpr std::uint64_t eight_digits = 100'000'000;
constexpr std::uint64_t random_values = 20'000'000;

/// Ends the program at the first text that differs.
void compare(const std::string &text) {
    for (const auto native : {ymap::NativeDecimals::tenths, ymap::NativeDecimals::hundredths}) {
        if (native == ymap::NativeDecimals::tenths && text.size() > ymap::longest_whole + 1)
            continue;
        char out[ymap::divided_integer_size];
        const bool converted = ymap::divided_integer(text.c_str(), native, out);
        const std::string expected = c_library_decimal(text.c_str(), native);
        if (converted && expected == out)
            continue;
        std::fprintf(stderr, "%s: %s, the C library prints %s\n", text.c_str(), converted ? out : "not converted",
                     expected.c_str());
        std::exit(1);
    }
}

/// Every `step`th value from `first` on, and as many random ones as fall to its share.
void compare_share(std::uint64_t first, std::uint64_t step) {
    for (std::uint64_t value = first; value < eight_digits; value += step) {
        const std::string digits = std::to_string(value);
        compare(digits);
        compare("-" + digits);
    }
    std::mt19937_64 random(first);
    std::uint64_t below = 1'000'000'000;
    for (std::uint64_t i = first; i < random_values; i += step) {
        compare(std::to_string(random() % below));
        below = below == 1'000'000'000'000'000 ? 1'000'000'000 : below * 10;
    }
}

} // namespace

int main() {
    const unsigned shares = std::max(1U, std::thread::hardware_concurrency());
    std::vector<std::thread> threads;
    for (unsigned share = 0; share < shares; ++share)
        threads.emplace_back(compare_share, share, shares);
    for (std::thread &thread : threads)
        thread.join();
    std::printf("%" PRIu64 " texts of up to eight digits and %" PRIu64
                " random ones of up to fifteen, in tenths and hundredths: all as the C library prints them\n",
                2 * eight_digits, random_values);
}
