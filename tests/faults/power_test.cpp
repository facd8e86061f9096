// The power goes at every point of a node's making and of edits. What was written since the last sync of its file, and
// names since the last sync of their folder, may then be on the disk or not, in any choice, and the last writes in
// part. Each such disk is built and opened: it holds every edit that was acknowledged, and of the one under way all or
// nothing.
#include "node/node.h"
#include "power_steps.h"
#include "support/files.h"
#include "support/program.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <vector>

#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;
using namespace ocamp;
using power::Action;
using power::Step;
using power::steps_of;
using support::read_file;
using support::write_file;

// What a disk is cut at: writes of less are whole or not there.
constexpr std::size_t sector_size = 512;
// Random choices at each point, besides those that are made in every case.
constexpr int random_choices = 6;

// ---- The disk ----------------------------------------------------------------------------------------------------

void write_into(std::string &content, const Step &write, std::size_t size) {
    if (write.action == Action::truncate)
        return content.resize(write.at);
    content.resize(std::max(content.size(), write.at + size));
    content.replace(write.at, size, write.data, 0, size);
}

struct File {
    bool is_folder = false;
    std::string synced;
    std::vector<Step> pending;
};
using FilePointer = std::shared_ptr<File>;

// A change of names in one folder that is not synced yet.
struct NameChange {
    std::string name;
    FilePointer file;          // NULL: the name is gone
    std::string replaced = {}; // a name that is gone in the same step
};

// Files by their names, as they are for the program, and what of it is on the disk in any case.
class Disk {
  public:
    void take(const Step &step) {
        switch (step.action) {
        case Action::make_file:
        case Action::make_folder: {
            const auto made = std::make_shared<File>();
            made->is_folder = step.action == Action::make_folder;
            change({step.name, made});
            break;
        }
        case Action::write:
        case Action::truncate:
            now_.at(step.name)->pending.push_back(step);
            break;
        case Action::unlink:
            change({step.name, nullptr});
            break;
        case Action::rename:
            change({step.data, now_.at(step.name), step.name});
            break;
        case Action::sync:
            sync(step.name);
            break;
        }
    }

    // Says of each pending change, in their order, how much of it is on the disk: of a write that many bytes at most,
    // of a name all or nothing.
    using Choice = std::function<std::size_t(std::size_t nth)>;
    std::map<std::string, std::string> after_cut(const Choice &choice) const {
        std::size_t nth = 0;
        std::map<const File *, std::string> contents;
        for (const FilePointer &file : files()) {
            std::string &content = contents[file.get()] = file->synced;
            for (const Step &write : file->pending)
                if (const std::size_t kept = choice(nth++); kept != 0)
                    write_into(content, write, std::min(kept, write.data.size()));
        }
        std::map<std::string, FilePointer> names = synced_;
        for (const NameChange &each : pending_)
            if (choice(nth++) != 0)
                apply(names, each);
        std::map<std::string, std::string> disk;
        for (const auto &[name, file] : names)
            if (!file->is_folder && is_reachable(names, name))
                disk[name] = contents[file.get()];
        return disk;
    }
    std::size_t pending() const {
        std::size_t count = pending_.size();
        for (const FilePointer &file : files())
            count += file->pending.size();
        return count;
    }
    std::set<std::string> folders() const {
        std::set<std::string> names;
        for (const auto &[name, file] : now_)
            if (file->is_folder)
                names.insert(name);
        return names;
    }

  private:
    static std::string folder_of(const std::string &name) {
        const auto slash = name.rfind('/');
        return slash == std::string::npos ? "" : name.substr(0, slash);
    }
    static void apply(std::map<std::string, FilePointer> &names, const NameChange &each) {
        if (!each.replaced.empty())
            names.erase(each.replaced);
        if (each.file == nullptr)
            names.erase(each.name);
        else
            names[each.name] = each.file;
    }
    static bool is_reachable(const std::map<std::string, FilePointer> &names, const std::string &name) {
        const std::string above = folder_of(name);
        return above.empty() || (names.contains(above) && is_reachable(names, above));
    }
    void change(const NameChange &each) {
        apply(now_, each);
        pending_.push_back(each);
    }
    void sync(const std::string &name) {
        const auto found = now_.find(name);
        if (found != now_.end() && !found->second->is_folder) {
            for (const Step &write : found->second->pending)
                write_into(found->second->synced, write, write.data.size());
            found->second->pending.clear();
            return;
        }
        std::vector<NameChange> later;
        for (const NameChange &each : pending_)
            if (folder_of(each.name) == name)
                apply(synced_, each);
            else
                later.push_back(each);
        pending_ = later;
    }
    // Every file that a name may lead to after a cut, in the same order every time.
    std::vector<FilePointer> files() const {
        std::vector<FilePointer> all;
        const auto add = [&](const FilePointer &file) {
            if (file != nullptr && std::find(all.begin(), all.end(), file) == all.end())
                all.push_back(file);
        };
        for (const auto &[name, file] : synced_)
            add(file);
        for (const NameChange &each : pending_)
            add(each.file);
        return all;
    }

    std::map<std::string, FilePointer> now_, synced_;
    std::vector<NameChange> pending_;
};

// ---- The node ----------------------------------------------------------------------------------------------------

struct Command {
    std::vector<std::string> words;
    std::size_t steps_after = 0; // of the log, when it was acknowledged
    std::string rows_after = {};
};

