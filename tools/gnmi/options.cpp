// How the command line of the gNMI client is put up.
#include "gnmi/options.h"

#include "command_line.h"
#include "seam/input_error.h"
#include "seam/text.h"
#include "whole_number.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace ocamp::gnmi_client {

namespace {

// Bytes of a message that --max-message takes.
constexpr std::uint64_t smallest_max_message = 1024, largest_max_message = 1U << 30U;

template <class Meaning>
using Words = std::vector<std::pair<std::string, Meaning>>;

// Users of other clients write words in capitals, or with the other dash.
std::string normalized(std::string word) {
    std::ranges::transform(word, word.begin(),
                           [](unsigned char c) { return c == '_' ? '-' : static_cast<char>(std::tolower(c)); });
    return word;
}

template <class Meaning>
std::optional<Meaning> meaning_of(const Words<Meaning> &words, const std::string &word) {
    const auto found =
        std::ranges::find_if(words, [&](const auto &known) { return normalized(known.first) == normalized(word); });
    return found == words.end() ? std::nullopt : std::optional(found->second);
}

template <class Meaning>
CLI::Option *add_word(CLI::App &command, const std::string &name, const char *type, Meaning &meaning,
                      const Words<Meaning> &words, const std::string &description) {
    std::vector<std::string> known;
    for (const auto &[word, meant] : words)
        known.push_back(word);
    const std::string list = fmt::format("{}", fmt::join(known, ", "));
    const auto check = [words, list](const std::string &word) {
        return meaning_of(words, word)
                   ? std::string()
                   : fmt::format("'{}', expected one of: {}", shortened(word, longest_shown_value), list);
    };
    return command
        .add_option_function<std::string>(
            name, [&meaning, words](const std::string &word) { meaning = *meaning_of(words, word); },
            fmt::format("{}: {}", description, list))
        ->type_name(type)
        ->check(check, "");
}

// An option that may be given again and again, each time with one value.
CLI::Option *add_each(CLI::App &command, const std::string &name, const char *type, std::vector<std::string> &values,
                      const std::string &description) {
    // Without extra arguments: a value in brackets is JSON, and not a list of values.
    return command.add_option(name, values, description)->type_name(type)->allow_extra_args(false);
}

CLI::Option *add_text(CLI::App &command, const std::string &name, const char *type, std::string &text,
                      const std::string &description) {
    return command.add_option(name, text, description)->type_name(type);
}

CLI::Option *add_time(CLI::App &command, const std::string &name, Nanoseconds &time, const std::string &description) {
    const auto check = [](const std::string &text) -> std::string {
        try {
            duration_of(text);
            return {};
        } catch (const InputError &error) {
            return error.what();
        }
    };
    return command
        .add_option_function<std::string>(
            name, [&time](const std::string &text) { time = duration_of(text); }, description)
        ->type_name("TIME")
        ->check(check, "");
}

// A port behind the last colon; a colon in the host stands in brackets.
std::string check_target(const std::string &text) {
    const std::size_t colon = text.rfind(':');
    unsigned port = 0;
    const char *end = text.data() + text.size();
    const bool has_port = colon != std::string::npos &&
                          std::from_chars(text.data() + colon + 1, end, port).ptr == end && port > 0 && port <= 65535;
    const std::string host = text.substr(0, std::min(colon, text.size()));
    const bool bracketed = host.starts_with('[') && host.ends_with(']');
    const bool is_host = !host.empty() && host.find('/') == std::string::npos &&
                         (bracketed || host.find_first_of(":[]") == std::string::npos);
    return has_port && is_host ? std::string()
                               : fmt::format("'{}', expected HOST:PORT, an IPv6 address in brackets",
                                             shortened(text, longest_shown_value));
}

void add_connection(CLI::App &command, Connection &connection) {
    const char *group = "Connection";
    add_text(command, "-a,--target", "HOST:PORT", connection.target, "The target")
        ->required()
        ->check(check_target, "")
        ->group(group);
    add_text(command, "-u,--username", "NAME", connection.username, "User; the password is asked for")->group(group);
    add_text(command, "--password-file", "FILE", connection.password_file,
             "File whose first line is the password, '-' for standard input; default: OCAMP_GNMI_PASSWORD, or a "
             "question at the terminal")
        ->group(group);
    add_time(command, "--timeout", connection.timeout,
             "Longest time for the connection, and for all RPCs but streams and polls")
        ->default_str("10s")
        ->group(group);
    command.add_option("--max-message", connection.max_message, "Largest message to take from the target")
        ->type_name("BYTES")
        ->check(refuse_no_whole_number<largest_max_message, smallest_max_message>, "")
        ->capture_default_str()
        ->group(group);
    group = "TLS";
    CLI::Option *ca = add_text(command, "--tls-ca", "FILE", connection.ca_file,
                               "Certificates that sign the target's; default: those that this machine trusts");
    CLI::Option *certificate =
        add_text(command, "--tls-cert", "FILE", connection.certificate_file, "Certificate of this client");
    CLI::Option *key = add_text(command, "--tls-key", "FILE", connection.key_file, "Key of the certificate");
    CLI::Option *name = add_text(command, "--tls-server-name", "NAME", connection.server_name,
                                 "Name that the target's certificate has; default: the host of --target");
    CLI::Option *skip =
        command.add_flag("--skip-verify", connection.skip_verify, "Trust any certificate of the target");
    CLI::Option *insecure =
        command.add_flag("--insecure", connection.insecure, "No TLS: all goes over the wire as it is");
    for (CLI::Option *option : {ca, certificate, key, name, skip, insecure})
        option->group(group);
    certificate->needs(key);
    key->needs(certificate);
    skip->excludes(ca)->excludes(name);
    for (CLI::Option *option : {ca, certificate, key, name, skip})
        insecure->excludes(option);
}

void add_output(CLI::App &command, Options &options) {
    add_word<Output>(command, "--format", "FORMAT", options.output, {{"json", Output::json}, {"flat", Output::flat}},
                     "How the answer is written, as an object a line or as a leaf a line")
        ->default_str("json");
    command.add_flag(json_option, options.json_errors, "Errors as JSON");
}

void add_prefix(CLI::App &command, Place &place) {
    add_text(command, "--prefix", "PATH", place.prefix, "Path that all others begin with");
    add_text(command, "--origin", "NAME", place.origin, "Models that the paths are of, such as openconfig or native");
    add_text(command, "--prefix-target", "NAME", place.prefix_target, "Name of the target, in the prefix");
}

void add_encoding(CLI::App &command, Encoding &encoding) {
    add_word<Encoding>(command, "--encoding", "ENCODING", encoding,
                       {{"json", Encoding::json},
                        {"json_ietf", Encoding::json_ietf},
                        {"proto", Encoding::proto},
                        {"ascii", Encoding::ascii},
                        {"bytes", Encoding::bytes}},
                       "How values travel")
        ->default_str("json");
}

void add_read_place(CLI::App &command, Place &place) {
    add_each(command, "--path", "PATH", place.paths, "Path to read; may be given again")->required();
    add_prefix(command, place);
    add_encoding(command, place.encoding);
    command.add_option("--depth", place.depth, "Levels below the path; 0: all")
        ->type_name("N")
        ->check(refuse_no_whole_number<std::numeric_limits<std::uint32_t>::max()>, "")
        ->capture_default_str();
}

void add_operations(CLI::App &command, const std::string &kind, Operations &operations,
                    const std::string &description) {
    CLI::Option *path = add_each(command, "--" + kind + "-path", "PATH", operations.paths,
                                 description + "; may be given again, each with its value");
    CLI::Option *value =
        add_each(command, "--" + kind + "-value", "VALUE", operations.values, "Its value: JSON, or text for ascii");
    CLI::Option *file =
        add_each(command, "--" + kind + "-file", "FILE", operations.files, "File of its value, instead of the value");
    value->needs(path)->excludes(file);
    file->needs(path);
}

void add_changes(CLI::App &command, Options &options) {
    Changes &changes = options.changes;
    add_each(command, "--delete", "PATH", changes.deletes, "Path to delete; may be given again");
    add_operations(command, "replace", changes.replaces, "Path whose content is replaced");
    add_operations(command, "update", changes.updates, "Path whose content is changed");
    add_operations(command, "union-replace", changes.union_replaces,
                   "Path whose content is replaced by all that are named so");
    add_prefix(command, options.place);
    add_encoding(command, options.place.encoding);
    const char *group = "Commit that wants a confirmation";
    CLI::Option *id = add_text(command, "--commit-id", "ID", changes.commit_id, "Name of the commit");
    CLI::Option *request = command.add_flag("--commit-request", changes.commit_request, "Begin one with this change");
    CLI::Option *confirm = command.add_flag("--commit-confirm", changes.commit_confirm, "Confirm it");
    CLI::Option *cancel = command.add_flag("--commit-cancel", changes.commit_cancel, "Take it back");
    CLI::Option *duration =
        add_time(command, "--rollback-duration", changes.rollback_duration,
                 "Time to confirm it in; without --commit-request, a new one for the commit that waits");
    for (CLI::Option *option : {id, request, confirm, cancel, duration})
        option->group(group);
    for (CLI::Option *option : {request, confirm, cancel, duration})
        option->needs(id);
    request->excludes(confirm)->excludes(cancel);
    confirm->excludes(cancel)->excludes(duration);
    cancel->excludes(duration);
}

void add_subscriptions(CLI::App &command, Subscriptions &subscriptions) {
    add_word<ListMode>(command, "--mode", "MODE", subscriptions.mode,
                       {{"stream", ListMode::stream}, {"once", ListMode::once}, {"poll", ListMode::poll}},
                       "How long to read")
        ->default_str("stream");
    add_word<StreamMode>(command, "--stream-mode", "MODE", subscriptions.stream_mode,
                         {{"target-defined", StreamMode::target_defined},
                          {"on-change", StreamMode::on_change},
                          {"sample", StreamMode::sample}},
                         "When a stream sends values")
        ->default_str("target-defined");
    add_time(command, "--sample-interval", subscriptions.sample_interval, "Between two samples, such as 500ms or 10s");
    add_time(command, "--heartbeat-interval", subscriptions.heartbeat_interval,
             "After which values that did not change are sent again");
    command.add_flag("--suppress-redundant", subscriptions.suppress_redundant, "Only samples that changed");
    command.add_flag("--updates-only", subscriptions.updates_only, "Not the values at the beginning");
}

constexpr const char *path_help = "Paths: /a/b[key=value]/c, with quotes around the value or without; '*' is any "
                                  "element or value, '...' any number of "
                                  "elements; ORIGIN:/a names other models.";

} // namespace

