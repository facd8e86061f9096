// Lines as they are drawn.
#include "line_fixture.h"

#include "line/show.h"

#include <regex>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

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
              "    | 80.0 km, 17.00 dB, supervisory 1.00 > -16.00 dBm\n"
              "  b                0/1-AMP-PRE    6.03    17.0   17.00   -1.00   23.03\n");
}

TEST(LinePictures, TroublesAreTold) {
    const LineDescription line = read_line(two_nodes());
    Simulation simulation(line, 1);
    const LinePicture plain(line, false), coloured(line, true);
    happen(simulation, "cut a/b");
    happen(simulation, "pump-failure a 0/1-AMP-BST 3");
    run(simulation, 1);
    EXPECT_THAT(plain.text(simulation),
                HasSubstr("supervisory 1.00 > -40.00 dBm  fibre cut  supervisory channel lost\n"));
    EXPECT_THAT(plain.text(simulation), HasSubstr("  input lost, shut down\n"));
    EXPECT_THAT(plain.text(simulation), HasSubstr("  pump failure, 3.0 dB\n"));
    EXPECT_THAT(plain.text(simulation), Not(HasSubstr("\033")));
    EXPECT_THAT(coloured.text(simulation), HasSubstr("\033[31;1mfibre cut\033[0m"));
    happen(simulation, "repair a/b");
    happen(simulation, "add-loss a/b 2");
    happen(simulation, "pump-repair a 0/1-AMP-BST");
    happen(simulation, "pull b 1");
    run(simulation, 1);
    EXPECT_THAT(plain.text(simulation), HasSubstr("2.0 dB added\n")) << "nobody waits for the supervisory channel";
    EXPECT_THAT(plain.text(simulation), HasSubstr("card pulled"));
    happen(simulation, "pump-failure a 0/1-AMP-BST 60");
    run(simulation, 1);
    EXPECT_THAT(plain.text(simulation), HasSubstr("  pump failure, 60.0 dB, dark\n"));
}

TEST(LinePictures, AnAmplifierThatDoesNotGiveWhatIsSetIsTold) {
    const LineDescription line = read_line(two_nodes());
    Simulation simulation(line, 1);
    const LinePicture picture(line, false);
    const std::size_t booster = amplifier_at(simulation, "a", 1, true);
    run(simulation, 1);
    set_gain(simulation, booster, 25);
    run(simulation, 1);
    EXPECT_THAT(picture.text(simulation), HasSubstr("  gain moves\n"));
    run(simulation, 9);
    EXPECT_THAT(picture.text(simulation), HasSubstr("  output limited\n"));
    AmplifierSettings settings = simulation.amplifiers()[booster].settings;
    settings.shut = true;
    simulation.configure_amplifier(booster, settings);
    run(simulation, 1);
    EXPECT_THAT(picture.text(simulation), HasSubstr("  shut by configuration\n"));
    EXPECT_THAT(picture.svg(simulation), testing::ContainsRegex("fill=\"#c00\">25.0 / 0.00<"));
}

// At either end of the span.
TEST(LinePictures, ASpanMayHaveNoSupervisoryChannel) {
    for (const std::size_t node : {0U, 1U}) {
        nlohmann::json document = nlohmann::json::parse(two_nodes());
        document["nodes"][node]["slots"][0].erase("supervisory-power-dbm");
        const LineDescription line = read_line(document.dump());
        Simulation simulation(line, 1);
        run(simulation, 1);
        const LinePicture picture(line, false);
        EXPECT_THAT(picture.text(simulation), HasSubstr("    | 80.0 km, 17.00 dB\n")) << node;
        EXPECT_THAT(picture.svg(simulation), Not(HasSubstr("stroke-dasharray"))) << node;
        EXPECT_EQ(reading(simulation, "b", 1, false).total_input, reading(simulation, "b", 1, false).input) << node;
    }
}

TEST(LinePictures, NamesDoNotBreakTheDiagram) {
    nlohmann::json document = nlohmann::json::parse(two_nodes());
    document["name"] = "a < b & c > d";
    const LineDescription line = read_line(document.dump());
    Simulation simulation(line, 1);
    run(simulation, 1);
    EXPECT_THAT(LinePicture(line, false).svg(simulation), HasSubstr(">a &lt; b &amp; c &gt; d: power along the line"));
}

