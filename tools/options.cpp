// The options that commands share. Knows no command.
#include "options.h"

#include "command_line.h"
#include "text_io.h"

#include "seam/input_error.h"
#include "seam/text.h"
#include "yang/models.h"

#include <cstdlib>
#include <map>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace ocamp {

namespace {

// An option whose argument is one of the words, and nothing that they stand for.
template <class Meaning>
CLI::Option *add_word_option(CLI::App &command, const std::string &name, Meaning &meaning,
                             const std::map<std::string, Meaning> &words, const std::string &description) {
    const auto check = [words](const std::string &word) -> std::string {
        if (words.count(word) != 0)
            return {};
        std::vector<std::string> known;
        known.reserve(words.size());
        for (const auto &[one, meant] : words)
            known.push_back(one);
        return fmt::format("'{}', expected one of: {}", shortened(word, longest_shown_value), fmt::join(known, ", "));
    };
    return command
        .add_option_function<std::string>(
            name, [&meaning, words](const std::string &word) { meaning = words.at(word); }, description)
        ->check(check, "");
}

} // namespace

void add_node_option(CLI::App &command, std::string &folder) {
    const char *usual = std::getenv("OCAMP_NODE");
    const bool has_usual = usual != nullptr && *usual != '\0';
    if (has_usual)
        folder = usual;
    command.add_option("-n,--node", folder, "Folder of the node, made with 'ocamp node init'; default: OCAMP_NODE")
        ->type_name("DIR")
        ->required(!has_usual);
}

void add_common_options(CLI::App &command, CommonOptions &options, const char *json_description) {
    command.add_flag(json_option, options.json, json_description);
    const char *group = "Plug-in and logs";
    command.add_option("--plugin", options.plugin, "Plug-in to run; default: the one that 'ocamp --version' tells")
        ->type_name("FILE")
        ->group(group);
    command.add_option("--debug-log", options.logs.debug_log, "Append the debug log to FILE, '-' for standard error")
        ->type_name("FILE")
        ->group(group);
    command.add_option("--log-level", options.logs.level, "Highest level in the debug log: 0 errors, 3 traces")
        ->type_name("N")
        ->check(CLI::Range(0, 9))
        ->capture_default_str()
        ->group(group);
    command.add_option("--trace", options.logs.trace, "Append the lightweight trace to FILE, '-' for standard error")
        ->type_name("FILE")
        ->group(group);
}

Filter ReadOptions::filter() const {
    if (!filter_file.empty())
        return named_input(filter_file,
                           [](const std::string &text) { return Filter::from_document(openconfig_schema(), text); });
    return path ? Filter::from_path(openconfig_schema(), *path) : Filter(openconfig_schema());
}

void add_read_options(CLI::App &command, ReadOptions &options) {
    CLI::Option *path = command.add_option(
        "PATH", options.path,
        "Absolute data path to read; keys that are left out or '*' stand for all entries; default: the whole model");
    command.add_option("--filter", options.filter_file, "NETCONF subtree filter to read with, '-' for standard input")
        ->type_name("FILE")
        ->excludes(path);
    command.add_flag("--config", options.configuration_only, "Configuration only, as <get-config> does");
}

EditRequest EditOptions::request() const {
    return named_input(file, [&](const std::string &text) {
        return EditRequest(openconfig_schema(), text, default_operation, StateInEdit::passed_over);
    });
}

void add_edit_options(CLI::App &command, EditOptions &options) {
    const std::map<std::string, DefaultOperation> operations{
        {"merge", DefaultOperation::merge}, {"replace", DefaultOperation::replace}, {"none", DefaultOperation::none}};
    command
        .add_option("FILE", options.file,
                    "NETCONF <config> document, RFC 7951 JSON, or what 'ocamp get' answered; '-' for standard input")
        ->required();
    add_word_option(command, "--default-operation", options.default_operation, operations,
                    "Operation of nodes without one of their own: merge, replace or none")
        ->type_name("OPERATION")
        ->default_str("merge");
}

void add_quiet_option(CLI::App &command, TellOptions &options) {
    command.add_flag("--quiet", options.quiet, "Tell nothing but errors");
}

void add_dry_run_option(CLI::App &command, TellOptions &options) {
    command.add_flag("--dry-run", options.dry_run, "Tell what would change, and change nothing");
}

void add_format_option(CLI::App &command, LYD_FORMAT &format) {
    const std::map<std::string, LYD_FORMAT> formats{{"json", LYD_JSON}, {"xml", LYD_XML}};
    add_word_option(command, "--format", format, formats, "Format of the answer: json or xml")
        ->type_name("FORMAT")
        ->default_str("json");
}

std::optional<int> read_command_line(CLI::App &program, int argc, char **argv) {
    try {
        program.parse(argc, argv);
    } catch (const CLI::Success &help) {
        return program.exit(help);
    } catch (const CLI::Error &error) {
        throw InputError(fmt::format("{}; '{} --help' tells the options", error.what(), program.get_name()));
    }
    return std::nullopt;
}

} // namespace ocamp
