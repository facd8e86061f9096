// How the words of the command line are put in order. Knows no command.
#include "command_line.h"

#include "output.h"

#include "seam/input_error.h"
#include "seam/nearest_word.h"
#include "seam/text.h"

#include <algorithm>
#include <cctype>
#include <sstream>
#include <string_view>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace ocamp {

namespace {

constexpr const char *exit_statuses = "Exit status: 0 done, 1 the request failed, 2 wrong use.";

// A command line that the program's parser takes.
struct CommandLine {
    CLI::App *command;              // the innermost command that is named; the program when none is
    std::vector<std::string> words; // the commands first, then options and arguments in their order
};

// A number below zero is an argument.
bool is_option(std::string_view word) {
    return word.size() > 1 && word.front() == '-' && std::isdigit(static_cast<unsigned char>(word[1])) == 0;
}

// The word as far as it names an option: "--node" of "--node=x", "-n" of "-nx".
std::string option_name(std::string_view word) {
    return std::string(word.starts_with("--") ? word.substr(0, word.find('=')) : word.substr(0, 2));
}

CLI::Option *find_option(CLI::App &application, const std::string &name) {
    if (CLI::Option *own = application.get_option_no_throw(name); own != nullptr)
        return own;
    for (CLI::App *inner : application.get_subcommands(nullptr)) {
        if (CLI::Option *found = find_option(*inner, name); found != nullptr)
            return found;
    }
    return nullptr;
}

void add_option_names(CLI::App &application, std::vector<std::string> &names) {
    for (const CLI::Option *option : application.get_options()) {
        for (const std::string &name : option->get_lnames())
            names.push_back("--" + name);
    }
    for (CLI::App *inner : application.get_subcommands(nullptr))
        add_option_names(*inner, names);
}

// The end of a message about a word that there is not: the nearest one or else `otherwise`, and where to learn more.
std::string hint(const std::optional<std::string> &nearest, const std::string &otherwise, const CLI::App &command) {
    const std::string more = fmt::format("'{} --help' tells more", typed_name(command));
    return nearest ? fmt::format(", did you mean '{}'? {}", *nearest, more) : otherwise + "; " + more;
}

[[noreturn]] void refuse_option(CLI::App &command, const std::string &name) {
    std::vector<std::string> known;
    add_option_names(command, known);
    throw InputError(fmt::format("no option '{}'{}", shortened(name, longest_shown_value),
                                 hint(nearest_word(name, known), "", command)));
}

[[noreturn]] void refuse_command(CLI::App &above, std::string_view word) {
    std::vector<std::string> known;
    for (const CLI::App *command : shown_commands(above))
        known.push_back(command->get_name());
    throw InputError(fmt::format(
        "no command '{}{}'{}", above.get_parent() == nullptr ? "" : above.get_name() + " ",
        shortened(word, longest_shown_value),
        hint(nearest_word(word, known), fmt::format(", expected one of: {}", fmt::join(known, ", ")), above)));
}

// Goes through the words from left to right.
class ArgumentReader {
  public:
    ArgumentReader(CLI::App &program, int argc, const char *const *argv)
        : program_(program), command_(&program), given_(argv + std::min(argc, 1), argv + argc) {}

    CommandLine read() {
        while (at_ < given_.size()) {
            const std::string &word = given_[at_];
            // Another program's words are its own.
            if (word == "--" || command_->get_prefix_command())
                take(given_.size() - at_);
            else if (is_option(word))
                read_option(word);
            else if (command_->get_require_subcommand_min() > 0)
                read_command(word);
            else
                take(1);
        }
        for (const std::string &name : options_) {
            if (!command_->get_prefix_command() && command_->get_option_no_throw(name) == nullptr)
                refuse_option(*command_, name);
        }
        std::vector<std::string> words = commands_;
        words.insert(words.end(), others_.begin(), others_.end());
        return {command_, words};
    }

  private:
    void take(std::size_t count) {
        for (; count > 0 && at_ < given_.size(); --count)
            others_.push_back(given_[at_++]);
    }

    void read_option(const std::string &word) {
        const std::string name = option_name(word);
        const CLI::Option *option = find_option(*command_, name);
        if (option == nullptr)
            refuse_option(*command_, name);
        // What only the program has is asked of the program.
        if (command_ == &program_ && program_.get_option_no_throw(name) != nullptr && name != "--help" &&
            name != "-h") {
            commands_.push_back(word);
            ++at_;
            return;
        }
        options_.push_back(name);
        take(option->get_items_expected_max() > 0 && name == word ? 2 : 1);
    }

    void read_command(const std::string &word) {
        for (CLI::App *inner : command_->get_subcommands(nullptr)) {
            if (inner->get_name() == word) {
                command_ = inner;
                commands_.push_back(word);
                ++at_;
                return;
            }
        }
        refuse_command(*command_, word);
    }

    CLI::App &program_;
    CLI::App *command_;
    std::vector<std::string> given_;
    std::size_t at_ = 0;
    std::vector<std::string> commands_, options_, others_;
};

// An empty argument is most likely a variable that was never set, and never means the default.
void refuse_empty_arguments(CLI::App &command) {
    for (CLI::Option *option : command.get_options()) {
        if (option->get_items_expected_max() == 0)
            continue;
        const auto check = [option](const std::string &argument) {
            return argument.empty() ? "is empty, expected: " + option->get_description() : std::string();
        };
        option->check(check, "");
    }
    for (CLI::App *inner : command.get_subcommands(nullptr))
        refuse_empty_arguments(*inner);
}

void tell_exit_statuses(CLI::App &command) {
    const std::string footer = command.get_footer();
    command.footer(footer.empty() ? exit_statuses : footer + "\n" + exit_statuses);
    for (CLI::App *inner : command.get_subcommands(nullptr))
        tell_exit_statuses(*inner);
}

// What the parser refuses, with what was expected and where to learn more.
[[noreturn]] void refuse(const CLI::Error &error, const CLI::App &command) {
    const std::string_view text = error.what();
    throw InputError(
        fmt::format("{}{}; '{} --help' tells more", text,
                    text == "--node is required" ? ", expected --node DIR or OCAMP_NODE in the environment" : "",
                    typed_name(command)));
}

} // namespace

void run_command_line(CLI::App &program, int argc, const char *const *argv) {
    CommandLine line = ArgumentReader(program, argc, argv).read();
    // The parser takes the last word first.
    std::reverse(line.words.begin(), line.words.end());
    try {
        program.parse(std::move(line.words));
    } catch (const CLI::Success &help) {
        std::ostringstream text;
        program.exit(help, text);
        write_output(text.str());
    } catch (const CLI::Error &error) {
        refuse(error, *line.command);
    }
}

void finish_commands(CLI::App &program) {
    refuse_empty_arguments(program);
    tell_exit_statuses(program);
}

std::string typed_name(const CLI::App &command) {
    return command.get_parent() == nullptr ? command.get_name()
                                           : typed_name(*command.get_parent()) + " " + command.get_name();
}

std::vector<CLI::App *> shown_commands(CLI::App &application) {
    return application.get_subcommands([](const CLI::App *command) { return !command->get_group().empty(); });
}

} // namespace ocamp
