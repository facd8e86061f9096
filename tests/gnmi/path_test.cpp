// How paths of requests are read, held against the models and against trees.
#include "server/gnmi/path.h"

#include "messages.h"

#include <chrono>

using namespace gnmi_tests;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

Path read(const ::gnmi::Path &path, const ::gnmi::Path &prefix = {}) {
    return joined(prefix, path);
}

std::vector<std::string> found(const std::string &text) {
    static const YangTree tree = two_amplifiers();
    std::vector<std::string> paths;
    for (const lyd_node *node : data_nodes(tree, read(path_of(text))))
        paths.push_back(data_path(*node));
    return paths;
}

const std::string entry = "/openconfig-optical-amplifier:optical-amplifier/amplifiers/amplifier";

TEST(GnmiPath, PrefixAndPathAreOne) {
    EXPECT_EQ(text_of(read(path_of("c/d[k=v]"), path_of("a/b"))), "/a/b/c/d[k=v]");
    EXPECT_EQ(text_of(read({})), "/");
}

TEST(GnmiPath, OriginAndTargetStandInOneOfBoth) {
    ::gnmi::Path native = path_of("a"), openconfig = path_of("b");
    native.set_origin("native");
    openconfig.set_origin("openconfig");
    EXPECT_EQ(read(native).origin, Origin::native);
    EXPECT_EQ(read(path_of("a"), native).origin, Origin::native);
    EXPECT_EQ(text_of(read(native)), "native:/a");
    EXPECT_THAT([&] { read(native, openconfig); }, refused_with(Code::invalid_argument, "origin"));
    ::gnmi::Path target = path_of("a");
    target.set_target("x");
    EXPECT_NO_THROW(read(target));
    EXPECT_THAT([&] { read(target, target); }, refused_with(Code::invalid_argument, "target"));
    native.set_origin("cli");
    EXPECT_THAT([&] { read(native); }, refused_with(Code::invalid_argument, "'cli'"));
}

TEST(GnmiPath, WhatNoPathCanHaveIsRefused) {
    ::gnmi::Path old;
    old.add_element("a");
    EXPECT_THAT([&] { read(old); }, refused_with(Code::invalid_argument, "'element'"));
    EXPECT_THAT([] { read(path_of("a//b")); }, refused_with(Code::invalid_argument, "without a name"));
    EXPECT_THAT([] { read(path_of("c"), path_of("a//b")); }, refused_with(Code::invalid_argument, "without a name"));
    std::string deep;
    for (int i = 0; i < 64; ++i)
        deep += "/a";
    EXPECT_THAT(read(path_of(deep)).steps, SizeIs(64));
    EXPECT_THAT([&] { read(path_of(deep + "/a")); }, refused_with(Code::invalid_argument, "65 elements"));
    EXPECT_THAT([] { read(path_of("a/...[name=b]/c")); }, refused_with(Code::invalid_argument, "keys on '...'"));
    EXPECT_THAT([] { read(path_of("c"), path_of("...[name=b]")); },
                refused_with(Code::invalid_argument, "keys on '...'"));
    // The limit is for both together.
    EXPECT_THAT([&] { read(path_of("a/b"), path_of(deep)); }, refused_with(Code::invalid_argument, "66 elements"));
}