TEST(LinePictures, AnAmplifierThatReceivesMoreThanItCanSendIsTold) {
    nlohmann::json document = nlohmann::json::parse(two_nodes());
    document["nodes"][0]["slots"][0]["booster"]["maximum-output-dbm"] = 3; // 3.02 dBm come in
    const LineDescription line = read_line(document.dump());
    Simulation simulation(line, 1);
    run(simulation, 1);
    EXPECT_THAT(LinePicture(line, false).text(simulation), HasSubstr("  input above the maximum output, dark\n"));
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

// A text of a diagram, and the room that it takes, in pixels.
struct Label {
    std::string text;
    double left, top, right, bottom;

    bool overlaps(const Label &other) const {
        return left < other.right && other.left < right && top < other.bottom && other.top < bottom;
    }
};

// By the size of the letters that a viewer has at most.
std::vector<Label> labels_of(const std::string &svg) {
    constexpr double letter_width = 7, letter_height = 11, below_base = 2;
    const std::regex form("<text x=\"([-.0-9]+)\" y=\"([-.0-9]+)\"([^>]*)>([^<]*)</text>");
    std::vector<Label> labels;
    for (std::sregex_iterator at(svg.begin(), svg.end(), form), end; at != end; ++at) {
        const double x = std::stod((*at)[1]), y = std::stod((*at)[2]);
        const std::string look = (*at)[3], text = (*at)[4];
        const double length = letter_width * static_cast<double>(text.size());
        // Along the text, from where it is anchored.
        const double begin = look.find("\"end\"") != std::string::npos ? -length : 0;
        if (look.find("rotate(-90 ") == std::string::npos)
            labels.push_back({text, x + begin, y - letter_height, x + begin + length, y + below_base});
        else
            labels.push_back({text, x - letter_height, y - begin - length, x + below_base, y - begin});
    }
    return labels;
}

// The example's sites, over and over.
std::string hundred_nodes() {
    nlohmann::json line = nlohmann::json::parse(three_sites());
    const nlohmann::json site = line["nodes"][1], span = line["spans"][1];
    while (line["nodes"].size() < 100) {
        line["nodes"].insert(line["nodes"].begin() + 1, site);
        line["nodes"][1]["name"] = fmt::format("amplifier-site-{}", line["nodes"].size());
        line["spans"].push_back(span);
    }
    return line.dump();
}

TEST(LinePictures, LabelsDoNotCoverEachOther) {
    for (const std::string &description : {two_nodes(), three_sites(), hundred_nodes()}) {
        const LineDescription line = read_line(description);
        Simulation simulation(line, 1);
        for (std::size_t span = 0; span < line.spans.size(); ++span)
            happen(simulation, "cut " + line.span_name(span));
        run(simulation, 1);
        const std::string svg = LinePicture(line, false).svg(simulation);
        const std::vector<Label> labels = labels_of(svg);
        EXPECT_GT(labels.size(), simulation.amplifiers().size() + line.directions.size() * line.spans.size());
        const double width = std::stod(svg.substr(svg.find(" width=\"") + 8));
        for (auto one = labels.begin(); one != labels.end(); ++one) {
            EXPECT_GE(one->left, 0) << one->text;
            EXPECT_LE(one->right, width) << one->text;
            for (auto other = one + 1; other != labels.end(); ++other)
                ASSERT_FALSE(one->overlaps(*other)) << one->text << " and " << other->text;
        }
    }
}

TEST(LinePictures, TheDiagramHasTheSupervisoryChannels) {
    const LineDescription line = read_line(two_nodes());
    Simulation simulation(line, 1);
    run(simulation, 1);
    const auto heights = [&] {
        const std::string svg = LinePicture(line, false).svg(simulation);
        const std::regex form(" y1=\"([.0-9]+)\" x2=\"[.0-9]+\" y2=\"([.0-9]+)\" stroke=\"#208040\"");
        std::smatch found;
        EXPECT_TRUE(std::regex_search(svg, found, form)) << svg;
        return std::pair(std::stod(found[1]), std::stod(found[2]));
    };
    const auto [sent, received] = heights();
    // 17 dB of 65 dB in a height of 240 pixels.
    EXPECT_NEAR(received - sent, 240 * 17 / 65.0, 0.11);
    happen(simulation, "cut a/b");
    run(simulation, 1);
    EXPECT_NEAR(heights().second - sent, 240 * 41 / 65.0, 0.11) << "down to the darkness";
}

} // namespace
