// ocamp why: where values come from, as text and as JSON, for reads and for edits.
#include "ocamp_program.h"

#include <sstream>

#include <gmock/gmock.h>

using namespace e2e;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

const std::string amplifier = "/optical-amplifier/amplifiers/amplifier[name='0/1-AMP-PRE']";
constexpr std::size_t widest_line = 120;

std::string edit_of(const std::string &config) {
    return "{\"openconfig-optical-amplifier:optical-amplifier\": {\"amplifiers\": {\"amplifier\": "
           "[{\"name\": \"0/2-AMP-BST\", \"config\": {" +
           config + "}}]}}}";
}

class Why : public NodeTest {
  protected:
    Outcome why(const std::vector<std::string> &arguments, const std::string &input = "") const {
        return ocamp({"why"}, arguments, input);
    }
};

TEST_F(Why, LeafFromTheSystemDatabaseIsTracedToItsElement) {
    const Outcome outcome = why({amplifier + "/state/input-power-c-band/avg"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_SAME_TEXT(outcome.out,
                     amplifier +
                         "/state/input-power-c-band/avg = -15.38 dBm\n"
                         "  from   system database /oper/perfmgmt/gl/periodic/optics/interface/ "
                         "Ots0_1_0_1/30sec/optics/1/timeline_rev/0x1\n"
                         "         pm_optics_bag pm_optics_paras.OPR.Average = \" -15.38 \"\n"
                         "  by     oc_opt_amp_state_avg_input_power_c_band_to_high: as it stands, white space "
                         "removed\n"
                         "  other  native opr/average of Ots0/1/0/0 = \" -16.85 \" is not used for amplifiers\n");
}

TEST_F(Why, ScaledLeafTellsWhatWasDivided) {
    EXPECT_SAME_TEXT(
        why({amplifier + "/state/actual-gain/instant"}).out,
        amplifier + "/state/actual-gain/instant = 17.5 dB\n"
                    "  from   native /ots-oper/ots-ports/ots-port[name='Ots0/1/0/0']/ots-info/ampli-gain = \"1750\"\n"
                    "  by     oc_opt_amp_state_instant_actual_gain_to_high: hundredths of a dB, divided by 100: "
                    "1750 is 17.50, which the model writes 17.5\n");
}

TEST_F(Why, AbsentLeafHasOneReasonAndIsNoFailure) {
    const Outcome outcome = why({amplifier + "/state/min-gain"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, amplifier + "/state/min-gain has no value\n  why    the device does not serve this leaf\n");
}

TEST_F(Why, SubtreeIsATableThatFitsItsWidth) {
    const Outcome outcome = why({});
    EXPECT_EQ(outcome.status, 0);
    std::istringstream lines(outcome.out);
    std::size_t count = 0;
    for (std::string line; std::getline(lines, line); ++count)
        EXPECT_LE(line.size(), widest_line) << line;
    EXPECT_GT(count, 4 * 100U + 2 * 25U) << "every leaf of every entry";
    EXPECT_THAT(outcome.out, HasSubstr("\n  state/output-power-c-band/avg       2.05 dBm         native opt/average of "
                                       "Ots0/1/0/0 = \"2.05\"\n"));
}

TEST_F(Why, EntryThatIsMissingFromAListIsTold) {
    ASSERT_EQ(ocamp({"sysdb", "rm"}, {"/oper/inventory/gl/entity/", "0%2f1-AMP-PRE/attrib/inv_basic_bag"}).status, 0);
    const Outcome outcome = why({"/optical-amplifier/amplifiers/amplifier/state/actual-gain/instant"});
    EXPECT_THAT(outcome.out, HasSubstr("amplifier[name='0/1-AMP-BST']\n"));
    EXPECT_THAT(outcome.out, Not(HasSubstr("0/1-AMP-PRE'")));
    EXPECT_THAT(outcome.out, HasSubstr("\nLeft out: not in the inventory: the system database has no "
                                       "/oper/inventory/gl/entity/ 0%2f1-AMP-PRE"));
}

TEST_F(Why, JsonCarriesTheSame) {
    const Outcome outcome = why({"--json", amplifier + "/state/input-power-c-band/avg"});
    EXPECT_EQ(outcome.status, 0);
    for (const char *part :
         {"\"value\": \"-15.38\"", "\"unit\": \"dBm\"", "\"kind\": \"system-database\"",
          "\"bind-point\": \"/oper/perfmgmt/gl/periodic/optics/interface/\"",
          "\"item\": \"Ots0_1_0_1/30sec/optics/1/timeline_rev/0x1\"", "\"element\": \"pm_optics_paras.OPR.Average\"",
          "\"text\": \" -15.38 \"", "\"converter\": \"oc_opt_amp_state_avg_input_power_c_band_to_high\"",
          "\"reason\": \"is not used for amplifiers\""})
        EXPECT_THAT(outcome.out, HasSubstr(part));
    EXPECT_THAT(why({"--json", amplifier + "/state/min-gain"}).out, HasSubstr("\"absent\": \"not-served\""));
}

TEST_F(Why, DamageIsPartOfTheAnswer) {
    std::string file = data();
    const std::string name = "pm_optics_paras";
    for (std::size_t at = 0; (at = file.find(name, at)) != std::string::npos;)
        file[at] = 'q';
    write_file(folder() / "node" / "node.db", file);
    const Outcome outcome = why({amplifier + "/state/input-power-c-band"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("state/input-power-c-band/instant   -15.43 dBm"));
    EXPECT_THAT(outcome.out, HasSubstr("\nA read of this fails: "));
    EXPECT_EQ(get({amplifier + "/state/input-power-c-band"}).status, 1);
}

TEST_F(Why, EditTellsWhatIsStoredAndWhatIsLost) {
    const std::string before = data();
    const Outcome outcome = why({"--edit", "-"}, edit_of("\"target-gain\": \"39.99\""));
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_SAME_TEXT(
        outcome.out,
        "/optical-amplifier/amplifiers/amplifier[name='0/2-AMP-BST']/config/target-gain = 39.99 dB\n"
        "  native /interface-configurations/interface-configuration[active='act'][interface-name='Ots0/2/0/1']"
        "/optics/optics-ots-amplifier-gain = \"399\", in units of 0.1 dB\n"
        "  back   39.9 dB\n"
        "  lost   0.09 dB: 39.99 becomes 39.9\n");
    EXPECT_TRUE(before == data());
    EXPECT_THAT(why({"--json", "--edit", "-"}, edit_of("\"target-gain\": \"39.99\"")).out,
                HasSubstr("\"lost\": \"0.09 dB: 39.99 becomes 39.9\""));
}

TEST_F(Why, EditWithoutLossLosesNothing) {
    const Outcome outcome = why({"--edit", "-"}, edit_of("\"target-gain\": \"15.5\", \"enabled\": false"));
    EXPECT_THAT(outcome.out, HasSubstr("/optics/optics-ots-osri = \"true\"\n  back   false\n"));
    EXPECT_THAT(outcome.out, Not(HasSubstr("lost")));
}

TEST_F(Why, RefusedEditTellsHowFarItCame) {
    const Outcome outcome = why({"--edit", "-"}, edit_of("\"target-gain\": \"50.0\""));
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out, EndsWith("/optics/optics-ots-amplifier-gain = \"500\", in units of 0.1 dB\n"));
    EXPECT_THAT(outcome.err, HasSubstr("the node holds 0.0 to 40.0 dB [invalid-value]\n"));
}

TEST_F(Why, PathThatTheModelDoesNotHaveIsWrongUse) {
    EXPECT_EQ(why({"/optical-amplifier/gain"}).status, 2);
    EXPECT_EQ(why({"--edit", "-", amplifier}, edit_of("\"enabled\": true")).status, 2);
}

TEST_F(Why, EditWithoutLeavesSaysSo) {
    EXPECT_EQ(why({"--edit", "-"}, "{}").out, "the edit has no leaf\n");
    EXPECT_EQ(why({"--edit", "-"}, "{}").status, 0);
}

} // namespace
