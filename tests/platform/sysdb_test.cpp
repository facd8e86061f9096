// Behaviour of the system database, its C calls and the availability probe, as the plug-in and the tools see them.
#include "log/log.h"
#include "seam/calls.h"
#include "seam/codes.h"
#include "seam/failure.h"
#include "seam/guard.h"
#include "support/files.h"
#include "sysdb/bag_record.h"
#include "sysdb/current_system_database.h"
#include "sysdb/database_file.h"
#include "sysdb/record_reader.h"
#include "sysdb/system_database.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include <dlfcn.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

bool folders_cannot_be_synced = false;

int sync_unless_folder(int descriptor) {
    struct stat status = {};
    if (folders_cannot_be_synced && fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode)) {
        errno = EIO;
        return -1;
    }
    return static_cast<int>(syscall(SYS_fsync, descriptor));
}

} // namespace

// In front of the C library's, for SQLite.
extern "C" __attribute__((visibility("default"))) int fsync(int descriptor) {
    return sync_unless_folder(descriptor);
}
extern "C" __attribute__((visibility("default"))) int fdatasync(int descriptor) {
    return sync_unless_folder(descriptor);
}

namespace {

using ocamp::CurrentSystemDatabase;
using ocamp::Database;
using Bytes = std::vector<std::uint8_t>;
using Names = std::vector<std::string>;

constexpr const char *ots_bind_point = "/oper/ots/if/";
constexpr const char *probe_path = "/pkg/lib/libsysdb.so";

Bytes sample_bag() {
    return ocamp::encode_bag({"ots", 1, 0, {{ocamp::BagType::int32, "Power", std::int64_t{-250}, {}}}});
}

struct Connection {
    Database connection;
};

// A file with the table of items alone. The tables of a file that is created are made.
class SystemDatabase : Connection, public ocamp::SystemDatabase {
  public:
    SystemDatabase(const std::string &file, Database::Mode mode)
        : Connection{opened(file, mode)}, ocamp::SystemDatabase(connection) {}

  private:
    static Database opened(const std::string &file, Database::Mode mode) {
        const bool made = mode == Database::Mode::create && !std::filesystem::exists(file);
        Database database(file, mode);
        if (made) {
            ocamp::run_all(database, ocamp::seal_table_sql());
            ocamp::run_all(database, ocamp::item_table_sql());
        }
        return database;
    }
};

class SysdbFile : public testing::Test {
  protected:
    std::filesystem::path folder() const { return folder_.path(); }

  private:
    support::TemporaryFolder folder_;

  protected:
    std::string file_ = (folder() / "node.db").string();
};

class SystemDatabaseFile : public SysdbFile {};

TEST_F(SystemDatabaseFile, RecordIsReadBackBeforeItIsWritten) {
    const ocamp::BagRecord record = ocamp::decode_bag(sample_bag());
    SystemDatabase database(file_, Database::Mode::create);
    ocamp::write_record(database, ots_bind_point, "whole", record);
    EXPECT_EQ(ocamp::decode_bag(*ocamp::read_record(database, ots_bind_point, "whole")), record);
    // A file that keeps something else than it is given.
    for (const char *kept : {"x'00'", "(SELECT bag FROM sysdb_item WHERE item = 'other')"}) {
        ocamp::BagRecord other = record;
        other.name = "other";
        ocamp::write_record(database, ots_bind_point, "other", other);
        Database file(file_, Database::Mode::read_write);
        file.exec(std::string("CREATE TRIGGER loss AFTER INSERT ON sysdb_item WHEN new.item = 'lost' BEGIN "
                              "UPDATE sysdb_item SET bag = ") +
                  kept + " WHERE item = 'lost'; END;");
        EXPECT_THROW(ocamp::write_record(database, ots_bind_point, "lost", record), ocamp::DamageError);
        file.exec("DROP TRIGGER loss;");
        database.remove(ots_bind_point, "lost");
    }
    // The same where what is kept is whole: none, and another one under this name.
    const Bytes bag = ocamp::encode_bag({"other", 1, 0, {}});
    const std::int64_t checksum =
        ocamp::row_checksum({ots_bind_point, "lost", {reinterpret_cast<const char *>(bag.data()), bag.size()}});
    std::string hex;
    for (const std::uint8_t byte : bag)
        hex += fmt::format("{:02x}", byte);
    for (const std::string &loss :
         {std::string("DELETE FROM sysdb_item"),
          fmt::format("UPDATE sysdb_item SET bag = x'{}', bag_checksum = {}", hex, checksum)}) {
        Database file(file_, Database::Mode::read_write);
        file.exec("CREATE TRIGGER loss AFTER INSERT ON sysdb_item WHEN new.item = 'lost' BEGIN " + loss +
                  " WHERE item = 'lost'; END;");
        try {
            ocamp::write_record(database, ots_bind_point, "lost", record);
            ADD_FAILURE() << loss;
        } catch (const ocamp::DamageError &error) {
            EXPECT_EQ(error.what(), file_ + ": record /oper/ots/if/lost would read back as another one");
        }
        file.exec("DROP TRIGGER loss;");
    }
}

// The calls of the seam on a database with one amplifier's items.
class SysdbSeam : public SysdbFile {
  protected:
    void SetUp() override {
        database_.emplace(file_, Database::Mode::create);
        database_->put(ots_bind_point, "Ots0_1_0_0/ots_info", sample_bag());
        database_->put(ots_bind_point, "summary", sample_bag());
        guard_.emplace(*database_);
    }
    void TearDown() override {
        guard_.reset();
        database_.reset();
    }

    void *bound(const char *bind_point = ots_bind_point) {
        void *handle = nullptr;
        EXPECT_EQ(_sysdb_bind(&handle, bind_point, 0), CERR_SUCCESS);
        return handle;
    }
    // Result code of a fetch, whose outputs must be clean when it fails.
    static cerrno fetch(void *handle, const char *item) {
        std::uint32_t info = 7, length = 7;
        void *bag = &length;
        const cerrno rc = sysdb_item_get(handle, item, &info, &bag, &length, 0);
        EXPECT_EQ(info, 0U);
        if (rc != CERR_SUCCESS) {
            EXPECT_EQ(bag, nullptr);
            EXPECT_EQ(length, 0U);
        }
        std::free(bag);
        return rc;
    }

