// How near two words are. Knows nothing of what they stand for.
#include "seam/nearest_word.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace ocamp {

namespace {

// Number of mistakes of typing between the two, the exchange of neighbours being one.
std::size_t mistakes_between(std::string_view one, std::string_view other) {
    const std::size_t columns = other.size() + 1;
    std::vector<std::size_t> before_last(columns), last(columns), row(columns);
    for (std::size_t j = 0; j < columns; ++j)
        row[j] = j;
    for (std::size_t i = 1; i <= one.size(); ++i) {
        before_last.swap(last);
        last.swap(row);
        row[0] = i;
        for (std::size_t j = 1; j < columns; ++j) {
            const std::size_t wrong = one[i - 1] == other[j - 1] ? 0 : 1;
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + wrong});
            if (i > 1 && j > 1 && one[i - 1] == other[j - 2] && one[i - 2] == other[j - 1])
                row[j] = std::min(row[j], before_last[j - 2] + 1);
        }
    }
    return row.back();
}

} // namespace

std::optional<std::string> nearest_word(std::string_view word, std::span<const std::string> known) {
    std::optional<std::string> nearest;
    std::size_t fewest = 0;
    for (const std::string &candidate : known) {
        const std::size_t most = std::max<std::size_t>(1, candidate.size() / 3);
        if (word.size() > candidate.size() + most)
            continue;
        const std::size_t mistakes = mistakes_between(word, candidate);
        if (mistakes <= most && (!nearest || mistakes < fewest)) {
            nearest = candidate;
            fewest = mistakes;
        }
    }
    return nearest;
}

} // namespace ocamp
