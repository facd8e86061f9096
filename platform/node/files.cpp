// How files are looked at, read and brought to the disk.
#include "node/files.h"

#include "node/node.h"
#include "seam/failure.h"

#include <cerrno>
#include <fstream>
#include <sstream>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

#include <fmt/format.h>

namespace ocamp {

namespace fs = std::filesystem;

fs::file_type type_of(const fs::path &path) {
    std::error_code error;
    const fs::file_type type = fs::status(path, error).type();
    if (type != fs::file_type::none)
        return type;
    // A disk that fails is not the fault of who named the path.
    if (is_shortage(error.value()))
        throw std::system_error(error, fmt::format("{}: cannot be looked at", path.string()));
    throw NodeError(fmt::format("{}: {}, expected a path that can be followed", path.string(), error.message()));
}

std::string read_document(const fs::path &file) {
    if (type_of(file) != fs::file_type::regular)
        throw NodeError(fmt::format("{}: not a regular file, expected a document", file.string()));
    errno = 0;
    std::ifstream stream(file, std::ios::binary);
    stream.peek();
    if (stream.eof())
        return {};
    std::ostringstream text;
    if (stream && (text << stream.rdbuf()))
        return text.str();
    // A disk that fails is not the fault of who named the file.
    if (is_shortage(errno))
        throw std::system_error(errno, std::generic_category(), fmt::format("{}: cannot be read", file.string()));
    throw NodeError(fmt::format("{}: cannot be read, expected a document", file.string()));
}

void sync(const fs::path &path, std::string_view failure) {
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0 || fsync(descriptor) != 0) {
        const int error = errno;
        if (descriptor >= 0)
            close(descriptor);
        throw std::system_error(error, std::generic_category(), fmt::format("{}: {}", path.string(), failure));
    }
    close(descriptor);
}

} // namespace ocamp
