// Thirty-second statistics that the node has no value for: what is written for them, port by port.
#include "plugin_fixture.h"

namespace {

struct Statistic {
    std::string converter, path;
    const char *value;
};

class StatisticWithoutValue : public PluginTest {
  protected:
    void SetUp() override { client_request(container("optical-amplifier")); }
    void expect_written(const std::string &port, const Statistic &statistic) {
        native_list(container("optics-port-history", {leaf("name", port).key()}));
        platform.forget_calls();
        EXPECT_EQ(call(statistic.converter, tree(leaf("average"))), CERR_SUCCESS);
        EXPECT_SAME_TEXT(text_of(writes()), text_of({add(statistic.path, ns::openconfig, statistic.value)}));
    }
};

// A channel's input power is stripped where it stands, and there is nothing to strip; the others are stripped copies.
TEST_F(StatisticWithoutValue, OfAChannelIsMissingForInputPowerAndEmptyForOutputPower) {
    for (const std::string statistic : {"min", "avg", "max"}) {
        expect_written("Optics0/1/0/4", {"oc_opt_amp_state_" + statistic + "_input_power_c_band_to_high",
                                         oc_channel + "/state/input-power/" + statistic, nullptr});
        expect_written("Optics0/1/0/4", {"oc_opt_amp_state_" + statistic + "_output_power_c_band_to_high",
                                         oc_channel + "/state/output-power/" + statistic, ""});
    }
}

TEST_F(StatisticWithoutValue, OfAnAmplifierIsEmpty) {
    for (const std::string statistic : {"min", "avg", "max"}) {
        expect_written("Ots0/1/0/0", {"oc_opt_amp_state_" + statistic + "_input_power_c_band_to_high",
                                      oc_amplifier + "/state/input-power-c-band/" + statistic, ""});
        expect_written("Ots0/1/0/0", {"oc_opt_amp_state_" + statistic + "_output_power_c_band_to_high",
                                      oc_amplifier + "/state/output-power-c-band/" + statistic, ""});
        expect_written("Ots0/1/0/0", {"oc_opt_amp_state_" + statistic + "_ampli_gain_to_high",
                                      oc_amplifier + "/state/actual-gain/" + statistic, ""});
        expect_written("Ots0/1/0/0", {"oc_opt_amp_state_" + statistic + "_ampli_gain_tilt_to_high",
                                      oc_amplifier + "/state/actual-gain-tilt/" + statistic, ""});
    }
}

} // namespace
