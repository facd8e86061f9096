// What failed in the platform itself while the plug-in ran: a damaged record, an I/O error, a failed allocation. The
// plug-in gets a code for it as for anything else and may take it for absence; whoever runs the plug-in asks here
// afterwards. Knows nothing of who runs it. Not locked: one mapping runs at a time.
#pragma once

#include <array>
#include <cstddef>
#include <stdexcept>
#include <string_view>

namespace ocamp {

/// The text names what failed: the record or the file, and the reason.
class PlatformFailure : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Keeps the first failure that is noted in its thread while it lives. Watches end in the reverse order of their
/// beginning; only the innermost keeps.
class FailureWatch {
  public:
    /// Begins with nothing noted.
    FailureWatch() noexcept;
    ~FailureWatch();
    FailureWatch(const FailureWatch &) = delete;
    FailureWatch &operator=(const FailureWatch &) = delete;

    /// Throws PlatformFailure when a failure has been noted.
    void check() const;

  private:
    friend void note_failure(std::string_view reason) noexcept;

    FailureWatch *previous_;
    /// Of its own, because there may be no memory left; a longer reason is cut.
    std::array<char, 1024> reason_{};
    std::size_t length_ = 0;
    bool noted_ = false;
};

/// Whether a code of errno tells of something that was in want or broken, rather than of what was asked for.
bool is_shortage(int error) noexcept;

/// Tells the watch that lives, if one does. Allocates nothing.
void note_failure(std::string_view reason) noexcept;

/// Runs `body`. What failed under it outweighs what it returns or throws.
template <class Body>
void run_watched(Body body) {
    const FailureWatch watch;
    try {
        body();
    } catch (const std::exception &) {
        watch.check();
        throw;
    }
    watch.check();
}

} // namespace ocamp
