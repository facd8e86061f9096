// How files are read and folders are made. Knows nothing of what is in them.
#include "support/files.h"

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <system_error>

namespace support {

namespace fs = std::filesystem;

namespace {

[[noreturn]] void fail(const char *action, const fs::path &path) {
    throw fs::filesystem_error(action, path, std::error_code(errno, std::generic_category()));
}

fs::path new_folder() {
    std::string name = (fs::temp_directory_path() / "ocamp-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr)
        fail("make", name);
    return name;
}

} // namespace

std::string read_file(const fs::path &file) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream)
        fail("read", file);
    std::ostringstream text;
    text << stream.rdbuf();
    return text.str();
}

void write_file(const fs::path &file, const std::string &text) {
    std::ofstream stream(file, std::ios::binary | std::ios::trunc);
    if (!(stream << text).flush())
        fail("write", file);
}

TemporaryFolder::TemporaryFolder() : path_(new_folder()) {}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

} // namespace support
