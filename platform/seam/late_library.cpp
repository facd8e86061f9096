// How libraries are loaded and searched. Knows none.
#include "seam/late_library.h"

#include <stdexcept>

#include <dlfcn.h>

#include <fmt/format.h>

namespace ocamp {

namespace {

void *there(void *found) {
    if (found == nullptr)
        throw std::runtime_error(fmt::format("a library of the system: {}", dlerror()));
    return found;
}

} // namespace

LateLibrary::LateLibrary(const char *file) : library_(there(dlopen(file, RTLD_NOW | RTLD_LOCAL))) {}

void *LateLibrary::address_of(const char *name) const {
    return there(dlsym(library_, name));
}

} // namespace ocamp
