// What the options of a run mean. Knows not how a line runs.
#include "line_options.h"

#include "text_io.h"

#include "line/folder.h"

#include <fmt/format.h>

namespace ocamp {

double LineRunOptions::seconds_a_second() const {
    constexpr double fastest = 1e6;
    if (speed == "max")
        return 0;
    double number = 0;
    if (!CLI::detail::lexical_cast(speed, number) || !(number > 0 && number <= fastest))
        throw InputError(fmt::format("--speed: '{}', expected 'max' or a number above 0 of up to {}", speed, fastest));
    return number;
}

RunSettings LineRunOptions::settings() const {
    RunSettings settings{.seed = seed};
    if (script.empty())
        return settings;
    const LineDescription line = line_of_folder(folder);
    settings.script = named_input(script, [&](const std::string &text) { return parse_script(line, text); });
    return settings;
}

std::vector<std::string> LineRunOptions::words() const {
    std::vector<std::string> words{"--speed", speed};
    const auto add = [&](const char *name, const std::string &value) { words.insert(words.end(), {name, value}); };
    if (seed)
        add("--seed", std::to_string(*seed));
    if (until)
        add("--until", std::to_string(*until));
    if (!script.empty())
        add("--script", script);
    if (!netconf_base.empty())
        add("--netconf-base", netconf_base);
    add("--", folder);
    return words;
}

void add_line_run_options(CLI::App &command, LineRunOptions &options) {
    command.add_option("DIR", options.folder, "Folder of the line")->required();
    command.add_option("--speed", options.speed, "Seconds of line time a second, or 'max'")
        ->type_name("N")
        ->capture_default_str();
    command.add_option("--seed", options.seed, "Seed of noise and drift; default: that of the run before")
        ->type_name("N");
    command.add_option("--until", options.until, "Second of line time to end at")->type_name("SECONDS");
    command.add_option("--script", options.script, "Events, one a line: SECOND EVENT...")->type_name("FILE");
    command
        .add_option("--netconf-base", options.netconf_base,
                    "Serve NETCONF: the first node at this port, each further one at the next; on 127.0.0.1, or "
                    "ADDRESS:PORT; 0: any free ports")
        ->type_name("PORT");
}

} // namespace ocamp