    std::optional<SystemDatabase> database_;
    std::optional<CurrentSystemDatabase> guard_;
};

struct Recorder : ocamp::CallObserver {
    Recorder() { ocamp::set_call_observer(this); }
    ~Recorder() override { ocamp::set_call_observer(nullptr); }
    void on_call(std::string_view text) override { calls.emplace_back(text); }
    Names calls;
};

std::int64_t number_of(Database &database, const char *sql) {
    ocamp::Statement statement = database.prepare(sql);
    EXPECT_TRUE(statement.step());
    return statement.number(0);
}

TEST_F(SystemDatabaseFile, AnItemComesBackFromTheFile) {
    const Bytes bag = sample_bag();
    SystemDatabase(file_, Database::Mode::create).put(ots_bind_point, "Ots0_1_0_0/ots_info", bag);
    SystemDatabase again(file_, Database::Mode::read_only);
    EXPECT_EQ(again.get(ots_bind_point, "Ots0_1_0_0/ots_info"), bag);
    EXPECT_EQ(again.get(ots_bind_point, "Ots0_1_0_1/ots_info"), std::nullopt);
    EXPECT_EQ(again.get("/oper/ots/", "Ots0_1_0_0/ots_info"), std::nullopt);
}

TEST_F(SystemDatabaseFile, AnItemIsReplacedAndRemoved) {
    SystemDatabase database(file_, Database::Mode::create);
    database.put(ots_bind_point, "a", Bytes{1});
    database.put(ots_bind_point, "a", Bytes{2, 3});
    EXPECT_EQ(database.get(ots_bind_point, "a"), (Bytes{2, 3}));
    database.put(ots_bind_point, "empty", Bytes{});
    EXPECT_EQ(database.get(ots_bind_point, "empty"), Bytes{});
    EXPECT_TRUE(database.remove(ots_bind_point, "a"));
    EXPECT_FALSE(database.remove(ots_bind_point, "a"));
    EXPECT_EQ(database.get(ots_bind_point, "a"), std::nullopt);
    EXPECT_EQ(SystemDatabase(file_, Database::Mode::read_only).get(ots_bind_point, "a"), std::nullopt);
}

TEST_F(SystemDatabaseFile, AListingShowsImmediateChildrenAndFoldersOnce) {
    SystemDatabase database(file_, Database::Mode::create);
    for (const char *item : {"b", "Ots0_1_0_0/ots_info", "Ots0_1_0_0/more/deep", "Ots0_1_0_0/more/deeper",
                             "Ots0_1_0_0-x", "Ots0_1_0_00/ots_info", "b/c", "%2f_"})
        database.put(ots_bind_point, item, Bytes{1});
    database.put("/oper/ots/", "elsewhere", Bytes{1});
    EXPECT_EQ(database.list(ots_bind_point), (Names{"%2f_", "Ots0_1_0_0-x", "Ots0_1_0_0/", "Ots0_1_0_00/", "b", "b/"}));
    EXPECT_EQ(database.list(ots_bind_point, "Ots0_1_0_0/"), (Names{"more/", "ots_info"}));
    EXPECT_EQ(database.list(ots_bind_point, "Ots0_1_0_0/more/"), (Names{"deep", "deeper"}));
    EXPECT_EQ(database.list(ots_bind_point, "Ots0/"), Names{});
    EXPECT_EQ(database.list("/oper/none/"), Names{});
    EXPECT_EQ(database.bind_points(), (Names{"/oper/ots/", "/oper/ots/if/"}));
}

TEST_F(SystemDatabaseFile, ABadNameIsRefused) {
    SystemDatabase database(file_, Database::Mode::create);
    for (const std::string bad : {"", "oper/", "/oper", "/oper//if/", "/\xff/"})
        EXPECT_THROW(database.get(bad, "a"), ocamp::SysdbNameError) << bad;
    EXPECT_THROW(database.get('/' + std::string(254, 'x') + '/', "a"), ocamp::SysdbNameError);
    for (const std::string bad : {"", "/a", "a/", "a//b", "\xff"})
        EXPECT_THROW(database.put(ots_bind_point, bad, Bytes{1}), ocamp::SysdbNameError) << bad;
    EXPECT_THROW(database.put(ots_bind_point, std::string_view("a\0b", 3), Bytes{1}), ocamp::SysdbNameError);
    EXPECT_THROW(database.remove(ots_bind_point, std::string(256, 'x')), ocamp::SysdbNameError);
    EXPECT_THROW(database.list(ots_bind_point, "folder"), ocamp::SysdbNameError);
    EXPECT_THROW(database.list(ots_bind_point, "/"), ocamp::SysdbNameError);
    database.put(ots_bind_point, std::string(255, 'x'), Bytes{1});
    EXPECT_EQ(database.list(ots_bind_point), Names{std::string(255, 'x')});
}

TEST_F(SystemDatabaseFile, AFileThatIsMissingOrNoDatabaseIsNamed) {
    std::ofstream(file_) << std::string(4096, 'x');
    for (const std::string &file : {file_, (folder() / "missing").string()})
        try {
            SystemDatabase database(file, Database::Mode::read_only);
            FAIL() << "opened " << file;
        } catch (const ocamp::SqliteError &error) {
            EXPECT_NE(std::string(error.what()).find(file), std::string::npos) << error.what();
        }
    EXPECT_FALSE(std::filesystem::exists(folder() / "missing"));
}

TEST_F(SystemDatabaseFile, AReadOnlyDatabaseIsNotWritten) {
    SystemDatabase(file_, Database::Mode::create).put(ots_bind_point, "a", Bytes{1});
    SystemDatabase database(file_, Database::Mode::read_only);
    EXPECT_THROW(database.put(ots_bind_point, "b", Bytes{1}), ocamp::SqliteError);
    EXPECT_THROW(database.remove(ots_bind_point, "a"), ocamp::SqliteError);
    EXPECT_EQ(database.list(ots_bind_point), Names{"a"});
}

TEST_F(SystemDatabaseFile, ADatabaseWithoutItsTableIsNotReadable) {
    {
        Database other(file_, Database::Mode::create);
        other.exec("CREATE TABLE t(x);");
    }
    SystemDatabase without(file_, Database::Mode::read_only);
    EXPECT_FALSE(without.readable());
    EXPECT_THROW(without.get(ots_bind_point, "a"), ocamp::SqliteError);
    const std::string whole = (folder() / "whole.db").string();
    EXPECT_TRUE(SystemDatabase(whole, Database::Mode::create).readable());
}

constexpr ocamp::FileMark test_mark{0x12345678, 7};

// The message of a file that is refused; empty when it is not.
std::string refusal_of(const std::string &file, const ocamp::FileMark &mark) {
    try {
        const Database database(file, Database::Mode::read_only, &mark);
    } catch (const ocamp::ForeignFileError &error) {
        return error.what();
    }
    return "";
}

TEST_F(SystemDatabaseFile, AForeignOrNewerFileIsRefusedWithWhatWasFound) {
    Database(file_, Database::Mode::create, &test_mark).exec("CREATE TABLE t(x);");
    EXPECT_EQ(refusal_of(file_, test_mark), "");
    EXPECT_EQ(refusal_of(file_, {0x12345678, 6}), file_ + ": a database of version 7, expected version 6");
    EXPECT_EQ(refusal_of(file_, {1, 7}), file_ + ": a database with application id 0x12345678, expected 0x00000001");
    const std::string other = (folder() / "other").string();
    for (const std::size_t size : {0U, 99U, 4096U}) {
        std::ofstream(other) << std::string(size, 'x');
        EXPECT_EQ(refusal_of(other, test_mark), other + ": no SQLite database") << size;
        EXPECT_EQ(std::filesystem::file_size(other), size);
    }
    // A database's own header, less a byte.
    std::filesystem::resize_file(file_, 99);
    EXPECT_EQ(refusal_of(file_, test_mark), file_ + ": no SQLite database");
}

TEST_F(SystemDatabaseFile, AFileWithAnotherKindOfJournalIsRefusedBeforeItIsTouched) {
    Database(file_, Database::Mode::create, &test_mark).exec("PRAGMA journal_mode = WAL; CREATE TABLE t(x);");
    EXPECT_EQ(refusal_of(file_, test_mark),
              file_ + ": file formats 2 and 2, expected a database with a rollback journal");
    constexpr std::streamoff write_format_at = 18;
    std::fstream(file_, std::ios::in | std::ios::out | std::ios::binary).seekp(write_format_at).put(1);
    EXPECT_EQ(refusal_of(file_, test_mark),
              file_ + ": file formats 1 and 2, expected a database with a rollback journal");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder()), std::filesystem::directory_iterator()), 1);
}

