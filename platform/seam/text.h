// What log lines, traces, records and readers of documents need to know of text: what is white space, which bytes are
// well-formed UTF-8, and how to show the rest so that a hostile value cannot look like a line of its own. Knows nothing
// of logs.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>

namespace ocamp {

/// What counts as white space in documents, values and paths.
inline constexpr std::string_view blanks = " \t\r\n";

/// The text without white space in front of it.
std::string_view without_leading_blanks(std::string_view text) noexcept;
/// The text without white space around it.
std::string_view trimmed(std::string_view text) noexcept;

/// A complaint of the JSON library without its number of the error, which stands in brackets in front.
std::string_view without_error_number(std::string_view complaint) noexcept;

/// True for a text that is UTF-8 throughout.
bool is_utf8(std::string_view text) noexcept;

/// Appends `text` on one line: control characters (C0, DEL, C1, line and paragraph separators) and bytes outside UTF-8
/// become \n, \r, \t or \xNN for each byte, a backslash is doubled, and `quote`, when not 0, gets a backslash in front.
void append_escaped(std::string &line, std::string_view text, char quote = 0);
/// The same as a text of its own.
std::string escaped(std::string_view text);

/// A printed document whose printer leaves control characters in its texts as they are: each becomes an escape of the
/// format, so that the document says the same and may go to a terminal. Line feeds and tabs stay; bytes outside UTF-8
/// become U+FFFD.
std::string escaped_json(std::string_view document);
std::string escaped_xml(std::string_view document);

/// A text of more than `most` bytes without its middle: its beginning and its end, whole characters, and between them
/// how long it was, as in "0123 ... [5000 bytes] ... 6789". Every other text as it stands.
std::string shortened(std::string_view text, std::size_t most);

/// Most bytes of a value in a message.
inline constexpr std::size_t longest_shown_value = 64;

/// A time since 1970 as UTC in the form of RFC 3339, with that many digits (1 to 9) behind the second's point.
std::string utc_text(std::chrono::nanoseconds since_epoch, int digits);

} // namespace ocamp
