// What RPCs end with when something goes wrong.
#include "messages.h"

#include <new>

using namespace gnmi_tests;

namespace {

TEST(GnmiRpcError, EveryExceptionHasAStatus) {
    EXPECT_EQ(rpc_error_of(invalid("a", "b")).code(), Code::invalid_argument);
    EXPECT_STREQ(rpc_error_of(invalid("a", "b")).what(), "a: b");
    EXPECT_EQ(rpc_error_of(std::bad_alloc()).code(), Code::resource_exhausted);
    const RpcError other = rpc_error_of(std::out_of_range("at\n"));
    EXPECT_EQ(other.code(), Code::internal);
    EXPECT_STREQ(other.what(), "at\\n");
}

} // namespace
