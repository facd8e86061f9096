// Files in and files out. Knows nothing of what is in them.
#pragma once

#include "seam/input_error.h"

#include <string>

namespace ocamp {

/// What a file is called in messages.
std::string input_name(const std::string &file);

/// The whole of a file, or of standard input for "-". Throws InputError, and std::runtime_error when the disk fails.
std::string read_input(const std::string &file);

/// Runs `use` on the input; what it refuses is refused again with the input's name in front.
template <class Use>
auto named_input(const std::string &file, Use use) {
    const std::string text = read_input(file);
    try {
        return use(text);
    } catch (const InputError &error) {
        throw InputError(input_name(file) + ": " + error.what());
    }
}

/// Makes the file, or replaces what is in it; "-" is standard output. Throws InputError, and std::runtime_error when
/// the disk fails.
void write_file(const std::string &file, const std::string &text);

} // namespace ocamp
