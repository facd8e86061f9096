// What ocamp does when memory runs out. Being linked in is all it takes. Knows no command.
//
// This project's code gets std::bad_alloc, and SQLite an error: the request fails with its message, and the node is as
// before. Other C libraries do not check every allocation. Among them is libyang, which crashes at some places and at
// others leaves a part out of a text without a word. So an allocation of theirs that fails ends the process here, with
// a message and status 1, before anything can be made of it; what is not committed then is rolled back by whoever opens
// the node next, and a node that was being made is taken away.
#include "outcome.h"

#include "node/unfinished_node.h"

#include <cstdlib>
#include <exception>
#include <new>
#include <optional>
#include <string_view>

#include <dlfcn.h>
#include <sqlite3.h>
#include <unistd.h>

namespace {

constexpr int failed_status = 1;

bool allocation_failed = false; // of C++

[[noreturn]] void end_process() noexcept {
    if (const std::optional<int> outcome = ocamp::told_outcome())
        _exit(*outcome);
    ocamp::unfinished_node::remove_file();
    ocamp::unfinished_node::remove_folder();
    constexpr std::string_view message = "ocamp: out of memory\n";
    // There is nobody left to tell that nobody could be told.
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, message.data(), message.size());
    _exit(failed_status);
}

// A function of the C library behind the one of this file.
template <class Function>
Function *next(const char *name) noexcept {
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

// As the C library does it: NULL when there is no memory.
void *allocate(std::size_t size) noexcept {
    static auto *const real = next<void *(std::size_t)>("malloc");
    return real(size);
}
void *reallocate(void *block, std::size_t size) noexcept {
    static auto *const real = next<void *(void *, std::size_t)>("realloc");
    return real(block, size);
}

// Before main, and in functions that promise not to throw, std::bad_alloc has no handler. The C++ library does not
// always tell which exception it is that has none.
[[noreturn]] void terminate() noexcept {
    if (allocation_failed)
        end_process();
    std::abort();
}

// Lets SQLite see the allocations that fail: its own methods for the C library's heap, without the ending of the
// process, and past the heap of the sanitizers, which would not know its blocks.
void let_sqlite_run_out_of_memory() noexcept {
    constexpr int rounding = 8;
    static const sqlite3_mem_methods methods{
        .xMalloc = [](int size) { return allocate(static_cast<std::size_t>(size)); },
        .xFree =
            [](void *block) {
                static auto *const real = next<void(void *)>("free");
                real(block);
            },
        .xRealloc = [](void *block, int size) { return reallocate(block, static_cast<std::size_t>(size)); },
        .xSize =
            [](void *block) {
                static auto *const real = next<std::size_t(void *)>("malloc_usable_size");
                return static_cast<int>(real(block));
            },
        .xRoundup = [](int size) { return (size + rounding - 1) / rounding * rounding; },
        .xInit = [](void *) { return SQLITE_OK; },
        .xShutdown = [](void *) {},
        .pAppData = nullptr};
    sqlite3_config(SQLITE_CONFIG_MALLOC, &methods);
    // Nobody asks how much it holds, and it would ask for the size of every block.
    sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
}

struct Preparation {
    Preparation() noexcept {
        std::set_terminate(terminate);
        let_sqlite_run_out_of_memory();
    }
};
// Before the constructors of all other static objects.
[[gnu::init_priority(101)]] const Preparation preparation;

} // namespace

// The sanitizers bring an allocator of their own, and end the process themselves when memory runs out.
#ifndef OCAMP_SANITIZE

// What the C libraries of this process allocate with.
extern "C" {

void *malloc(std::size_t size) {
    void *block = allocate(size);
    if (block == nullptr)
        end_process();
    return block;
}

void *calloc(std::size_t count, std::size_t size) {
    static auto *const real = next<void *(std::size_t, std::size_t)>("calloc");
    void *block = real(count, size);
    if (block == nullptr)
        end_process();
    return block;
}

void *realloc(void *old, std::size_t size) {
    void *block = reallocate(old, size);
    // A size of 0 frees and gives NULL.
    if (block == nullptr && size != 0)
        end_process();
    return block;
}

} // extern "C"

// What C++ allocates with. The other forms call this one, and the library's operator delete calls free().
// NOLINTNEXTLINE(cert-dcl54-cpp): for that reason
void *operator new(std::size_t size) {
    void *block = allocate(size != 0 ? size : 1);
    if (block == nullptr) {
        allocation_failed = true;
        throw std::bad_alloc();
    }
    return block;
}

#endif
