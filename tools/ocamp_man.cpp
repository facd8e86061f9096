// Writes the man pages: that of the program, out of a text with gaps, and one for each command out of its help. Knows
// no command.
#include "command_line.h"
#include "program.h"
#include "text_io.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace {

using namespace ocamp;

// Text as the formatter takes it: minus signs and backslashes as they are typed, no line that begins with a request.
std::string troff(std::string_view text) {
    std::string result;
    bool line_begins = true;
    for (const char character : text) {
        if (line_begins && (character == '.' || character == '\''))
            result += "\\&";
        line_begins = character == '\n';
        if (character == '-')
            result += "\\-";
        else if (character == '\\')
            result += "\\e";
        else if (character == '\'')
            result += "\\(aq";
        else
            result += character;
    }
    return result;
}

std::string page_name(const CLI::App &command) {
    std::string name = typed_name(command);
    std::replace(name.begin(), name.end(), ' ', '-');
    return name;
}

// Commands that do something themselves, in the order of the help.
void add_leaves(CLI::App &command, std::vector<CLI::App *> &leaves) {
    const std::vector<CLI::App *> inner = shown_commands(command);
    if (inner.empty())
        leaves.push_back(&command);
    for (CLI::App *one : inner)
        add_leaves(*one, leaves);
}

// The word for the value; what it may be stands behind a colon.
std::string value_of(const CLI::Option &option) {
    if (option.get_items_expected_max() == 0)
        return {};
    const std::string type = option.get_type_name();
    return fmt::format(" \\fI{}\\fR", troff(type.substr(0, type.find(':'))));
}

std::string names_of(const CLI::Option &option) {
    std::vector<std::string> names;
    for (const std::string &name : option.get_snames())
        names.push_back(fmt::format("\\fB\\-{}\\fR", troff(name)));
    for (const std::string &name : option.get_lnames())
        names.push_back(fmt::format("\\fB\\-\\-{}\\fR", troff(name)));
    return fmt::format("{}{}", fmt::join(names, ", "), value_of(option));
}

std::string default_of(const CLI::Option &option) {
    const std::string text = option.get_default_str();
    return text.empty() ? "" : fmt::format(" Default: {}.", troff(text));
}

std::string synopsis(CLI::App &command) {
    std::string text = fmt::format("\\fB{}\\fR", troff(typed_name(command)));
    for (const CLI::Option *option : command.get_options()) {
        if (option->nonpositional() && option->get_required())
            text += " " + names_of(*option);
    }
    text += " [\\fIoptions\\fR]";
    for (const CLI::Option *option : command.get_options()) {
        if (!option->get_positional())
            continue;
        const std::string name = fmt::format("\\fI{}\\fR", troff(option->get_name(true)));
        text += option->get_required() ? " " + name : fmt::format(" [{}]", name);
    }
    return text;
}

std::string options_of(CLI::App &command, bool positional) {
    std::string text;
    for (const CLI::Option *option : command.get_options()) {
        if (option->get_positional() != positional)
            continue;
        const std::string name =
            positional ? fmt::format("\\fI{}\\fR", troff(option->get_name(true))) : names_of(*option);
        text += fmt::format(".TP\n{}\n{}.{}\n", name, troff(option->get_description()), default_of(*option));
    }
    return text;
}

std::string head(const std::string &name, std::string_view description, const std::string &version) {
    std::string upper = name;
    std::transform(upper.begin(), upper.end(), upper.begin(),
                   [](unsigned char character) { return static_cast<char>(std::toupper(character)); });
    return fmt::format(
        ".\\\" Made from the help of the command; do not edit.\n.TH {} 1 \"\" \"oc-amplifier {}\" \"User "
        "Commands\"\n.SH NAME\n{} \\- {}\n",
        troff(upper), version, troff(name), troff(description));
}

std::string command_page(CLI::App &command, const std::string &version) {
    std::string page = head(page_name(command), command.get_description(), version);
    page += fmt::format(".SH SYNOPSIS\n{}\n", synopsis(command));
    if (const std::string arguments = options_of(command, true); !arguments.empty())
        page += ".SH ARGUMENTS\n" + arguments;
    if (const std::string options = options_of(command, false); !options.empty())
        page += ".SH OPTIONS\n" + options;
    page += fmt::format(".SH NOTES\n.nf\n{}\n.fi\n", troff(command.get_footer()));
    return page + ".SH SEE ALSO\n.BR ocamp (1),\n.BR ocamp\\-node (5)\n";
}

std::string command_list(const std::vector<CLI::App *> &leaves) {
    std::string text;
    for (const CLI::App *command : leaves)
        text += fmt::format(".TP\n.BR {} (1)\n{}.\n", troff(page_name(*command)), troff(command->get_description()));
    return text;
}

// The text with each line that is a gap replaced.
std::string filled(const std::string &text, std::string_view gap, const std::string &content) {
    const std::size_t at = text.find(gap);
    if (at == std::string::npos)
        throw std::runtime_error(fmt::format("the text has no line {}", gap));
    return text.substr(0, at) + content + text.substr(at + gap.size());
}

void write_pages(const std::string &folder, const std::string &text_file, const std::string &version) {
    CLI::App program("", "ocamp");
    CommonOptions common;
    add_commands(program, common);
    std::vector<CLI::App *> leaves;
    add_leaves(program, leaves);
    for (CLI::App *command : leaves)
        write_file(fmt::format("{}/{}.1", folder, page_name(*command)), command_page(*command, version));
    write_file(folder + "/ocamp.1", filled(read_input(text_file), ".\\\" COMMANDS\n", command_list(leaves)));
}

} // namespace

int main(int argc, char **argv) {
    constexpr int argument_count = 4;
    if (argc != argument_count) {
        std::fputs("ocamp-man: expected: FOLDER TEXT VERSION\n", stderr);
        return 2;
    }
    try {
        write_pages(argv[1], argv[2], argv[3]);
        return 0;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "ocamp-man: %s\n", error.what());
        return 1;
    }
}
