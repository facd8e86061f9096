// A single node that lives while it is served. Knows no protocol.
#pragma once

#include "line/run.h"
#include "server/core.h"

#include <atomic>
#include <exception>
#include <filesystem>
#include <thread>

namespace ocamp {

/// Steps the line of the node once a second, in a thread of its own. See line_of_node.
class LivingNode {
  public:
    /// Makes the node's live data: the node is to be opened after that. Throws as line_of_node and LineRun.
    /// `log` is told of live data that were replaced.
    LivingNode(const std::filesystem::path &node, server::EventLog &log);
    ~LivingNode() { end(); }
    LivingNode(const LivingNode &) = delete;
    LivingNode &operator=(const LivingNode &) = delete;

    /// Time goes on. When it cannot, the process gets SIGTERM. `core` is that of the node, is told of
    /// events, and outlives the end.
    void begin(server::Core &core);
    /// True when time cannot go on.
    bool stands_still() const noexcept { return stands_still_; }
    /// Returns when the second that is being computed is over.
    void end();
    /// Throws what kept time from going on, if anything did. After the end.
    void check() const;

  private:
    void live(server::Core &core);

    server::Core *core_ = nullptr; // of events; NULL until time goes on
    LineRun line_;
    std::atomic<bool> ending_{false}, stands_still_{false};
    std::exception_ptr failure_; // the thread's, until it has been joined
    std::thread thread_;
};

} // namespace ocamp
