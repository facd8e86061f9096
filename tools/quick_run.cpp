// The heap's layout, and the way out. Knows no command.
#include "quick_run.h"

#include "outcome.h"

#include <cstdint>
#include <cstdlib>

#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

namespace ocamp {

namespace {

constexpr std::size_t large_page = 2 << 20;
constexpr int usual_mapping = 128 << 10; // blocks from this size on get memory of their own, not the heap's

std::uintptr_t address(const void *place) noexcept {
    return reinterpret_cast<std::uintptr_t>(place);
}

} // namespace

// The page must be asked for before anything on it is touched, and the heap's own notes lie in front of each block. So
// one block makes the heap grow over the page, and when it is free again, a second one takes what lies in front of the
// page, and is kept: nothing of either is touched.
void put_heap_on_large_page() noexcept {
    const std::uintptr_t end = address(sbrk(0));
    const std::uintptr_t page = (end + large_page - 1) / large_page * large_page;
    mallopt(M_MMAP_THRESHOLD, 4 * large_page);
    mallopt(M_TRIM_THRESHOLD, 4 * large_page);
    void *growth = std::malloc(page - end + 2 * large_page);
    const std::uintptr_t start = address(growth);
    madvise(reinterpret_cast<void *>(page), large_page, MADV_HUGEPAGE);
    std::free(growth);
    if (start < page) {
        [[maybe_unused]] void *volatile in_front = std::malloc(page - start);
    }
    mallopt(M_MMAP_THRESHOLD, usual_mapping);
}

void look_for_time_zone_once() noexcept {
    // The C library's own default, but once it is said, the file is not looked at again.
    setenv("TZ", ":/etc/localtime", 0);
}

void leave_quickly() noexcept {
#ifndef OCAMP_TAKES_APART
    if (const std::optional<int> outcome = told_outcome())
        _exit(*outcome);
#endif
}

} // namespace ocamp
