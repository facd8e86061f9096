// Folders of nodes: how they are made, locked, changed by hand and written out, and what of them is refused.
#include "node/configuration_lock.h"
#include "node/filter.h"
#include "node/live_data.h"
#include "node/native_change.h"
#include "node/native_data.h"
#include "node/native_document.h"
#include "node/node.h"
#include "node/node_export.h"
#include "node/plugin.h"
#include "node/unfinished_folder.h"
#include "support/files.h"
#include "yang/models.h"
#include "yang/request_error.h"

#include <filesystem>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <fmt/format.h>
#include <gmock/gmock.h>

using namespace ocamp;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::ThrowsMessage;
namespace fs = std::filesystem;

namespace {

class NodeFolder : public testing::Test {
  protected:
    const fs::path &above() const { return temporary_.path(); }
    const fs::path &folder() const { return folder_; }
    // A node without data.
    void make() const {
        Node::init_with(folder_, [](Database &database) { store_running(database, {}); });
    }
    std::vector<std::string> names_in(const fs::path &where) const {
        std::vector<std::string> names;
        for (const fs::directory_entry &entry : fs::recursive_directory_iterator(where))
            names.push_back(fs::relative(entry.path(), where).string());
        std::sort(names.begin(), names.end());
        return names;
    }

  private:
    support::TemporaryFolder temporary_;
    fs::path folder_ = temporary_.path() / "node";
};

// How nodes are made

TEST_F(NodeFolder, FolderWithTheNameOfAnUnfinishedFileIsLeftAlone) {
    fs::create_directories(folder() / "node.db.new-1");
    fs::create_directory(folder() / "node.db.new-2-journal");
    make();
    EXPECT_THAT(names_in(folder()), ElementsAre("node.db", "node.db.new-1", "node.db.new-2-journal"));
}

TEST_F(NodeFolder, FileThatAnotherRunHasLockedIsNotTaken) {
    fs::create_directory(folder());
    const std::string taken = folder() / fmt::format("node.db.new-{}", getpid());
    const int descriptor = open(taken.c_str(), O_RDWR | O_CREAT, 0600);
    ASSERT_EQ(flock(descriptor, LOCK_EX), 0);
    EXPECT_THAT([&] { make(); }, ThrowsMessage<std::system_error>(HasSubstr(taken + ": cannot be made")));
    EXPECT_TRUE(fs::exists(taken));
    close(descriptor);
    make();
    EXPECT_THAT(names_in(folder()), ElementsAre("node.db"));
}

TEST_F(NodeFolder, ExampleHasBothFoldersAndNoOtherFiles) {
    const fs::path example = above() / "example";
    const auto init = [&] { Node::init(folder(), example); };
    fs::create_directory(example);
    EXPECT_THAT(init, ThrowsMessage<NodeError>(HasSubstr("native: No such file or directory, expected a folder of")));
    fs::create_directory(example / "native");
    support::write_file(example / "sysdb", "");
    EXPECT_THAT(init, ThrowsMessage<NodeError>(HasSubstr("sysdb: Not a directory, expected a folder of")));
    fs::remove(example / "sysdb");
    fs::create_directory(example / "sysdb");
    support::write_file(example / "sysdb" / "items.xml", "<items/>");
    EXPECT_THAT(init,
                ThrowsMessage<NodeError>(testing::EndsWith("items.xml: expected a file whose name ends in .json")));
    EXPECT_FALSE(fs::exists(folder()));
    fs::remove(example / "sysdb" / "items.xml");
    init();
    EXPECT_TRUE(fs::exists(folder()));
}

TEST_F(NodeFolder, JournalThatIsAFileIsNoHindrance) {
    make();
    support::write_file(folder() / "node.db-journal", "");
    Node node(folder(), Node::Access::read);
    EXPECT_TRUE(load_native(node.database(), native_schema()).running.tree().empty());
}

// The lock

using Kind = ConfigurationLock::Kind;
constexpr std::chrono::milliseconds no_time{0}, short_time{20};

TEST_F(NodeFolder, SharesOfTheConfigurationStandBesideOneAnother) {
    make();
    const ConfigurationLock one(folder(), Kind::share, no_time), other(folder(), Kind::share, no_time);
    EXPECT_THAT([&] { ConfigurationLock(folder(), Kind::whole, short_time); },
                ThrowsMessage<RequestError>("/: another process is changing the configuration, or has locked it "
                                            "[lock-denied]"));
}

TEST_F(NodeFolder, WholeOfTheConfigurationIsLockedAlone) {
    make();
    std::optional<ConfigurationLock> whole(std::in_place, folder(), Kind::whole, no_time);
    EXPECT_THAT([&] { ConfigurationLock(folder(), Kind::share, short_time); },
                ThrowsMessage<RequestError>("/: another process has locked the configuration [in-use]"));
    std::thread other([&] {
        std::this_thread::sleep_for(short_time);
        whole.reset();
    });
    const ConfigurationLock waited(folder(), Kind::whole, std::chrono::seconds(10));
    other.join();
}

TEST_F(NodeFolder, LockInAFolderThatIsNoneIsAFailure) {
    EXPECT_THAT([&] { ConfigurationLock(folder(), Kind::share, no_time); },
                ThrowsMessage<std::system_error>(HasSubstr("node.queue: No such file or directory")));
}

// Changes by hand

std::string interfaces(const std::string &name, const std::string &description) {
    return R"("Korvex-ifmgr-cfg:interface-configurations":{"interface-configuration":[{"active":"act",)"
           R"("interface-name":")" +
           name + R"(","description":")" + description + R"("}]})";
}

