// The loaded plug-in and how its walkers are found: by the name formed from a module and a root node. Knows nothing of
// what they do.
#pragma once

#include "seam/input_error.h"
#include "yfw_platform.h"

#include <memory>
#include <mutex>
#include <string>
#include <string_view>

namespace ocamp {

/// A plug-in that cannot be loaded, or lacks what every plug-in has. The text names the file and the reason.
class PluginError : public InputError {
  public:
    using InputError::InputError;
};

/// `in` is written only where the seam says so.
using Walker = cerrno (*)(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out);

/// The shared library; it is unloaded when this ends.
class Plugin {
  public:
    /// Where the plug-in lies when none is named, the first that is there: ../lib seen from the program's folder (a
    /// build tree), the installed plug-in's folder seen from there (an installed tree, wherever it was moved to), and
    /// the folder that the build was configured with. Throws PluginError when it is in none of them.
    static std::string default_file();

    /// Throws PluginError.
    explicit Plugin(const std::string &file);

    /// Walker that maps requests on the OpenConfig module to native ones. Throws PluginError when there is none.
    Walker to_native(std::string_view module, std::string_view root) const;
    /// Walker that maps data of the native module to OpenConfig. NULL when the plug-in does not map that module.
    Walker to_openconfig(std::string_view module, std::string_view root) const;

  private:
    struct Close {
        void operator()(void *library) const noexcept;
    };
    Walker find(const std::string &name) const;

    std::string file_;
    std::unique_ptr<void, Close> library_;
};

/// The plug-in keeps texts between the calls of one walk: who walks holds this, whichever thread and node it works for.
std::unique_lock<std::mutex> turn_to_walk();

/// Name of a walker's symbol: `direction`, then module and root in lower case without hyphens and underscores.
std::string walker_name(std::string_view direction, std::string_view module, std::string_view root);

} // namespace ocamp
