// The program around a peer.
//
//   PROGRAM DATA answers FOLDER    writes every node's answer to FOLDER/NNN
//   PROGRAM DATA time ROUNDS       prints processor seconds of each round as JSON, by measure
#include "peer.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

namespace fs = std::filesystem;

namespace peers {

namespace {

std::string file_name(size_t node) {
    char name[32];
    std::snprintf(name, sizeof name, "%03zu", node);
    return name;
}

std::vector<NativeNode> read_nodes(const fs::path &data) {
    std::vector<NativeNode> nodes;
    for (fs::path file; fs::exists(file = data / (file_name(nodes.size()) + ".xml"));) {
        std::ostringstream text;
        text << std::ifstream(file).rdbuf();
        nodes.push_back({text.str(), {}});
    }
    std::ifstream records(data / "records.tsv");
    for (std::string line; std::getline(records, line);) {
        std::istringstream fields(line);
        std::string node;
        Record record;
        std::getline(fields, node, '\t');
        std::getline(fields, record.controller, '\t');
        std::getline(fields, record.minimum, '\t');
        std::getline(fields, record.average, '\t');
        std::getline(fields, record.maximum, '\t');
        nodes.at(std::stoul(node)).records.push_back(record);
    }
    return nodes;
}

void write_answers(Peer &peer, const fs::path &folder) {
    fs::create_directories(folder);
    const std::vector<std::string> answers = peer.answers();
    for (size_t node = 0; node < answers.size(); ++node)
        std::ofstream(folder / file_name(node)) << answers[node];
}

double processor_seconds() {
    timespec now = {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    constexpr double nanoseconds = 1e-9;
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * nanoseconds;
}

double timed(const Measure &measure) {
    const double start = processor_seconds();
    measure.run();
    const double end = processor_seconds();
    measure.discard();
    return end - start;
}

void print_times(Peer &peer, int rounds) {
    const char *separator = "{";
    for (const Measure &measure : peer.measures()) {
        timed(measure); // warms up
        std::printf("%s\"%s\": [", separator, measure.name);
        for (int round = 0; round < rounds; ++round)
            std::printf("%s%.9f", round == 0 ? "" : ", ", timed(measure));
        std::printf("]");
        separator = ", ";
    }
    std::printf("}\n");
}

} // namespace

std::string_view stripped(std::string_view text) {
    const size_t first = text.find_first_not_of(" \t\r\n");
    return first == std::string_view::npos ? std::string_view()
                                           : text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

AmplifierNames::AmplifierNames(std::string_view port) {
    const std::string slot(port.substr(sizeof "Ots0/" - 1, port.find('/', sizeof "Ots0/" - 1) - (sizeof "Ots0/" - 1)));
    const bool booster = port.back() == '1';
    const std::string side = "0/" + slot + "-OtsCtrl-0/";
    name = "0/" + slot + (booster ? "-AMP-BST" : "-AMP-PRE");
    ingress = side + (booster ? '0' : '1');
    egress = side + (booster ? '1' : '0');
    input_controller = "Ots0_" + slot + "_0_" + (booster ? '0' : '1');
}

std::string whole_units(const char *hundredths) {
    char text[32];
    std::snprintf(text, sizeof text, "%.2f", std::atoi(hundredths) / 100.0);
    return text;
}

} // namespace peers

int main(int argc, char **argv) {
    using namespace peers;
    if (argc != 4) {
        std::cerr << "usage: " << argv[0] << " DATA answers FOLDER | DATA time ROUNDS\n";
        return 2;
    }
    try {
        const std::vector<NativeNode> nodes = read_nodes(argv[1]);
        const std::unique_ptr<Peer> peer = make_peer(nodes);
        if (std::string_view(argv[2]) == "answers")
            write_answers(*peer, argv[3]);
        else
            print_times(*peer, std::atoi(argv[3]));
    } catch (const std::exception &error) {
        std::cerr << argv[0] << ": " << error.what() << '\n';
        return 1;
    }
    return 0;
}
