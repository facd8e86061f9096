// When there are colours, and what they are on a terminal. Knows no command.
#include "colour.h"

#include <cstdlib>
#include <map>

#include <unistd.h>

#include <fmt/format.h>

namespace ocamp {

namespace {

bool is_set(const char *variable) {
    const char *value = std::getenv(variable); // NOLINT(concurrency-mt-unsafe): before any thread
    return value != nullptr && *value != '\0';
}

bool terminal_has_colours() {
    const char *kind = std::getenv("TERM"); // NOLINT(concurrency-mt-unsafe): before any thread
    return isatty(STDOUT_FILENO) != 0 && !is_set("NO_COLOR") && (kind == nullptr || std::string_view(kind) != "dumb");
}

} // namespace

void add_colour_option(CLI::App &command, ColourUse &use) {
    const std::map<std::string, ColourUse> words{
        {"auto", ColourUse::automatic}, {"always", ColourUse::always}, {"never", ColourUse::never}};
    command
        .add_option_function<std::string>(
            "--color", [&use, words](const std::string &word) { use = words.at(word); },
            "Colours: auto (on a terminal, unless NO_COLOR is set), always or never")
        ->check(CLI::IsMember(words).description(""))
        ->type_name("WHEN")
        ->default_str("auto");
}

Colours::Colours(ColourUse use)
    : used_(use == ColourUse::always || (use == ColourUse::automatic && terminal_has_colours())) {}

std::string Colours::in(std::string_view code, std::string_view text) const {
    return used_ ? fmt::format("\x1b[{}m{}\x1b[0m", code, text) : std::string(text);
}

} // namespace ocamp
