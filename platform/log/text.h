// What log lines, traces and records need to know of text: which bytes are well-formed UTF-8, and how to show the rest
// so that a hostile value cannot look like a line of its own. Knows nothing of logs.
#pragma once

#include <string>
#include <string_view>

namespace ocamp {

bool is_utf8(std::string_view text) noexcept;

// Appends `text` on one line: control characters (C0, DEL, C1, line and paragraph separators) and bytes outside UTF-8
// become \n, \r, \t or \xNN for each byte, a backslash is doubled, and `quote`, when not 0, gets a backslash in front.
void append_escaped(std::string &line, std::string_view text, char quote = 0);

} // namespace ocamp
