// Lines as they are drawn.
#include "line_fixture.h"

#include "line/show.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

using namespace ocamp;
using namespace line_tests;
using testing::HasSubstr;
using testing::Not;

namespace {

TEST(LinePictures, TextHasEveryPowerGainAndLoss) {
    const LineDescription line = read_line(two_nodes());
    Simulation simulation(line, 1);
    run(simulation, 61);
    EXPECT_EQ(LinePicture(line, false).text(simulation),
              "two nodes  00:01:01 (second 61)  seed 1\n"
              "\n"
              "east: 4 channels of -3.00 dBm\n"
              "  node             amplifier    in dBm  set dB gain dB tilt dB out dBm\n"
              "  a                0/1-AMP-BST    3.02    20.0   20.00    0.00   23.03\n"
              "    | 80.0 km, 17.00 dB\n"
              "  b                0/1-AMP-PRE    6.03    17.0   17.00   -1.00   23.03\n");
}

TEST(LinePictures, TroublesAreTold) {
    const LineDescription line = read_line(two_nodes());
    Simulation simulation(line, 1);
    const LinePicture plain(line, false), coloured(line, true);
    happen(simulation, "cut a/b");
    happen(simulation, "pump-failure a 0/1-AMP-BST 3");
    run(simulation, 1);
    EXPECT_THAT(plain.text(simulation), HasSubstr("dB  fibre cut\n"));
    EXPECT_THAT(plain.text(simulation), HasSubstr("  input lost, shut down\n"));
    EXPECT_THAT(plain.text(simulation), HasSubstr("  pump failure, 3.0 dB\n"));
    EXPECT_THAT(plain.text(simulation), Not(HasSubstr("\033")));
    EXPECT_THAT(coloured.text(simulation), HasSubstr("\033[31;1mfibre cut\033[0m"));
    happen(simulation, "repair a/b");
    happen(simulation, "add-loss a/b 2");
    happen(simulation, "pump-repair a 0/1-AMP-BST");
    happen(simulation, "pull b 1");
    run(simulation, 1);
    EXPECT_THAT(plain.text(simulation), HasSubstr("2.0 dB added"));
    EXPECT_THAT(plain.text(simulation), HasSubstr("card pulled"));
}

TEST(LinePictures, TheDiagramIsADocumentWithGains) {
    const LineDescription line = read_line(three_sites());
    Simulation simulation(line, 1);
    run(simulation, 1);
    const std::string svg = LinePicture(line, false).svg(simulation);
    EXPECT_THAT(svg, testing::StartsWith("<svg xmlns=\"http://www.w3.org/2000/svg\""));
    EXPECT_THAT(svg, testing::EndsWith("</svg>\n"));
    for (const SimulatedAmplifier &amplifier : simulation.amplifiers())
        EXPECT_THAT(
            svg, HasSubstr(fmt::format(">{:.1f} / {:.2f}<", amplifier.target_gain(), amplifier.reading.gain / 100.0)));
    EXPECT_THAT(svg, HasSubstr(">terminal-b<"));
}

} // namespace
