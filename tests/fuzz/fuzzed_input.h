// Turns the fuzzer's bytes into choices.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

class FuzzedInput {
  public:
    FuzzedInput(const uint8_t *data, size_t size) : data_(data), size_(size) {}

    uint8_t byte() { return at_ < size_ ? data_[at_++] : 0; }
    /// A number below `bound`.
    size_t below(size_t bound) { return byte() % bound; }
    bool chance(uint8_t in_256) { return byte() < in_256; }
    bool at_end() const { return at_ >= size_; }
    std::string text() {
        std::string text;
        // Mostly short; now and then longer than every buffer of the plug-in.
        const size_t length = chance(8) ? 5000 : below(32);
        const char filler = static_cast<char>(byte() | 1);
        for (size_t i = 0; i < length; ++i)
            text += at_end() ? filler : static_cast<char>(byte() | 1);
        return text;
    }

  private:
    const uint8_t *data_;
    size_t size_;
    size_t at_ = 0;
};
