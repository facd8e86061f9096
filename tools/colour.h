// Colours of answers for people: on a terminal, unless the environment or an option says otherwise. Knows no command.
#pragma once

#include <string>
#include <string_view>

#include <CLI/CLI.hpp>

namespace ocamp {

/// When answers are coloured.
enum class ColourUse {
    automatic, ///< on a terminal, unless NO_COLOR is set or TERM says that it has none
    always,
    never
};

/// --color WHEN.
void add_colour_option(CLI::App &command, ColourUse &use);

/// Puts texts into colours, or leaves them as they are.
class Colours {
  public:
    /// Looks at standard output and the environment.
    explicit Colours(ColourUse use);

    bool used() const noexcept { return used_; }
    std::string title(std::string_view text) const { return in("1", text); }
    std::string added(std::string_view text) const { return in("32", text); }
    std::string removed(std::string_view text) const { return in("31", text); }
    std::string changed(std::string_view text) const { return in("33", text); }
    std::string faint(std::string_view text) const { return in("2", text); }

  private:
    std::string in(std::string_view code, std::string_view text) const;

    bool used_;
};

} // namespace ocamp
