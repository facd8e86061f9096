// The limit is tested beyond it and below it, not on it.
#include <gtest/gtest.h>

int limited(int value);
void count_down(int &value);

TEST(Limit, Holds) {
    EXPECT_EQ(limited(20), 10);
    EXPECT_EQ(limited(3), 3);
}

TEST(CountDown, EndsAtZero) {
    int value = 3;
    count_down(value);
    EXPECT_EQ(value, 0);
}
