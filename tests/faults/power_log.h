// The log that the power shim writes: what a program did to the files of one folder, in its order. Shared by the shim
// and the test that replays it.
#pragma once

#include <cstdint>

namespace power {

/// Environment variables of the shim. Without both it does nothing at all.
inline constexpr const char *folder_variable = "POWER_FOLDER"; ///< files below it are logged, by their names in it
inline constexpr const char *log_variable = "POWER_LOG";       ///< the file that is appended to; not in that folder

enum class Action : std::uint32_t {
    make_file,
    make_folder,
    write,    ///< `at` is the offset; the bytes follow the name
    truncate, ///< `at` is the size
    sync,     ///< of a file, or of the names in a folder
    rename,   ///< the new name follows the name
    unlink
};

/// Head of one record; the name and the bytes follow.
struct Record {
    Action action;
    std::uint32_t name_size;
    std::uint64_t at;
    std::uint64_t data_size;
};

} // namespace power
