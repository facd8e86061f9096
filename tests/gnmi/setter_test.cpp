// Which Sets are carried out, and how many may wait.
#include "server/gnmi/setter.h"

#include "../server/served_node.h"
#include "messages.h"
#include "server/state_folder.h"
#include "server/users.h"

#include <future>
#include <thread>

using namespace gnmi_tests;
using server::Principal;
using server::Role;

namespace {

const Principal operator_{"olga", Role::operator_};

::gnmi::SetRequest gain_set(double gain) {
    ::gnmi::SetRequest request;
    ::gnmi::Update &update = *request.add_update();
    *update.mutable_path() = path_of("optical-amplifier/amplifiers/amplifier/config/target-gain");
    (*update.mutable_path()->mutable_elem(2)->mutable_key())["name"] = "0/1-AMP-BST";
    update.mutable_val()->set_double_val(gain);
    return request;
}

::gnmi::SetRequest election(const std::string &role, std::uint64_t low) {
    ::gnmi::SetRequest request;
    gnmi_ext::MasterArbitration &arbitration = *request.add_extension()->mutable_master_arbitration();
    arbitration.mutable_role()->set_id(role);
    arbitration.mutable_election_id()->set_low(low);
    return request;
}

std::optional<Code> code_of(const SetOutcome &outcome) {
    const auto *error = std::get_if<RpcError>(&outcome);
    return error != nullptr ? std::optional(error->code()) : std::nullopt;
}

class GnmiSetter : public server_tests::ServedNode {
  protected:
    void SetUp() override {
        ServedNode::SetUp();
        set_role(operator_.role);
    }

    // The role of the user whose Sets these are; none: the user is gone.
    void set_role(std::optional<Role> role) {
        const server::StateFolder folder_of_users(folder());
        server::Users users = server::Users::read(folder_of_users);
        if (users.find(operator_.user) != nullptr)
            users.remove(operator_.user);
        if (role)
            users.add({operator_.user, *role, "", {}});
        users.write(folder_of_users);
        core().reload_users();
    }

    // Submits and waits. None: carried out.
    static std::optional<Code> set(Setter &setter, const ::gnmi::SetRequest &request) {
        std::promise<std::optional<Code>> answer;
        submit(setter, request, [&](const SetOutcome &outcome) { answer.set_value(code_of(outcome)); });
        return answer.get_future().get();
    }
    static void submit(Setter &setter, const ::gnmi::SetRequest &request,
                       std::function<void(SetOutcome outcome)> answer) {
        setter.submit([request] { return request; }, operator_, {}, [] { return true; }, std::move(answer));
    }

    // A Set whose answer waits until go(): the others wait behind it.
    class Holdup {
      public:
        explicit Holdup(Setter &setter) {
            submit(setter, election("", 0), [this, wait = go_.get_future().share()](const SetOutcome &) {
                begun_.set_value();
                wait.get();
            });
            begun_.get_future().get();
        }
        void go() { go_.set_value(); }

