// How the report is mapped. Knows no program.
#include "shim_report.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace faults {

namespace {

Report *mapped(const std::filesystem::path &file) {
    const auto fail = [&](const char *what) {
        throw std::filesystem::filesystem_error(what, file, std::error_code(errno, std::generic_category()));
    };
    const int descriptor = open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (descriptor < 0 || ftruncate(descriptor, sizeof(Report)) != 0)
        fail("report");
    void *memory = mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    close(descriptor);
    if (memory == MAP_FAILED)
        fail("mmap");
    return static_cast<Report *>(memory);
}

} // namespace

ShimReport::ShimReport(const std::filesystem::path &file) : file_(file), report_(mapped(file)) {}

ShimReport::~ShimReport() {
    munmap(report_, sizeof(Report));
}

std::uint64_t ShimReport::calls(Call kind) const {
    return __atomic_load_n(&report_->calls[static_cast<std::size_t>(kind)], __ATOMIC_RELAXED);
}

void ShimReport::fail_after(Call kind, std::uint64_t calls) const {
    __atomic_store_n(&report_->fail_at, calls == 0 ? 0 : this->calls(kind) + calls, __ATOMIC_RELAXED);
}

std::vector<std::string> ShimReport::environment(const Fault &fault, std::uint64_t at) const {
    const auto variable = [](const char *name, std::uint64_t value) {
        return std::string(name) + "=" + std::to_string(value);
    };
    return {// A name without folder: blanks would end a path there.
            "LD_PRELOAD=" FAULT_SHIM_NAME,
            "LD_LIBRARY_PATH=" FAULT_SHIM_FOLDER,
            std::string(report_variable) + "=" + file_.string(),
            variable(kind_variable, static_cast<std::uint64_t>(fault.kind)),
            variable(at_variable, at),
            variable(error_variable, std::uint64_t(fault.error)),
            variable(lasting_variable, fault.lasting ? 1 : 0)};
}

} // namespace faults
