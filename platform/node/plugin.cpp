// How the plug-in is loaded and searched. Knows nothing of what its walkers do.
#include "node/plugin.h"

#include "seam/failure.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <new>
#include <system_error>
#include <vector>

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <fmt/format.h>

namespace ocamp {

namespace {

constexpr std::string_view to_native_prefix = "ymap_ox_oc_opt_ampli_";
constexpr std::string_view to_openconfig_prefix = "ymap_xo_oc_opt_amp_";

std::string squeezed(std::string_view words) {
    std::string text;
    for (const char character : words) {
        if (character >= 'A' && character <= 'Z')
            text += static_cast<char>(character - 'A' + 'a');
        else if ((character >= 'a' && character <= 'z') || (character >= '0' && character <= '9'))
            text += character;
    }
    return text;
}

// The loader tells by a text alone why it could not open the file.
void refuse_shortage(const std::string &file) {
    const int descriptor = open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor >= 0)
        close(descriptor);
    else if (is_shortage(errno))
        throw std::system_error(errno, std::generic_category(), fmt::format("plug-in {}", file));
}

} // namespace

std::string walker_name(std::string_view direction, std::string_view module, std::string_view root) {
    return fmt::format("{}{}_lvla_{}", direction, squeezed(module), squeezed(root));
}

std::string Plugin::default_file() {
    namespace fs = std::filesystem;
    const std::string_view file = "liboc-amplifier.so";
    std::vector<fs::path> folders;
    std::error_code error;
    // Without /proc only the folder that was configured is left.
    if (const fs::path program = fs::read_symlink("/proc/self/exe", error); !error)
        folders = {program.parent_path() / "../lib", program.parent_path() / OCAMP_PLUGIN_FROM_PROGRAM};
    folders.emplace_back(OCAMP_PLUGIN_FOLDER);
    for (const fs::path &folder : folders) {
        if (fs::exists(folder / file, error))
            return (folder / file).lexically_normal().string();
    }
    throw PluginError(
        fmt::format("no plug-in {} beside the program or in {}, expected --plugin FILE", file, OCAMP_PLUGIN_FOLDER));
}

std::unique_lock<std::mutex> turn_to_walk() {
    static std::mutex mutex;
    return std::unique_lock(mutex);
}

Plugin::Plugin(const std::string &file) : file_(file) {
    std::error_code error;
    const std::filesystem::file_type type = std::filesystem::status(file, error).type();
    // The loader would wait for whoever writes into a pipe.
    if (type != std::filesystem::file_type::regular)
        throw PluginError(fmt::format("plug-in {}: {}, expected the shared library of the plug-in", file,
                                      type == std::filesystem::file_type::not_found ? "no such file"
                                      : type == std::filesystem::file_type::none    ? error.message()
                                                                                    : "not a regular file"));
    refuse_shortage(file);
    // A name without slash would be searched for elsewhere.
    const bool has_slash = file.find('/') != std::string::npos;
    library_.reset(dlopen(has_slash ? file.c_str() : ("./" + file).c_str(), RTLD_NOW | RTLD_LOCAL));
    if (library_ != nullptr)
        return;
    const std::string reason = dlerror();
    if (reason.ends_with(std::strerror(ENOMEM)) || reason.find("failed to map segment") != std::string::npos)
        throw std::bad_alloc();
    throw PluginError(fmt::format("plug-in {}: {}", file, reason));
}

void Plugin::Close::operator()(void *library) const noexcept {
    dlclose(library);
}

Walker Plugin::find(const std::string &name) const {
    return reinterpret_cast<Walker>(dlsym(library_.get(), name.c_str()));
}

Walker Plugin::to_native(std::string_view module, std::string_view root) const {
    const std::string name = walker_name(to_native_prefix, module, root);
    const Walker walker = find(name);
    if (walker == nullptr)
        throw PluginError(fmt::format("plug-in {}: does not export {}", file_, name));
    return walker;
}

Walker Plugin::to_openconfig(std::string_view module, std::string_view root) const {
    return find(walker_name(to_openconfig_prefix, module, root));
}

} // namespace ocamp
