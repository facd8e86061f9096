// What a Get may ask for, and how much of a tree it is answered with.
#include "server/gnmi/get.h"

#include "messages.h"

#include <limits>

using namespace gnmi_tests;
using testing::HasSubstr;

namespace {

constexpr std::size_t no_limit = std::numeric_limits<std::size_t>::max();
const std::string first = "optical-amplifier/amplifiers/amplifier[name=a]";

::gnmi::GetRequest get(const std::string &path, ::gnmi::Encoding encoding = ::gnmi::PROTO) {
    ::gnmi::GetRequest request;
    *request.add_path() = path_of(path);
    request.set_encoding(encoding);
    return request;
}

// The number of leaves that are told.
int leaves_of(const ::gnmi::GetRequest &request, const YangTree &tree) {
    return GetQuery(request).answer(tree, {}, no_limit).notification(0).update_size();
}

::gnmi::GetRequest with_depth(::gnmi::GetRequest request, std::uint32_t levels) {
    request.add_extension()->mutable_depth()->set_level(levels);
    return request;
}

TEST(GnmiGet, AsksForPathsOfAKnownType) {
    EXPECT_THAT([] { GetQuery{::gnmi::GetRequest()}; },
                refused_with(Code::invalid_argument, "path: is missing, expected one at least"));
    ::gnmi::GetRequest request = get(first);
    request.set_type(static_cast<::gnmi::GetRequest::DataType>(9));
    EXPECT_THAT([&] { GetQuery{request}; },
                refused_with(Code::invalid_argument, "type: 9, expected ALL, CONFIG, STATE or OPERATIONAL"));
    request = get(first);
    for (int i = 0; i < 1024; ++i)
        *request.add_path() = path_of(first);
    EXPECT_THAT([&] { GetQuery{request}; },
                refused_with(Code::invalid_argument, "path: 1025 paths, expected at most 1024"));
}

TEST(GnmiGet, IsAnsweredInNoMoreBytesThanThereMayBe) {
    EXPECT_THAT([] { GetQuery(get(first)).answer(two_amplifiers(), {}, 50); },
                refused_with(Code::resource_exhausted, "the answer has more than 50 bytes, expected fewer paths"));
}

TEST(GnmiGet, ContainersWithoutALeafAreNoData) {
    const YangTree empty = openconfig_schema().parse(
        R"({"openconfig-optical-amplifier:optical-amplifier": {"amplifiers": {}}})", LYD_JSON);
    EXPECT_THAT([&] { GetQuery(get("optical-amplifier")).answer(empty, {}, no_limit); },
                refused_with(Code::not_found, "/optical-amplifier: has no data"));
}

TEST(GnmiGet, LevelsCountFromTheNodeAndTheRootIsOneAboveItsNodes) {
    const YangTree tree = two_amplifiers();
    EXPECT_EQ(leaves_of(get(first), tree), 7);
    EXPECT_EQ(leaves_of(with_depth(get(first), 1), tree), 1);
    EXPECT_EQ(leaves_of(with_depth(get(first), 2), tree), 6);
    EXPECT_EQ(leaves_of(get("/"), tree), 10);
    EXPECT_EQ(leaves_of(with_depth(get("/"), 1), tree), 0);
    EXPECT_EQ(leaves_of(with_depth(get("/"), 4), tree), 2);
    for (const auto encoding : {::gnmi::JSON, ::gnmi::JSON_IETF})
        EXPECT_EQ(leaves_of(with_depth(get("/", encoding), 1), tree), 0);
}

TEST(GnmiGet, ModelsOfARequestAreThoseOfCapabilities) {
    const auto with_model = [](const std::string &name, const std::string &version) {
        ::gnmi::GetRequest request = get(first);
        ::gnmi::ModelData &model = *request.add_use_models();
        model.set_name(name);
        model.set_version(version);
        return request;
    };
    EXPECT_EQ(leaves_of(with_model("openconfig-optical-amplifier", ""), two_amplifiers()), 7);
    EXPECT_EQ(leaves_of(with_model("openconfig-optical-amplifier", "2019-12-06"), two_amplifiers()), 7);
    for (const auto &[name, version] : {std::pair("openconfig-optical-amplifier", "2018-01-01"),
                                        std::pair("openconfig-platform", ""), std::pair("no-such-model", "")})
        EXPECT_THAT(([&, named = name, of = version] { GetQuery{with_model(named, of)}; }),
                    refused_with(Code::unimplemented, "expected models that Capabilities lists"))
            << name;
}

TEST(GnmiGet, AppliedConfigurationIsStateThatIsConfiguredToo) {
    EXPECT_TRUE(is_applied_configuration(leaf_at(first + "/state/type")));
    EXPECT_FALSE(is_applied_configuration(leaf_at(first + "/config/target-gain")));
    EXPECT_FALSE(is_applied_configuration(leaf_at(first + "/state/actual-gain/instant")));
}

TEST(GnmiGet, TypesAreToldApartByTheLeaf) {
    const auto leaves = [](::gnmi::GetRequest::DataType type) {
        ::gnmi::GetRequest request = get(first);
        request.set_type(type);
        return leaves_of(request, two_amplifiers());
    };
    EXPECT_EQ(leaves(::gnmi::GetRequest::ALL), 7);
    EXPECT_EQ(leaves(::gnmi::GetRequest::CONFIG), 4);
    EXPECT_EQ(leaves(::gnmi::GetRequest::STATE), 3);
    EXPECT_EQ(leaves(::gnmi::GetRequest::OPERATIONAL), 1) << "name and type are applied configuration";
}

} // namespace
