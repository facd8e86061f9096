// Ctrl-C and SIGTERM as an orderly end. Knows nothing of what is ended.
#pragma once

#include <functional>
#include <thread>

namespace ocamp::gnmi_client {

/// From when it is made these signals reach no thread. Made before all other threads.
class StopSignals {
  public:
    /// While it is there, the first signal calls a function, in a thread of its own, and the second ends the process.
    class Watch {
      public:
        Watch(const StopSignals &signals, std::function<void()> stop);
        /// The function is not called any more when this has returned.
        ~Watch();
        Watch(const Watch &) = delete;
        Watch &operator=(const Watch &) = delete;

      private:
        int end_;
        std::thread thread_;
    };

    /// Throws std::system_error.
    StopSignals();
    ~StopSignals();
    StopSignals(const StopSignals &) = delete;
    StopSignals &operator=(const StopSignals &) = delete;

    /// True once a signal has come. Any thread may ask.
    bool stopped() const noexcept;

    /// Readable once a signal has come.
    int descriptor() const noexcept { return stopped_; }

  private:
    void wait(int end, const std::function<void()> &stop) const;

    int signals_, stopped_;
};

} // namespace ocamp::gnmi_client
