// The fault shim as a runner sees it: its report, and what makes a program run with it. Knows no program.
#pragma once

#include "fault_shim.h"

#include <filesystem>
#include <string>
#include <vector>

namespace faults {

/// A kind of call that fails, and how.
struct Fault {
    Call kind;
    int error;
    bool lasting; ///< all later calls of the kind fail too
};

/// A report in a file of its own.
class ShimReport {
  public:
    /// Makes the file, or maps the one that is there. Throws std::filesystem::filesystem_error.
    explicit ShimReport(const std::filesystem::path &file);
    ~ShimReport();
    ShimReport(const ShimReport &) = delete;
    ShimReport &operator=(const ShimReport &) = delete;

    Report &operator*() const { return *report_; }
    Report *operator->() const { return report_; }

    /// Calls of the kind so far. A program may be making more meanwhile.
    std::uint64_t calls(Call kind) const;
    /// From now on the call fails that comes so many of its kind after this one; 0: none fails.
    void fail_after(Call kind, std::uint64_t calls) const;

    /// What a program is started with. `at`: which call fails; 0: the one that the report tells.
    std::vector<std::string> environment(const Fault &fault, std::uint64_t at) const;

  private:
    std::filesystem::path file_;
    Report *report_;
};

} // namespace faults