// Writes into the file itself before it commits, and is killed there.
void be_killed_while_writing(const std::string &file) {
    const pid_t child = fork();
    if (child == 0) {
        Database database(file, Database::Mode::read_write);
        database.exec("PRAGMA cache_size = 1; BEGIN IMMEDIATE; UPDATE sysdb_item SET bag = zeroblob(100000);");
        kill(getpid(), SIGKILL);
    }
    waitpid(child, nullptr, 0);
}

TEST_F(SystemDatabaseFile, WhatAKilledWriterLeftHalfDoneIsUndoneByTheNextReader) {
    const Bytes bag(50000, 7);
    {
        SystemDatabase database(file_, Database::Mode::create);
        for (const char *item : {"a", "b", "c"})
            database.put(ots_bind_point, item, bag);
    }
    for (const bool before_opening : {true, false}) {
        std::optional<Database> reader;
        if (!before_opening)
            reader.emplace(file_, Database::Mode::read_only);
        be_killed_while_writing(file_);
        ASSERT_TRUE(std::filesystem::exists(file_ + "-journal"));
        if (before_opening)
            reader.emplace(file_, Database::Mode::read_only);
        const ocamp::ReadTransaction reading(*reader);
        EXPECT_EQ(ocamp::SystemDatabase(*reader).get(ots_bind_point, "b"), bag);
        EXPECT_FALSE(std::filesystem::exists(file_ + "-journal"));
    }
}

// Makes a second file with the table of items, as one that is measured into.
void make_marked_items(const std::string &file, std::initializer_list<const char *> items, const Bytes &bag) {
    Database database(file, Database::Mode::create, &test_mark);
    ocamp::run_all(database, ocamp::seal_table_sql());
    ocamp::run_all(database, ocamp::item_table_sql());
    for (const char *item : items)
        ocamp::SystemDatabase(database).put(ots_bind_point, item, bag);
}

TEST_F(SystemDatabaseFile, WhatAKilledWriterLeftInASecondFileIsUndone) {
    const Bytes bag(50000, 7);
    const std::string second = (folder() / "second.db").string();
    make_marked_items(file_, {}, {});
    make_marked_items(second, {"a", "b", "c"}, bag);
    Database reader(file_, Database::Mode::read_only, &test_mark);
    reader.attach_to_read(second, "more", test_mark);
    be_killed_while_writing(second);
    ASSERT_TRUE(std::filesystem::exists(second + "-journal"));
    const ocamp::ReadTransaction reading(reader);
    EXPECT_EQ(ocamp::SystemDatabase(reader, "more").get(ots_bind_point, "b"), bag);
    EXPECT_FALSE(std::filesystem::exists(second + "-journal"));
}

// As files are attached: by a URI, in which some characters have another meaning.
TEST_F(SystemDatabaseFile, ASecondFileMayHaveAnyName) {
    const std::string made = (folder() / "made.db").string();
    make_marked_items(file_, {}, {});
    make_marked_items(made, {"a"}, Bytes{1});
    for (const char *name : {"AZaz09._-", "a b~", "c?mode=rw", "d#e&f=g", "%41", "file:h", "\xc3\xa4\n"}) {
        const std::string second = (folder() / name).string();
        std::filesystem::copy_file(made, second);
        // The folder of a user who types one slash too many has the same files.
        for (const std::string &spelled : {second, "/" + second}) {
            Database reader(file_, Database::Mode::read_only, &test_mark);
            reader.attach_to_read(spelled, "more", test_mark);
            EXPECT_EQ(ocamp::SystemDatabase(reader, "more").list(ots_bind_point), Names{"a"}) << spelled;
        }
    }
}

TEST_F(SystemDatabaseFile, IsNotReadableWithoutTheTableOfASecondFile) {
    const std::string second = (folder() / "second.db").string();
    make_marked_items(file_, {}, {});
    Database(second, Database::Mode::create, &test_mark).exec("CREATE TABLE t(x);");
    Database reader(file_, Database::Mode::read_only, &test_mark);
    reader.attach_to_read(second, "more", test_mark);
    ocamp::SystemDatabase database(reader);
    EXPECT_TRUE(database.readable());
    database.read_first_from("more");
    const ocamp::FailureWatch watch;
    EXPECT_FALSE(database.readable());
    EXPECT_THROW(watch.check(), ocamp::PlatformFailure);
}

TEST(SqliteErrors, TellDamageFromOthers) {
    for (const int code : {SQLITE_CORRUPT, SQLITE_CORRUPT_INDEX, SQLITE_NOTADB})
        EXPECT_TRUE(ocamp::SqliteError("", code).is_damage()) << code;
    for (const int code : {SQLITE_BUSY, SQLITE_CANTOPEN, SQLITE_IOERR_READ})
        EXPECT_FALSE(ocamp::SqliteError("", code).is_damage()) << code;
}

// In the folder in hand, and one that looks like a URI.
TEST_F(SystemDatabaseFile, AFileMayBeNamedFromWhereTheProgramRuns) {
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(folder());
    for (const char *name : {"node.db", "file:node.db"}) {
        make_marked_items(name, {"a"}, Bytes{1});
        Database reader(":memory:", Database::Mode::create);
        reader.attach_to_read(name, "more", test_mark);
        EXPECT_EQ(ocamp::SystemDatabase(reader, "more").list(ots_bind_point), Names{"a"}) << name;
    }
    std::filesystem::current_path(before);
    EXPECT_TRUE(std::filesystem::exists(folder() / "file:node.db"));
}

// Whose rows are whole, and which a search would pass by.
TEST_F(SystemDatabaseFile, ATableInAnotherOrderIsDamaged) {
    std::int64_t page = 0, page_size = 0;
    {
        SystemDatabase(file_, Database::Mode::create).put(ots_bind_point, "a", Bytes{1});
        SystemDatabase(file_, Database::Mode::read_write).put(ots_bind_point, "b", Bytes{1});
        Database file(file_, Database::Mode::read_only);
        page = number_of(file, "SELECT rootpage FROM sqlite_schema WHERE name = 'sysdb_item'");
        page_size = number_of(file, "PRAGMA page_size");
    }
    // Behind the header of a leaf page stand the places of its rows, two bytes each.
    constexpr std::size_t header_size = 8;
    std::string bytes = support::read_file(file_);
    const auto places = bytes.begin() + (page - 1) * page_size + header_size;
    std::rotate(places, places + 2, places + 4);
    support::write_file(file_, bytes);
    SystemDatabase database(file_, Database::Mode::read_only);
    EXPECT_THROW(database.get(ots_bind_point, "c"), ocamp::DamageError);
    EXPECT_THROW(database.list(ots_bind_point), ocamp::DamageError);
}

// What `use` throws; empty when it throws nothing.
template <class Use>
std::string sqlite_complaint(Use use) {
    try {
        use();
    } catch (const ocamp::SqliteError &error) {
        return error.what();
    }
    return "";
}

// The same for somebody who may not write here.
template <class Use>
std::string complaint_of_reader(const std::filesystem::path &file, Use use) {
    chmod(file.c_str(), 0444);
    chmod(file.parent_path().c_str(), 0555);
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    if (child == 0) {
        constexpr uid_t nobody = 65534;
        const bool may_not_write = geteuid() != 0 || seteuid(nobody) == 0;
        const std::string complaint = may_not_write ? sqlite_complaint(use) : "still root";
        _exit(write(ends[1], complaint.data(), complaint.size()) < 0 ? 1 : 0);
    }
    close(ends[1]);
    waitpid(child, nullptr, 0);
    std::array<char, 1024> text;
    const ssize_t size = read(ends[0], text.data(), text.size());
    close(ends[0]);
    chmod(file.parent_path().c_str(), 0755);
    return {text.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0))};
}

