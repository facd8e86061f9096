// Names of amplifiers, controllers and ports: forms, conversions, and the check against the inventory.
#include <array>

#include "plugin_fixture.h"

namespace {

using Convert = int (*)(const char *, char *);
using ConvertWithFormat = int (*)(const char *, const char *, char *);
using ConvertToPort = void (*)(const char *, char *, int);
using SwapInPlace = void (*)(char *);
using CheckOts = int (*)(yfw_map_ctx, const char *, char *);
using CheckOptics = int (*)(yfw_map_ctx, const char *);

std::string converted(const std::string &function, const std::string &name) {
    std::array<char, 200> buffer{};
    plugin().function<Convert>(function)(name.c_str(), buffer.data());
    return buffer.data();
}

std::string port_of(const std::string &amplifier, int direction) {
    std::array<char, 200> buffer{};
    plugin().function<ConvertToPort>("convert_amplifier_key_to_otsctrl_port")(amplifier.c_str(), buffer.data(),
                                                                              direction);
    return buffer.data();
}

std::string swapped(std::string name) {
    plugin().function<SwapInPlace>("swap_controller")(name.data());
    return name;
}

struct AmplifierNames {
    std::string amplifier, ots, sysdb, ingress, egress;
};

class AmplifierName : public testing::TestWithParam<AmplifierNames> {};

TEST_P(AmplifierName, GivesTheOtsController) {
    EXPECT_EQ(converted("ampli_key_to_ots_ctrl_key", GetParam().amplifier), GetParam().ots);
}

TEST_P(AmplifierName, GoesToNoBufferThatIsMissing) {
    for (const char *function : {"ampli_key_to_ots_ctrl_key", "ampli_key_to_sysdb_ots_ctrl_key"})
        EXPECT_EQ(plugin().function<Convert>(function)(GetParam().amplifier.c_str(), nullptr), 0) << function;
}

TEST_P(AmplifierName, GivesTheSystemDatabaseKey) {
    EXPECT_EQ(converted("ampli_key_to_sysdb_ots_ctrl_key", GetParam().amplifier), GetParam().sysdb);
}

TEST_P(AmplifierName, GivesTheIngressPort) {
    EXPECT_EQ(port_of(GetParam().amplifier, 0), GetParam().ingress);
}

TEST_P(AmplifierName, GivesTheEgressPort) {
    EXPECT_EQ(port_of(GetParam().amplifier, 1), GetParam().egress);
    EXPECT_EQ(port_of(GetParam().amplifier, -7), GetParam().egress) << "any direction but 0 is egress";
}

TEST_P(AmplifierName, GivesLengthAndTextForAnyFormat) {
    std::array<char, 200> buffer{};
    const int length = plugin().function<ConvertWithFormat>("ampli_key_to_key")(GetParam().amplifier.c_str(),
                                                                                "Ots0/%d/0/%d", buffer.data());
    EXPECT_EQ(buffer.data(), GetParam().ots);
    EXPECT_EQ(length, static_cast<int>(GetParam().ots.size()));
}

TEST_P(AmplifierName, ConversionsReturnTheLengthOfTheText) {
    std::array<char, 200> buffer{};
    EXPECT_EQ(plugin().function<Convert>("ampli_key_to_ots_ctrl_key")(GetParam().amplifier.c_str(), buffer.data()),
              static_cast<int>(GetParam().ots.size()));
    EXPECT_EQ(
        plugin().function<Convert>("ampli_key_to_sysdb_ots_ctrl_key")(GetParam().amplifier.c_str(), buffer.data()),
        static_cast<int>(GetParam().sysdb.size()));
}

INSTANTIATE_TEST_SUITE_P(
    Names, AmplifierName,
    testing::Values(AmplifierNames{"0/1-AMP-PRE", "Ots0/1/0/0", "Ots0_1_0_0", "0/1-OtsCtrl-0/1", "0/1-OtsCtrl-0/0"},
                    AmplifierNames{"0/3-AMP-BST", "Ots0/3/0/1", "Ots0_3_0_1", "0/3-OtsCtrl-0/0", "0/3-OtsCtrl-0/1"},
                    AmplifierNames{"0/2-AMP-PREBST", "Ots0/2/0/0", "Ots0_2_0_0", "0/2-OtsCtrl-0/1", "0/2-OtsCtrl-0/0"},
                    AmplifierNames{"0/2-AMP-BSTPRE", "Ots0/2/0/0", "Ots0_2_0_0", "0/2-OtsCtrl-0/0", "0/2-OtsCtrl-0/1"},
                    AmplifierNames{"0/2-AMP-XYZ", "Ots0/2/0/-1", "Ots0_2_0_-1", "0/2-OtsCtrl-0/0", "0/2-OtsCtrl-0/1"},
                    AmplifierNames{"0/2-AMP-pre", "Ots0/2/0/-1", "Ots0_2_0_-1", "0/2-OtsCtrl-0/0", "0/2-OtsCtrl-0/1"},
                    AmplifierNames{"0/12-AMP-PRE", "Ots0/12/0/0", "Ots0_12_0_0", "0/1-OtsCtrl-0/1", "0/1-OtsCtrl-0/0"},
                    AmplifierNames{"0/5", "Ots0/5/0/-1", "Ots0_5_0_-1", "-OtsCtrl-0/0", "-OtsCtrl-0/1"},
                    AmplifierNames{"PRE", "Ots0/-1/0/0", "Ots0_-1_0_0", "-OtsCtrl-0/0", "-OtsCtrl-0/1"},
                    AmplifierNames{"1/2-AMP-BST", "Ots0/-1/0/1", "Ots0_-1_0_1", "1/2-OtsCtrl-0/0", "1/2-OtsCtrl-0/1"},
                    AmplifierNames{"foo", "Ots0/-1/0/-1", "Ots0_-1_0_-1", "-OtsCtrl-0/0", "-OtsCtrl-0/1"},
                    AmplifierNames{"", "Ots0/-1/0/-1", "Ots0_-1_0_-1", "-OtsCtrl-0/0", "-OtsCtrl-0/1"}),
    [](const auto &test) { return case_name(test.index, test.param.amplifier); });

TEST(AmplifierKeyToKey, IsBoundedTo200BytesAndReturnsTheFullLength) {
    std::array<char, 260> buffer;
    buffer.fill('#');
    const std::string format = std::string(220, 'f') + "%d-%d";
    const int length =
        plugin().function<ConvertWithFormat>("ampli_key_to_key")("0/1-AMP-PRE", format.c_str(), buffer.data());
    EXPECT_EQ(length, 223);
    EXPECT_EQ(buffer.data(), std::string(199, 'f'));
    EXPECT_EQ(buffer[200], '#');
}

TEST(AmplifierKeyToKey, ReadsAMissingAmplifierAsOneWithoutSlotAndPort) {
    std::array<char, 200> buffer{};
    EXPECT_EQ(plugin().function<ConvertWithFormat>("ampli_key_to_key")(nullptr, "%d %d", buffer.data()), 5);
    EXPECT_STREQ(buffer.data(), "-1 -1");
}

TEST(AmplifierKeyToKey, WritesNothingWithoutFormatOrBuffer) {
    const auto convert = plugin().function<ConvertWithFormat>("ampli_key_to_key");
    std::array<char, 200> buffer{"untouched"};
    EXPECT_EQ(convert("0/1-AMP-PRE", nullptr, buffer.data()), 0);
    EXPECT_STREQ(buffer.data(), "untouched");
    EXPECT_EQ(convert("0/1-AMP-PRE", "%d %d", nullptr), 0);
}

TEST(MissingName, ReadsAsTheEmptyText) {
    std::array<char, 200> buffer{};
    plugin().function<Convert>("ots_ctrl_key_to_ampli_key")(nullptr, buffer.data());
    EXPECT_EQ(buffer.data(), converted("ots_ctrl_key_to_ampli_key", ""));
    plugin().function<ConvertToPort>("convert_amplifier_key_to_otsctrl_port")(nullptr, buffer.data(), 1);
    EXPECT_EQ(buffer.data(), port_of("", 1));
}

TEST(MissingName, AndMissingBufferAreLeftAlone) {
    EXPECT_EQ(plugin().function<Convert>("ots_ctrl_key_to_ampli_key")("Ots0/1/0/0", nullptr), 0);
    plugin().function<ConvertToPort>("convert_amplifier_key_to_otsctrl_port")("0/1-AMP-PRE", nullptr, 1);
    plugin().function<SwapInPlace>("swap_controller")(nullptr);
}

struct ControllerCase {
    std::string controller, amplifier;
};

class OtsController : public testing::TestWithParam<ControllerCase> {};

TEST_P(OtsController, GivesTheAmplifierName) {
    EXPECT_EQ(converted("ots_ctrl_key_to_ampli_key", GetParam().controller), GetParam().amplifier);
}

INSTANTIATE_TEST_SUITE_P(
    Names, OtsController,
    testing::Values(ControllerCase{"Ots0/2/0/1", "0/2-AMP-BST"}, ControllerCase{"Ots0/2/0/0", "0/2-AMP-PRE"},
                    ControllerCase{"Ots0/2/0/7", "0/2-AMP-BST"}, ControllerCase{"Ots0/2/0/-1", "0/2-AMP-BST"},
                    ControllerCase{"Ots0/2", "0/2-AMP-BST"}, ControllerCase{"Ots0_2_0_0", "0/-1-AMP-BST"},
                    ControllerCase{"garbage", "0/-1-AMP-BST"}, ControllerCase{"", "0/-1-AMP-BST"}),
    [](const auto &test) { return case_name(test.index, test.param.controller); });

TEST(OtsControllerToAmplifier, IsBoundedTo20Bytes) {
    std::array<char, 40> buffer;
    buffer.fill('#');
    plugin().function<Convert>("ots_ctrl_key_to_ampli_key")("Ots0/-2147483648/0/1", buffer.data());
    EXPECT_STREQ(buffer.data(), "0/-2147483648-AMP-B");
    EXPECT_EQ(buffer[20], '#');
}

TEST(OtsControllerToAmplifier, KeepsANameOf19Characters) {
    EXPECT_EQ(converted("ots_ctrl_key_to_ampli_key", "Ots0/-21474836/0/0"), "0/-21474836-AMP-PRE");
}

TEST(OtsControllerPort, IsBoundedByTheThreeCharacterPrefix) {
    EXPECT_EQ(port_of("a-AMP-PRE", 0), "a-A-OtsCtrl-0/1");
    EXPECT_EQ(port_of("-AMP-", 0), "-AM-OtsCtrl-0/0");
}

TEST(SwapController, TurnsAPortIntoItsPartner) {
    EXPECT_EQ(swapped("Ots0_1_0_0"), "Ots0_1_0_1");
    EXPECT_EQ(swapped("Ots0_1_0_1"), "Ots0_1_0_0");
}

TEST(SwapController, UnderstandsSlashes) {
    EXPECT_EQ(swapped("Ots0/1/0/1"), "Ots0/1/0/0");
}

TEST(SwapController, LooksAtTheLastSeparatorOfEitherKind) {
    EXPECT_EQ(swapped("Ots0_1/0_0"), "Ots0_1/0_1");
    EXPECT_EQ(swapped("Ots0_1_0/0"), "Ots0_1_0/1");
}

TEST(SwapController, LeavesThirdPortUnchanged) {
    EXPECT_EQ(swapped("Ots0_1_0_4"), "Ots0_1_0_4");
}

TEST(SwapController, LeavesANameWithoutSeparatorUnchanged) {
    EXPECT_EQ(swapped("abc"), "abc");
}

TEST(SwapController, LeavesANameThatEndsInTheSeparatorUnchanged) {
    EXPECT_EQ(swapped("Ots0_1_0_"), "Ots0_1_0_");
}

TEST(SwapController, LeavesEmptyAndOneCharacterTextsUnchanged) {
    EXPECT_EQ(swapped(""), "");
    EXPECT_EQ(swapped("0"), "0");
    EXPECT_EQ(swapped("_"), "_");
}

TEST(SwapController, NeverExaminesTheFirstCharacter) {
    EXPECT_EQ(swapped("_0"), "_0");
    EXPECT_EQ(swapped("/1"), "/1");
    EXPECT_EQ(swapped("a_0"), "a_1");
}

TEST(SwapController, FlipsOnlyTheFirstDigitOfTheLastField) {
    EXPECT_EQ(swapped("Ots0_1_0_10"), "Ots0_1_0_00");
    EXPECT_EQ(swapped("Ots0_1_0_01"), "Ots0_1_0_11");
}

TEST(ControllerTables, ListEveryAmplifierPositionInOrder) {
    const auto *table = plugin().function<const char *const *>("controller_amp_ots_list");
    Lines names;
    for (; *table != nullptr; ++table)
        names.emplace_back(*table);
    EXPECT_EQ(names, Lines({"Ots0/1/0/0", "Ots0/1/0/1", "Ots0/2/0/0", "Ots0/2/0/1", "Ots0/3/0/0", "Ots0/3/0/1"}));
}

TEST(ControllerTables, ListEverySupervisoryPositionInOrder) {
    const auto *table = plugin().function<const char *const *>("controller_optics_list");
    Lines names;
    for (; *table != nullptr; ++table)
        names.emplace_back(*table);
    EXPECT_EQ(names, Lines({"Optics0/1/0/4", "Optics0/2/0/4", "Optics0/3/0/4"}));
}

class NameCheck : public PluginTest {
  protected:
    int ots_is_good(const std::string &controller) {
        amplifier.fill('\0');
        return plugin().function<CheckOts>("check_controller_name_ots_is_good")(ctx, controller.c_str(),
                                                                                amplifier.data());
    }
    int optics_is_good(const std::string &controller) {
        return plugin().function<CheckOptics>("check_controller_name_optics_is_good")(ctx, controller.c_str());
    }
    std::array<char, 20> amplifier{};
};

TEST_F(NameCheck, OtsControllerOfAnExistingAmplifierIsGood) {
    platform.put_amplifier("0/1-AMP-PRE");
    EXPECT_EQ(ots_is_good("Ots0/1/0/0"), 1);
    EXPECT_STREQ(amplifier.data(), "0/1-AMP-PRE");
    expect_calls(ots_check("Ots0/1/0/0", "0/1-AMP-PRE", true));
}

TEST_F(NameCheck, OfAMissingNameIsNotGood) {
    EXPECT_EQ(plugin().function<CheckOts>("check_controller_name_ots_is_good")(ctx, nullptr, nullptr), 0);
    EXPECT_THAT(messages(), testing::Contains(trc("controller_name = (null)")));
    EXPECT_EQ(plugin().function<CheckOptics>("check_controller_name_optics_is_good")(ctx, nullptr), 0);
}

TEST_F(NameCheck, NeedsNoBufferForTheAmplifier) {
    platform.put_amplifier("0/1-AMP-PRE");
    EXPECT_EQ(plugin().function<CheckOts>("check_controller_name_ots_is_good")(ctx, "Ots0/1/0/0", nullptr), 1);
}

TEST_F(NameCheck, OtsControllerOfAMissingAmplifierIsDiscarded) {
    EXPECT_EQ(ots_is_good("Ots0/3/0/1"), 0);
    EXPECT_STREQ(amplifier.data(), "0/3-AMP-BST") << "the caller keeps the amplifier name";
    expect_calls(ots_check("Ots0/3/0/1", "0/3-AMP-BST", false));
}

TEST_F(NameCheck, InventoryNameIsTracedAsTheInventoryHasIt) {
    platform.put_item("/oper/inventory/gl/entity/", "0%2f1-AMP-PRE/attrib/inv_basic_bag",
                      {"inv_basic_bag",
                       96,
                       1,
                       0,
                       {{BAG_TOKEN_UINT32, "inv_phy_entity_basic_info", 1, ""},
                        {BAG_TOKEN_TEXT, "Name", 0, "Left pre-amplifier"},
                        {BAG_TOKEN_END, nullptr, 0, ""}}});
    EXPECT_EQ(ots_is_good("Ots0/1/0/0"), 1);
    EXPECT_THAT(messages(), testing::Contains(trc("sys_amp_name = Left pre-amplifier")));
    EXPECT_STREQ(amplifier.data(), "0/1-AMP-PRE");
}

TEST_F(NameCheck, LongInventoryNameIsCutNotOverrun) {
    platform.put_item("/oper/inventory/gl/entity/", "0%2f1-AMP-PRE/attrib/inv_basic_bag",
                      {"inv_basic_bag",
                       600,
                       1,
                       0,
                       {{BAG_TOKEN_UINT32, "inv_phy_entity_basic_info", 1, ""},
                        {BAG_TOKEN_TEXT, "Name", 0, std::string(400, 'n')},
                        {BAG_TOKEN_END, nullptr, 0, ""}}});
    EXPECT_EQ(ots_is_good("Ots0/1/0/0"), 1);
    EXPECT_THAT(messages(), testing::Contains(trc(long_text("sys_amp_name = ", 199, 'n'))));
    EXPECT_EQ(optics_is_good("Optics0/1/0/4"), 1);
}

TEST_F(NameCheck, SlotZeroDependsOnTheInventory) {
    EXPECT_EQ(ots_is_good("Ots0/0/0/0"), 0);
    expect_calls(ots_check("Ots0/0/0/0", "0/0-AMP-PRE", false));
    platform.put_amplifier("0/0-AMP-PRE");
    EXPECT_EQ(ots_is_good("Ots0/0/0/0"), 1);
}

struct WrongName {
    std::string controller, part;
    int number;
};

class WrongOtsName : public NameCheck, public testing::WithParamInterface<WrongName> {};

TEST_P(WrongOtsName, IsDiscardedBeforeTheInventoryIsAsked) {
    all_amplifiers_exist();
    EXPECT_EQ(ots_is_good(GetParam().controller), 0);
    expect_calls({trc("controller_name = " + GetParam().controller),
                  err("Invalid controller_name [" + GetParam().controller + "] and " + GetParam().part + " id [" +
                      std::to_string(GetParam().number) + "], discard it!")});
}

INSTANTIATE_TEST_SUITE_P(Names, WrongOtsName,
                         testing::Values(WrongName{"Ots0/1/0/2", "port", 2}, WrongName{"Ots0/4/0/0", "slot", 4},
                                         WrongName{"Ots0/9/0/7", "port", 7}, WrongName{"Ots0/-1/0/1", "slot", -1},
                                         WrongName{"Ots0/1/0/-2", "port", -2}, WrongName{"Ots0/1", "port", -1},
                                         WrongName{"Optics0/1/0/4", "port", -1}, WrongName{"", "port", -1}),
                         [](const auto &test) { return case_name(test.index, test.param.controller); });

class WrongOpticsName : public NameCheck, public testing::WithParamInterface<WrongName> {};

TEST_P(WrongOpticsName, IsDiscardedBeforeTheInventoryIsAsked) {
    all_amplifiers_exist();
    EXPECT_EQ(optics_is_good(GetParam().controller), 0);
    expect_calls({trc("controller_name = " + GetParam().controller),
                  err("Invalid controller_name [" + GetParam().controller + "] and " + GetParam().part + " id [" +
                      std::to_string(GetParam().number) + "], discard it!")});
}

INSTANTIATE_TEST_SUITE_P(Names, WrongOpticsName,
                         testing::Values(WrongName{"Optics0/1/0/1", "port", 1}, WrongName{"Optics0/1/0/0", "port", 0},
                                         WrongName{"Optics0/5/0/4", "slot", 5}, WrongName{"Optics0/9/0/1", "port", 1},
                                         WrongName{"Ots0/1/0/0", "slot", -1}, WrongName{"", "slot", -1}),
                         [](const auto &test) { return case_name(test.index, test.param.controller); });

TEST_F(NameCheck, OpticsControllerOfAnExistingPreAmplifierIsGood) {
    platform.put_amplifier("0/2-AMP-PRE");
    EXPECT_EQ(optics_is_good("Optics0/2/0/4"), 1);
    expect_calls(optics_check("Optics0/2/0/4", "0/2-AMP-PRE", true));
}

TEST_F(NameCheck, OpticsControllerNeedsThePreAmplifierNotTheBooster) {
    platform.put_amplifier("0/2-AMP-BST");
    EXPECT_EQ(optics_is_good("Optics0/2/0/4"), 0);
    expect_calls(optics_check("Optics0/2/0/4", "0/2-AMP-PRE", false));
}

TEST_F(NameCheck, UnreadOpticsPortPassesThePortTest) {
    platform.put_amplifier("0/1-AMP-PRE");
    EXPECT_EQ(optics_is_good("Optics0/1"), 1);
    expect_calls(optics_check("Optics0/1", "0/1-AMP-PRE", true));
}

TEST_F(NameCheck, AnyOpticsPortFromTwoOnPasses) {
    platform.put_amplifier("0/0-AMP-PRE");
    EXPECT_EQ(optics_is_good("Optics0/0/0/2"), 1);
    EXPECT_EQ(optics_is_good("Optics0/0/0/99"), 1);
}

TEST(NameCheckDeath, ChecksAssertTheContext) {
    GTEST_FLAG_SET(death_test_style, "fast");
    char buffer[20];
    EXPECT_DEATH(plugin().function<CheckOts>("check_controller_name_ots_is_good")(nullptr, "Ots0/1/0/0", buffer),
                 "check_controller_name_ots_is_good\\(yfw_map_ctx.*NULL != ctx");
    EXPECT_DEATH(plugin().function<CheckOptics>("check_controller_name_optics_is_good")(nullptr, "Optics0/1/0/4"),
                 "check_controller_name_optics_is_good\\(yfw_map_ctx.*NULL != ctx");
}

} // namespace
