// What changes a node made from the example, in one process with the real plug-in: edits as a server makes them, native
// changes, live data; what the node tells of its past; and what it is marked with.
#include "node/configuration_edit.h"
#include "node/live_data.h"
#include "node/native_change.h"
#include "node/plugin.h"
#include "node/service.h"
#include "support/files.h"
#include "yang/models.h"

#include <filesystem>
#include <memory>

#include <dlfcn.h>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace ocamp;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

const std::string native_gain =
    "/interface-configurations/interface-configuration[active='act'][interface-name='Ots0/1/0/1']/optics/"
    "optics-ots-amplifier-gain";

// An edit of one entry; `attribute`: what the entry is annotated with.
std::string edit_of(const std::string &entry, const std::string &gain, const std::string &attribute = "") {
    return fmt::format(R"({{"openconfig-optical-amplifier:optical-amplifier":{{"amplifiers":{{"amplifier":[)"
                       R"({{"name":"{}","config":{{{}"target-gain":"{}"}}}}]}}}}}})",
                       entry, attribute, gain);
}

class ChangedNode : public testing::Test {
  protected:
    void SetUp() override { Node::init(folder_, EXAMPLE_NODE); }

    Service service() const { return Service({.node = folder_, .plugin = PLUGIN_FILE}); }
    // Empty when the leaf is not there.
    std::string value(const std::string &path, std::uint32_t kind = YFW_KIND_GET) const {
        const YangTree answer = service().read(kind, Filter::from_path(openconfig_schema(), path)).answer;
        const std::string text = answer.print(LYD_JSON);
        const std::string name = '"' + path.substr(path.rfind('/') + 1) + "\": \"";
        const std::size_t at = text.find(name);
        if (at == std::string::npos)
            return "";
        const std::size_t from = at + name.size();
        return text.substr(from, text.find('"', from) - from);
    }
    std::string gain(const std::string &entry) const {
        return value("/optical-amplifier/amplifiers/amplifier[name='" + entry + "']/config/target-gain",
                     YFW_KIND_GET_CONFIG);
    }
    // What an edit is refused with, or "made".
    std::string edit(const std::string &document, DefaultOperation default_operation) const {
        const ConfigurationEdit edit(document, default_operation);
        try {
            service().change(
                [&](NativeData &data, const Reader &, const Editor &editor) { edit.carry_out(editor, data); });
        } catch (const RequestError &error) {
            return error.what();
        }
        return "made";
    }

    support::TemporaryFolder made_;
    std::filesystem::path folder_ = made_.path() / "node";
};

TEST_F(ChangedNode, AnEditThatMakesNothingMayGoThroughWhatIsThereAlone) {
    const std::string replaces = R"("@target-gain":{"ietf-netconf:operation":"replace"},)";
    EXPECT_EQ(edit(edit_of("0/1-AMP-BST", "11.5", replaces), DefaultOperation::none), "made");
    EXPECT_EQ(gain("0/1-AMP-BST"), "11.5");
    const std::string refusal = edit(edit_of("0/3-AMP-BST", "11.5", replaces), DefaultOperation::none);
    EXPECT_EQ(gain("0/3-AMP-BST"), "");
    EXPECT_THAT(refusal, HasSubstr("does not exist, and the edit does not make it"));
}

TEST_F(ChangedNode, AReplacementWithoutNativeNodesReplacesTheOpenConfigConfiguration) {
    ASSERT_NE(gain("0/1-AMP-PRE"), "");
    EXPECT_EQ(edit(edit_of("0/1-AMP-BST", "12.5"), DefaultOperation::replace), "made");
    EXPECT_EQ(gain("0/1-AMP-BST"), "12.5");
    EXPECT_EQ(gain("0/1-AMP-PRE"), "");
}

TEST_F(ChangedNode, WhatTheNativeModelRefusesIsToldSo) {
    Node node(folder_, Node::Access::write);
    try {
        set_native(node, native_gain, "much", [](const std::vector<LeafChange> &) {});
        ADD_FAILURE() << "made";
    } catch (const RequestError &error) {
        EXPECT_THAT(error.what(), StartsWith(native_gain + ": the native model refuses it: Invalid type int32 value"));
    }
}

TEST_F(ChangedNode, LiveRecordsHideTheNodesOwn) {
    const std::string average =
        "/optical-amplifier/amplifiers/amplifier[name='0/1-AMP-PRE']/state/input-power-c-band/avg";
    ASSERT_NE(value(average), "");
    {
        LiveData live(folder_);
        Transaction transaction(live.database());
        live.hide_record("/oper/perfmgmt/gl/periodic/optics/interface/", "Ots0_1_0_1/30sec/optics/1/timeline_rev/0x1");
        transaction.commit("hidden");
    }
    EXPECT_EQ(value(average), "");
}

TEST_F(ChangedNode, HistoryHasEveryIntervalOfEachStatistic) {
    const std::vector<LeafHistory> leaves = service().history(Filter::from_path(
        openconfig_schema(), "/optical-amplifier/amplifiers/amplifier[name='0/1-AMP-PRE']/state/actual-gain"));
    ASSERT_EQ(leaves.size(), 3U);
    for (const LeafHistory &leaf : leaves) {
        EXPECT_THAT(leaf.path,
                    StartsWith("/optical-amplifier/amplifiers/amplifier[name='0/1-AMP-PRE']/state/actual-gain/"));
        EXPECT_EQ(leaf.unit, "dB");
    }
    EXPECT_THAT(leaves[0].values, ElementsAre("18.14", "17.53"));
}

TEST_F(ChangedNode, NodesAreMarkedAsThoseOfOtherReleasesAre) {
    // Where SQLite keeps the version and the application's number.
    const std::string file = support::read_file(folder_ / "node.db");
    EXPECT_EQ(file.substr(60, 4), std::string("\0\0\0\2", 4));
    EXPECT_EQ(file.substr(68, 4), "OCND");
}

TEST(PluginFile, IsFoundBesideAndNotKeptLongerThanItsOwner) {
    const std::filesystem::path file = PLUGIN_FILE, before = std::filesystem::current_path();
    std::filesystem::current_path(file.parent_path());
    {
        const Plugin plugin(file.filename());
        const std::unique_ptr<void, int (*)(void *)> held(dlopen(PLUGIN_FILE, RTLD_NOW | RTLD_NOLOAD), dlclose);
        EXPECT_NE(held, nullptr);
    }
    std::filesystem::current_path(before);
    EXPECT_EQ(dlopen(PLUGIN_FILE, RTLD_NOW | RTLD_NOLOAD), nullptr);
}

} // namespace