TEST_F(SystemDatabaseFile, WhatAKilledWriterLeftIsToldToWhoMayNotUndoIt) {
    {
        SystemDatabase database(file_, Database::Mode::create);
        for (const char *item : {"a", "b", "c"})
            database.put(ots_bind_point, item, Bytes(50000, 7));
    }
    be_killed_while_writing(file_);
    chmod((file_ + "-journal").c_str(), 0444);
    const std::string complaint =
        complaint_of_reader(file_, [&] { const Database reader(file_, Database::Mode::read_only); });
    EXPECT_EQ(complaint.find(file_ + ": "), 0U) << complaint;
    EXPECT_NE(complaint.find("expected somebody who may write: a writer was killed"), std::string::npos) << complaint;
    EXPECT_EQ(complaint.find("PRAGMA"), std::string::npos) << complaint;
}

TEST_F(SystemDatabaseFile, AFailureIsToldInWordsWithItsReason) {
    const std::string nowhere = (folder() / "nowhere" / "node.db").string();
    EXPECT_EQ(sqlite_complaint([&] { const Database database(nowhere, Database::Mode::read_write); }),
              nowhere + ": open: unable to open database file: No such file or directory");
    EXPECT_EQ(sqlite_complaint([&] { const Database database(folder(), Database::Mode::read_write); }),
              folder().string() + ": open: unable to open database file: Is a directory");
    SystemDatabase database(file_, Database::Mode::create);
    EXPECT_EQ(sqlite_complaint([&] { Database(file_, Database::Mode::read_write).exec("CREATE TABLE seal(x)"); }),
              file_ + ": change the tables: table seal already exists");
    std::filesystem::rename(file_, folder() / "moved");
    EXPECT_EQ(sqlite_complaint([&] { database.put(ots_bind_point, "a", Bytes{1}); }),
              file_ + ": write: the file has been renamed or removed since it was opened");
}

TEST_F(SystemDatabaseFile, AReadTransactionSeesOneState) {
    SystemDatabase writer(file_, Database::Mode::create);
    writer.put(ots_bind_point, "a", Bytes{1});
    Database connection(file_, Database::Mode::read_only);
    {
        const ocamp::ReadTransaction reading(connection);
        EXPECT_EQ(ocamp::SystemDatabase(connection).list(ots_bind_point), Names{"a"});
        EXPECT_THROW(
            Database(file_, Database::Mode::read_write).exec("PRAGMA busy_timeout = 0; DELETE FROM sysdb_item;"),
            ocamp::SqliteError);
    }
    writer.put(ots_bind_point, "b", Bytes{1});
    EXPECT_EQ(ocamp::SystemDatabase(connection).list(ots_bind_point), (Names{"a", "b"}));
}

TEST_F(SystemDatabaseFile, ACommitThatFailsInItsLastStepSaysThatTheChangeIsMade) {
    SystemDatabase(file_, Database::Mode::create);
    Database connection(file_, Database::Mode::read_write);
    try {
        ocamp::Transaction transaction(connection);
        ocamp::SystemDatabase(connection).put(ots_bind_point, "a", Bytes{1});
        folders_cannot_be_synced = true;
        transaction.commit();
        ADD_FAILURE() << "committed";
    } catch (const ocamp::SqliteError &error) {
        EXPECT_EQ(std::string(error.what()).find("the change is made, but it may not outlast a power cut: " + file_),
                  0U)
            << error.what();
    }
    // Of a file that nobody else sees yet, there is no change to tell of.
    EXPECT_EQ(sqlite_complaint([&] {
                  ocamp::Transaction transaction(connection);
                  ocamp::SystemDatabase(connection).put(ots_bind_point, "b", Bytes{1});
                  transaction.commit("");
              }).find(file_ + ": write: "),
              0U);
    folders_cannot_be_synced = false;
    EXPECT_EQ(SystemDatabase(file_, Database::Mode::read_only).list(ots_bind_point), (Names{"a", "b"}));
}

TEST_F(SystemDatabaseFile, ACommitThatFailsBeforeSaysThatAlone) {
    SystemDatabase(file_, Database::Mode::create);
    Database connection(file_, Database::Mode::read_write);
    sqlite3_commit_hook(
        connection.connection(), [](void *) { return 1; }, nullptr);
    const std::string complaint = sqlite_complaint([&] {
        ocamp::Transaction transaction(connection);
        ocamp::SystemDatabase(connection).put(ots_bind_point, "a", Bytes{1});
        transaction.commit("the change is made");
    });
    EXPECT_EQ(complaint, file_ + ": write: constraint failed");
    EXPECT_EQ(SystemDatabase(file_, Database::Mode::read_only).list(ots_bind_point), Names{});
}

TEST_F(SystemDatabaseFile, WhatTheSystemSaidOfAnotherFailureIsNotTold) {
    Database connection(file_, Database::Mode::create);
    const std::string attach = "ATTACH '" + (folder() / "nowhere" / "node.db").string() + "' AS more";
    EXPECT_NE(sqlite_complaint([&] { connection.exec(attach); }).find("No such file or directory"), std::string::npos);
    EXPECT_EQ(sqlite_complaint([&] { connection.exec("SELECT nonsense"); }),
              file_ + ": read: no such column: nonsense");
}

TEST_F(SystemDatabaseFile, ADatabaseInMemoryIsNamed) {
    Database database(":memory:", Database::Mode::create);
    EXPECT_EQ(sqlite_complaint([&] { database.prepare("SELECT nonsense"); }),
              "(database in memory): read: no such column: nonsense");
}

using OpenFile = int (*)(const char *, int, int);
OpenFile real_open = nullptr;

// As on a disk without room for another file.
int open_but_make_nothing(const char *path, int flags, int mode) {
    if ((flags & O_CREAT) == 0 && (flags & O_TMPFILE) != O_TMPFILE)
        return real_open(path, flags, mode);
    errno = ENOSPC;
    return -1;
}

TEST_F(SystemDatabaseFile, AJournalThatCannotBeMadeIsToldWithTheReason) {
    SystemDatabase(file_, Database::Mode::create);
    sqlite3_vfs *system = sqlite3_vfs_find(nullptr);
    Database connection(file_, Database::Mode::read_write);
    real_open = reinterpret_cast<OpenFile>(system->xGetSystemCall(system, "open"));
    ASSERT_EQ(system->xSetSystemCall(system, "open", reinterpret_cast<sqlite3_syscall_ptr>(open_but_make_nothing)),
              SQLITE_OK);
    try {
        const ocamp::Transaction transaction(connection);
        ocamp::SystemDatabase(connection).put(ots_bind_point, "a", Bytes{1});
        ADD_FAILURE() << "written";
    } catch (const ocamp::SqliteError &error) {
        EXPECT_EQ(error.what(), file_ + ": write: unable to open database file: No space left on device");
    }
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(folder());
    EXPECT_EQ(sqlite_complaint([] { Database("node.db", Database::Mode::read_write).exec("DELETE FROM seal"); }),
              "node.db: write: unable to open database file: No space left on device");
    std::filesystem::current_path(before);
    system->xSetSystemCall(system, "open", reinterpret_cast<sqlite3_syscall_ptr>(real_open));
}

