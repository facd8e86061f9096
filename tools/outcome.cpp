// The outcome that has been told. Knows no command.
#include "outcome.h"

namespace ocamp {

namespace {

std::optional<int> outcome;

} // namespace

void outcome_is_told(int status) noexcept {
    outcome = status;
}

std::optional<int> told_outcome() noexcept {
    return outcome;
}

} // namespace ocamp
