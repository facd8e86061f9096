// What happened to the node and to the server: the feed that notifications and subscriptions live on. Knows neither
// protocols nor who listens.
#pragma once

#include "node/leaf_changes.h"
#include "server/identity.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace ocamp::server {

/// Who changed something. A process beside the server has neither session nor name: `foreign`. What the server does by
/// itself, such as taking a confirmed commit back, has no session either.
struct Author {
    SessionId session = no_session;
    std::string user = {};
    Peer peer = {};
    bool foreign = false;
};

/// The running datastore is another than before. Foreign commits are seen within Limits::change_poll; several of them
/// may be told as one. Changes of one process are told in their order.
struct DataChange {
    Author author;
    /// Leaves and list entries of the configuration as clients read them.
    std::vector<LeafChange> openconfig;
    /// The same of the native models.
    std::vector<LeafChange> native;
};

/// The running datastore or the node's state has been written, as far as anybody can tell from outside: a read may give
/// something else than one that began before. Foreign writes are told as DataChange tells them. One write may be told
/// twice.
struct DataWritten {};

/// A session has begun, or ended.
struct SessionStarted {
    SessionInfo session;
};
struct SessionEnded {
    SessionInfo session;
    SessionEnd reason = SessionEnd::closed;
    SessionId killed_by = no_session;
};

/// What became of a confirmed commit.
struct ConfirmedCommitEvent {
    enum class Kind { start, cancel, timeout, extend, complete };
    Kind kind = Kind::start;
    Author author;
    std::chrono::seconds timeout{0}; ///< of start and extend
};

/// Something has happened around the node, as who runs it tells: to the line that it is part of.
struct PlantEvent {
    std::uint64_t second = 0; ///< of line time
    std::string words;        ///< such as "cut site-1/site-2"
};

/// One event, the same object for all who listen.
struct Event {
    std::chrono::system_clock::time_point at;
    std::variant<DataChange, DataWritten, SessionStarted, SessionEnded, ConfirmedCommitEvent, PlantEvent> what;
};

/// Called in the order of the events, from one thread at a time. As a Completion it hands over and returns.
using Listener = std::function<void(const std::shared_ptr<const Event> &event)>;

/// Which events a listener wants beside those of sessions, commits and the plant.
enum class Interest {
    sessions_and_commits, ///< none
    writes,               ///< DataWritten
    configuration         ///< DataChange, which costs reads of the whole configuration around each change
};

/// Ends the listening when it is destroyed; afterwards the listener is not called any more, and a call that has begun
/// has returned. Not to be destroyed from inside the listener.
class Subscription {
  public:
    Subscription() = default;
    explicit Subscription(std::shared_ptr<void> kept) : kept_(std::move(kept)) {}

  private:
    std::shared_ptr<void> kept_;
};

} // namespace ocamp::server
