// What RPCs end with when something goes wrong.
#include "messages.h"

#include <new>
#include <set>

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
    EXPECT_EQ(text_of_data_path(""), "");
    for (const std::string other : {"request", "/a[b]", "/a[b=c]", "/a[b='c", "/a[b='c'", "/a[b='c']d", "/a[b="})
        EXPECT_EQ(text_of(other), other + ": no");
}

TEST(GnmiRpcError, EveryErrorTagHasAStatus) {
    const auto codes = [](std::initializer_list<ErrorTag> tags) {
        std::set<Code> all;
        for (const ErrorTag tag : tags)
            all.insert(RpcError(server::Refusal{.tag = tag}).code());
        return all;
    };
    EXPECT_EQ(codes({ErrorTag::in_use, ErrorTag::lock_denied}), std::set{Code::failed_precondition});
    EXPECT_EQ(codes({ErrorTag::invalid_value, ErrorTag::missing_attribute, ErrorTag::bad_attribute,
                     ErrorTag::unknown_attribute, ErrorTag::missing_element, ErrorTag::bad_element,
                     ErrorTag::unknown_element, ErrorTag::unknown_namespace, ErrorTag::malformed_message}),
              std::set{Code::invalid_argument});
    EXPECT_EQ(codes({ErrorTag::too_big, ErrorTag::resource_denied}), std::set{Code::resource_exhausted});
    EXPECT_EQ(codes({ErrorTag::access_denied}), std::set{Code::permission_denied});
    EXPECT_EQ(codes({ErrorTag::rollback_failed, ErrorTag::operation_failed}), std::set{Code::internal});
    EXPECT_EQ(codes({ErrorTag::data_exists}), std::set{Code(6)});
    EXPECT_EQ(codes({ErrorTag::data_missing}), std::set{Code::not_found});
    EXPECT_EQ(codes({ErrorTag::not_supported}), std::set{Code::unimplemented});
}

TEST(GnmiRpcError, TheCodeOfThePlugInIsToldWhereItRefused) {
    EXPECT_STREQ(RpcError(server::Refusal{.reason = "no", .code = 0x4321}).what(), "/: no (0x00004321)");
}

} // namespace
