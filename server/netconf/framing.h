// Framing of messages in a byte stream: end-of-message marks and chunks, as RFC 6242 has them. Knows nothing of what is
// in a message.
#pragma once

#include "seam/input_error.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ocamp::netconf {

/// How messages are told apart.
enum class Framing {
    end_of_message, ///< "]]>]]>" behind each; every session begins so
    chunked         ///< both sides speak base:1.1
};

/// Bytes that are no framing, or a message beyond the limit. Nothing can be read from the stream any more.
class FramingError : public InputError {
  public:
    enum class Kind { malformed, too_big };

    FramingError(Kind kind, const std::string &text) : InputError(text), kind_(kind) {}
    Kind kind() const noexcept { return kind_; }

  private:
    Kind kind_;
};

/// Takes a stream apart into messages, however it is cut. Holds at most one message that is not whole yet, and no more
/// of it than the limit. A first message that comes in chunks is read in chunks, and so is all behind it: a hello
/// should end with a mark, but ncclient changes to chunks as soon as it has read the other side's hello, now and then
/// before its own has left.
class MessageReader {
  public:
    /// `limit`: most bytes of a message.
    explicit MessageReader(std::size_t limit) : limit_(limit) {}

    /// What begins behind the last whole message. Not within a message.
    void set_framing(Framing framing) noexcept { framing_ = framing; }
    Framing framing() const noexcept { return framing_; }

    /// Takes bytes from the front, up to the end of a message at most. Gives the message when it is whole; without one
    /// all bytes have been taken. Throws FramingError, as does every call after that.
    std::optional<std::string> next(std::string_view &bytes);

    /// True when a part of a message has come.
    bool within_message() const noexcept { return begun_; }

  private:
    // What a stream of chunks holds next.
    enum class Expected { first_line_feed, hash, size_or_end, size, content, line_feed, next_hash, last_line_feed };

    bool begins_with_chunk(std::string_view bytes) const;
    std::optional<std::string> next_marked(std::string_view &bytes);
    std::optional<std::string> next_chunked(std::string_view &bytes);
    void take_content(std::string_view &bytes);
    bool take_header(char byte);
    void begin_chunk();
    void take_digit(char byte);
    std::string take_message();
    [[noreturn]] void refuse(FramingError::Kind kind, const std::string &text);

    std::size_t limit_;
    Framing framing_ = Framing::end_of_message;
    bool failed_ = false;
    bool first_ = true; // no message has been whole yet
    bool begun_ = false;
    std::string message_;
    Expected expected_ = Expected::first_line_feed;
    std::uint64_t chunk_size_ = 0; // of the header that is read, then what is left of the chunk
};

/// The message with its framing, as it is sent.
std::string framed(std::string_view message, Framing framing);

} // namespace ocamp::netconf