TEST(GnmiPath, TextTellsKeysWithTheirQuotes) {
    ::gnmi::Path path = path_of("a");
    (*path.mutable_elem(0)->mutable_key())["k"] = R"(x]y\z"'=)";
    EXPECT_EQ(text_of(read(path)), R"(/a[k=x\]y\\z"'=])");
}

TEST(GnmiPath, NodesOfTheModel) {
    EXPECT_THAT(schema_nodes(read({})), ElementsAre(nullptr));
    EXPECT_THAT(schema_nodes(read(path_of("optical-amplifier/amplifiers/amplifier/*/target-gain"))), SizeIs(2));
    EXPECT_THAT(schema_nodes(read(path_of("openconfig-optical-amplifier:optical-amplifier"))), SizeIs(1));
    EXPECT_THAT([] { schema_nodes(read(path_of("other:optical-amplifier"))); },
                refused_with(Code::invalid_argument, "/other:optical-amplifier"));
    EXPECT_THAT([] { schema_nodes(read(path_of("optical-amplifier/nothing"))); },
                refused_with(Code::invalid_argument, "/optical-amplifier/nothing"));
    // Keys are those of lists, and theirs alone.
    EXPECT_THAT([] { schema_nodes(read(path_of("optical-amplifier[name=x]"))); },
                refused_with(Code::invalid_argument, "not in the model"));
    EXPECT_THAT([] { schema_nodes(read(path_of("optical-amplifier/amplifiers/amplifier[nom=x]"))); },
                refused_with(Code::invalid_argument, "not in the model"));
    EXPECT_THAT([] { schema_nodes(read(path_of("optical-amplifier/amplifiers/amplifier[*=x]"))); },
                refused_with(Code::invalid_argument, "not in the model"));
    EXPECT_THAT([] { schema_nodes(read(path_of("optical-amplifier/amplifiers/amplifier[name=x]/config/max-gain"))); },
                refused_with(Code::unimplemented, "max-gain"));
    EXPECT_THAT([] { schema_nodes(read(path_of(".../min-time"))); }, refused_with(Code::unimplemented, "min-time"));
    // A wildcard that reaches both finds what the device has.
    EXPECT_THAT(schema_nodes(read(path_of("optical-amplifier/amplifiers/amplifier/*/type"))), SizeIs(1));
}

TEST(GnmiPath, NodesOfATree) {
    EXPECT_THAT(found("optical-amplifier/amplifiers/amplifier[name=a]/config/target-gain"),
                ElementsAre(entry + "[name='a']/config/target-gain"));
    EXPECT_THAT(found("optical-amplifier/amplifiers/amplifier"),
                ElementsAre(entry + "[name='a']", entry + "[name='b']"));
    EXPECT_THAT(found("optical-amplifier/*/amplifier[name=*]/config/target-gain"), SizeIs(2));
    EXPECT_THAT(found(".../target-gain"), SizeIs(2));
    EXPECT_THAT(found("optical-amplifier/amplifiers/amplifier[colour=a]"), IsEmpty());
    EXPECT_THAT(found(".../amplifier[name=a]/nothing"), IsEmpty());
    EXPECT_THAT(found("optical-amplifier/amplifiers/amplifier[name=c]"), IsEmpty());
}

TEST(GnmiPath, NodesBelowOthersThatAreFoundAreLeftOut) {
    EXPECT_THAT(found("..."), ElementsAre("/openconfig-optical-amplifier:optical-amplifier"));
    EXPECT_THAT(found("optical-amplifier/..."), ElementsAre("/openconfig-optical-amplifier:optical-amplifier"));
    EXPECT_THAT(found(".../.../..."), SizeIs(1));
    EXPECT_THAT(found(""), SizeIs(1));
}

TEST(GnmiPath, ManyWildcardsTakeNoLongerThanTheTreeIsLarge) {
    std::string text;
    for (int i = 0; i < 31; ++i)
        text += "/.../*";
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_THAT(found(text), IsEmpty());
    EXPECT_THAT([&] { schema_nodes(read(path_of(text))); }, refused_with(Code::invalid_argument, "not in the model"));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
}

// The shortest time that a native path takes with so many "any elements, one element" in it.
std::chrono::duration<double> time_with(int pairs) {
    ::gnmi::Path path;
    path.set_origin("native");
    for (int i = 0; i < pairs; ++i) {
        path.add_elem()->set_name("...");
        path.add_elem()->set_name("*");
    }
    path.add_elem()->set_name("...");
    path.add_elem()->set_name("nothing");
    std::chrono::duration<double> shortest = std::chrono::hours(1);
    for (int run = 0; run < 5; ++run) {
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_THAT([&] { schema_nodes(read(path)); }, refused_with(Code::invalid_argument, "not in the model"));
        shortest = std::min<std::chrono::duration<double>>(shortest, std::chrono::steady_clock::now() - begin);
    }
    return shortest;
}

TEST(GnmiPath, ManyWaysToOneNodeCostNoMoreThanItsSteps) {
    // 26 steps and 4; when each way is walked, 12 pairs take about 200 times as long as one.
    EXPECT_LT(time_with(12), 40 * time_with(1));
}

TEST(GnmiPath, MessageAndStepsGoBothWays) {
    const YangTree tree = two_amplifiers();
    const Path path = read(path_of("optical-amplifier/amplifiers/amplifier[name=b]/config/target-gain"));
    const std::vector<const lyd_node *> nodes = data_nodes(tree, path);
    ASSERT_THAT(nodes, SizeIs(1));
    const std::vector<Step> steps = steps_to(*nodes.front());
    EXPECT_EQ(text_of(read(to_message(steps))), text_of(path));
    EXPECT_EQ(text_of(read(to_message(steps, 3))), "/config/target-gain");
}

TEST(GnmiPath, WildcardsOfARequestAreCountedAndKeysAreNone) {
    WildcardCount count;
    for (int i = 0; i < WildcardCount::most / 2; ++i) {
        count.add(read(path_of("*/b")));
        count.add(read(path_of("a/.../b")));
        count.add(read(path_of("a[k=*]/b")));
    }
    EXPECT_THAT([&] { count.add(read(path_of("a/*"))); },
                refused_with(Code::invalid_argument, "/a/*: is one more path with '*' or '...' than the 64"));
    count.add(read(path_of("a/b")));
}

// What a path is refused with, and nothing when it is not.
std::string told(const ::gnmi::Path &path, const ::gnmi::Path &prefix = {}) {
    try {
        schema_nodes(read(path, prefix));
    } catch (const RpcError &error) {
        return error.what();
    }
    return "";
}

TEST(GnmiPath, RefusalsTellPlaceAndReason) {
    ::gnmi::Path native = path_of("a"), target = path_of("a"), old, foreign = path_of("a");
    native.set_origin("native");
    target.set_target("x");
    old.add_element("a");
    foreign.set_origin("cli");
    EXPECT_EQ(told(foreign), "/a: has the origin 'cli', expected 'openconfig' or 'native'");
    EXPECT_EQ(told(native, native),
              "native:/a/a: has an origin in the prefix and in the path, expected it in one of them");
    EXPECT_EQ(told(target, target), "/a/a: has a target in the prefix and in the path, expected it in one of them");
    EXPECT_EQ(told(old), "/a: uses the deprecated field 'element', expected 'elem'");
    EXPECT_EQ(told(path_of("a//b")), "/a//b: has an element without a name");
    std::string deep;
    for (int i = 0; i < 65; ++i)
        deep += "/a";
    EXPECT_EQ(told(path_of(deep)), deep + ": has 65 elements, expected at most 64");
    EXPECT_EQ(told(path_of("optical-amplifier/nothing")), "/optical-amplifier/nothing: is not in the model");
    EXPECT_EQ(told(native), "native:/a: is not in the model");
    ::gnmi::Path other;
    other.set_target("x");
    EXPECT_EQ(told(path_of("optical-amplifier"), other), "") << "the target may stand in the prefix";
}

} // namespace
