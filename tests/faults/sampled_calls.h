// Which calls a run of the fault tests fails. Knows no program.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace faults {

/// Which of so many calls, from 1, fail: as many as `sample` that a seed draws (FAULTS_SEED, by default 1), or with
/// FAULTS_ALL set all of them.
std::vector<std::uint64_t> drawn(std::uint64_t calls, std::size_t sample);

} // namespace faults
