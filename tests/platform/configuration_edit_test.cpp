// Edits of both sides of the example node, with the real plug-in: operations on native nodes, and sides that contradict
// each other.
#include "node/configuration_edit.h"
#include "node/leaf_changes.h"
#include "node/service.h"
#include "support/files.h"
#include "yang/models.h"
#include "yang/request_error.h"

#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace ocamp;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
namespace fs = std::filesystem;

namespace {

const std::string openconfig = R"("openconfig-optical-amplifier:optical-amplifier": {"amplifiers": {"amplifier": [{)"
                               R"("name": "0/1-AMP-PRE")";

// Both sides of one amplifier.
std::string both(const std::string &native_content, const std::string &openconfig_content) {
    return R"({"Korvex-ifmgr-cfg:interface-configurations": {"interface-configuration": [{"active": "act",
           "interface-name": "Ots0/1/0/0", )" +
           native_content + "}]}, " + openconfig + openconfig_content + "}]}}}";
}

std::string native(const std::string &name, const std::string &content) {
    return R"({"Korvex-ifmgr-cfg:interface-configurations": {"interface-configuration": [{"active": "act",
           "interface-name": ")" +
           name + "\"" + content + "}]}}";
}

class ConfigurationEdits : public testing::Test {
  protected:
    void SetUp() override { Node::init(folder_, EXAMPLE_NODE); }

    // What the edits change natively together, or the refusal of one alone. They are thrown away.
    std::vector<std::string> edit(const std::vector<std::string> &documents,
                                  DefaultOperation operation = DefaultOperation::merge) const {
        std::vector<std::string> told;
        Service service({.node = folder_, .plugin = PLUGIN_FILE});
        try {
            service.change([&](NativeData &data, const Reader &, const Editor &editor) {
                const YangTree before = data.running.tree().copy();
                for (const std::string &document : documents)
                    ConfigurationEdit(document, operation).carry_out(editor, data);
                told = changes(before, data.running.tree());
                throw Done();
            });
        } catch (const RequestError &error) {
            told = {error.what()};
        } catch (const Done &) {
        }
        return told;
    }
    std::vector<std::string> edit(const std::string &document,
                                  DefaultOperation operation = DefaultOperation::merge) const {
        return edit(std::vector{document}, operation);
    }

  private:
    struct Done {};

    support::TemporaryFolder made_;
    fs::path folder_ = made_.path() / "node";
};

constexpr const char *gain_of_pre = "[interface-name='Ots0/1/0/0']/Korvex-controller-optics-cfg:optics/"
                                    "optics-ots-amplifier-gain";

TEST_F(ConfigurationEdits, SidesThatContradictEachOtherAreRefused) {
    const std::string gain = R"("Korvex-controller-optics-cfg:optics": {"optics-ots-amplifier-gain": 88})";
    const std::string deleted = R"({"ietf-netconf:operation": "delete"})";
    const auto refused = [](const std::string &now) {
        return ElementsAre(HasSubstr("optics-ots-amplifier-gain: the same edit asks for '88' here and for '" + now +
                                     "' on the other side of the mapping [operation-failed]"));
    };
    EXPECT_THAT(edit(both(gain, R"(, "config": {"target-gain": "15.5"})")), refused("155"));
    EXPECT_THAT(edit(both(gain, R"(, "config": {"@target-gain": )" + deleted + "}")), refused("nothing"));
    EXPECT_THAT(edit(both(gain, R"(, "@": )" + deleted)), refused("nothing")) << "nor the container";
    EXPECT_THAT(edit(both(gain, R"(, "config": {"target-gain": "8.8"})")),
                ElementsAre(AllOf(HasSubstr(gain_of_pre), HasSubstr(" 175 -> 88"))));
}

TEST_F(ConfigurationEdits, WithoutDefaultOperationNativeLeavesOnlyStandThere) {
    const auto optics = [](const std::string &gain) {
        return native("Ots0/1/0/0", R"(, "Korvex-controller-optics-cfg:optics": {"optics-ots-amplifier-gain": )" +
                                        gain +
                                        R"(, "optics-ots-osri": true, "@optics-ots-osri": {"ietf-netconf:operation":
                                        "merge"}})");
    };
    EXPECT_THAT(edit(optics("88"), DefaultOperation::none), ElementsAre(HasSubstr("optics-ots-osri false -> true")));
    EXPECT_THAT(edit(native("Ots0/1/0/0", R"(, "bandwidth": 5)"), DefaultOperation::none),
                ElementsAre(HasSubstr("bandwidth: does not exist, and the edit does not make it [data-missing]")));
}