Nanoseconds duration_of(const std::string &text) {
    static const Words<double> units{{"ns", 1}, {"us", 1e3}, {"ms", 1e6}, {"s", 1e9}, {"m", 60e9}, {"h", 3600e9}};
    // The protocol's intervals are 64 bits; three centuries are enough, and fit the clocks.
    constexpr double longest = 9e18;
    const auto refuse = [&] {
        throw InputError(
            fmt::format("'{}', expected a time such as 500ms, 10s or 1m30s", shortened(text, longest_shown_value)));
    };
    double sum = 0;
    const char *at = text.data(), *const end = at + text.size();
    do {
        double number = 0;
        const auto read = std::from_chars(at, end, number, std::chars_format::fixed);
        const char *const unit_end = std::find_if(read.ptr, end, [](char c) { return c < 'a' || c > 'z'; });
        const std::string_view word(read.ptr, unit_end);
        const auto unit = std::ranges::find_if(units, [&](const auto &known) { return known.first == word; });
        if (read.ec != std::errc() || unit == units.end() || std::signbit(number))
            refuse();
        sum += number * unit->second;
        at = unit_end;
    } while (at != end);
    if (!(sum >= 1 && sum < longest))
        refuse();
    return Nanoseconds(static_cast<std::uint64_t>(std::llround(sum)));
}

