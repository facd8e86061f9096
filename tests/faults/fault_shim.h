// How the fault shim is told what to fail, and how it tells what it saw. Shared by the shim and its runner.
#pragma once

#include <cstddef>
#include <cstdint>

namespace faults {

/// Kinds of calls that can fail, in the order of Report::calls.
enum class Call : std::size_t { allocate, open, make_folder, read, write, sync, rename, unlink, kinds };
inline constexpr std::size_t call_kinds = static_cast<std::size_t>(Call::kinds);

/// Environment variables of the shim. Without the first it does nothing at all.
inline constexpr const char *report_variable = "FAULTS_REPORT";   ///< file of sizeof(Report) bytes to write to
inline constexpr const char *kind_variable = "FAULTS_KIND";       ///< number of the kind of call to fail
inline constexpr const char *at_variable = "FAULTS_AT";           ///< which of them fails, from 1; 0: as told later
inline constexpr const char *error_variable = "FAULTS_ERROR";     ///< the errno that it fails with
inline constexpr const char *lasting_variable = "FAULTS_LASTING"; ///< 1: every later call of the kind fails too

inline constexpr std::size_t most_stacks = std::size_t{1} << 20;

/// What the shim saw, written as it happens, so that it is there however the program ends. The program may have
/// threads; the runner may look, and write to fail_at, while it runs.
struct Report {
    std::uint64_t fail_at;           ///< which call of the kind fails, when the environment does not say; 0: none yet
    std::uint64_t calls[call_kinds]; ///< made of each kind
    std::uint64_t failed;            ///< failed by the shim
    /// When nothing is to fail by the environment: a hash of the call stack of each call of the kind, in their order.
    /// Calls beyond the array have none.
    std::uint64_t stacks[most_stacks];
};

} // namespace faults
