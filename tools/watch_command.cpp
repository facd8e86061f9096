// ocamp watch: reads again and again, and tells what has changed. Knows nothing of how answers come about.
#include "change_text.h"
#include "options.h"
#include "output.h"
#include "whole_number.h"

#include "node/leaf_changes.h"
#include "seam/path_text.h"
#include "seam/text.h"

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <thread>

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace ocamp {

namespace {

struct WatchOptions {
    std::string node;
    ReadOptions read;
    double interval = 1.0; // s
    std::uint64_t count = 0;
};

std::string now() {
    return fmt::format("{:%H:%M:%S}", fmt::localtime(std::time(nullptr)));
}

std::string line(const LeafChange &change, bool as_json) {
    if (!as_json)
        return fmt::format("{} {}\n", now(), told_line(change));
    nlohmann::ordered_json object{
        {"time", now()}, {"path", without_modules(change.path)}, {"old", nullptr}, {"new", nullptr}};
    if (change.before)
        object["old"] = *change.before;
    if (change.after)
        object["new"] = *change.after;
    return escaped_json(object.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace)) + "\n";
}

void run(const WatchOptions &options, const CommonOptions &common) {
    const Filter filter = options.read.filter();
    Service service({.node = options.node, .plugin = common.plugin, .logs = common.logs});
    YangTree before;
    for (std::uint64_t reads = 1;; ++reads) {
        YangTree after = service.read(options.read.kind(), filter).answer;
        for (const LeafChange &change : changed_leaves(before, after))
            write_output(line(change, common.json));
        flush_output();
        before = std::move(after);
        if (reads == options.count)
            return;
        std::this_thread::sleep_for(std::chrono::duration<double>(options.interval));
    }
}

// What is read as a double and is in every range.
std::string refuse_no_number(const std::string &text) {
    return std::isnan(std::strtod(text.c_str(), nullptr)) ? fmt::format("'{}', expected a number", text) : "";
}

} // namespace

void add_watch_command(CLI::App &program, CommonOptions &common) {
    CLI::App &command = *program.add_subcommand("watch", "Print values as they change");
    auto options = std::make_shared<WatchOptions>();
    add_node_option(command, options->node);
    add_read_options(command, options->read);
    command.add_option("--interval", options->interval, "Seconds between two reads")
        ->type_name("S")
        ->check(CLI::Range(0.01, 86400.0))
        ->check(refuse_no_number, "")
        ->capture_default_str();
    command.add_option("--count", options->count, "End after that many reads; 0: when it is ended")
        ->type_name("N")
        ->check(refuse_no_whole_number<>, "")
        ->capture_default_str();
    add_common_options(command, common);
    command.footer(
        "Example:\n"
        "  ocamp watch --node demo-node --interval 5 "
        "\"/optical-amplifier/amplifiers/amplifier/state/actual-gain\"\n"
        "The first read tells every value, those after it what has changed: '+' new, '~' changed, '-' gone.");
    command.callback([options, &common] { run(*options, common); });
}

} // namespace ocamp
