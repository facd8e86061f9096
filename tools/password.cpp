// How passwords are read. Knows nothing of users.
#include "password.h"

#include "output.h"

#include "seam/input_error.h"

#include <iostream>

#include <termios.h>
#include <unistd.h>

namespace ocamp {

namespace {

// The terminal does not show what is typed.
class HiddenTyping {
  public:
    HiddenTyping() noexcept {
        tcgetattr(STDIN_FILENO, &before_);
        termios hidden = before_;
        hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        hidden.c_lflag |= ECHONL;
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &hidden);
    }
    ~HiddenTyping() { tcsetattr(STDIN_FILENO, TCSAFLUSH, &before_); }
    HiddenTyping(const HiddenTyping &) = delete;
    HiddenTyping &operator=(const HiddenTyping &) = delete;

  private:
    termios before_{};
};

} // namespace

std::string read_password_line() {
    std::string line;
    std::getline(std::cin, line);
    if (std::cin.bad() || (std::cin.eof() && line.empty()))
        throw InputError("standard input: no password, expected one line");
    if (line.ends_with('\r'))
        line.pop_back();
    return line;
}

std::string ask_password(std::string_view prompt) {
    write_error(prompt);
    const HiddenTyping hidden;
    return read_password_line();
}

} // namespace ocamp
