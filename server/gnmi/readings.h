// Readings of the node that all Gets and streams share: whoever asks while one waits gets that one. Also the adapter's
// clock: one thread for what is to be done now and later. Knows no RPC.
#pragma once

#include "server/core.h"
#include "server/gnmi/path.h"
#include "server/gnmi/rpc_error.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <unordered_map>
#include <utility>
#include <variant>
#include <vector>

namespace ocamp::gnmi {

/// One leaf of a reading.
struct Leaf {
    std::string path;            ///< data path, tells leaves apart
    std::vector<Step> container; ///< steps to what it is in
    const lysc_node *schema;
    std::string value; ///< as canonical_text
};
using LeafPointer = std::shared_ptr<const Leaf>;
/// Leaves by path.
using Leaves = std::vector<LeafPointer>;

/// What became of leaves from one reading to a later one.
struct Difference {
    Leaves changed; ///< new ones and those with another value, as they are now
    Leaves gone;    ///< as they were
};

/// Which leaves a subscription is about.
enum class LeafKind {
    all,
    measured, ///< numbers of state that move by themselves
    settled   ///< all others
};

/// True for a leaf that LeafKind::measured means.
bool is_measured(const lysc_node &leaf);

/// The node as it was at a time. Safe from any thread.
class Reading {
  public:
    Reading(YangTree tree, std::chrono::system_clock::time_point read_at) : read_at_(read_at), tree_(std::move(tree)) {}

    std::chrono::system_clock::time_point read_at() const noexcept { return read_at_; }
    /// Calls it with the tree, while nobody else looks at it: libyang writes into a tree when values are first asked
    /// for as texts.
    template <class Use>
    auto use(Use use) const {
        const std::lock_guard guard(mutex_);
        return use(tree_);
    }
    /// The leaves that a path selects, `levels` deep (0: all). Made once, whoever asks.
    std::shared_ptr<const Leaves> select(const Path &path, std::size_t levels, LeafKind kind) const;
    /// Between leaves that an earlier reading selected and those that this one did. Made once, whoever asks.
    std::shared_ptr<const Difference> difference(const std::shared_ptr<const Leaves> &before,
                                                 const std::shared_ptr<const Leaves> &now) const;

  private:
    std::chrono::system_clock::time_point read_at_;
    YangTree tree_;
    mutable std::mutex mutex_;
    mutable std::map<std::string, std::shared_ptr<const Leaves>> selections_;
    mutable std::unordered_map<const lyd_node *, LeafPointer> leaves_; // of all selections
    // What the keys point to is kept with them, and no other leaves come to lie there.
    mutable std::map<std::pair<std::shared_ptr<const Leaves>, std::shared_ptr<const Leaves>>,
                     std::shared_ptr<const Difference>>
        differences_;
};

/// A reading, or why there is none.
using ReadingOutcome = std::variant<std::shared_ptr<const Reading>, RpcError>;

/// Jobs run one after the other in the thread of this object, and may use it.
class Readings {
  public:
    using Clock = std::chrono::steady_clock;
    using Job = std::function<void()>;
    using Receiver = std::function<void(const ReadingOutcome &outcome)>;

    /// `core` outlives it.
    explicit Readings(server::Core &core);
    /// Drops what waits, and ends the thread.
    ~Readings();
    Readings(const Readings &) = delete;
    Readings &operator=(const Readings &) = delete;

    /// Calls the receiver in the thread, with a reading that begins after this call and has what the paths name. It may
    /// have other things, too, but not everything.
    void read(std::vector<Path> paths, Receiver receiver);
    /// Whose timers and watches they are; never looked into.
    using Owner = const void *;

    /// The job is done in the thread when the time has come.
    void at(Clock::time_point time, Owner owner, Job job);
    /// Calls it in the thread after each change of the node.
    void watch(Owner owner, Job changed);
    /// Drops the owner's timers and, in the thread, its watches.
    void forget(Owner owner);

  private:
    struct Request {
        std::vector<Path> paths;
        Receiver receiver;
    };
    struct OwnedJob {
        Owner owner;
        Job job;
    };

    // What other threads hand over. It may outlive this object in completions of the core's.
    struct Inbox {
        std::mutex mutex;
        std::condition_variable changed;
        std::deque<Job> jobs;
        std::multimap<Clock::time_point, OwnedJob> later;
        bool ending = false;

        void post(Job job);
    };

    void run();
    void tell_watchers();
    void begin_soon();
    void begin_reading();
    void submit(server::Read read);
    void end_reading(std::optional<server::Outcome> &outcome, bool partial);
    std::vector<Path> paths_under_way() const;

    server::Core &core_;
    std::optional<server::SessionId> session_; // of the thread, as all that follows up to the inbox
    std::vector<Request> wanted_;              // for the next reading
    std::vector<Request> under_way_;
    bool begins_soon_ = false;
    std::optional<server::Subscription> changes_; // while somebody watches
    std::vector<OwnedJob> watchers_;
    std::shared_ptr<Inbox> inbox_ = std::make_shared<Inbox>();
    std::thread thread_;
};

} // namespace ocamp::gnmi
