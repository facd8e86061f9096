// Histories: what a port read in each interval of the native history, as minimum, average and maximum. Knows neither
// ports nor what is read.
#pragma once

#include "node/history.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

namespace ocamp {

inline constexpr std::size_t most_intervals = 32; ///< that a port keeps

/// Of readings in hundredths of dB or dBm.
struct Statistics {
    int minimum = 0, average = 0, maximum = 0;
    bool operator==(const Statistics &) const = default;
};

/// Readings as they come in.
struct OpenInterval {
    int minimum = 0, maximum = 0;
    std::int64_t sum = 0;
    int count = 0;

    void add(int reading) noexcept {
        minimum = count == 0 || reading < minimum ? reading : minimum;
        maximum = count == 0 || reading > maximum ? reading : maximum;
        sum += reading;
        ++count;
    }
    /// The average is rounded to the nearest hundredth, halves away from 0. There is a reading at least.
    Statistics close() const noexcept {
        const std::int64_t half = sum < 0 ? -(count / 2) : count / 2;
        return {minimum, static_cast<int>((sum + half) / count), maximum};
    }
};

/// The history of one port with several quantities.
struct PortHistory {
    /// One that is over.
    struct Interval {
        std::vector<Statistics> quantities; ///< one a quantity
        int readings;                       ///< that each of them is of

        /// Whether every second of the interval was read: the card was there all the time.
        bool is_whole() const noexcept { return readings == static_cast<int>(interval_seconds); }
    };

    std::vector<OpenInterval> open; ///< one a quantity
    std::deque<Interval> closed;    ///< the latest first

    explicit PortHistory(std::size_t quantities) : open(quantities) {}

    /// Ends the interval; one without readings leaves a gap, and false is the answer.
    bool close() {
        if (open.empty() || open.front().count == 0)
            return false;
        Interval interval{.quantities = {}, .readings = open.front().count};
        for (OpenInterval &quantity : open) {
            interval.quantities.push_back(quantity.close());
            quantity = {};
        }
        closed.push_front(std::move(interval));
        if (closed.size() > most_intervals)
            closed.pop_back();
        return true;
    }
    /// As of a card that has just been put in.
    void clear() {
        open.assign(open.size(), {});
        closed.clear();
    }
};

} // namespace ocamp
