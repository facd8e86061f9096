// What log lines, traces and records need to know of text: which bytes are well-formed UTF-8, and how to show the rest
// so that a hostile value cannot look like a line of its own. Knows nothing of logs.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace ocamp {

bool is_utf8(std::string_view text) noexcept;

// Appends `text` on one line: control characters (C0, DEL, C1, line and paragraph separators, marks of the direction of
// writing, the byte order mark) and bytes outside UTF-8 become \n, \r, \t or \xNN for each byte, a backslash is doubled, and `quote`, when not 0, gets a backslash in front.
void append_escaped(std::string &line, std::string_view text, char quote = 0);
// The same as a text of its own.
std::string escaped(std::string_view text);

// A printed document whose printer leaves control characters in its texts as they are: each becomes an escape of the
// format, so that the document says the same and may go to a terminal. Line feeds and tabs stay; bytes outside UTF-8
// become U+FFFD.
std::string escaped_json(std::string_view document);
std::string escaped_xml(std::string_view document);

// A text of more than `most` bytes without its middle: its beginning and its end, whole characters, and between them
// how long it was, as in "0123 ... [5000 bytes] ... 6789". Every other text as it stands.
std::string shortened(std::string_view text, std::size_t most);

// Most bytes of a value in a message.
inline constexpr std::size_t longest_shown_value = 64;

} // namespace ocamp