class ChangedByHand : public NodeFolder {
  protected:
    void SetUp() override { make(); }

    template <class Change>
    std::vector<std::string> changed(Change change) const {
        std::vector<std::string> lines;
        Node node(folder(), Node::Access::write);
        change(node, [&](const std::vector<LeafChange> &changes) {
            for (const LeafChange &leaf : changes)
                lines.push_back(line_of(leaf));
        });
        return lines;
    }
    std::vector<std::string> set(const std::string &path, const std::string &value) const {
        return changed([&](Node &node, const TellChanges &tell) { set_native(node, path, value, tell); });
    }
    std::vector<std::string> put(const std::string &document) const {
        const YangTree tree = parse_native_document(document, DocumentFormat::json);
        return changed([&](Node &node, const TellChanges &tell) { put_native(node, tree, tell); });
    }
    std::vector<std::string> remove(const std::string &path) const {
        return changed([&](Node &node, const TellChanges &tell) { remove_native(node, path, tell); });
    }
    std::string running() const {
        Node node(folder(), Node::Access::read);
        std::string text = load_native(node.database(), native_schema()).running.tree().print(LYD_JSON);
        std::erase_if(text, [](char character) { return character == ' ' || character == '\n'; });
        return text;
    }

    static inline const std::string port = "/ots-oper/ots-ports/ots-port[name='Ots0/1/0/0']",
                                    gain = port + "/ots-info/ampli-gain";
};

TEST_F(ChangedByHand, LeafIsSetInEntriesThatAreThereAndThatAreMade) {
    const std::string path =
        "/interface-configurations/interface-configuration[active='act'][interface-name='Ots0/1/0/0']";
    EXPECT_EQ(set(path + "/description", "east").size(), 3U) << "the keys, too";
    EXPECT_THAT(set(path + "/description", "west"), ElementsAre(HasSubstr("/description east -> west")));
    EXPECT_EQ(running(), "{" + interfaces("Ots0/1/0/0", "west") + "}");
    EXPECT_THAT([&] { set("/interface-configurations/interface-configuration[active='act']/description", "x"); },
                ThrowsMessage<PathError>(HasSubstr("names no entry of 'interface-configuration', expected its key "
                                                   "'interface-name'")));
}

TEST_F(ChangedByHand, DocumentMayHaveSeveralRootsOfBothKinds) {
    const std::string configuration = R"({"Korvex-ifmgr-cfg:global-interface-configuration":{"link-status":"all"},)" +
                                      interfaces("Ots0/1/0/0", "east");
    const std::string ports =
        R"("Korvex-controller-orvo8-ots-oper:ots-oper":{"ots-ports":{"ots-port":[{"name":"Ots0/1/0/0"}]}})";
    EXPECT_EQ(put(configuration + "," + ports + "}").size(), 5U);
    EXPECT_EQ(running(), configuration + "}");
    EXPECT_THAT(remove(port), ElementsAre(HasSubstr("/name Ots0/1/0/0")));
}

TEST_F(ChangedByHand, OperationalDataThatWereNotThereAreAdded) {
    EXPECT_EQ(set(gain, "1750").size(), 2U) << "the key, too";
    EXPECT_THAT(set(gain, "1760"), ElementsAre(HasSubstr("ampli-gain 1750 -> 1760")));
    EXPECT_EQ(remove(port).size(), 2U);
    EXPECT_THAT([&] { remove(port); }, ThrowsMessage<RequestError>(HasSubstr("does not exist in the native data")));
}

TEST_F(ChangedByHand, AllDataAndKeysAreNotChangedAlone) {
    EXPECT_THAT([&] { set("/", "1"); }, ThrowsMessage<PathError>(HasSubstr("leads to all data, expected a leaf")));
    EXPECT_THAT([&] { set(port, "1"); }, ThrowsMessage<PathError>(HasSubstr("leads to more than one leaf")));
    EXPECT_THAT([&] { set(port + "/name", "1"); }, ThrowsMessage<PathError>(HasSubstr("leads to a key")));
    EXPECT_THAT([&] { remove("/"); }, ThrowsMessage<PathError>(HasSubstr("leads to all data, expected what can")));
    EXPECT_THAT([&] { remove(port + "/name"); }, ThrowsMessage<PathError>(HasSubstr("leads to a key")));
}

