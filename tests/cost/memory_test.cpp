// What the plug-in takes of the heap and of the stack. It has 16 KiB of stack, and allocates nothing itself: every
// block comes from a call of the platform that gives one.
#include "own_stack.h"
#include "walks.h"

#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

using null_platform::CallRecord;
using null_platform::Function;
using null_platform::Messages;

// ---- The heap, counted ---------------------------------------------------------------------------------------------

extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *block, size_t size);
}

namespace {

bool counting = false;
size_t allocations = 0;

void count_allocation() {
    if (counting)
        ++allocations;
}

} // namespace

extern "C" {
void *malloc(size_t size) {
    count_allocation();
    return __libc_malloc(size);
}
void *calloc(size_t count, size_t size) {
    count_allocation();
    return __libc_calloc(count, size);
}
void *realloc(void *block, size_t size) {
    count_allocation();
    return __libc_realloc(block, size);
}
}

namespace {

size_t allocations_of(walks::Run &run) {
    allocations = 0;
    counting = true;
    const cerrno result = run.walk();
    counting = false;
    EXPECT_EQ(result, CERR_SUCCESS);
    return allocations;
}

// ---- Every walk ----------------------------------------------------------------------------------------------------

class WalkMemory : public testing::TestWithParam<walks::Walk> {};

TEST_P(WalkMemory, AllocatesNothingButWhatThePlatformGives) {
    constexpr size_t entries = 6;
    for (const Messages messages : {Messages::none, Messages::debug_log, Messages::lightweight_trace}) {
        const auto run = GetParam().make(entries);
        null_platform::take_messages(run->context(), messages);
        const size_t taken = allocations_of(*run);
        CallRecord calls(&run->context());
        null_platform::note_calls(&calls);
        run->walk();
        null_platform::note_calls(nullptr);
        EXPECT_EQ(taken, calls.count(Function::duplicate) + calls.count(Function::item_get));
    }
}

TEST_P(WalkMemory, StaysWithinSixteenKibibytesOfStack) {
    constexpr size_t entries = 6;
    constexpr size_t limit = size_t{16} * 1024;
    for (const Messages messages : {Messages::none, Messages::debug_log, Messages::lightweight_trace}) {
        const auto run = GetParam().make(entries);
        null_platform::take_messages(run->context(), messages);
        run->walk(); // the loader's search for a function is not the walk's
        const size_t used = OwnStack::run([&run] { EXPECT_EQ(run->walk(), CERR_SUCCESS); });
        EXPECT_LT(used, limit);
        RecordProperty("stack_bytes_" + std::to_string(static_cast<int>(messages)), static_cast<int>(used));
    }
}

std::string walk_name(const testing::TestParamInfo<walks::Walk> &info) {
    return info.param.name;
}
INSTANTIATE_TEST_SUITE_P(Request, WalkMemory, testing::ValuesIn(walks::requests()), walk_name);
INSTANTIATE_TEST_SUITE_P(Answer, WalkMemory, testing::ValuesIn(walks::answers()), walk_name);

} // namespace
