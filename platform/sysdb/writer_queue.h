// Lets those who write to one node wait for one another in the order in which they came: SQLite itself lets the
// luckiest in. Knows nothing of databases.
#pragma once

#include <chrono>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>

namespace ocamp {

/// A byte of the queue's file that no ticket reaches, for a lock of another kind.
inline constexpr std::int64_t byte_behind_tickets = std::numeric_limits<std::int64_t>::max() - 1;

/// No turn to write. The text names the file and the reason.
class WriterQueueError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// One writer's turn, from the constructor's return to its end, or to the end of the process however that comes about.
class WriterTurn {
  public:
    /// Waits for all who came before. The file is made when it is not there. Throws WriterQueueError, after `limit` at
    /// the latest.
    WriterTurn(const std::string &file, std::chrono::milliseconds limit);
    ~WriterTurn();
    WriterTurn(const WriterTurn &) = delete;
    WriterTurn &operator=(const WriterTurn &) = delete;

  private:
    void join();
    template <class Attempt>
    void wait_until(Attempt attempt, const char *action);
    [[noreturn]] void fail(const char *action) const;
    [[noreturn]] void refuse_file(const char *found) const;

    std::string file_;
    std::chrono::milliseconds limit_;
    std::chrono::steady_clock::time_point end_;
    int descriptor_;
    long long ticket_ = 0;
};

} // namespace ocamp