TEST_F(ConfigurationEdits, NativeLeavesThatOnlyStandThereContradictNothing) {
    const std::string merged = R"({"ietf-netconf:operation": "merge"})";
    EXPECT_THAT(edit(both(R"("Korvex-controller-optics-cfg:optics": {"optics-ots-amplifier-gain": 88,
                            "optics-ots-osri": true, "@optics-ots-osri": )" +
                              merged + "}",
                          R"(, "config": {"target-gain": "15.5", "@target-gain": )" + merged + "}"),
                     DefaultOperation::none),
                testing::UnorderedElementsAre(HasSubstr("optics-ots-osri false -> true"),
                                              HasSubstr("optics-ots-amplifier-gain 175 -> 155")));
}

TEST_F(ConfigurationEdits, ContainersThatAreThereByThemselvesCanBeCreated) {
    const std::string created = R"({"ietf-netconf:operation": "create"})";
    EXPECT_THAT(edit(native("Loopback0", R"(, "Korvex-controller-optics-cfg:optics": {"@": )" + created +
                                             R"(, "optics-ots-amplifier-gain": 88})")),
                ElementsAre(HasSubstr("/optics-ots-amplifier-gain 88")));
    EXPECT_THAT(edit(native("Ots0/1/0/0", R"(, "Korvex-controller-optics-cfg:optics": {"@": )" + created + "}")),
                ElementsAre(HasSubstr("optics: exists already, 'create' expects that it does not [data-exists]")));
}

TEST_F(ConfigurationEdits, ContainersThatHoldNothingAreNotThere) {
    const auto optics = [](const std::string &content) {
        return native("Loopback0", R"(, "Korvex-controller-optics-cfg:optics": {)" + content + "}");
    };
    const std::string created = optics(R"("@": {"ietf-netconf:operation": "create"}, "optics-ots-osri": true)");
    const auto is_created = ElementsAre(HasSubstr("/optics-ots-osri true"));
    EXPECT_THAT(edit({optics(""), created}), is_created);
    EXPECT_THAT(edit({optics(R"("optics-ots-amplifier-gain": 88)"),
                      optics(R"("@optics-ots-amplifier-gain": {"ietf-netconf:operation": "delete"})"), created}),
                is_created);
    EXPECT_THAT(edit({optics(R"("optics-ots-amplifier-gain": 88)"), created}),
                ElementsAre(HasSubstr("optics: exists already")));
}

TEST_F(ConfigurationEdits, ContainersThatAreReplacedByNothingAreNotThere) {
    const auto dampening = [](const std::string &operation, const std::string &content) {
        return native("GigabitEthernet0/0/0/1",
                      R"(, "dampening": {"@": {"ietf-netconf:operation": ")" + operation + "\"}" + content + "}");
    };
    const std::string created = dampening("create", R"(, "half-life": 7)");
    EXPECT_THAT(edit(created), ElementsAre(HasSubstr("dampening: exists already")));
    EXPECT_THAT(edit({dampening("replace", ""), created}),
                AllOf(testing::SizeIs(5), Contains(HasSubstr("/dampening/half-life 15 -> 7"))));
}

TEST_F(ConfigurationEdits, NativeNodesThatAreDeletedContradictNothing) {
    EXPECT_THAT(
        edit(both(R"("@description": {"ietf-netconf:operation": "delete"})", R"(, "config": {"target-gain": "15.5"})")),
        testing::UnorderedElementsAre(HasSubstr("/description line east"), HasSubstr(" 175 -> 155")));
}

TEST_F(ConfigurationEdits, NativeNodesOfOtherModulesAreRefused) {
    EXPECT_THAT(edit(native("Ots0/1/0/0", R"(, "other:colour": "red")")),
                ElementsAre(HasSubstr("/colour: the model has no such node [unknown-element]")));
}

TEST_F(ConfigurationEdits, OfNothingAreOfTheOpenConfigSide) {
    EXPECT_THAT(edit("{}"), IsEmpty());
    const std::vector<std::string> replaced = edit("{}", DefaultOperation::replace);
    EXPECT_THAT(replaced, Contains(HasSubstr(gain_of_pre)));
    EXPECT_THAT(replaced, testing::Not(Contains(HasSubstr("GigabitEthernet"))));
}

} // namespace