void add_rpc_commands(CLI::App &above, const Run &run) {
    above.require_subcommand(1);
    const auto add = [&](const char *name, const char *description, Rpc rpc, auto add_own, const std::string &footer) {
        CLI::App &command = *above.add_subcommand(name, description);
        auto options = std::make_shared<Options>();
        add_own(command, *options);
        add_output(command, *options);
        add_connection(command, options->connection);
        command.footer(footer);
        command.callback([&command, run, rpc, options] { run(command, rpc, *options); });
    };
    add(
        "capabilities", "Ask a target what it speaks: version, encodings and models", Rpc::capabilities,
        [](CLI::App &, Options &) {}, "Example:\n  ocamp gnmi capabilities --target node-1:9339 --username rita");
    add(
        "get", "Read values of a target once", Rpc::get,
        [](CLI::App &command, Options &options) {
            add_read_place(command, options.place);
            add_word<DataType>(command, "--type", "KIND", options.type,
                               {{"all", DataType::all},
                                {"config", DataType::config},
                                {"state", DataType::state},
                                {"operational", DataType::operational}},
                               "Which values")
                ->default_str("all");
        },
        fmt::format("Example:\n  ocamp gnmi get --target node-1:9339 --username rita --format flat --path "
                    "\"/optical-amplifier/amplifiers/amplifier[name=*]/config/target-gain\"\n{}",
                    path_help));
    add("set", "Change the configuration of a target, all or nothing", Rpc::set, add_changes,
        fmt::format("Example:\n  ocamp gnmi set --target node-1:9339 --username olga --update-value 14.2 --update-path "
                    "\"/optical-amplifier/amplifiers/amplifier[name=0/1-AMP-PRE]/config/target-gain\"\n"
                    "Deletes come first, then union replaces, replaces and updates.\n{}",
                    path_help));
    add(
        "subscribe", "Read values of a target as they change", Rpc::subscribe,
        [](CLI::App &command, Options &options) {
            add_read_place(command, options.place);
            add_subscriptions(command, options.subscriptions);
        },
        fmt::format("Example:\n  ocamp gnmi subscribe --target node-1:9339 --username rita --stream-mode on-change "
                    "--path \"/optical-amplifier/amplifiers/amplifier[name=*]/config/target-gain\"\n"
                    "A stream ends with Ctrl-C. In mode poll each line of standard input asks again, and its end ends "
                    "the reading.\n{}",
                    path_help));
}

} // namespace ocamp::gnmi_client
