// Stages of a read or an edit, as an observer sees them.
#include "log/stages.h"
#include "node/native_data.h"
#include "node/node.h"
#include "sysdb/seal.h"
#include "yang/models.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

using namespace ocamp;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// Writes down what it sees while it lives.
class Witness : public StageObserver {
  public:
    Witness() { set_stage_observer(this); }
    ~Witness() override { set_stage_observer(nullptr); }
    Witness(const Witness &) = delete;
    Witness &operator=(const Witness &) = delete;

    void enter(Stage stage) noexcept override { seen.push_back("enter " + std::to_string(static_cast<int>(stage))); }
    void leave() noexcept override { seen.emplace_back("leave"); }

    std::vector<std::string> seen;
};

std::string entered(Stage stage) {
    return "enter " + std::to_string(static_cast<int>(stage));
}

TEST(NodeStages, LieInsideOneAnother) {
    const Witness witness;
    {
        const StageMark outer(Stage::commit);
        const StageMark inner(Stage::print);
    }
    EXPECT_THAT(witness.seen, ElementsAre(entered(Stage::commit), entered(Stage::print), "leave", "leave"));
}

TEST(NodeStages, AreThoseOfTheWorkThatIsDone) {
    Database database(":memory:", Database::Mode::create);
    run_all(database, seal_table_sql());
    run_all(database, native_table_sql());
    const Witness witness;
    store_running(database, {});
    const NativeData data = load_native(database, native_schema());
    select_entries(native_schema(), data, {}, false);
    EXPECT_THAT(witness.seen, ElementsAre(entered(Stage::print), "leave", entered(Stage::parse), "leave",
                                          entered(Stage::look_up), "leave"));
}

TEST(NodeStages, AreNobodysWithoutAnObserver) {
    std::vector<std::string> seen;
    {
        Witness witness;
        set_stage_observer(nullptr);
        const StageMark mark(Stage::parse);
        seen = witness.seen;
    }
    EXPECT_THAT(seen, IsEmpty());
}

} // namespace