TEST_F(SystemDatabaseFile, ATableThatIsNotAsMadeIsNamed) {
    SystemDatabase(file_, Database::Mode::create);
    std::vector<std::string> tables = ocamp::seal_table_sql();
    for (const std::string &statement : ocamp::item_table_sql())
        tables.push_back(statement);
    Database database(file_, Database::Mode::read_write);
    check_schema(database, tables);
    database.exec("CREATE TABLE more(x)");
    EXPECT_THROW(check_schema(database, tables), ocamp::DamageError);
    database.exec("DROP TABLE more; DROP TRIGGER sysdb_item_update");
    EXPECT_THROW(check_schema(database, tables), ocamp::DamageError);
    database.exec("CREATE TRIGGER sysdb_item_update AFTER update ON sysdb_item BEGIN SELECT 1; END");
    EXPECT_THROW(check_schema(database, tables), ocamp::DamageError);
}

TEST_F(SystemDatabaseFile, ASharedConnectionsTransactionCoversTheItems) {
    SystemDatabase(file_, Database::Mode::create);
    Database connection(file_, Database::Mode::read_write);
    ocamp::SystemDatabase database(connection);
    {
        ocamp::Transaction transaction(connection);
        database.put(ots_bind_point, "lost", Bytes{1});
        EXPECT_EQ(database.list(ots_bind_point), Names{"lost"});
    }
    EXPECT_EQ(database.list(ots_bind_point), Names{});
    {
        ocamp::Transaction transaction(connection);
        database.put(ots_bind_point, "kept", Bytes{1});
        transaction.commit();
    }
    EXPECT_EQ(SystemDatabase(file_, Database::Mode::read_only).list(ots_bind_point), Names{"kept"});
}

TEST_F(SystemDatabaseFile, AConnectionHasTheNodesSettings) {
    Database database(file_, Database::Mode::create);
    EXPECT_EQ(number_of(database, "PRAGMA foreign_keys"), 1);
    EXPECT_EQ(number_of(database, "PRAGMA trusted_schema"), 0);
    EXPECT_EQ(number_of(database, "PRAGMA synchronous"), 3);
    EXPECT_EQ(number_of(database, "PRAGMA busy_timeout"), 5000);
    ocamp::Statement mode = database.prepare("PRAGMA journal_mode");
    ASSERT_TRUE(mode.step());
    EXPECT_EQ(mode.text(0), "delete");
    EXPECT_EQ(number_of(*std::make_unique<Database>(file_, Database::Mode::read_only), "PRAGMA foreign_keys"), 1);
}

TEST_F(SystemDatabaseFile, AStatementKeepsValuesApartByType) {
    Database database(file_, Database::Mode::create);
    ocamp::Statement row = database.prepare("SELECT ?1, ?2, ?3, ?4 IS NULL");
    row.bind(1, "a\xe2\x82\xac").bind(2, std::int64_t{-9}).bind_blob(3, Bytes{0, 1}).bind(4, std::string_view{});
    ASSERT_TRUE(row.step());
    EXPECT_EQ(row.text(0), "a\xe2\x82\xac");
    EXPECT_EQ(row.number(1), -9);
    EXPECT_EQ(Bytes(row.blob(2).begin(), row.blob(2).end()), (Bytes{0, 1}));
    EXPECT_EQ(row.number(3), 0);
    ocamp::Statement nothing = database.prepare("SELECT NULL");
    ASSERT_TRUE(nothing.step());
    EXPECT_EQ(nothing.text(0), "");
    EXPECT_TRUE(nothing.blob(0).empty());
    EXPECT_EQ(nothing.number(0), 0);
    EXPECT_FALSE(row.step());
    try {
        database.prepare("SELECT nonsense");
        FAIL() << "prepared";
    } catch (const ocamp::SqliteError &error) {
        EXPECT_NE(std::string(error.what()).find("no such column: nonsense"), std::string::npos) << error.what();
        EXPECT_NE(std::string(error.what()).find("node.db"), std::string::npos) << error.what();
        EXPECT_EQ(error.code(), SQLITE_ERROR);
    }
}

TEST_F(SysdbSeam, AnItemIsFetchedIntoABlockOfItsOwn) {
    void *handle = bound();
    std::uint32_t info = 7, length = 0;
    void *bag = nullptr;
    ASSERT_EQ(sysdb_item_get(handle, "Ots0_1_0_0/ots_info", &info, &bag, &length, 0), CERR_SUCCESS);
    EXPECT_EQ(_sysdb_unbind(handle), CERR_SUCCESS);
    const auto *bytes = static_cast<const std::uint8_t *>(bag);
    EXPECT_EQ(Bytes(bytes, bytes + length), sample_bag());
    bag_header_td header;
    EXPECT_EQ(bag_header_info(bag, &header), CERR_SUCCESS);
    EXPECT_EQ(header.length, length);
    std::free(bag);
}

TEST_F(SysdbSeam, AMissingOrBadItemIsRefused) {
    void *handle = bound();
    EXPECT_EQ(fetch(handle, "Ots0_9_0_0/ots_info"), ocamp::rc_not_found);
    EXPECT_EQ(fetch(handle, "Ots0_1_0_0"), ocamp::rc_not_found);
    EXPECT_EQ(fetch(handle, ""), ocamp::rc_invalid_argument);
    EXPECT_EQ(fetch(handle, "a/"), ocamp::rc_invalid_argument);
    EXPECT_EQ(fetch(handle, nullptr), ocamp::rc_invalid_argument);
    EXPECT_EQ(_sysdb_unbind(handle), CERR_SUCCESS);
}

TEST_F(SysdbSeam, ARecordWhoseHeaderDoesNotHoldIsNotHandedOut) {
    void *handle = bound();
    const Bytes whole = sample_bag();
    for (std::size_t length = 0; length < whole.size(); ++length) {
        database_->put(ots_bind_point, "bad", std::span(whole).first(length));
        EXPECT_EQ(fetch(handle, "bad"), ocamp::rc_malformed_record) << length;
    }
    Bytes longer = whole;
    longer.push_back(0);
    database_->put(ots_bind_point, "bad", longer);
    EXPECT_EQ(fetch(handle, "bad"), ocamp::rc_malformed_record);
    database_->put(ots_bind_point, "bad", whole);
    EXPECT_EQ(fetch(handle, "bad"), CERR_SUCCESS);
    EXPECT_EQ(_sysdb_unbind(handle), CERR_SUCCESS);
}

// What a watch says of a call that met damage; empty when it says nothing.
template <class Body>
std::string failure_of(Body body) {
    try {
        ocamp::run_watched(body);
    } catch (const ocamp::PlatformFailure &failure) {
        return failure.what();
    }
    return "";
}

TEST_F(SysdbSeam, ADamagedRecordIsAFailureAndNotAbsence) {
    void *handle = bound();
    Bytes bag = sample_bag();
    for (std::size_t byte = 0; byte < bag.size(); ++byte) {
        bag[byte] ^= 0x10;
        database_->put(ots_bind_point, "bad", bag);
        bag[byte] ^= 0x10;
        const std::string failure =
            failure_of([&] { EXPECT_EQ(fetch(handle, "bad"), ocamp::rc_malformed_record) << byte; });
        EXPECT_EQ(failure.find(file_ + ": record /oper/ots/if/bad is damaged: offset "), 0U) << byte << ' ' << failure;
    }
    EXPECT_EQ(failure_of([&] { EXPECT_EQ(fetch(handle, "missing"), ocamp::rc_not_found); }), "");
    EXPECT_EQ(_sysdb_unbind(handle), CERR_SUCCESS);
}

