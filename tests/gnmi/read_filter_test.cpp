// What is read for paths.
#include "server/gnmi/read_filter.h"

#include "../server/served_node.h"
#include "messages.h"
#include "server/gnmi/value.h"

#include <nlohmann/json.hpp>

using namespace gnmi_tests;
using server::Models;

namespace {

const std::string entry = "optical-amplifier/amplifiers/amplifier[name=PRE]", own_key = "0/1-AMP-PRE";

// "PRE" stands for a key that has a slash.
Path path(const std::string &text, const std::string &origin = "") {
    ::gnmi::Path message = path_of(text);
    message.set_origin(origin);
    Path path = joined({}, message);
    for (Step &step : path.steps) {
        for (auto &[name, value] : step.keys)
            value = value == "PRE" ? own_key : value;
    }
    return path;
}

std::string filter_of(const std::vector<Path> &paths) {
    const server::Read read = read_of(paths);
    const auto *filter = std::get_if<server::SubtreeFilter>(&read.filter);
    return filter == nullptr ? "everything" : filter->xml;
}

TEST(GnmiReadFilter, APathIsReadAsFarAsItHasNoWildcard) {
    const std::string ns = " xmlns=\"http://openconfig.net/yang/optical-amplfier\">";
    const std::string begin = "<optical-amplifier" + ns + "<amplifiers" + ns + "<amplifier" + ns,
                      end = "</amplifier></amplifiers></optical-amplifier>", key = "<name>" + own_key + "</name>";
    EXPECT_EQ(filter_of({path(entry)}), begin + key + end);
    EXPECT_EQ(filter_of({path(entry + "/.../target-gain")}), begin + key + end);
    EXPECT_EQ(filter_of({path("openconfig-optical-amplifier:" + entry + "/*"), path(entry)}), begin + key + end);
    EXPECT_EQ(filter_of({path(entry + "/config")}), begin + key + "<config" + ns + "</config>" + end);
    EXPECT_EQ(filter_of({path("optical-amplifier/amplifiers/amplifier[name=*]")}), begin + end);
    for (const std::string any : {"", "...", "*/amplifiers", "nothing"})
        EXPECT_EQ(filter_of({path(entry), path(any)}), "everything");
}

TEST(GnmiReadFilter, WhatIsInNoModelSelectsEverything) {
    EXPECT_EQ(filter_of({path("nothing")}), "everything");
}

TEST(GnmiReadFilter, KeysThatXmlCouldTakeOtherwiseAreLeftOut) {
    const std::string all = filter_of({path("optical-amplifier/amplifiers/amplifier")});
    for (const std::string key : {"<a>", "a&b", " a", "", "'", "\n", "]]>", "\xc3\xa9"}) {
        Path one = path(entry);
        one.steps.back().keys["name"] = key;
        EXPECT_EQ(filter_of({one}), all) << key;
    }
}

TEST(GnmiReadFilter, ManyPathsAreEverything) {
    std::vector<Path> paths;
    for (int i = 0; i < 17; ++i) {
        EXPECT_EQ(filter_of(paths) == "everything", false) << i;
        paths.push_back(path(entry));
        paths.back().steps.back().keys["name"] = std::to_string(i);
    }
    EXPECT_EQ(filter_of(paths), "everything");
}

TEST(GnmiReadFilter, TheModelsAreThoseOfTheOrigins) {
    const Path openconfig = path(entry), native = path("interface-configurations", "native");
    EXPECT_EQ(read_of(std::vector{openconfig}).models, Models::openconfig);
    EXPECT_EQ(read_of(std::vector{native}).models, Models::native);
    EXPECT_EQ(read_of(std::vector{openconfig, native}).models, Models::both);
    EXPECT_EQ(whole_read_of(std::vector{openconfig}).models, Models::openconfig);
    EXPECT_FALSE(is_partial(whole_read_of(std::vector{openconfig})));
}

class GnmiReadOfNode : public server_tests::ServedNode {
  protected:
    YangTree answer(server::Read read) {
        const server::SessionId session = core().open_own_session("gnmi", {});
        server::Outcome outcome = core().carry_out(session, std::move(read));
        core().close_session(session, server::SessionEnd::closed);
        return std::move(std::get<server::Result>(outcome).data);
    }

    // What a Get of the path answers.
    static std::vector<std::string> values(const Path &path, const YangTree &tree) {
        std::vector<std::string> values;
        for (const lyd_node *node : data_nodes(tree, path)) {
            const Json value = json_of(
                *node, true, [](const lysc_node &) { return true; }, 0);
            if (!value.is_discarded())
                values.push_back(value.dump());
        }
        return values;
    }
};

TEST_F(GnmiReadOfNode, EveryNodeIsReadAsItIsAmongAllOthers) {
    const std::vector everything{path(""), path("", "native")};
    const YangTree whole = answer(whole_read_of(everything));
    std::size_t count = 0;
    for (const lyd_node *root = whole.first(); root != nullptr; root = root->next) {
        const lyd_node *node = nullptr;
        LYD_TREE_DFS_BEGIN(root, node) {
            const Origin origin = schema_of(Origin::native).module(node->schema->module->name) != nullptr
                                      ? Origin::native
                                      : Origin::openconfig;
            const Path one{origin, steps_to(*node)};
            const std::vector<std::string> wanted = values(one, whole);
            EXPECT_EQ(values(one, answer(read_of(std::vector{one}))), wanted) << text_of(one);
            count += wanted.size();
            LYD_TREE_DFS_END(root, node)
        }
    }
    EXPECT_GT(count, 500U);
}

TEST_F(GnmiReadOfNode, SeveralPathsAreReadTogether) {
    const std::vector together{path(entry + "/state/actual-gain/instant"), path(entry + "/config"),
                               path("optical-amplifier/amplifiers/amplifier/config/target-gain"),
                               path("interface-configurations/.../optics", "native"),
                               path("optical-amplifier/amplifiers/amplifier[name=nobody]")};
    const YangTree whole = answer(whole_read_of(together)), part = answer(read_of(together));
    for (const Path &one : together)
        EXPECT_EQ(values(one, part), values(one, whole)) << text_of(one);
}

} // namespace
