// How files are read and written. Knows nothing of what is in them.
#include "text_io.h"

#include "output.h"

#include "seam/failure.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

#include <fmt/format.h>

namespace ocamp {

namespace {

// Closes what was opened for a file; standard input stays.
class CloseLater {
  public:
    explicit CloseLater(int descriptor) noexcept : descriptor_(descriptor) {}
    ~CloseLater() {
        if (descriptor_ > STDERR_FILENO)
            close(descriptor_);
    }
    CloseLater(const CloseLater &) = delete;
    CloseLater &operator=(const CloseLater &) = delete;

  private:
    int descriptor_;
};

// Whoever named a file that is not there, or not his to read, used the command wrongly; a disk that fails is none of
// his doing.
[[noreturn]] void refuse_input(const std::string &file, int error) {
    const std::string text =
        fmt::format("{}: {}, expected a file that can be read", input_name(file), std::strerror(error));
    if (is_shortage(error))
        throw std::runtime_error(text);
    throw InputError(text);
}

} // namespace

std::string input_name(const std::string &file) {
    return file == "-" ? "standard input" : file;
}

std::string read_input(const std::string &file) {
    const int descriptor = file == "-" ? STDIN_FILENO : open(file.c_str(), O_RDONLY | O_CLOEXEC);
    const CloseLater close_later(descriptor);
    std::string text;
    std::array<char, 65536> part;
    ssize_t got = -1;
    while (descriptor >= 0 && ((got = read(descriptor, part.data(), part.size())) > 0 || (got < 0 && errno == EINTR)))
        text.append(part.data(), static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    if (got < 0)
        refuse_input(file, errno);
    return text;
}

void write_file(const std::string &file, const std::string &text) {
    if (file == "-") {
        write_output(text);
        return;
    }
    const int descriptor = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    const CloseLater close_later(descriptor);
    std::string_view rest = text;
    ssize_t written = descriptor;
    while (written >= 0 && !rest.empty()) {
        written = write(descriptor, rest.data(), rest.size());
        if (written < 0 && errno == EINTR)
            written = 0;
        rest.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
    }
    if (written >= 0)
        return;
    const std::string reason = fmt::format("{}: {}", file, std::strerror(errno));
    if (descriptor >= 0 || is_shortage(errno))
        throw std::runtime_error(reason + ", could not be written");
    throw InputError(reason + ", expected a file that can be written");
}

} // namespace ocamp
