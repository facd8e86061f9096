// Stands in front of the C library's access() for the whole process, to answer the plug-in's question whether the
// system database is there. Every other path goes on to the kernel; knows nothing of what else is asked.
#include "seam/calls.h"
#include "sysdb/current_system_database.h"

#include <cerrno>
#include <string_view>

#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr std::string_view probe_path = "/pkg/lib/libsysdb.so";

int answer_probe() noexcept {
    ocamp::CurrentSystemDatabase *current = ocamp::CurrentSystemDatabase::current();
    if (current != nullptr && current->database().readable())
        return 0;
    errno = ENOENT;
    return -1;
}

} // namespace

// Named for the linker only: the C library's declaration promises that `path` is never NULL.
extern "C" __attribute__((visibility("default"))) int ocamp_access(const char *path, int mode) noexcept
    __asm__("access");

extern "C" int ocamp_access(const char *path, int mode) noexcept {
    if (path == nullptr) {
        errno = EFAULT;
        return -1;
    }
    if (path != probe_path)
        return faccessat(AT_FDCWD, path, mode, 0);
    const int result = answer_probe();
    const int error = errno;
    ocamp::record_call("access", result, ocamp::Quoted{path}, mode);
    errno = error; // the observer may have touched it
    return result;
}