TEST_F(SysdbSeam, ADamagedNameIsAFailureWhereAbsenceWouldBeTold) {
    // The checksum stays the one of the old name.
    Database(file_, Database::Mode::read_write)
        .exec("UPDATE sysdb_item SET item = 'Ots0_1_0_4/ots_info' WHERE item = 'Ots0_1_0_0/ots_info'");
    void *handle = bound();
    const std::string expected = file_ + ": record /oper/ots/if/Ots0_1_0_4/ots_info is damaged";
    const std::string fetched =
        failure_of([&] { EXPECT_EQ(fetch(handle, "Ots0_1_0_0/ots_info"), ocamp::rc_malformed_record); });
    EXPECT_EQ(fetched.find(expected), 0U) << fetched;
    const std::string listed = failure_of([&] {
        std::uint32_t info = 0, count = 0;
        void *listing = nullptr;
        EXPECT_EQ(sysdb_list(handle, "", &info, &count, &listing, 0), ocamp::rc_malformed_record);
    });
    EXPECT_EQ(listed.find(expected), 0U) << listed;
    EXPECT_EQ(failure_of([&] { EXPECT_EQ(fetch(handle, "summary"), CERR_SUCCESS); }), "");
    EXPECT_EQ(_sysdb_unbind(handle), CERR_SUCCESS);
}

TEST_F(SysdbSeam, ARecordUnderTheNameOfAnotherIsAFailure) {
    const Bytes other = ocamp::encode_bag({"other", 1, 0, {}});
    database_->put(ots_bind_point, "other", other);
    void *handle = bound();
    for (const char *columns : {"bag", "bag, bag_checksum"}) {
        Database(file_, Database::Mode::read_write)
            .exec("UPDATE sysdb_item SET (" + std::string(columns) + ") = (SELECT " + columns +
                  " FROM sysdb_item WHERE item = 'other') WHERE item = 'summary'");
        const std::string failure =
            failure_of([&] { EXPECT_EQ(fetch(handle, "summary"), ocamp::rc_malformed_record); });
        EXPECT_EQ(failure, file_ + ": record /oper/ots/if/summary is damaged: it does not hold its checksum");
    }
    EXPECT_EQ(database_->get(ots_bind_point, "other"), other);
    EXPECT_EQ(_sysdb_unbind(handle), CERR_SUCCESS);
}

TEST_F(SysdbSeam, ALostRowIsAFailureWhereAbsenceWouldBeTold) {
    Database file(file_, Database::Mode::read_write);
    file.exec("DROP TRIGGER sysdb_item_delete; DELETE FROM sysdb_item WHERE item = 'summary'");
    EXPECT_THROW(database_->get(ots_bind_point, "summary"), ocamp::DamageError);
    EXPECT_THROW(database_->remove(ots_bind_point, "summary"), ocamp::DamageError);
    EXPECT_THROW(database_->list(ots_bind_point), ocamp::DamageError);
    EXPECT_THROW(database_->bind_points(), ocamp::DamageError);
    EXPECT_TRUE(database_->get(ots_bind_point, "Ots0_1_0_0/ots_info"));
    try {
        database_->list(ots_bind_point);
    } catch (const ocamp::DamageError &error) {
        EXPECT_EQ(error.what(), file_ + ": damaged: table sysdb_item holds 1 rows, expected 2");
    }
    // One row for another: the number is right and the sum is not.
    file.exec("INSERT INTO sysdb_item SELECT bind_point, 'twice', bag, bag_checksum, checksum FROM sysdb_item; UPDATE "
              "seal SET "
              "row_count = 2");
    EXPECT_THROW(database_->list(ots_bind_point), ocamp::DamageError);
}

TEST_F(SysdbSeam, ASealThatDoesNotHoldIsTold) {
    const auto damage = [&] {
        try {
            database_->list(ots_bind_point);
        } catch (const ocamp::DamageError &error) {
            return std::string(error.what());
        }
        return std::string("none");
    };
    EXPECT_EQ(damage(), "none");
    Database file(file_, Database::Mode::read_write);
    file.exec("UPDATE seal SET checksum_sum = 7 WHERE name = 'sysdb_item'");
    EXPECT_EQ(damage().rfind(file_ + ": damaged: table sysdb_item has checksums that sum up to ", 0), 0U) << damage();
    EXPECT_NE(damage().find(", expected 7"), std::string::npos) << damage();
    file.exec("DELETE FROM seal WHERE name = 'sysdb_item'");
    EXPECT_EQ(damage(), file_ + ": damaged: table sysdb_item has lost its seal");
}

TEST_F(SysdbSeam, AFileThatFailsIsAFailure) {
    Database(file_, Database::Mode::read_write).exec("DROP TABLE sysdb_item;");
    const std::string failure = failure_of([&] { EXPECT_EQ(access(probe_path, R_OK), -1); });
    EXPECT_EQ(failure.find(file_ + ": "), 0U) << failure;
    EXPECT_NE(failure.find("no such table: sysdb_item"), std::string::npos) << failure;
    void *handle = bound();
    EXPECT_NE(failure_of([&] { fetch(handle, "summary"); }).find("no such table: sysdb_item"), std::string::npos);
    EXPECT_EQ(_sysdb_unbind(handle), CERR_SUCCESS);
}

TEST(FailureWatch, KeepsTheFirstFailureAndOutweighsWhatFollows) {
    using ocamp::note_failure, ocamp::run_watched;
    note_failure("nobody watches");
    EXPECT_EQ(failure_of([] {}), "");
    EXPECT_EQ(failure_of([] {
                  note_failure("first");
                  note_failure("second");
                  throw std::runtime_error("because of it");
              }),
              "first");
    EXPECT_THROW(run_watched([] { throw std::out_of_range("by itself"); }), std::out_of_range);
    EXPECT_EQ(failure_of([] {
                  EXPECT_EQ(failure_of([] { note_failure("inner"); }), "inner");
                  note_failure("outer");
              }),
              "outer");
    EXPECT_EQ(failure_of([] { note_failure(std::string(5000, 'x')); }), std::string(1024, 'x'));
}

TEST(FailureWatch, BelongsToItsThread) {
    EXPECT_EQ(failure_of([] { std::thread([] { ocamp::note_failure("elsewhere"); }).join(); }), "");
}

TEST(FailureWatch, SeesWhatIsThrownUnderTheCalls) {
    EXPECT_EQ(failure_of([] {
                  EXPECT_EQ(ocamp::guarded("f", []() -> cerrno { throw std::bad_alloc(); }), ocamp::rc_out_of_memory);
              }),
              "out of memory");
    EXPECT_EQ(failure_of([] {
                  EXPECT_EQ(ocamp::guarded("f", []() -> cerrno { throw std::logic_error("why"); }), ocamp::rc_internal);
              }),
              "why");
    EXPECT_EQ(failure_of([] { EXPECT_EQ(ocamp::guarded("f", []() -> cerrno { throw 1; }), ocamp::rc_internal); }),
              "unknown exception");
}

