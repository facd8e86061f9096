// Compares the conversion of native integers by digits with the C library's: every value of up to eight digits, with
// and without sign, in tenths and in hundredths, and random ones of up to fourteen (tenths) and fifteen. With FIRST and
// END, values of up to eight digits from the one to before the other, and nothing else, so that it can be done in
// parts. Run it with scripts/prove_decimals.sh; all of it takes some minutes.
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

/// Every `step`th value from `first` to before `end`.
void compare_values(std::uint64_t first, std::uint64_t end, std::uint64_t step) {
    for (std::uint64_t value = first; value < end; value += step) {
        const std::string digits = std::to_string(value);
        compare(digits);
        compare("-" + digits);
    }
}

/// One of `shares` parts of the random values.
void compare_random_values(std::uint64_t share, std::uint64_t shares) {
    std::mt19937_64 random(share);
    std::uint64_t below = 1'000'000'000;
    for (std::uint64_t i = share; i < random_values; i += shares) {
        compare(std::to_string(random() % below));
        below = below == 1'000'000'000'000'000 ? 1'000'000'000 : below * 10;
    }
}

} // namespace

int main(int argc, char **argv) {
    const bool is_part = argc == 3;
    const std::uint64_t first = is_part ? std::strtoull(argv[1], nullptr, 10) : 0;
    const std::uint64_t end = is_part ? std::strtoull(argv[2], nullptr, 10) : eight_digits;
    if ((!is_part && argc != 1) || first >= end || end > eight_digits) {
        std::fprintf(stderr, "usage: decimal_proof [FIRST END], of 0 to %" PRIu64 "\n", eight_digits);
        return 2;
    }
    const unsigned shares = std::max(1U, std::thread::hardware_concurrency());
    std::vector<std::thread> threads;
    for (unsigned share = 0; share < shares; ++share)
        threads.emplace_back([=] {
            compare_values(first + share, end, shares);
            if (!is_part)
                compare_random_values(share, shares);
        });
    for (std::thread &thread : threads)
        thread.join();
    std::printf("values from %" PRIu64 " to before %" PRIu64 ", with and without sign, and %" PRIu64
                " random ones of up to fifteen digits, in tenths and hundredths: all as the C library prints them\n",
                first, end, is_part ? 0 : random_values);
}
