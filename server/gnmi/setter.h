// Carries Sets out, one after the other and users in turn, and keeps what lasts beyond one: the confirmed commit that
// is pending and the newest election of each role. Knows no RPC but its messages.
#pragma once

#include "server/core.h"
#include "server/gnmi/fair_queue.h"
#include "server/gnmi/rpc_error.h"
#include "server/gnmi/set.h"

#include <atomic>
#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <variant>

namespace ocamp::gnmi {

using SetOutcome = std::variant<::gnmi::SetResponse, RpcError>;

/// Safe from any thread.
class Setter {
  public:
    /// Outlives it.
    explicit Setter(server::Core &core);
    /// Drops the Sets that wait unanswered. The core has been stopped, or is idle.
    ~Setter() = default;
    Setter(const Setter &) = delete;
    Setter &operator=(const Setter &) = delete;

    /// Gives the request when the Set begins; throws RpcError.
    using Read = std::function<::gnmi::SetRequest()>;

    /// Calls `answer` once from another thread, or at once when too many wait. `is_wanted` is asked when the Set is
    /// about to begin: one whose client has given up is not carried out.
    void submit(Read read, const server::Principal &principal, const server::Peer &peer,
                std::function<bool()> is_wanted, std::function<void(SetOutcome outcome)> answer);

  private:
    struct Pending {
        std::optional<std::string> id; ///< none: begun by another protocol
    };
    class Session;

    ::gnmi::SetResponse carry_out(const ::gnmi::SetRequest &request, const server::Principal &principal,
                                  const server::Peer &peer);
    void check_election(const Election &election);
    void check_pending(const std::optional<CommitAction> &action);
    server::Result commit(Session &session, const SetEdit &edit, const CommitAction &action);
    void heard(const server::Event &event);

    server::Core &core_;
    std::map<std::string, std::pair<std::uint64_t, std::uint64_t>> elections_; // of the queue's thread

    std::mutex mutex_; // guards what follows
    std::optional<Pending> pending_;
    std::string next_id_; // of the commit that is being begun

    server::Subscription events_;
    std::atomic<std::size_t> waiting_ = 0; // Sets that have not begun
    FairQueue queue_;                      // the last member: what it carries out uses the others
};

} // namespace ocamp::gnmi
