// ocamp serve: becomes the server, a program of its own. Knows none of its options.
#include "become_server.h"
#include "options.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <vector>

#include <unistd.h>

#include <fmt/format.h>

namespace ocamp {

namespace {

constexpr std::string_view server_name = "ocampd";

std::string server_beside_this_program() {
    std::error_code error;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
    return (program.parent_path() / server_name).string();
}

} // namespace

void become_server(std::vector<std::string> arguments) {
    const std::string file = server_beside_this_program();
    arguments.insert(arguments.begin(), std::string(server_name));
    std::vector<char *> words;
    for (std::string &argument : arguments)
        words.push_back(argument.data());
    words.push_back(nullptr);
    execv(file.c_str(), words.data());
    throw InputError(fmt::format("{}: {}, expected the server beside this program", file, std::strerror(errno)));
}

void add_serve_command(CLI::App &program) {
    CLI::App &command =
        *program.add_subcommand("serve", "Serve a node to network clients; 'ocamp serve --help' tells how");
    command.prefix_command();
    command.set_help_flag();
    command.footer(
        "'ocamp serve --help' tells the options; docs/server.md of the sources tells how the server is run.");
    command.callback([&command] { become_server(command.remaining()); });
}

} // namespace ocamp