TEST_F(SysdbSeam, AListingIsSteppedToItsEnd) {
    void *handle = bound();
    std::uint32_t info = 7, count = 0, datatype = 7;
    void *listing = nullptr;
    ASSERT_EQ(sysdb_list(handle, "", &info, &count, &listing, 0), CERR_SUCCESS);
    EXPECT_EQ(info, 0U);
    EXPECT_EQ(count, 2U);
    const char *name = nullptr;
    EXPECT_EQ(sysdb_list_next(listing, &name, &datatype, 0), CERR_SUCCESS);
    EXPECT_STREQ(name, "Ots0_1_0_0/");
    EXPECT_EQ(datatype, 1U);
    EXPECT_EQ(sysdb_list_next(listing, &name, &datatype, 0), CERR_SUCCESS);
    EXPECT_STREQ(name, "summary");
    EXPECT_EQ(datatype, 0U);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(sysdb_list_next(listing, &name, &datatype, 0), CERR_SUCCESS);
        EXPECT_EQ(name, nullptr);
    }
    EXPECT_EQ(sysdb_list_free(listing), CERR_SUCCESS);
    ASSERT_EQ(sysdb_list(handle, "Ots0_1_0_0/", &info, &count, &listing, 0), CERR_SUCCESS);
    EXPECT_EQ(sysdb_list_next(listing, &name, &datatype, 0), CERR_SUCCESS);
    EXPECT_STREQ(name, "ots_info");
    EXPECT_EQ(sysdb_list_free(listing), CERR_SUCCESS);
    EXPECT_EQ(_sysdb_unbind(handle), CERR_SUCCESS);
}

TEST_F(SysdbSeam, AWrongHandleIsRefused) {
    void *handle = bound();
    std::uint32_t info = 0, count = 0, datatype = 0;
    void *listing = nullptr;
    const char *name = nullptr;
    ASSERT_EQ(sysdb_list(handle, "", &info, &count, &listing, 0), CERR_SUCCESS);
    int other = 0;
    for (void *wrong : {static_cast<void *>(nullptr), static_cast<void *>(&other), listing}) {
        void *never = &other;
        EXPECT_EQ(fetch(wrong, "summary"), ocamp::rc_bad_handle);
        EXPECT_EQ(sysdb_list(wrong, "", &info, &count, &never, 0), ocamp::rc_bad_handle);
        EXPECT_EQ(never, nullptr);
        EXPECT_EQ(_sysdb_unbind(wrong), ocamp::rc_bad_handle);
    }
    for (void *wrong : {static_cast<void *>(nullptr), static_cast<void *>(&other), handle}) {
        EXPECT_EQ(sysdb_list_next(wrong, &name, &datatype, 0), ocamp::rc_bad_handle);
        EXPECT_EQ(sysdb_list_free(wrong), ocamp::rc_bad_handle);
    }
    EXPECT_EQ(sysdb_list_free(listing), CERR_SUCCESS);
    EXPECT_EQ(sysdb_list_free(listing), ocamp::rc_bad_handle);
    EXPECT_EQ(_sysdb_unbind(handle), CERR_SUCCESS);
    EXPECT_EQ(_sysdb_unbind(handle), ocamp::rc_bad_handle);
    EXPECT_EQ(fetch(handle, "summary"), ocamp::rc_bad_handle);
}

TEST_F(SysdbSeam, AMissingArgumentIsRefused) {
    void *handle = nullptr, *bag = nullptr, *listing = nullptr;
    std::uint32_t info = 0, length = 0, count = 0, datatype = 0;
    const char *name = nullptr;
    EXPECT_EQ(_sysdb_bind(nullptr, ots_bind_point, 0), ocamp::rc_invalid_argument);
    EXPECT_EQ(_sysdb_bind(&handle, nullptr, 0), ocamp::rc_invalid_argument);
    EXPECT_EQ(_sysdb_bind(&handle, ots_bind_point, 1), ocamp::rc_invalid_argument);
    EXPECT_EQ(_sysdb_bind(&handle, "oper", 0), ocamp::rc_invalid_argument);
    EXPECT_EQ(handle, nullptr);
    handle = bound();
    EXPECT_EQ(sysdb_item_get(handle, "summary", nullptr, &bag, &length, 0), ocamp::rc_invalid_argument);
    EXPECT_EQ(sysdb_item_get(handle, "summary", &info, nullptr, &length, 0), ocamp::rc_invalid_argument);
    EXPECT_EQ(sysdb_item_get(handle, "summary", &info, &bag, nullptr, 0), ocamp::rc_invalid_argument);
    EXPECT_EQ(sysdb_item_get(handle, "summary", &info, &bag, &length, 1), ocamp::rc_invalid_argument);
    EXPECT_EQ(bag, nullptr);
    EXPECT_EQ(sysdb_list(handle, nullptr, &info, &count, &listing, 0), ocamp::rc_invalid_argument);
    EXPECT_EQ(sysdb_list(handle, "", nullptr, &count, &listing, 0), ocamp::rc_invalid_argument);
    EXPECT_EQ(sysdb_list(handle, "", &info, nullptr, &listing, 0), ocamp::rc_invalid_argument);
    EXPECT_EQ(sysdb_list(handle, "", &info, &count, nullptr, 0), ocamp::rc_invalid_argument);
    EXPECT_EQ(sysdb_list(handle, "", &info, &count, &listing, 1), ocamp::rc_invalid_argument);
    EXPECT_EQ(sysdb_list(handle, "Ots", &info, &count, &listing, 0), ocamp::rc_invalid_argument);
    EXPECT_EQ(listing, nullptr);
    ASSERT_EQ(sysdb_list(handle, "", &info, &count, &listing, 0), CERR_SUCCESS);
    EXPECT_EQ(sysdb_list_next(listing, nullptr, &datatype, 0), ocamp::rc_invalid_argument);
    EXPECT_EQ(sysdb_list_next(listing, &name, nullptr, 0), ocamp::rc_invalid_argument);
    EXPECT_EQ(sysdb_list_next(listing, &name, &datatype, 2), ocamp::rc_invalid_argument);
    EXPECT_EQ(sysdb_list_free(listing), CERR_SUCCESS);
    EXPECT_EQ(_sysdb_unbind(handle), CERR_SUCCESS);
}

TEST_F(SysdbSeam, WithoutADatabaseNothingCanBeBound) {
    guard_.reset();
    void *handle = &file_;
    EXPECT_EQ(_sysdb_bind(&handle, ots_bind_point, 0), SYSDB_RC_UNAVAILABLE);
    EXPECT_EQ(handle, nullptr);
}

TEST_F(SysdbSeam, ABindingBelongsToTheDatabaseItWasOpenedOn) {
    void *outer = bound();
    {
        SystemDatabase other((folder() / "other.db").string(), Database::Mode::create);
        const CurrentSystemDatabase guard(other);
        EXPECT_EQ(fetch(outer, "summary"), ocamp::rc_bad_handle);
        void *inner = bound();
        EXPECT_EQ(fetch(inner, "summary"), ocamp::rc_not_found);
        EXPECT_EQ(_sysdb_unbind(inner), CERR_SUCCESS);
    }
    EXPECT_EQ(fetch(outer, "summary"), CERR_SUCCESS);
    guard_.reset();
    guard_.emplace(*database_);
    // Closed with the guard it was opened under, although the database is the same one.
    EXPECT_EQ(_sysdb_unbind(outer), ocamp::rc_bad_handle);
}

// A server of many nodes runs mappings of several at a time.
TEST_F(SysdbSeam, EachThreadHasADatabaseOfItsOwn) {
    std::thread([&] {
        void *handle = nullptr;
        EXPECT_EQ(_sysdb_bind(&handle, ots_bind_point, 0), SYSDB_RC_UNAVAILABLE);
        SystemDatabase other((folder() / "other.db").string(), Database::Mode::create);
        const CurrentSystemDatabase guard(other);
        handle = bound();
        EXPECT_EQ(fetch(handle, "summary"), ocamp::rc_not_found);
        EXPECT_EQ(_sysdb_unbind(handle), CERR_SUCCESS);
    }).join();
    void *handle = bound();
    std::thread([&] { EXPECT_EQ(fetch(handle, "summary"), ocamp::rc_bad_handle); }).join();
    EXPECT_EQ(fetch(handle, "summary"), CERR_SUCCESS);
    EXPECT_EQ(_sysdb_unbind(handle), CERR_SUCCESS);
}

