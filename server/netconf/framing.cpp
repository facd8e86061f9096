// How messages are taken out of a stream. Knows nothing of what is in them.
#include "server/netconf/framing.h"

#include "seam/text.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

namespace ocamp::netconf {

namespace {

constexpr std::string_view mark = "]]>]]>";
// No XML begins so.
constexpr std::string_view start_of_chunk = "\n#";
// RFC 6242 section 4.2.
constexpr std::uint64_t largest_chunk = 4294967295U;
// As much as is sent in one chunk, in bytes: what a small client can take at once.
constexpr std::size_t sent_chunk = 65536;

std::string shown(char byte) {
    return byte > ' ' && byte < 0x7f ? fmt::format("'{}'", byte)
                                     : fmt::format("byte {:#04x}", static_cast<unsigned char>(byte));
}

} // namespace

std::optional<std::string> MessageReader::next(std::string_view &bytes) {
    if (failed_)
        throw FramingError(FramingError::Kind::malformed, "the stream has been given up");
    if (framing_ == Framing::end_of_message && begins_with_chunk(bytes)) {
        framing_ = Framing::chunked;
        // A line feed may have come before.
        expected_ = message_.empty() ? Expected::first_line_feed : Expected::hash;
        message_.clear();
    }
    return framing_ == Framing::end_of_message ? next_marked(bytes) : next_chunked(bytes);
}

bool MessageReader::begins_with_chunk(std::string_view bytes) const {
    if (!first_ || message_.size() >= start_of_chunk.size())
        return false;
    const std::string start = message_ + std::string(bytes.substr(0, start_of_chunk.size()));
    return start.starts_with(start_of_chunk);
}

std::optional<std::string> MessageReader::next_marked(std::string_view &bytes) {
    begun_ = begun_ || !bytes.empty();
    // The mark may have begun in what is there already.
    const std::size_t from = message_.size() - std::min(message_.size(), mark.size() - 1);
    const std::size_t room = limit_ + mark.size() - std::min(message_.size(), limit_ + mark.size());
    const std::string_view taken = bytes.substr(0, room);
    const std::size_t before = message_.size();
    message_ += taken;
    const std::size_t at = message_.find(mark, from);
    if (at == std::string::npos) {
        bytes.remove_prefix(taken.size());
        if (message_.size() >= limit_ + mark.size())
            refuse(FramingError::Kind::too_big, fmt::format("message of more than {} bytes", limit_));
        return std::nullopt;
    }
    bytes.remove_prefix(at + mark.size() - before);
    message_.resize(at);
    return take_message();
}

std::optional<std::string> MessageReader::next_chunked(std::string_view &bytes) {
    while (!bytes.empty()) {
        begun_ = true;
        if (expected_ == Expected::content) {
            take_content(bytes);
            continue;
        }
        const char byte = bytes.front();
        bytes.remove_prefix(1);
        if (take_header(byte))
            return take_message();
    }
    return std::nullopt;
}

void MessageReader::take_content(std::string_view &bytes) {
    const std::size_t size = std::min<std::uint64_t>(chunk_size_, bytes.size());
    message_ += bytes.substr(0, size);
    bytes.remove_prefix(size);
    chunk_size_ -= size;
    if (chunk_size_ == 0)
        expected_ = Expected::line_feed;
}

// True when the message is whole.
bool MessageReader::take_header(char byte) {
    const auto want = [&](char wanted, Expected then) {
        if (byte != wanted)
            refuse(FramingError::Kind::malformed,
                   fmt::format("{} in a chunk header, expected {}", shown(byte), shown(wanted)));
        expected_ = then;
    };
    switch (expected_) {
    case Expected::first_line_feed:
        want('\n', Expected::hash);
        return false;
    case Expected::hash: // a message has one chunk at least
        want('#', Expected::size);
        return false;
    case Expected::line_feed:
        want('\n', Expected::next_hash);
        return false;
    case Expected::next_hash:
        want('#', Expected::size_or_end);
        return false;
    case Expected::size_or_end:
        if (byte == '#')
            expected_ = Expected::last_line_feed;
        else
            take_digit(byte);
        return false;
    case Expected::last_line_feed:
        want('\n', Expected::first_line_feed);
        return true;
    case Expected::size:
        if (byte == '\n' && chunk_size_ > 0)
            begin_chunk();
        else
            take_digit(byte);
        return false;
    case Expected::content:
        break;
    }
    return false;
}

void MessageReader::begin_chunk() {
    if (chunk_size_ > limit_ - message_.size())
        refuse(FramingError::Kind::too_big, fmt::format("message of more than {} bytes", limit_));
    expected_ = Expected::content;
}

void MessageReader::take_digit(char byte) {
    if (byte < '0' || byte > '9' || (byte == '0' && chunk_size_ == 0))
        refuse(FramingError::Kind::malformed,
               fmt::format("{} in a chunk size, expected a number from 1 to {}", shown(byte), largest_chunk));
    chunk_size_ = chunk_size_ * 10 + static_cast<std::uint64_t>(byte - '0');
    if (chunk_size_ > largest_chunk)
        refuse(FramingError::Kind::malformed, fmt::format("chunk size above {}", largest_chunk));
    expected_ = Expected::size;
}

std::string MessageReader::take_message() {
    first_ = false;
    begun_ = false;
    chunk_size_ = 0;
    return std::exchange(message_, {});
}

void MessageReader::refuse(FramingError::Kind kind, const std::string &text) {
    failed_ = true;
    message_ = {};
    throw FramingError(kind, text);
}

std::string framed(std::string_view message, Framing framing) {
    std::string text;
    if (framing == Framing::end_of_message) {
        text.reserve(message.size() + mark.size());
        text += message;
        text += mark;
        return text;
    }
    text.reserve(message.size() + message.size() / sent_chunk * 10 + 32);
    for (std::string_view rest = message; !rest.empty(); rest.remove_prefix(std::min(sent_chunk, rest.size()))) {
        const std::string_view chunk = rest.substr(0, sent_chunk);
        fmt::format_to(std::back_inserter(text), "\n#{}\n", chunk.size());
        text += chunk;
    }
    text += "\n##\n";
    return text;
}

} // namespace ocamp::netconf
