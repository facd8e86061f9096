// Files in and answers out. Knows nothing of requests.
#pragma once

#include "yang/schema.h"

#include <string>

namespace ocamp {

// The whole of a file, or of standard input for "-". Throws UsageError.
std::string read_input(const std::string &file);

// Runs `use` on the input; what it refuses is refused again with the input's name in front.
template <typename Use>
auto named_input(const std::string &file, Use use);

[[noreturn]] void rethrow_with_name(const std::string &file);

template <typename Use>
auto named_input(const std::string &file, Use use) {
    const std::string text = read_input(file);
    try {
        return use(text);
    } catch (const std::runtime_error &) {
        rethrow_with_name(file);
    }
}

// The answer as a document of its own: JSON as an object, XML in NETCONF's <data>. Ends in a newline.
std::string answer_text(const lyd_node *answer, LYD_FORMAT format);

} // namespace ocamp