TEST_F(SysdbSeam, ADatabaseThatFailsIsACodeAndALine) {
    const std::string log = (folder() / "log").string();
    const ocamp::LogSession session({log, 0, ""});
    void *handle = bound();
    Database(file_, Database::Mode::create).exec("DROP TABLE sysdb_item;");
    EXPECT_EQ(fetch(handle, "summary"), ocamp::rc_database);
    EXPECT_EQ(_sysdb_unbind(handle), CERR_SUCCESS);
    std::ostringstream content;
    content << std::ifstream(log).rdbuf();
    EXPECT_EQ(content.str().find("ERR: platform: sysdb_item_get: " + file_ + ": "), 0U) << content.str();
    EXPECT_NE(content.str().find("no such table: sysdb_item"), std::string::npos) << content.str();
}

TEST_F(SysdbSeam, AMissingItemIsATraceAndNoError) {
    const std::string log = (folder() / "log").string();
    void *handle = bound();
    {
        const ocamp::LogSession errors({log, 0, ""});
        EXPECT_EQ(fetch(handle, "missing"), ocamp::rc_not_found);
    }
    const ocamp::LogSession traces({log, 3, ""});
    EXPECT_EQ(fetch(handle, "missing"), ocamp::rc_not_found);
    EXPECT_EQ(_sysdb_unbind(handle), CERR_SUCCESS);
    std::ostringstream content;
    content << std::ifstream(log).rdbuf();
    EXPECT_EQ(content.str(), "TRC: platform: sysdb_item_get: no item /oper/ots/if/missing\n");
}

TEST_F(SysdbSeam, TheProbePathAnswersForTheCurrentDatabase) {
    EXPECT_EQ(access(probe_path, R_OK), 0);
    Database(file_, Database::Mode::create).exec("DROP TABLE sysdb_item;");
    EXPECT_EQ(access(probe_path, R_OK), -1);
    guard_.reset();
    errno = 0;
    EXPECT_EQ(access(probe_path, R_OK), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(SysdbSeam, OtherPathsAreTheKernelsToAnswer) {
    EXPECT_EQ(access(file_.c_str(), R_OK), 0);
    errno = 0;
    EXPECT_EQ(access((folder() / "missing").c_str(), F_OK), -1);
    EXPECT_EQ(errno, ENOENT);
    errno = 0;
    EXPECT_EQ(access("/pkg/lib/libsysdb.so.1", R_OK), -1);
    EXPECT_EQ(errno, ENOENT);
    errno = 0;
    // Past the declaration's promise that there is a path.
    int (*volatile unchecked)(const char *, int) = access;
    EXPECT_EQ(unchecked(nullptr, R_OK), -1);
    EXPECT_EQ(errno, EFAULT);
}

TEST_F(SysdbSeam, ALibraryLoadedLaterFindsTheseCalls) {
    // The order in which the dynamic linker searches for a loaded library: this program first.
    EXPECT_EQ(dlsym(RTLD_DEFAULT, "access"), reinterpret_cast<void *>(access));
    Dl_info where;
    for (const char *name :
         {"access", "_sysdb_bind", "bag_generic_token", "inet_ntoa_r", "_lstrace", "cerr_strerror"}) {
        void *symbol = dlsym(RTLD_DEFAULT, name);
        ASSERT_NE(symbol, nullptr) << name;
        ASSERT_NE(dladdr(symbol, &where), 0) << name;
        EXPECT_NE(std::string(where.dli_fname).find("platform_sysdb_test"), std::string::npos) << name;
    }
}

TEST_F(SysdbSeam, AnObserverSeesTheCalls) {
    Recorder recorder;
    void *handle = bound();
    fetch(handle, "0%2f1-AMP-PRE/attrib/inv_basic_bag");
    fetch(handle, "summary");
    _sysdb_unbind(handle);
    access(probe_path, R_OK);
    EXPECT_EQ(recorder.calls, (Names{"_sysdb_bind(\"/oper/ots/if/\") = 0",
                                     "sysdb_item_get(\"0%2f1-AMP-PRE/attrib/inv_basic_bag\") = 0x4f430110",
                                     "sysdb_item_get(\"summary\") = 0", "_sysdb_unbind() = 0",
                                     "access(\"/pkg/lib/libsysdb.so\", 4) = 0"}));
}

TEST(BagWalks, AreSeenByAnObserver) {
    Recorder recorder;
    const Bytes bag = sample_bag();
    bag_header_td header = {};
    bag_walk_td walk = {};
    bag_token_td token = {};
    char address[16];
    bag_header_info(bag.data(), &header);
    bag_generic_init(bag.data(), static_cast<std::uint32_t>(bag.size()), &walk);
    bag_generic_token(&walk, &token);
    bag_generic_free_token_allocations(&token);
    bag_generic_destroy(&walk);
    inet_ntoa_r(0, address);
    const std::string type = std::to_string(static_cast<int>(ocamp::BagType::int32));
    EXPECT_EQ(recorder.calls,
              (Names{"bag_header_info(\"ots\") = 0", "bag_generic_init(" + std::to_string(bag.size()) + ") = 0",
                     "bag_generic_token(" + type + ", \"Power\") = 0", "bag_generic_free_token_allocations()",
                     "bag_generic_destroy()", "inet_ntoa_r() = \"0.0.0.0\""}));
}

// ---- Files of databases ------------------------------------------------------------------------------------------

TEST(DatabaseFile, HasItsNameWhenItIsCompleteAndIsNothingBefore) {
    const support::TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "made.db";
    // What a process that was killed has left.
    std::ofstream(file.string() + ".new") << "half";
    std::ofstream(file.string() + ".new-journal") << "of another file";
    const auto fails = [](ocamp::Database &) { throw std::runtime_error("no content"); };
    EXPECT_THROW(ocamp::make_database_file(file, test_mark, "", fails), std::runtime_error);
    EXPECT_FALSE(exists(file));
    ocamp::make_database_file(file, test_mark, "", [&](ocamp::Database &database) {
        EXPECT_FALSE(exists(file));
        database.exec("CREATE TABLE one(two);");
    });
    EXPECT_TRUE(std::filesystem::is_regular_file(file));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1);
    ocamp::Database made(file.string(), ocamp::Database::Mode::read_only, &test_mark);
    EXPECT_FALSE(made.prepare("SELECT two FROM one").step());
}

TEST(DatabaseFile, GoesWithItsJournal) {
    const support::TemporaryFolder folder;
    std::ofstream(folder.path() / "one.db") << 1;
    std::ofstream(folder.path() / "one.db-journal") << 1;
    ocamp::remove_database_file(folder.path() / "one.db");
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
    EXPECT_NO_THROW(ocamp::remove_database_file(folder.path() / "one.db"));
}

TEST(DatabaseFile, ThatCannotBeReadIsNamed) {
    const support::TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "long.db";
    std::ofstream(file) << std::string(200'000, 'x');
    EXPECT_NO_THROW(ocamp::check_readable(file));
    const auto told = [](const std::filesystem::path &unreadable) -> std::string {
        try {
            ocamp::check_readable(unreadable);
        } catch (const std::system_error &error) {
            return error.what();
        }
        return "readable";
    };
    EXPECT_EQ(told(folder.path()), folder.path().string() + ": Is a directory");
    EXPECT_EQ(told(folder.path() / "none"), (folder.path() / "none").string() + ": No such file or directory");
}

} // namespace
