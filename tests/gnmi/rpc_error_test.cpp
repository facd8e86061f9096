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

TEST(GnmiRpcError, PathsOfTheCoreAreWrittenAsAllOthers) {
    const auto text_of = [](const std::string &path) {
        return std::string(RpcError(server::Refusal{.path = path, .reason = "no"}).what());
    };
    EXPECT_EQ(
        text_of("/openconfig-optical-amplifier:optical-amplifier/amplifiers/amplifier[name='0/1-AMP-PRE']/config"),
        "/optical-amplifier/amplifiers/amplifier[name=0/1-AMP-PRE]/config: no");
    EXPECT_EQ(
        text_of("/Korvex-ifmgr-cfg:interface-configurations/interface-configuration[active='act'][interface-name=\"a"
                "]'\"]/Korvex-controller-optics-cfg:optics"),
        R"(native:/interface-configurations/interface-configuration[active=act][interface-name=a\\]']/optics: no)");
    EXPECT_EQ(text_of(""), "/: no");
    for (const std::string other : {"request", "/a[b]", "/a[b=c]", "/a[b='c", "/a[b='c'", "/a[b='c']d", "/a[b="})
        EXPECT_EQ(text_of(other), other + ": no");
}

TEST(GnmiRpcError, TheCodeOfThePlugInIsToldWhereItRefused) {
    EXPECT_STREQ(RpcError(server::Refusal{.reason = "no", .code = 0x4321}).what(), "/: no (0x00004321)");
}

} // namespace
