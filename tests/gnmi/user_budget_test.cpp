// What users may take.
#include "server/gnmi/user_budget.h"

#include <gtest/gtest.h>

using ocamp::gnmi::UserBudget;

namespace {

TEST(GnmiUserBudget, IsBoundedForEachUserAndForAll) {
    UserBudget budget(3, 5);
    EXPECT_TRUE(budget.take("ada", 2));
    EXPECT_FALSE(budget.take("ada", 2));
    EXPECT_TRUE(budget.take("ada", 1));
    EXPECT_FALSE(budget.take("ada", 1));
    EXPECT_TRUE(budget.take("ada", 0));
    EXPECT_FALSE(budget.take("bob", 3));
    EXPECT_TRUE(budget.take("bob", 2));
    EXPECT_FALSE(budget.take("eve", 1));
    budget.give_back("ada", 1);
    EXPECT_TRUE(budget.take("eve", 1));
    EXPECT_FALSE(budget.take("ada", 1));
}

TEST(GnmiUserBudget, TakesNothingWhenItRefuses) {
    UserBudget budget(3, 3);
    EXPECT_FALSE(budget.take("ada", 4));
    EXPECT_FALSE(budget.take("ada", static_cast<std::size_t>(-1)));
    EXPECT_TRUE(budget.take("ada", 3));
    budget.give_back("ada", 3);
    budget.give_back("ada", 0);
    EXPECT_TRUE(budget.take("bob", 3));
}

} // namespace
