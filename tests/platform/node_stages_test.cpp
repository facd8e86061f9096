// Stages of a read or an edit, as an observer sees them.
#include "log/stages.h"
#include "node/native_data.h"
#include "node/node.h"
#include "sysdb/seal.h"
#include "yang/error.h"
#include "yang/models.h"

#include <fmt/format.h>
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

TEST(NodeStages, DatabaseIsOpenedAndLockedInOneOfThem) {
    const Witness witness;
    Database database(":memory:", Database::Mode::create);
    const std::vector<std::string> once{entered(Stage::database), "leave"};
    EXPECT_EQ(witness.seen, once);
    { const ReadTransaction reading(database); }
    EXPECT_EQ(witness.seen.size(), 3 * once.size());
    { const Transaction writing(database); }
    EXPECT_EQ(witness.seen.size(), 4 * once.size());
}

/// A database in memory with native documents.
struct NativeDatabase {
    NativeDatabase() {
        run_all(database, seal_table_sql());
        run_all(database, native_table_sql());
        store_running(database, parse(R"({"Korvex-ifmgr-cfg:interface-configurations": {"interface-configuration": [
            {"active": "act", "interface-name": "Ots0/1/0/0", "description": "line east"}]}})"));
        store_ports("Ots0/1/0/0");
    }
    static YangTree parse(const std::string &text) { return native_schema().parse(text, LYD_JSON); }
    void store_ports(const std::string &port) {
        const YangTree tree =
            parse(R"({"Korvex-controller-orvo8-ots-oper:ots-oper": {"ots-ports": {"ots-port": [{"name": ")" + port +
                  "\"}]}}}");
        store_operational(database, "Korvex-controller-orvo8-ots-oper", tree);
    }
    /// The first root of the running configuration as a read takes it; as old as the next call.
    const lyd_node *read_running() {
        data = load_native(database, native_schema());
        return data.running.written().first();
    }
    Database database{":memory:", Database::Mode::create};
    NativeData data;
};

const lysc_node &native_root(std::string_view name) {
    return *native_schema().find(nullptr, name);
}

TEST(NativeDocuments, AreParsedWhenTheyAreLookedInto) {
    NativeDatabase node;
    const Witness witness;
    const NativeData data = load_native(node.database, native_schema());
    EXPECT_EQ(witness.seen.size(), 2U);
    EXPECT_NE(data.root(native_root("ots-oper")), nullptr);
    EXPECT_EQ(witness.seen.size(), 4U);
    EXPECT_EQ(data.root(native_root("performance-management-history")), nullptr);
    EXPECT_EQ(witness.seen.size(), 4U);
    EXPECT_NE(data.root(native_root("interface-configurations")), nullptr);
    EXPECT_EQ(witness.seen.size(), 6U);
}

TEST(NativeDocuments, AreParsedAgainOnlyWhenTheyHaveChanged) {
    NativeDatabase node;
    NativeData data = load_native(node.database, native_schema());
    const lyd_node *interfaces = data.root(native_root("interface-configurations"));
    node.store_ports("Ots0/2/0/0");
    data = load_native(node.database, native_schema(), std::move(data));
    EXPECT_EQ(data.root(native_root("interface-configurations")), interfaces);
    EXPECT_THAT(data.operational.at(0).tree().print(LYD_JSON), testing::HasSubstr("Ots0/2/0/0"));
}

TEST(NativeDocuments, AreNotTakenOverOnceTheyWereChangedHere) {
    NativeDatabase node;
    NativeData data = load_native(node.database, native_schema());
    data.running.to_change() = {};
    data = load_native(node.database, native_schema(), std::move(data));
    EXPECT_NE(data.root(native_root("interface-configurations")), nullptr);
}

bool has_implicit_nodes(const lyd_node *siblings) {
    for (const lyd_node *node = siblings; node != nullptr; node = node->next) {
        if (is_implicit(*node) || has_implicit_nodes(lyd_child(node)))
            return true;
    }
    return false;
}

