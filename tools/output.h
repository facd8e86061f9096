// Standard output as commands use it: what could not be written is a failure, and says what was done all the same.
// Knows no command.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include <fmt/format.h>

namespace ocamp {

/// Output that did not get out whole. The text says what was done before, and why it could not be told.
class OutputError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Makes sure that no file which is opened later becomes standard input, output or error. A stream that was closed
/// stays unusable. Before the program opens anything.
void reserve_standard_streams() noexcept;

/// Lets writes to pipes that nobody reads, and writes beyond the file size limit, fail with a code as all others do
/// instead of ending the process.
void let_writes_fail() noexcept;

/// Writes `text` and everything written before it. `done` is what a client must know when that fails, such as "the edit
/// is made"; empty for an answer, which changes nothing. Afterwards nothing can go wrong any
/// more for the one who asked. Throws OutputError.
void finish_output(std::string_view text, std::string_view done);

/// Writes to standard output; it need not be out before finish_output. Throws OutputError.
void write_output(std::string_view text);

/// Lets everything out that was written so far. Throws OutputError.
void flush_output();

/// As write_output, of what fmt::format makes of the arguments.
template <class... Arguments>
void print(fmt::format_string<Arguments...> format, Arguments &&...arguments) {
    write_output(fmt::format(format, std::forward<Arguments>(arguments)...));
}

/// Writes to standard error; what cannot be written is lost.
void write_error(std::string_view text) noexcept;

} // namespace ocamp
