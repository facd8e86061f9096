// How one program becomes another. Knows none of them.
#include "other_program.h"

#include "seam/input_error.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

#include <unistd.h>

#include <fmt/format.h>

namespace ocamp {

void become_program(const std::string &name, std::string_view what, std::vector<std::string> arguments) {
    std::error_code error;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
    const std::string file = (program.parent_path() / name).string();
    arguments.insert(arguments.begin(), name);
    std::vector<char *> words;
    for (std::string &argument : arguments)
        words.push_back(argument.data());
    words.push_back(nullptr);
    execv(file.c_str(), words.data());
    throw InputError(fmt::format("{}: {}, expected {} beside this program", file, std::strerror(errno), what));
}

} // namespace ocamp
