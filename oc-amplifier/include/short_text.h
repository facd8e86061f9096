// Short texts put together and taken apart piece by piece: names, item paths and integers. The C library's formats
// would be most of the cost of a look-up; what is read and written here is what they read and write.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

namespace ymap {

/// Writes a text into a buffer as one snprintf() would: what does not fit is cut, the rest is counted all the same.
class TextWriter {
  public:
    /// `size`: bytes of `buffer`, at least 1. The buffer holds a text once finish() was called.
    TextWriter(char *buffer, size_t size) : buffer_(buffer), room_(size - 1) {}

    TextWriter &text(const char *piece) { return text(piece, strlen(piece)); }

    /// The first `length` characters of a text that has so many.
    TextWriter &text(const char *piece, size_t length) {
        if (length_ < room_)
            memcpy(buffer_ + length_, piece, length < room_ - length_ ? length : room_ - length_);
        length_ += length;
        return *this;
    }

    /// A literal, whose length is known.
    template <size_t Size>
    TextWriter &literal(const char (&piece)[Size]) {
        return text(piece, Size - 1);
    }

    TextWriter &number(int32_t value) {
        if (value >= 0)
            return number(static_cast<uint32_t>(value));
        return literal("-").number(0 - static_cast<uint32_t>(value));
    }

    TextWriter &number(uint32_t value) {
        constexpr size_t most_digits = 10;
        char digits[most_digits];
        char *const end = digits + most_digits;
        char *first = end;
        for (; value >= 10; value /= 10)
            *--first = static_cast<char>('0' + value % 10);
        *--first = static_cast<char>('0' + value);
        return text(first, static_cast<size_t>(end - first));
    }

    /// Ends the text. Returns the length of the whole, which may be more than was written.
    int finish() {
        buffer_[length_ < room_ ? length_ : room_] = '\0';
        return static_cast<int>(length_);
    }

  private:
    char *buffer_;
    size_t room_; // without the terminator
    size_t length_ = 0;
};

/// Reads a text from its start as sscanf() would. After a step that fails the reader is not to be used.
class TextReader {
  public:
    explicit TextReader(const char *text) : at_(text) {}

    /// Passes over `piece`; false when the text does not go on with it.
    bool passes(const char *piece) {
        const char *at = at_;
        for (; *piece != '\0'; ++piece, ++at)
            if (*at != *piece)
                return false;
        at_ = at;
        return true;
    }

    /// Reads what "%d" reads; false, with `value` as it was, when that is nothing.
    bool number(int &value) {
        constexpr int safe_digits = 9; // any number of so many digits is an int
        int read = 0;
        int digits = 0;
        for (; digits < safe_digits && is_digit(at_[digits]); ++digits)
            read = read * 10 + (at_[digits] - '0');
        if (digits == 0 || is_digit(at_[digits]))
            return number_of_another_form(value);
        value = read;
        at_ += digits;
        return true;
    }

  private:
    static bool is_digit(char character) { return character >= '0' && character <= '9'; }

    /// White space and a sign in front, or more digits.
    bool number_of_another_form(int &value) {
        int used = 0;
        if (sscanf(at_, "%d%n", &value, &used) != 1)
            return false;
        at_ += used;
        return true;
    }

    const char *at_;
};

} // namespace ymap
