// ocamp line: makes, runs and shows simulated lines. Knows how a line is asked for and shown, not how it is computed.
#include "colour.h"
#include "line_options.h"
#include "options.h"
#include "other_program.h"
#include "output.h"
#include "text_io.h"
#include "whole_number.h"

#include "line/folder.h"
#include "line/run.h"
#include "line/show.h"
#include "seam/text.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <fstream>
#include <memory>
#include <thread>

#include <sys/ioctl.h>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace ocamp {

namespace {

struct LineOptions {
    std::string folder;
    std::string description;
    std::optional<std::uint64_t> at;
    std::vector<std::string> words;
    bool watch = false;
    std::string svg;
    ColourUse colour = ColourUse::automatic;
};

volatile std::sig_atomic_t asked_to_end = 0;

void end_on_signals() {
    for (const int signal : {SIGINT, SIGTERM})
        std::signal(signal, [](int) { asked_to_end = 1; });
}

void init(const LineOptions &options) {
    const std::string made = escaped(fmt::format("{}: line made from {}", options.folder, options.description)) + "\n";
    named_input(options.description, [&](const std::string &text) { init_line(options.folder, text); });
    finish_output(made, "the line is made");
}

void run(const LineRunOptions &options) {
    // What is wrong with these is told as by every command.
    options.seconds_a_second();
    line_of_folder(options.folder);
    std::vector<std::string> words = options.words();
    words.insert(words.begin(), run_line_word);
    become_program("ocampd", "the server", std::move(words));
}

void event(const LineOptions &options) {
    const LineDescription line = line_of_folder(options.folder);
    const std::string words = fmt::format("{}", fmt::join(options.words, " "));
    parse_event(line, words);
    LineStore(options.folder, false).add_event(options.at, words);
    finish_output("", "the event waits for the line");
}

void write_picture(const std::string &file, const std::string &picture) {
    if (file == "-") {
        write_output(picture);
        return;
    }
    std::ofstream stream(file, std::ios::binary);
    stream << picture << std::flush;
    if (!stream)
        throw InputError(fmt::format("{}: cannot be written, expected a file to write the picture to", file));
}

// Rows of the terminal that standard output leads to; nothing when it leads elsewhere, or the terminal does not tell.
std::optional<std::size_t> terminal_rows() {
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_row == 0)
        return std::nullopt;
    return size.ws_row;
}

// What a terminal of that many rows shows of the text without scrolling, and how much it does not show.
std::string as_tall_as(std::size_t rows, const std::string &text) {
    const auto lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
    // Behind the last line feed the cursor takes a row, too.
    if (lines < rows)
        return text;
    const std::size_t shown = rows > 2 ? rows - 2 : 0;
    std::size_t end = 0;
    for (std::size_t line = 0; line < shown; ++line)
        end = text.find('\n', end) + 1;
    return text.substr(0, end) + fmt::format("... and {} rows for which this terminal has no room\n", lines - shown);
}

// A screen's worth of text over the one before: what a shorter line leaves of the longer one under it goes.
std::string over_the_last(const std::string &text) {
    constexpr const char *home = "\033[H", *clear_line = "\033[K", *clear_behind = "\033[J";
    std::string screen = home;
    for (const char c : text) {
        if (c == '\n')
            screen += clear_line;
        screen += c;
    }
    return screen + clear_behind;
}

