// A library for LD_PRELOAD that notes what a program writes below one folder, and what it has written to the disk.
// Changes nothing. Knows nothing of the program that it is in.
#include "power_log.h"

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

namespace {

using power::Action;

int log_file = -1;
char folder[PATH_MAX];

__attribute__((constructor)) void begin() noexcept {
    const char *wanted = std::getenv(power::folder_variable);
    const char *log = std::getenv(power::log_variable);
    if (wanted == nullptr || log == nullptr)
        return;
    if (realpath(wanted, folder) == nullptr)
        _exit(125);
    log_file = open(log, O_WRONLY | O_APPEND | O_CLOEXEC);
    if (log_file < 0)
        _exit(125);
}

// The function that this library stands in front of.
template <class Function>
Function *next(const char *name) noexcept {
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

// The name below the folder, "" for the folder itself; NULL for what is elsewhere. `path` is absolute.
const char *name_in_folder(const char *path) noexcept {
    const std::size_t length = std::strlen(folder);
    if (std::strncmp(path, folder, length) != 0 || (path[length] != '/' && path[length] != '\0'))
        return nullptr;
    return path[length] == '/' ? path + length + 1 : path + length;
}

// What a call left in errno stays there, whatever is noted of it.
class KeptError {
  public:
    ~KeptError() { errno = error_; }

  private:
    int error_ = errno;
};

void note(Action action, const char *path, std::uint64_t at = 0, const void *data = nullptr,
          std::size_t size = 0) noexcept {
    const char *name = name_in_folder(path);
    if (log_file < 0 || name == nullptr)
        return;
    const KeptError kept;
    const power::Record record{action, static_cast<std::uint32_t>(std::strlen(name)), at, size};
    const iovec parts[] = {{const_cast<power::Record *>(&record), sizeof record},
                           {const_cast<char *>(name), record.name_size},
                           {const_cast<void *>(data), size}};
    if (writev(log_file, parts, 3) != static_cast<ssize_t>(sizeof record + record.name_size + size))
        _exit(125);
}

// The absolute form of a path whose folder is there.
struct Path {
    char text[2 * PATH_MAX];

    explicit Path(const char *path) noexcept {
        const KeptError kept;
        const char *slash = std::strrchr(path, '/');
        char above[PATH_MAX] = ".";
        if (slash != nullptr)
            std::snprintf(above, sizeof above, "%.*s", static_cast<int>(slash == path ? 1 : slash - path), path);
        char absolute[PATH_MAX] = "";
        if (realpath(above, absolute) == nullptr)
            absolute[0] = '\0';
        std::snprintf(text, sizeof text, "%s/%s", absolute, slash != nullptr ? slash + 1 : path);
    }
    explicit Path(int file) noexcept {
        const KeptError kept;
        char link[64];
        std::snprintf(link, sizeof link, "/proc/self/fd/%d", file);
        const ssize_t length = readlink(link, text, sizeof text - 1);
        text[length < 0 ? 0 : length] = '\0';
    }
};

bool exists(const char *path) noexcept {
    const KeptError kept;
    struct stat status = {};
    return lstat(path, &status) == 0;
}

void note_opened(const char *path, int flags, bool existed) noexcept {
    if ((flags & O_CREAT) != 0 && !existed)
        note(Action::make_file, Path(path).text);
    else if ((flags & O_TRUNC) != 0)
        note(Action::truncate, Path(path).text);
}

} // namespace

#define POWER_EXPORT extern "C" __attribute__((visibility("default")))

#define POWER_OPEN(name)                                                                                               \
    POWER_EXPORT int name(const char *path, int flags, ...) {                                                          \
        static auto *const real = next<int(const char *, int, ...)>(#name);                                            \
        std::va_list more;                                                                                             \
        va_start(more, flags);                                                                                         \
        const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(more, mode_t) : 0;                           \
        va_end(more);                                                                                                  \
        const bool existed = exists(path);                                                                             \
        const int file = real(path, flags, mode);                                                                      \
        if (file >= 0)                                                                                                 \
            note_opened(path, flags, existed);                                                                         \
        return file;                                                                                                   \
    }
POWER_OPEN(open)
POWER_OPEN(open64)

#define POWER_WRITE_AT(name)                                                                                           \
    POWER_EXPORT ssize_t name(int file, const void *from, size_t size, off_t at) {                                     \
        static auto *const real = next<ssize_t(int, const void *, size_t, off_t)>(#name);                              \
        const ssize_t written = real(file, from, size, at);                                                            \
        if (written > 0)                                                                                               \
            note(Action::write, Path(file).text, static_cast<std::uint64_t>(at), from, static_cast<size_t>(written));  \
        return written;                                                                                                \
    }
POWER_WRITE_AT(pwrite)
POWER_WRITE_AT(pwrite64)

POWER_EXPORT ssize_t write(int file, const void *from, size_t size) {
    static auto *const real = next<ssize_t(int, const void *, size_t)>("write");
    const ssize_t written = real(file, from, size);
    if (written > 0 && log_file >= 0 && name_in_folder(Path(file).text) != nullptr) {
        const off_t end = lseek(file, 0, SEEK_CUR);
        note(Action::write, Path(file).text, static_cast<std::uint64_t>(end - written), from,
             static_cast<size_t>(written));
    }
    return written;
}

#define POWER_TRUNCATE(name)                                                                                           \
    POWER_EXPORT int name(int file, off_t size) {                                                                      \
        static auto *const real = next<int(int, off_t)>(#name);                                                        \
        const int result = real(file, size);                                                                           \
        if (result == 0)                                                                                               \
            note(Action::truncate, Path(file).text, static_cast<std::uint64_t>(size));                                 \
        return result;                                                                                                 \
    }
POWER_TRUNCATE(ftruncate)
POWER_TRUNCATE(ftruncate64)

#define POWER_SYNC(name)                                                                                               \
    POWER_EXPORT int name(int file) {                                                                                  \
        static auto *const real = next<int(int)>(#name);                                                               \
        const int result = real(file);                                                                                 \
        if (result == 0)                                                                                               \
            note(Action::sync, Path(file).text);                                                                       \
        return result;                                                                                                 \
    }
POWER_SYNC(fsync)
POWER_SYNC(fdatasync)

#define POWER_UNLINK(name)                                                                                             \
    POWER_EXPORT int name(const char *path) {                                                                          \
        static auto *const real = next<int(const char *)>(#name);                                                      \
        const Path noted(path);                                                                                        \
        const int result = real(path);                                                                                 \
        if (result == 0)                                                                                               \
            note(Action::unlink, noted.text);                                                                          \
        return result;                                                                                                 \
    }
POWER_UNLINK(unlink)
POWER_UNLINK(remove)

POWER_EXPORT int mkdir(const char *path, mode_t mode) {
    static auto *const real = next<int(const char *, mode_t)>("mkdir");
    const int result = real(path, mode);
    if (result == 0)
        note(Action::make_folder, Path(path).text);
    return result;
}

namespace {

void note_renamed(const char *from, const char *to) noexcept {
    const Path noted(to);
    const char *name = name_in_folder(noted.text);
    if (name != nullptr)
        note(Action::rename, Path(from).text, 0, name, std::strlen(name));
}

} // namespace

POWER_EXPORT int rename(const char *from, const char *to) {
    static auto *const real = next<int(const char *, const char *)>("rename");
    const int result = real(from, to);
    if (result == 0)
        note_renamed(from, to);
    return result;
}

POWER_EXPORT int renameat2(int from_folder, const char *from, int to_folder, const char *to, unsigned flags) {
    static auto *const real = next<int(int, const char *, int, const char *, unsigned)>("renameat2");
    const int result = real(from_folder, from, to_folder, to, flags);
    if (result == 0)
        note_renamed(from, to);
    return result;
}