TEST(NativeDocuments, AreReadAsWrittenOnceTheyWereFoundValid) {
    NativeDatabase node;
    const NativeData data = load_native(node.database, native_schema());
    const lysc_node &root = native_root("interface-configurations");
    const OutputNode everything{.tag = root.name, .ns = root.module->ns};
    EXPECT_FALSE(has_implicit_nodes(data.selected_root(root, everything)));
    EXPECT_TRUE(has_implicit_nodes(data.root(root)));
    EXPECT_EQ(data.selected_root(root, everything), data.root(root)) << "the whole tree does for both";
}

TEST(NativeDocuments, AreParsedInPartByTheFirstLookAndWholeByTheNext) {
    NativeDatabase node;
    std::string entries;
    for (int number = 0; number < 20; ++number)
        entries += fmt::format("{}{{\"name\":\"Ots0/2/0/{}\"}}", number == 0 ? "" : ",", number);
    store_operational(
        node.database, "Korvex-controller-orvo8-ots-oper",
        NativeDatabase::parse(fmt::format(
            R"({{"Korvex-controller-orvo8-ots-oper:ots-oper":{{"ots-ports":{{"ots-port":[{}]}}}}}})", entries)));
    const NativeData data = load_native(node.database, native_schema());
    const std::string ots = native_root("ots-oper").module->ns;
    const OutputTree request(
        std::vector<Write>{{.path = "/ots-oper/ots-ports/ots-port", .ns = ots, .opens_list = true},
                           {.path = "/ots-oper/ots-ports/ots-port/name", .ns = ots, .value = "Ots0/2/0/0"}});
    const auto ports = [&] {
        const lyd_node *root = data.selected_root(native_root("ots-oper"), request.roots().at(0));
        std::size_t count = 0;
        for (const lyd_node *port = lyd_child(lyd_child(root)); port != nullptr; port = port->next)
            ++count;
        return count;
    };
    EXPECT_EQ(ports(), 1U);
    EXPECT_EQ(ports(), 20U);
}

TEST(NativeDocuments, AreValidatedAgainWhenOtherModulesFoundThemValid) {
    NativeDatabase node;
    EXPECT_FALSE(has_implicit_nodes(node.read_running()));
    node.database.exec("UPDATE seal SET row_count = row_count + 1 WHERE name = 'valid running'");
    EXPECT_TRUE(has_implicit_nodes(node.read_running()));
}

TEST(NativeDocuments, AreValidatedAgainWhenAnotherTextWasFoundValid) {
    NativeDatabase node;
    node.database.exec("UPDATE seal SET checksum_sum = checksum_sum + 1 WHERE name = 'valid running'");
    EXPECT_TRUE(has_implicit_nodes(node.read_running()));
}

TEST(NativeDocuments, AreRefusedWhenNobodyFoundThemValid) {
    NativeDatabase node;
    const std::string name = "Korvex-controller-orvo8-ots-oper";
    const std::string text =
        R"({"Korvex-controller-orvo8-ots-oper:ots-oper":{"ots-ports":{"ots-port":[{"name":"a"},{"name":"a"}]}}})";
    node.database.prepare("UPDATE native_data SET document = ?1, checksum = ?2 WHERE name = ?3")
        .bind(1, text)
        .bind(2, row_checksum({name, text}))
        .bind(3, name)
        .step();
    const NativeData data = load_native(node.database, native_schema());
    EXPECT_THROW(data.selected_root(native_root("ots-oper"), {.tag = "ots-oper", .ns = {}}), YangError);
}

TEST(NativeDocuments, NameFileAndDocumentWhenTheyDoNotFit) {
    NativeDatabase node;
    const std::string text = R"({"Korvex-pmengine-oper:nothing": {}})";
    node.database.prepare("INSERT INTO native_data(name, document, checksum) VALUES('Korvex-pmengine-oper', ?1, ?2)")
        .bind(1, text)
        .bind(2, row_checksum({"Korvex-pmengine-oper", text}))
        .step();
    const NativeData data = load_native(node.database, native_schema());
    try {
        data.root(native_root("performance-management-history"));
        FAIL() << "expected a complaint";
    } catch (const YangError &error) {
        EXPECT_THAT(error.what(), testing::StartsWith(":memory:: native data 'Korvex-pmengine-oper': "));
    }
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