TEST_F(ChangedByHand, LiveDataAreNotChangedButMayBeGivenTheValueThatTheyHave) {
    set(gain, "1750");
    {
        LiveData live(folder());
        Transaction transaction(live.database());
        live.put_document("Korvex-controller-orvo8-ots-oper",
                          R"({"Korvex-controller-orvo8-ots-oper:ots-oper":{"ots-ports":{"ots-port":[)"
                          R"({"name":"Ots0/1/0/0","ots-info":{"ampli-gain":1760}}]}}})");
        transaction.commit("");
    }
    EXPECT_THAT([&] { set(gain, "1750"); }, ThrowsMessage<RequestError>(HasSubstr("is written by what measures")));
    EXPECT_THAT(set(gain, "1760"), IsEmpty());
    fs::remove(folder() / live_name);
    EXPECT_THAT(set(gain, "1770"), ElementsAre(HasSubstr("1750 -> 1770"))) << "the node's own are as they were";
}

// Live data that are damaged

TEST_F(NodeFolder, LiveDataThatAreDamagedAreReplaced) {
    make();
    {
        LiveData live(folder());
        Transaction transaction(live.database());
        for (int i = 0; i < 100; ++i)
            live.system_database().put("/oper/", fmt::format("item{}", i), std::vector<std::uint8_t>(100, 'x'));
        transaction.commit("");
    }
    EXPECT_FALSE(LiveData(folder()).was_replaced());
    const std::string intact = support::read_file(folder() / live_name);
    for (std::size_t page = 1; page < intact.size() / 4096; ++page) {
        support::write_file(folder() / live_name, intact.substr(0, page * 4096));
        EXPECT_TRUE(LiveData(folder()).was_replaced()) << "cut before page " << page;
    }
    std::size_t replaced = 0;
    for (std::size_t page = 0; page < intact.size() / 4096; ++page) {
        std::string damaged = intact;
        damaged.replace(page * 4096, 4096, 4096, '\x7f');
        support::write_file(folder() / live_name, damaged);
        replaced += LiveData(folder()).was_replaced() ? 1 : 0;
    }
    EXPECT_GT(replaced, 1U);
}

// Nodes that are written out

TEST_F(NodeFolder, ExportHasNoFilesForDataThatAreNotThere) {
    Node::init_with(folder(), [](Database &database) {
        store_running(database, {});
        store_operational(database, "Korvex-controller-orvo8-ots-oper", {});
    });
    Node node(folder(), Node::Access::read);
    export_node(node, above() / "exported/");
    EXPECT_THAT(names_in(above() / "exported"), ElementsAre("native", "sysdb", "sysdb/items.json"));
}

TEST_F(NodeFolder, UnfinishedFolderIsMadeInAFolderThatIsThereAndNotTwice) {
    EXPECT_THAT([&] { UnfinishedFolder{folder() / "x"}; },
                ThrowsMessage<NodeError>(HasSubstr("No such file or directory, expected a folder that can be made")));
    const UnfinishedFolder first(folder());
    EXPECT_THAT([&] { UnfinishedFolder{folder()}; },
                ThrowsMessage<NodeError>(HasSubstr("is being written, expected a folder that can be made")));
    EXPECT_TRUE(fs::exists(first.path())) << "the other's";
}

TEST_F(NodeFolder, NameThatIsTakenMeanwhileStaysTaken) {
    for (const bool is_file : {true, false}) {
        UnfinishedFolder unfinished(folder());
        unfinished.write_file("text", "ours");
        if (is_file)
            support::write_file(folder(), "theirs");
        else
            fs::create_directories(folder() / "theirs");
        EXPECT_THAT([&] { unfinished.finish(); }, ThrowsMessage<NodeError>(HasSubstr("is there already")));
        EXPECT_EQ(fs::is_directory(folder()), !is_file);
        fs::remove_all(folder());
    }
    EXPECT_THAT(names_in(above()), IsEmpty());
}

// The plug-in's file

TEST_F(NodeFolder, PluginWithoutASlashIsAFileOfTheFolderThatOneIsIn) {
    const fs::path before = fs::current_path();
    fs::current_path(above());
    support::write_file("plugin.so", "no library");
    EXPECT_THAT([] { Plugin{"plugin.so"}; }, ThrowsMessage<PluginError>(HasSubstr("plug-in plugin.so: ./plugin.so: ")));
    fs::current_path(before);
}

TEST(PluginNames, AreOfSmallLettersAndDigitsAlone) {
    EXPECT_EQ(walker_name("d_", "A-Z.a{z}", "0:9/\xC3\xA4"), "d_azaz_lvla_09");
}

} // namespace
