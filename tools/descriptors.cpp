// How descriptors are kept and written. Knows nothing of what is written.
#include "descriptors.h"

#include <cerrno>
#include <cstddef>
#include <cstdlib>

#include <fcntl.h>
#include <unistd.h>

namespace ocamp {

bool occupy_standard_descriptors() noexcept {
    bool output_open = true;
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
        if (fcntl(descriptor, F_GETFD) >= 0 || errno != EBADF)
            continue;
        output_open = output_open && descriptor != STDOUT_FILENO;
        // Open for what nobody does with it. The lowest free number is this one.
        const int opened = open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
        if (opened != descriptor)
            std::_Exit(1); // without it the node would not be safe, and there may be nowhere to say so
    }
    return output_open;
}

bool write_all(int descriptor, std::string_view text) noexcept {
    while (!text.empty()) {
        const ssize_t written = write(descriptor, text.data(), text.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            return false;
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

} // namespace ocamp
