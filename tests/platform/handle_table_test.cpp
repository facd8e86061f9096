// Handles as the plug-in holds them: live, lent, closed and stray ones.
#include "seam/guard.h"
#include "seam/handle_table.h"

#include <string>

#include <gtest/gtest.h>

using namespace ocamp;

namespace {

// Tells how many of its kind there are.
struct Counted {
    explicit Counted(int &number) : alive(number) { ++alive; }
    ~Counted() { --alive; }
    Counted(const Counted &) = delete;
    Counted &operator=(const Counted &) = delete;

    int &alive;
};

TEST(HandleTable, OwnsWhatItOpenedUntilItIsClosed) {
    int alive = 0;
    HandleTable<Counted> table;
    const Counted *opened = table.open(alive);
    EXPECT_EQ(table.find(opened), opened);
    EXPECT_EQ(alive, 1);
    EXPECT_TRUE(table.close(opened));
    EXPECT_EQ(alive, 0);
    EXPECT_EQ(table.find(opened), nullptr);
    EXPECT_FALSE(table.close(opened));
}

TEST(HandleTable, LeavesWhatIsLentToItsOwner) {
    int alive = 0;
    Counted owned(alive);
    const int handle = 0;
    {
        HandleTable<Counted> table;
        table.lend(&handle, owned);
        EXPECT_EQ(table.find(&handle), &owned);
        EXPECT_EQ(table.find(&owned), nullptr);
        EXPECT_TRUE(table.close(&handle));
        table.lend(&handle, owned);
    }
    EXPECT_EQ(alive, 1);
}

TEST(HandleTable, ClosesThoseThatFulfilACondition) {
    int few = 0, many = 0;
    HandleTable<Counted> table;
    table.open(few);
    table.open(many);
    table.open(many);
    EXPECT_EQ(table.close_if([&](const Counted &object) { return &object.alive == &many; }), 2U);
    EXPECT_EQ(few, 1);
    EXPECT_EQ(many, 0);
}

std::string told;

TEST(Refusals, AreToldToWhoeverTakesThem) {
    set_refusal_writer([](std::string_view text) noexcept { told = text; });
    EXPECT_EQ(refuse("a_call", rc_not_found, "not there"), rc_not_found);
    EXPECT_EQ(told, "a_call: not there");
    set_refusal_writer(nullptr);
    EXPECT_EQ(refuse("a_call", rc_bad_handle, "stray"), rc_bad_handle);
    EXPECT_EQ(told, "a_call: not there");
}

} // namespace