      private:
        std::promise<void> begun_, go_;
    };
};

TEST_F(GnmiSetter, ASetWhoseClientHasGivenUpBeforeItBeganIsNotCarriedOut) {
    Setter setter(core());
    const std::string before = gain(session());
    Holdup holdup(setter);
    std::promise<std::optional<Code>> given_up;
    setter.submit([] { return gain_set(3.3); }, operator_, {}, [] { return false; },
                  [&](const SetOutcome &outcome) { given_up.set_value(code_of(outcome)); });
    holdup.go();
    EXPECT_EQ(given_up.get_future().get(), Code::cancelled);
    EXPECT_EQ(gain(session()), before);
    EXPECT_EQ(set(setter, gain_set(3.3)), std::nullopt);
    EXPECT_EQ(gain(session()), "3.3");
}

TEST_F(GnmiSetter, ASetThatHasWaitedIsCarriedOutWithTheRoleThatItsUserHasWhenItBegins) {
    Setter setter(core());
    const std::string before = gain(session());
    for (const auto &[role, code] : std::initializer_list<std::pair<std::optional<Role>, Code>>{
             {Role::reader, Code::permission_denied}, {std::nullopt, Code::unauthenticated}}) {
        Holdup holdup(setter);
        std::promise<std::optional<Code>> waited;
        submit(setter, gain_set(3.3), [&](const SetOutcome &outcome) { waited.set_value(code_of(outcome)); });
        set_role(role);
        holdup.go();
        EXPECT_EQ(waited.get_future().get(), code);
        EXPECT_EQ(gain(session()), before);
        set_role(operator_.role);
    }
}

TEST_F(GnmiSetter, SoManySetsWaitAndTheNextIsRefusedAtOnce) {
    constexpr int most = 256;
    Setter setter(core());
    Holdup holdup(setter);
    std::atomic<int> done = 0;
    for (int i = 0; i < most; ++i)
        submit(setter, election("", 0), [&](const SetOutcome &outcome) { done += code_of(outcome) ? 0 : 1; });
    EXPECT_EQ(set(setter, election("", 0)), Code::resource_exhausted);
    EXPECT_EQ(done, 0);
    holdup.go();
    // Behind all of them.
    std::optional<Code> last = Code::resource_exhausted;
    while (last == Code::resource_exhausted)
        last = set(setter, election("", 0));
    EXPECT_EQ(last, std::nullopt);
    EXPECT_EQ(done, most);
}

TEST_F(GnmiSetter, RolesOfElectionsAreBounded) {
    constexpr int most = 1024;
    Setter setter(core());
    for (int i = 0; i < most; ++i)
        ASSERT_EQ(set(setter, election(std::to_string(i), 5)), std::nullopt) << i;
    EXPECT_EQ(set(setter, election("another", 5)), Code::resource_exhausted);
    EXPECT_EQ(set(setter, election("7", 6)), std::nullopt);
    EXPECT_EQ(set(setter, election("7", 5)), Code::permission_denied);
}

TEST_F(GnmiSetter, TheTimeOfAChangeIsNotLaterThanWhatIsToldOfIt) {
    server_tests::Events events;
    const server::Subscription subscription =
        core().subscribe(server::Interest::configuration, events.change_listener());
    Setter setter(core());
    std::promise<std::int64_t> answer;
    submit(setter, gain_set(3.3),
           [&](const SetOutcome &outcome) { answer.set_value(std::get<::gnmi::SetResponse>(outcome).timestamp()); });
    const std::chrono::nanoseconds changed_at(answer.get_future().get());
    const auto told = events.wait_for(1);
    ASSERT_FALSE(told.empty());
    EXPECT_LE(changed_at, told.front()->at.time_since_epoch());
}

// The reading has its turn before the Set, however long the Set has waited.
TEST_F(GnmiSetter, TheTimeOfAChangeIsLaterThanThatOfWhatWasReadBeforeIt) {
    Setter setter(core());
    const server::SessionId reader = core().open_session(operator_, {}, {});
    std::promise<std::chrono::system_clock::time_point> read_at;
    std::promise<void> held, goes_on;
    core().submit(reader, server::Read{}, [&](server::Outcome outcome) {
        held.set_value();
        goes_on.get_future().wait();
        read_at.set_value(std::get<server::Result>(outcome).begun);
    });
    held.get_future().wait();
    std::promise<std::int64_t> answer;
    submit(setter, gain_set(3.3),
           [&](const SetOutcome &outcome) { answer.set_value(std::get<::gnmi::SetResponse>(outcome).timestamp()); });
    std::this_thread::sleep_for(std::chrono::milliseconds(50)); // so that a time taken while it waits is seen
    const auto released_at = std::chrono::system_clock::now();
    goes_on.set_value();
    const std::chrono::nanoseconds changed_at(answer.get_future().get());
    EXPECT_GE(changed_at, released_at.time_since_epoch());
    EXPECT_LE(read_at.get_future().get(), released_at);
    core().close_session(reader, server::SessionEnd::closed);
}

TEST_F(GnmiSetter, CommitsThatAreNotPendingOrOthersAreNotConfirmed) {
    const auto confirm = [](const std::string &id) {
        ::gnmi::SetRequest request;
        gnmi_ext::Commit &commit = *request.add_extension()->mutable_commit();
        commit.set_id(id);
        commit.mutable_confirm();
        return request;
    };
    Setter setter(core());
    EXPECT_EQ(set(setter, confirm("a")), Code::failed_precondition);
    // One of another protocol has no id that could be told here.
    const server::SessionId netconf = session();
    EXPECT_EQ(answer(netconf, server::Commit{.confirmed = true, .persist = "a"}), "ok");
    EXPECT_EQ(answer(netconf, server::Wait{}), "ok");
    EXPECT_EQ(set(setter, gain_set(3.3)), Code::failed_precondition);
    EXPECT_EQ(set(setter, confirm("a")), Code::invalid_argument);
    EXPECT_EQ(answer(netconf, server::Commit{.persist_id = "a"}), "ok");
    EXPECT_EQ(set(setter, gain_set(3.3)), std::nullopt);
}

TEST_F(GnmiSetter, AfterTheEndSetsAreUnavailable) {
    Setter setter(core());
    core().stop();
    EXPECT_EQ(set(setter, gain_set(3.3)), Code::unavailable);
}

} // namespace
