// The candidate and its commits: confirmed ones above all, and who may go on with them.
#include "served_node.h"

#include "server/confirmed_commit.h"
#include "server/state_folder.h"
#include "sysdb/seal.h"

#include <thread>

#include <fmt/format.h>

using namespace server_tests;
using std::chrono::seconds;
using testing::HasSubstr;
using testing::SizeIs;

namespace {

class Commits : public ServedNode {
  protected:
    void SetUp() override {
        ServedNode::SetUp();
        one_ = session();
        other_ = session(Role::admin, "bob");
    }

    // A confirmed commit of a gain of 11.0.
    void commit_confirmed(SessionId by, Commit commit = {.timeout = seconds(600)}) {
        EXPECT_EQ(edit(by, gain_edit("11.0"), Datastore::candidate), "ok");
        commit.confirmed = true;
        EXPECT_EQ(answer(by, commit), "ok");
        EXPECT_EQ(gain(other_), "11.0");
    }
    bool is_pending() const { return std::filesystem::exists(folder() / "server" / "confirmed-commit.json"); }

    SessionId one_ = no_session, other_ = no_session;
};

TEST_F(Commits, MakeTheCandidateRunning) {
    EXPECT_EQ(edit(one_, gain_edit("11.0"), Datastore::candidate), "ok");
    EXPECT_EQ(gain(one_), "13.1");
    EXPECT_EQ(gain(other_, Datastore::candidate), "11.0");
    EXPECT_EQ(answer(one_, Validate{Datastore::candidate}), "ok");
    EXPECT_EQ(answer(one_, Commit{}), "ok");
    EXPECT_EQ(gain(one_), "11.0");
}

TEST_F(Commits, CandidateFollowsRunningUntilItIsEdited) {
    EXPECT_EQ(edit(one_, gain_edit("11.0")), "ok");
    EXPECT_EQ(gain(one_, Datastore::candidate), "11.0");
    EXPECT_EQ(edit(one_, gain_edit("12.0"), Datastore::candidate), "ok");
    EXPECT_EQ(edit(one_, gain_edit("14.0")), "ok");
    EXPECT_EQ(gain(one_, Datastore::candidate), "12.0");
    EXPECT_EQ(answer(one_, DiscardChanges{}), "ok");
    EXPECT_EQ(gain(one_, Datastore::candidate), "14.0");
}

TEST_F(Commits, ConfirmedInTimeStay) {
    commit_confirmed(one_);
    EXPECT_TRUE(is_pending());
    EXPECT_EQ(answer(one_, Commit{}), "ok");
    EXPECT_FALSE(is_pending());
    restart();
    EXPECT_EQ(gain(session()), "11.0");
}

TEST_F(Commits, GoWhenTheirTimeIsOver) {
    EXPECT_EQ(answer(one_, Wait{}), "ok"); // what the beginning of the sessions has told is told
    Events events;
    const Subscription subscription = core().subscribe(Interest::sessions_and_commits, events.listener());
    commit_confirmed(one_, {.timeout = seconds(1)});
    const auto told = events.wait_for(2);
    ASSERT_THAT(told, SizeIs(2));
    EXPECT_EQ(std::get<ConfirmedCommitEvent>(told[0]->what).kind, ConfirmedCommitEvent::Kind::start);
    EXPECT_EQ(std::get<ConfirmedCommitEvent>(told[1]->what).kind, ConfirmedCommitEvent::Kind::timeout);
    EXPECT_EQ(gain(other_), "13.1");
    EXPECT_FALSE(is_pending());
}

TEST_F(Commits, AnotherConfirmedOneExtendsAndKeepsTheFirstFormerConfiguration) {
    commit_confirmed(one_);
    EXPECT_EQ(edit(one_, gain_edit("12.0"), Datastore::candidate), "ok");
    EXPECT_EQ(answer(one_, Commit{.confirmed = true, .timeout = seconds(600)}), "ok");
    EXPECT_EQ(gain(one_), "12.0");
    EXPECT_EQ(answer(one_, CancelCommit{}), "ok");
    EXPECT_EQ(gain(one_), "13.1");
}

TEST_F(Commits, GoWithTheirSession) {
    commit_confirmed(one_);
    core().close_session(one_, SessionEnd::dropped);
    EXPECT_EQ(gain(other_), "13.1");
}

TEST_F(Commits, ThatPersistOutlastTheirSessionAndNeedTheirWord) {
    commit_confirmed(one_, {.persist = "word"});
    core().close_session(one_, SessionEnd::closed);
    EXPECT_EQ(gain(other_), "11.0");
    EXPECT_EQ(answer(other_, Commit{}), "in-use");
    EXPECT_EQ(answer(other_, Commit{.persist_id = "another"}), "invalid-value");
    EXPECT_EQ(answer(other_, CancelCommit{.persist_id = "another"}), "invalid-value");
    EXPECT_EQ(answer(other_, Commit{.persist_id = "word"}), "ok");
    EXPECT_FALSE(is_pending());
    EXPECT_EQ(gain(other_), "11.0");
}

TEST_F(Commits, OfAnotherSessionAreNotConfirmed) {
    commit_confirmed(one_);
    EXPECT_EQ(refusal(other_, Commit{}).holder, one_);
    EXPECT_EQ(answer(other_, CancelCommit{}), "in-use");
    EXPECT_EQ(refusal(other_, Lock{}).holder, one_);
    EXPECT_EQ(answer(one_, CancelCommit{}), "ok");
    EXPECT_EQ(answer(one_, CancelCommit{}), "operation-failed");
    EXPECT_EQ(answer(one_, Commit{.persist_id = "word"}), "invalid-value");
    EXPECT_EQ(answer(one_, Commit{.persist = "word"}), "invalid-value");
}

TEST_F(Commits, KeepOthersFromEditingWhatWouldBeTakenBack) {
    commit_confirmed(one_);
    const Refusal refused = refusal(other_, Edit{.steps = {{.document = gain_edit("12.0")}}});
    EXPECT_EQ(refused.tag, ErrorTag::in_use);
    EXPECT_EQ(refused.holder, one_);
    EXPECT_EQ(answer(other_, CopyConfig{.source = EditStep{.document = gain_edit("12.0")}}), "in-use");
    EXPECT_EQ(edit(other_, gain_edit("12.0"), Datastore::candidate), "ok");
    EXPECT_EQ(edit(one_, gain_edit("12.5")), "ok");
    EXPECT_EQ(answer(one_, CancelCommit{}), "ok");
    EXPECT_EQ(gain(other_), "13.1");
    EXPECT_EQ(edit(other_, gain_edit("12.0")), "ok");
}

TEST_F(Commits, AreTakenBackByTheEndOfTheServer) {
    commit_confirmed(one_, {.persist = "word"});
    stop();
    EXPECT_FALSE(is_pending()) << "the next one may be long in coming";
    restart();
    EXPECT_EQ(gain(session()), "13.1");
}

TEST_F(Commits, ThatAreRefusedLeaveNothingPending) {
    EXPECT_EQ(answer(other_, Lock{}), "ok");
    EXPECT_EQ(edit(one_, gain_edit("11.0"), Datastore::candidate), "ok");
    EXPECT_EQ(answer(one_, Commit{.confirmed = true}), "in-use");
    EXPECT_FALSE(is_pending());
    EXPECT_EQ(answer(one_, Commit{.confirmed = true, .timeout = seconds(0)}), "invalid-value");
}

TEST_F(Commits, WhoseFormerConfigurationCannotBeKeptAreNotMade) {
    EXPECT_EQ(edit(one_, gain_edit("11.0"), Datastore::candidate), "ok");
    // It is open to others: nothing may be written there.
    std::filesystem::permissions(folder() / "server", std::filesystem::perms::group_read,
                                 std::filesystem::perm_options::add);
    EXPECT_THAT(refusal(one_, Commit{.confirmed = true}).reason, HasSubstr("server: mode 0740, expected a folder"));
    EXPECT_EQ(gain(one_), "13.1");
    EXPECT_EQ(edit(other_, gain_edit("12.0")), "ok") << "nothing is pending";
    std::filesystem::permissions(folder() / "server", std::filesystem::perms::owner_all);
    EXPECT_EQ(answer(one_, Commit{.confirmed = true}), "ok");
    EXPECT_EQ(gain(one_), "11.0");
    EXPECT_EQ(answer(one_, CancelCommit{}), "ok");
    EXPECT_EQ(gain(one_), "12.0");
}

TEST_F(Commits, BesideAnotherProcessThatHasLockedAreRefusedAndLeaveNothingPending) {
    EXPECT_EQ(edit(one_, gain_edit("11.0"), Datastore::candidate), "ok");
    Service another(settings().service);
    another.lock_configuration();
    EXPECT_EQ(answer(one_, Commit{}), "in-use");
    EXPECT_EQ(answer(one_, Commit{.confirmed = true}), "in-use");
    EXPECT_FALSE(is_pending());
    EXPECT_EQ(gain(one_), "13.1");
    another.unlock_configuration();
    EXPECT_EQ(answer(one_, Commit{}), "ok");
    EXPECT_EQ(gain(one_), "11.0");
}

TEST_F(Commits, MayBeLockedAgainstOthersByWhoeverHasOnePending) {
    commit_confirmed(one_);
    EXPECT_EQ(answer(one_, Lock{}), "ok");
    EXPECT_EQ(answer(other_, CancelCommit{}), "in-use");
    EXPECT_EQ(answer(one_, CancelCommit{}), "ok");
    EXPECT_EQ(gain(one_), "13.1");
}

// What the file of a pending commit is refused with.
std::string refusal_of_kept(const StateFolder &folder, const std::string &text) {
    folder.write("confirmed-commit.json", text);
    try {
        former_configuration(folder);
    } catch (const StateError &error) {
        return error.what();
    }
    return "taken";
}

TEST_F(Commits, WhoseFileIsDamagedAreToldAndNothingIsTakenBack) {
    const StateFolder state(folder());
    const auto document = [](const std::string &running, std::uint64_t version = 1) {
        return fmt::format(R"({{"version":{},"checksum":{},"running":"{}"}})", version, row_checksum({running}),
                           running);
    };
    EXPECT_EQ(refusal_of_kept(state, document("{}")), "taken");
    EXPECT_THAT(refusal_of_kept(state, document("{}", 2)),
                HasSubstr("commit.json: damaged: it does not hold its checksum"));
    EXPECT_THAT(refusal_of_kept(state, R"({"version":1,"checksum":0,"running":"{}"})"),
                HasSubstr("commit.json: damaged: it does not hold its checksum"));
    EXPECT_THAT(refusal_of_kept(state, "{}"), HasSubstr("commit.json: damaged: "));
    EXPECT_THAT(refusal_of_kept(state, document("[]")), HasSubstr("commit.json: damaged: "));
    const std::string deep = std::string(100'000, '[') + std::string(100'000, ']');
    EXPECT_THAT(refusal_of_kept(state, R"({"version":)" + deep + R"(,"checksum":0,"running":"{}"})"),
                HasSubstr("commit.json: damaged: $: nested deeper than 2"));
    stop();
    EXPECT_THROW(restart(), StateError);
}

} // namespace
