// What the options of a run mean. Knows not how a line runs.
#include "line_options.h"

#include "output.h"
#include "text_io.h"
#include "tls_options.h"
#include "whole_number.h"

#include "line/folder.h"
#include "seam/text.h"

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

void tell_of_run(std::string_view text) {
    write_output(text);
    flush_output();
}

void warn_of_run(const std::string &text) {
    write_error(fmt::format("ocamp: {}\n", escaped(text)));
}

void tell_of_lag(const Lag &lag) {
    warn_of_run(lag.words());
}

RunSettings LineRunOptions::settings() const {
    RunSettings settings{
        .seed = seed, .tell = [](const std::string &text) { tell_of_run(escaped(text) + "\n"); }, .warn = warn_of_run};
    if (script.empty())
        return settings;
    const LineDescription line = line_of_folder(folder);
    settings.script = named_input(script, [&](const std::string &text) { return parse_script(line, text); });
    return settings;
}

void LineRunOptions::warn_if_over(const LineRun &line) const {
    if (until && line.second() > *until)
        warn_of_run(
            fmt::format("--until {}: line time is past it, at second {}; nothing is computed", *until, line.second()));
}

std::vector<std::string> LineRunOptions::words() const {
    std::vector<std::string> words{"--speed", speed};
    const auto add = [&](const char *name, const std::string &value) { words.insert(words.end(), {name, value}); };
    const auto add_text = [&](const char *name, const std::string &value) {
        if (!value.empty())
            add(name, value);
    };
    if (seed)
        add("--seed", std::to_string(*seed));
    if (until)
        add("--until", std::to_string(*until));
    add_text("--script", script);
    add_text(netconf_base_option, netconf_base);
    add_text(gnmi_base_option, gnmi_base);
    add_text("--cert", tls.certificate);
    add_text("--key", tls.key);
    add_text("--client-ca", tls.client_ca);
    if (tls.insecure)
        words.emplace_back("--insecure");
    add("--", folder);
    return words;
}

void add_line_run_options(CLI::App &command, LineRunOptions &options) {
    command.add_option("DIR", options.folder, "Folder of the line")->required();
    command.add_option("--speed", options.speed, "Seconds of line time a second, or 'max'")
        ->type_name("N")
        ->capture_default_str();
    command.add_option("--seed", options.seed, "Seed of noise and drift; default: that of the run before")
        ->type_name("N")
        ->check(refuse_no_whole_number<>, "");
    command.add_option("--until", options.until, "Second of line time to end at")
        ->type_name("SECONDS")
        ->check(refuse_no_whole_number<>, "");
    command.add_option("--script", options.script, "Events, one a line: SECOND EVENT...")->type_name("FILE");
    command
        .add_option(netconf_base_option, options.netconf_base,
                    "Serve NETCONF: the first node at this port, each further one at the next; on 127.0.0.1, or "
                    "ADDRESS:PORT; 0: any free ports")
        ->type_name("PORT");
    command.add_option(gnmi_base_option, options.gnmi_base, "Serve gNMI in the same way")->type_name("PORT");
    add_tls_options(command, options.tls);
}

} // namespace ocamp
