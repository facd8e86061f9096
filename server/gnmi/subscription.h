// One Subscribe RPC: what its client asked for, what it has been sent, and what waits for it. Knows no connection; who
// has one takes responses from here.
#pragma once

#include "server/gnmi/readings.h"
#include "server/gnmi/subscribe_query.h"

#include <cstddef>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "gnmi.pb.h"

namespace ocamp::gnmi {

/// Updates and deletes that a client has not read yet. Bounded by the leaves that it subscribed to: a newer value takes
/// the place of an older one, and is counted; what came and went before the client was told of it is forgotten.
class Backlog {
  public:
    /// The leaf's value at a time.
    void update(const LeafPointer &leaf, std::chrono::system_clock::time_point at);
    /// The leaf is gone. Nothing to tell when the client does not know it.
    void remove(const LeafPointer &leaf, std::chrono::system_clock::time_point at);
    /// The client knows the leaf without being told.
    void know(const LeafPointer &leaf) { known_.insert(leaf); }
    /// After all that waits now, the client knows everything.
    void sync();

    bool empty() const noexcept { return items_.empty(); }
    std::size_t size() const noexcept { return items_.size(); }
    /// The next response: leaves that are in one container and were read at one time, or sync_response. None when
    /// nothing waits.
    std::optional<::gnmi::SubscribeResponse> take(::gnmi::Encoding encoding, const std::string &target);

  private:
    struct Item {
        LeafPointer leaf; // NULL: sync_response
        bool gone = false;
        std::chrono::system_clock::time_point at = {};
        std::uint32_t duplicates = 0;
    };

    struct ByPath {
        bool operator()(const LeafPointer &a, const LeafPointer &b) const { return a->path < b->path; }
    };

    void put(const LeafPointer &leaf, bool gone, std::chrono::system_clock::time_point at);

    std::set<LeafPointer, ByPath> known_; // to the client; with a value of any time
    std::list<Item> items_;
    std::unordered_map<std::string, std::list<Item>::iterator> by_path_;
};

/// Safe from any thread. Timers and readings hold weak pointers: when the owner lets go, the stream ends and its timers
/// and watches are dropped.
class Stream : public std::enable_shared_from_this<Stream> {
  public:
    using Clock = Readings::Clock;
    /// What times of readings are rounded up to, so that streams share them.
    static constexpr std::chrono::milliseconds shortest_sample = SubscribeQuery::shortest_sample;

    /// Called when there is something to take, or an end; from any thread, not under a lock.
    using Wake = std::function<void()>;

    /// `list` is checked here. Nothing happens before start(). Throws RpcError.
    Stream(const ::gnmi::SubscribeRequest &request, Readings &readings, Wake wake);
    ~Stream();
    Stream(const Stream &) = delete;
    Stream &operator=(const Stream &) = delete;

    /// Begins: the values of the moment for STREAM and ONCE. For POLL nothing happens before poll().
    void start();
    /// Throws RpcError unless the list's mode is POLL.
    void poll();
    /// What is to be sent next; none when nothing is to be sent now.
    std::optional<::gnmi::SubscribeResponse> take();
    /// The RPC ends with this when all has been taken; none: it goes on.
    struct End {
        std::optional<RpcError> error; ///< none: OK
    };
    std::optional<End> end() const;

  private:
    struct Item : SubscribedItem {
        std::shared_ptr<const Leaves> sent = {}; // what the client knows
    };
    enum class Extent { everything, changed };

    void node_changed();
    std::vector<Path> paths(bool on_change_only) const;
    void read(std::vector<Path> paths, std::function<void(const Reading &reading)> use);
    void deliver_everything();
    void select_all(const Reading &reading) const;
    void assume_known(Item &item, const Reading &reading);
    void deliver(Item &item, const Reading &reading, Extent extent);
    void repeat(std::size_t index, Clock::duration interval, Extent extent, Clock::time_point due);
    void fail(const RpcError &error);

    Readings &readings_;
    Wake wake_;
    const SubscribeQuery query_;

    mutable std::mutex mutex_; // guards what follows
    std::vector<Item> items_;
    Backlog backlog_;
    bool reading_for_change_ = false;
    bool synchronized_ = false;
    std::optional<End> end_;
};

} // namespace ocamp::gnmi
