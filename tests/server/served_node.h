// A core on a fresh node, and the requests that tests send it. Knows nothing of what they expect.
#pragma once

#include "server/core.h"
#include "support/files.h"

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>

namespace server_tests {

using namespace ocamp;
using namespace ocamp::server;

/// XPath and path of the gain that most tests edit, and documents that set it.
inline constexpr const char *gain_path =
    "/optical-amplifier/amplifiers/amplifier[name='0/1-AMP-BST']/config/target-gain";
inline constexpr const char *native_gain_path =
    "/interface-configurations/interface-configuration[interface-name='Ots0/1/0/1']/optics/optics-ots-amplifier-gain";
/// The OpenConfig edit of the gain of 0/1-AMP-BST, as JSON.
std::string gain_edit(const std::string &gain);
/// The native one, in tenths, as a <config> document.
std::string native_gain_edit(const std::string &tenths);

/// A core on a node made from the example.
class ServedNode : public testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override { core_.reset(); }

    std::filesystem::path folder() const { return folder_.path() / "node"; }
    CoreSettings settings() const;
    Core &core() { return *core_; }
    /// Ends the core, in the orderly way, and begins another on the same node.
    void restart(const Limits &limits = {});
    void stop() { core_.reset(); }

    SessionId session(Role role = Role::admin, const std::string &user = "ada", EndOfSession on_end = {});

    /// What a request is answered with: "ok", or the error-tag.
    std::string answer(SessionId session, Operation operation);
    /// The refusal of a request that must be refused.
    Refusal refusal(SessionId session, Operation operation);
    /// The value of the leaf that a path leads to; "none" when there is none, and the refusal's text when it is
    /// refused.
    std::string value(SessionId session, const std::string &path, Datastore source = Datastore::running);
    std::string gain(SessionId session, Datastore source = Datastore::running) {
        return value(session, gain_path, source);
    }

    /// Edits of one step.
    std::string edit(SessionId session, const std::string &document, Datastore target = Datastore::running);

  private:
    support::TemporaryFolder folder_;
    EventLog log_{LogFormat::json, -1}; // lost
    std::unique_ptr<Core> core_;
};

/// Keeps events in their order.
class Events {
  public:
    /// All that the listener is told.
    Listener listener();
    /// Changes of the configuration alone.
    Listener change_listener();
    /// That data has been written, alone.
    Listener write_listener();
    /// Waits until `count` events are there, up to ten seconds, and gives all.
    std::vector<std::shared_ptr<const Event>> wait_for(std::size_t count);

  private:
    void keep(const std::shared_ptr<const Event> &event);

    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::shared_ptr<const Event>> events_;
};

} // namespace server_tests
