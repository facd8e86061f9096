// A library for LD_PRELOAD that fails one call of the C library, or all from one on, as the environment says, and
// counts the calls. Silent and without effect otherwise. Knows nothing of the program that it is in.
#include "fault_shim.h"

#include <cerrno>
#include <cstdarg>
#include <cstdlib>

#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using faults::Call;

constexpr int deepest_stack = 64;

faults::Report *report = nullptr;
std::size_t failing_kind = faults::call_kinds;
std::uint64_t failing_at = 0;
int failing_error = 0;
bool lasting = false;
// Set while the shim itself works in this thread, whose own calls are none of the program's. Lies where access to it
// allocates nothing.
__attribute__((tls_model("initial-exec"))) thread_local bool inside = false;

std::uint64_t number(const char *variable) noexcept {
    const char *text = std::getenv(variable);
    return text == nullptr ? 0 : std::strtoull(text, nullptr, 10);
}

// FNV-1a over the return addresses.
std::uint64_t stack_hash() noexcept {
    void *frames[deepest_stack];
    const int depth = backtrace(frames, deepest_stack);
    std::uint64_t hash = 0xcbf29ce484222325U;
    for (int i = 0; i < depth; ++i)
        hash = (hash ^ reinterpret_cast<std::uintptr_t>(frames[i])) * 0x100000001b3U;
    return hash;
}

// What is no file on a disk does not fail as one does: pipes, sockets, and the like.
Call of_file(int descriptor, Call kind) noexcept {
    struct stat status = {};
    return report != nullptr && fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) ? kind : Call::kinds;
}

// Counts a call, if it is of one of the kinds; true when it is to fail, with errno set.
bool fails(Call kind) noexcept {
    if (report == nullptr || inside || kind == Call::kinds)
        return false;
    const auto index = static_cast<std::size_t>(kind);
    const std::uint64_t nth = __atomic_add_fetch(&report->calls[index], 1, __ATOMIC_RELAXED);
    if (index != failing_kind)
        return false;
    const std::uint64_t at = failing_at != 0 ? failing_at : __atomic_load_n(&report->fail_at, __ATOMIC_RELAXED);
    if (at == 0) {
        if (nth <= faults::most_stacks) {
            inside = true;
            report->stacks[nth - 1] = stack_hash();
            inside = false;
        }
        return false;
    }
    if (nth != at && !(lasting && nth > at))
        return false;
    __atomic_add_fetch(&report->failed, 1, __ATOMIC_RELAXED);
    errno = failing_error;
    return true;
}

__attribute__((constructor)) void begin() noexcept {
    const char *file = std::getenv(faults::report_variable);
    if (file == nullptr)
        return;
    void *frame[1];
    backtrace(frame, 1); // the first call allocates
    failing_kind = number(faults::kind_variable);
    failing_at = number(faults::at_variable);
    failing_error = static_cast<int>(number(faults::error_variable));
    lasting = number(faults::lasting_variable) != 0;
    inside = true;
    const int descriptor = open(file, O_RDWR | O_CLOEXEC);
    inside = false;
    if (descriptor < 0)
        _exit(125);
    void *mapped = mmap(nullptr, sizeof(faults::Report), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    close(descriptor);
    if (mapped == MAP_FAILED)
        _exit(125);
    report = static_cast<faults::Report *>(mapped);
}

// The function that this library stands in front of.
template <class Function>
Function *next(const char *name) noexcept {
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

} // namespace

// The types of each function stand in it once: result, name, what it gives when it fails, parameters, arguments.
#define FAULTS_FUNCTION(kind, result, name, failure, parameters, arguments)                                            \
    __attribute__((visibility("default"))) result name parameters {                                                    \
        static auto *const real = next<result parameters>(#name);                                                      \
        return fails(kind) ? failure : real arguments;                                                                 \
    }

#define FAULTS_OPEN(name)                                                                                              \
    __attribute__((visibility("default"))) int name(const char *path, int flags, ...) {                                \
        static auto *const real = next<int(const char *, int, ...)>(#name);                                            \
        std::va_list more;                                                                                             \
        va_start(more, flags);                                                                                         \
        const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(more, mode_t) : 0;                           \
        va_end(more);                                                                                                  \
        return fails(Call::open) ? -1 : real(path, flags, mode);                                                       \
    }

extern "C" {

FAULTS_FUNCTION(Call::allocate, void *, malloc, nullptr, (size_t size), (size))
FAULTS_FUNCTION(Call::allocate, void *, calloc, nullptr, (size_t count, size_t size), (count, size))
FAULTS_FUNCTION(Call::allocate, void *, realloc, nullptr, (void *old, size_t size), (old, size))
FAULTS_OPEN(open)
FAULTS_OPEN(open64)
// As folders are opened, which makes no file.
FAULTS_FUNCTION(Call::open, int, openat, -1, (int folder, const char *path, int flags, ...), (folder, path, flags))
FAULTS_FUNCTION(Call::make_folder, int, mkdir, -1, (const char *path, mode_t mode), (path, mode))
FAULTS_FUNCTION(of_file(file, Call::read), ssize_t, read, -1, (int file, void *to, size_t size), (file, to, size))
FAULTS_FUNCTION(of_file(file, Call::read), ssize_t, pread, -1, (int file, void *to, size_t size, off_t at),
                (file, to, size, at))
FAULTS_FUNCTION(of_file(file, Call::read), ssize_t, pread64, -1, (int file, void *to, size_t size, off_t at),
                (file, to, size, at))
// Messages get out whatever the disk does.
FAULTS_FUNCTION(file > STDERR_FILENO ? of_file(file, Call::write) : Call::kinds, ssize_t, write, -1,
                (int file, const void *from, size_t size), (file, from, size))
FAULTS_FUNCTION(of_file(file, Call::write), ssize_t, pwrite, -1, (int file, const void *from, size_t size, off_t at),
                (file, from, size, at))
FAULTS_FUNCTION(of_file(file, Call::write), ssize_t, pwrite64, -1, (int file, const void *from, size_t size, off_t at),
                (file, from, size, at))
FAULTS_FUNCTION(Call::sync, int, fsync, -1, (int file), (file))
FAULTS_FUNCTION(Call::sync, int, fdatasync, -1, (int file), (file))
FAULTS_FUNCTION(Call::rename, int, rename, -1, (const char *from, const char *to), (from, to))
FAULTS_FUNCTION(Call::rename, int, renameat2, -1,
                (int from_folder, const char *from, int to_folder, const char *to, unsigned flags),
                (from_folder, from, to_folder, to, flags))
FAULTS_FUNCTION(Call::unlink, int, unlink, -1, (const char *path), (path))
FAULTS_FUNCTION(Call::unlink, int, remove, -1, (const char *path), (path))

} // extern "C"