void show(const LineOptions &options) {
    const LineDescription line = line_of_folder(options.folder);
    LineStore store(options.folder, false);
    const LinePicture picture(line, Colours(options.colour).used());
    const auto now = [&] {
        std::optional<Simulation> simulation(std::in_place, line, 0);
        if (!restore_kept(options.folder, store, *simulation))
            simulation.reset();
        return simulation;
    };
    const auto text_now = [&] {
        const std::optional<Simulation> simulation = now();
        return simulation ? picture.text(*simulation) : fmt::format("{}  has not run yet\n", line.name);
    };
    if (!options.svg.empty()) {
        const std::optional<Simulation> simulation = now();
        if (!simulation)
            throw LineError(fmt::format("{}: has not run yet, expected a line with powers to draw", options.folder));
        write_picture(options.svg, picture.svg(*simulation));
        finish_output("", "the picture is written");
        return;
    }
    if (!options.watch) {
        finish_output(text_now(), "");
        return;
    }
    constexpr const char *clear_all = "\033[2J", *cut_long_rows = "\033[?7l", *wrap_long_rows = "\033[?7h";
    constexpr std::chrono::milliseconds refresh{500}, nap{50};
    end_on_signals();
    const bool on_terminal = terminal_rows().has_value();
    write_output(on_terminal ? std::string(cut_long_rows) + clear_all : clear_all);
    std::optional<std::string> shown;
    while (asked_to_end == 0) {
        std::string text = text_now();
        if (const std::optional<std::size_t> rows = terminal_rows())
            text = as_tall_as(*rows, text);
        if (shown != text) {
            finish_output(over_the_last(text), "");
            shown = std::move(text);
        }
        const auto until = std::chrono::steady_clock::now() + refresh;
        while (asked_to_end == 0 && std::chrono::steady_clock::now() < until)
            std::this_thread::sleep_for(nap);
    }
    finish_output(on_terminal ? wrap_long_rows : "", "");
}

using Action = void (*)(const LineOptions &);

CLI::App &add_action(CLI::App &parent, const char *name, const char *description, const char *footer,
                     const std::shared_ptr<LineOptions> &options, Action action) {
    CLI::App &command = *parent.add_subcommand(name, description);
    command.add_option("DIR", options->folder, "Folder of the line")->required();
    command.footer(footer);
    command.callback([options, action] { action(*options); });
    return command;
}

} // namespace

void add_line_command(CLI::App &program) {
    CLI::App &command = *program.add_subcommand("line", "Make, run and show simulated lines of nodes");
    command.require_subcommand(1);
    auto options = std::make_shared<LineOptions>();

    CLI::App &maker =
        add_action(command, "init", "Make a line and its nodes from a description",
                   "Example:\n  ocamp line init demo-line --from examples/lines/three-sites.json", options, init);
    maker.add_option("--from", options->description, "Description of the line, '-' for standard input")
        ->type_name("FILE")
        ->required();

    CLI::App &runner = *command.add_subcommand("run", "Run a line, from where it stopped, and serve its nodes");
    auto run_options = std::make_shared<LineRunOptions>();
    add_line_run_options(runner, *run_options);
    runner.footer("Example:\n  ocamp line run demo-line --netconf-base 8301 --gnmi-base 9340");
    runner.callback([run_options] { run(*run_options); });

    CLI::App &teller = add_action(command, "event", "Let something happen to a line",
                                  "Events:\n"
                                  "  cut SPAN [DIRECTION]            repair SPAN [DIRECTION]\n"
                                  "  add-loss SPAN DB [DIRECTION]    channels DIRECTION NUMBER\n"
                                  "  pump-failure NODE AMPLIFIER DB  pump-repair NODE AMPLIFIER\n"
                                  "  pull NODE SLOT                  insert NODE SLOT\n"
                                  "  set NODE PATH VALUE\n"
                                  "Example:\n  ocamp line event demo-line cut site-1/site-2",
                                  options, event);
    teller.add_option("EVENT", options->words, "The event and what it is about")->required();
    teller.add_option("--at", options->at, "Second of line time; default: now, or when the line next runs")
        ->type_name("SECONDS")
        ->check(refuse_no_whole_number<std::numeric_limits<std::int64_t>::max()>, "");

    CLI::App &shower = add_action(command, "show", "Draw a line as it stands",
                                  "Example:\n  ocamp line show demo-line --watch", options, show);
    CLI::Option *watch = shower.add_flag("--watch", options->watch, "Draw it anew whenever it changes, until Ctrl-C");
    shower.add_option("--svg", options->svg, "Write a level diagram of the powers along the line instead")
        ->type_name("FILE")
        ->excludes(watch);
    add_colour_option(shower, options->colour);
}

} // namespace ocamp
