// Intervals of readings.
#include "line/history.h"

#include <gtest/gtest.h>

using namespace ocamp;

namespace {

TEST(History, AnIntervalHasMinimumAverageAndMaximum) {
    OpenInterval interval;
    for (const int reading : {-310, -305, -312})
        interval.add(reading);
    EXPECT_EQ(interval.close(), (Statistics{-312, -309, -305}));
}

TEST(History, AveragesAreRoundedToTheNearest) {
    OpenInterval up, down, half, negative_half;
    for (const int reading : {1, 1, 2})
        up.add(reading);
    for (const int reading : {1, 2, 2})
        down.add(reading);
    for (const int reading : {1, 2}) {
        half.add(reading);
        negative_half.add(-reading);
    }
    EXPECT_EQ(up.close().average, 1);
    EXPECT_EQ(down.close().average, 2);
    EXPECT_EQ(half.close().average, 2);
    EXPECT_EQ(negative_half.close().average, -2);
}

TEST(History, KeepsTheLatestIntervals) {
    PortHistory history(2);
    for (int i = 0; i < 40; ++i) {
        history.open[0].add(i);
        history.open[1].add(-i);
        EXPECT_TRUE(history.close());
    }
    ASSERT_EQ(history.closed.size(), most_intervals);
    EXPECT_EQ(history.closed.front().quantities[0].average, 39);
    EXPECT_EQ(history.closed.front().quantities[1].average, -39);
    EXPECT_EQ(history.closed.back().quantities[0].average, 8);
}

TEST(History, AnIntervalIsWholeWhenEverySecondWasRead) {
    PortHistory history(1);
    for (const int readings : {29, 30}) {
        for (int i = 0; i < readings; ++i)
            history.open[0].add(i);
        history.close();
        EXPECT_EQ(history.closed.front().is_whole(), readings == 30);
    }
}

TEST(History, OfNoQuantitiesHasNoIntervals) {
    PortHistory none(0);
    EXPECT_FALSE(none.close());
    EXPECT_TRUE(none.closed.empty());
}

TEST(History, AnIntervalWithoutReadingsIsAGap) {
    PortHistory history(1);
    history.open[0].add(5);
    EXPECT_TRUE(history.close());
    EXPECT_FALSE(history.close());
    EXPECT_EQ(history.closed.size(), 1U);
    history.clear();
    EXPECT_TRUE(history.closed.empty());
}

} // namespace