// Every row of the node; none when there is no node that can be opened, for the reason given.
std::optional<std::string> rows_of(const fs::path &folder, std::string &why_not) {
    try {
        Node node(folder, Node::Access::read);
        const ReadTransaction transaction(node.database());
        std::string all;
        for (const char *query :
             {"PRAGMA integrity_check", "SELECT bind_point, item, bag FROM sysdb_item ORDER BY bind_point, item",
              "SELECT name, document FROM native_data ORDER BY name"}) {
            Statement rows = node.database().prepare(query);
            const int columns = query[0] == 'P' ? 1 : std::strstr(query, "bag") != nullptr ? 3 : 2;
            while (rows.step())
                for (int i = 0; i < columns; ++i)
                    all.append(rows.text(i)).push_back('\0');
        }
        return all;
    } catch (const std::exception &error) {
        why_not = error.what();
        return std::nullopt;
    }
}

class PowerCut : public testing::Test {
  protected:
    fs::path folder() const { return made_.path() / "disk"; }
    fs::path node() const { return folder() / "node"; }

    void run(Command &command) {
        const support::Outcome outcome =
            support::run({.words = command.words,
                          .environment = {"LD_PRELOAD=" POWER_SHIM_NAME, "LD_LIBRARY_PATH=" POWER_SHIM_FOLDER,
                                          std::string(power::folder_variable) + "=" + folder().string(),
                                          std::string(power::log_variable) + "=" + log().string()}});
        ASSERT_EQ(outcome.status, 0) << outcome.err;
        command.steps_after = steps_of(read_file(log())).size();
        std::string why_not;
        const auto rows = rows_of(node(), why_not);
        ASSERT_TRUE(rows) << why_not;
        command.rows_after = *rows;
    }
    fs::path log() const { return made_.path() / "log"; }

    // The choices at one point: nothing is on the disk, everything, all but one and none but one, and random ones.
    std::vector<Disk::Choice> choices(std::size_t pending) {
        constexpr std::size_t whole = SIZE_MAX;
        std::vector<Disk::Choice> all{[](std::size_t) { return std::size_t{0}; }, [](std::size_t) { return whole; }};
        for (std::size_t i = 0; i < pending; ++i) {
            all.emplace_back([i](std::size_t nth) { return nth == i ? 0 : whole; });
            all.emplace_back([i](std::size_t nth) { return nth == i ? whole : 0; });
        }
        for (int i = 0; pending > 1 && i < random_choices; ++i) {
            std::vector<std::size_t> kept(pending);
            for (std::size_t &each : kept) {
                const auto dice = random_() % 3;
                each = dice == 0 ? 0 : dice == 1 ? whole : sector_size * (1 + random_() % 7);
            }
            all.emplace_back([kept](std::size_t nth) { return kept.at(nth); });
        }
        return all;
    }

    // Builds the disk and opens it. `before`: what was acknowledged; `under_way`: what may be there instead.
    void expect_node(const std::map<std::string, std::string> &disk, const Command *before, const Command *under_way,
                     std::size_t step) {
        if (!seen_.insert({disk, before == nullptr ? "" : before->rows_after}).second)
            return;
        ++disks_;
        const fs::path place = made_.path() / "after";
        fs::remove_all(place);
        for (const auto &[name, content] : disk) {
            fs::create_directories((place / name).parent_path());
            write_file(place / name, content);
        }
        std::string why_not;
        const auto rows = rows_of(place / "node", why_not);
        if (!rows) {
            EXPECT_EQ(before, nullptr) << "step " << step << ": what was acknowledged is gone: " << why_not;
            return;
        }
        const bool is_before = before != nullptr && *rows == before->rows_after;
        const bool is_after = under_way != nullptr && *rows == under_way->rows_after;
        EXPECT_TRUE(is_before || is_after)
            << "step " << step << ": neither what was acknowledged nor what was under way";
        after_ += is_after ? 1 : 0;
    }

    support::TemporaryFolder made_;
    std::mt19937 random_{1};
    std::set<std::pair<std::map<std::string, std::string>, std::string>> seen_;
    std::size_t disks_ = 0, after_ = 0;
};

TEST_F(PowerCut, LosesNothingThatWasAcknowledged) {
    fs::create_directory(folder());
    write_file(log(), "");
    std::vector<Command> commands{
        {{OCAMP_PROGRAM, "node", "init", node().string(), "--from", EXAMPLES "/node"}},
        {{OCAMP_PROGRAM, "edit", "--node", node().string(), EXAMPLES "/requests/edit-two-amplifiers.xml"}},
        {{OCAMP_PROGRAM, "edit", "--node", node().string(), EXAMPLES "/requests/delete-tilt.xml"}},
        {{OCAMP_PROGRAM, "edit", "--node", node().string(), EXAMPLES "/requests/replace-amplifier.xml"}}};
    for (Command &command : commands)
        ASSERT_NO_FATAL_FAILURE(run(command));
    const std::vector<Step> steps = steps_of(read_file(log()));

    Disk disk;
    for (std::size_t done = 0; done <= steps.size(); ++done) {
        if (done != 0)
            disk.take(steps[done - 1]);
        const Command *before = nullptr, *under_way = nullptr;
        for (const Command &command : commands)
            if (command.steps_after <= done)
                before = &command;
            else if (under_way == nullptr)
                under_way = &command;
        for (const Disk::Choice &choice : choices(disk.pending()))
            expect_node(disk.after_cut(choice), before, under_way, done);
    }
    // The log has everything: replayed whole, it gives the very files that are there.
    for (const auto &[name, content] : disk.after_cut([](std::size_t) { return SIZE_MAX; }))
        EXPECT_TRUE(read_file(folder() / name) == content) << name;
    EXPECT_EQ(disk.folders(), std::set<std::string>({"node"}));
    EXPECT_GT(disks_, steps.size());
    std::cout << steps.size() << " steps, " << disks_ << " disks opened, " << after_
              << " of them with the edit under way\n";
}

} // namespace
