// How the calls are drawn. Knows no program.
#include "sampled_calls.h"

#include <algorithm>
#include <cstdlib>
#include <numeric>
#include <random>
#include <string>

namespace faults {

std::vector<std::uint64_t> drawn(std::uint64_t calls, std::size_t sample) {
    const char *seed = std::getenv("FAULTS_SEED");
    static std::mt19937_64 random(seed != nullptr ? std::stoull(seed) : 1);
    std::vector<std::uint64_t> chosen(calls);
    std::iota(chosen.begin(), chosen.end(), 1);
    if (std::getenv("FAULTS_ALL") != nullptr || calls <= sample)
        return chosen;
    std::shuffle(chosen.begin(), chosen.end(), random);
    chosen.resize(sample);
    return chosen;
}

} // namespace faults
