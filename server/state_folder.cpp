// How files become durable: written beside, synced, renamed, and their folder synced. Knows not what is in them.
#include "server/state_folder.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fmt/format.h>

namespace ocamp::server {

namespace fs = std::filesystem;

namespace {

constexpr mode_t folder_mode = 0700;
constexpr mode_t file_mode = 0600;
constexpr mode_t others_rights = 077;
// More than any file here needs: a larger one is none of the server's.
constexpr std::size_t largest_file = std::size_t{64} * 1024 * 1024;

[[noreturn]] void fail(const fs::path &path, std::string_view what, int error = errno) {
    throw StateError(fmt::format("{}: {}: {}", path.string(), what, std::strerror(error)));
}

class OpenFile {
  public:
    OpenFile(const fs::path &path, int flags)
        : path_(path), number_(open(path.c_str(), flags | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, file_mode)) {}
    ~OpenFile() {
        if (number_ >= 0)
            close(number_);
    }
    OpenFile(const OpenFile &) = delete;
    OpenFile &operator=(const OpenFile &) = delete;

    int number() const noexcept { return number_; }
    int release() noexcept { return std::exchange(number_, -1); }

    void check_open() const {
        if (number_ < 0)
            fail(path_, "cannot be opened");
    }
    // Refuses what is not a file of ours alone.
    void check_owner_only() const {
        struct stat status = {};
        if (fstat(number_, &status) != 0)
            fail(path_, "cannot be looked at");
        if (!S_ISREG(status.st_mode) || (status.st_mode & others_rights) != 0)
            throw StateError(
                fmt::format("{}: mode {:04o}, expected a file that its owner alone may read and write (0600)",
                            path_.string(), status.st_mode & 07777));
        if (status.st_uid != geteuid() && geteuid() != 0)
            throw StateError(fmt::format("{}: is another user's, expected a file of one's own", path_.string()));
    }

    std::string read_all() const {
        std::string text;
        std::array<char, 16384> part;
        ssize_t got = 0;
        while ((got = read(number_, part.data(), part.size())) != 0) {
            if (got < 0 && errno == EINTR)
                continue;
            if (got < 0)
                fail(path_, "cannot be read");
            text.append(part.data(), static_cast<std::size_t>(got));
            if (text.size() > largest_file)
                throw StateError(fmt::format("{}: more than {} bytes, expected a file of the server's", path_.string(),
                                             largest_file));
        }
        return text;
    }

    void write_all(std::string_view text) const {
        while (!text.empty()) {
            const ssize_t written = write(number_, text.data(), text.size());
            if (written < 0 && errno == EINTR)
                continue;
            if (written < 0)
                fail(path_, "cannot be written");
            text.remove_prefix(static_cast<std::size_t>(written));
        }
        if (fsync(number_) != 0)
            fail(path_, "cannot be written to the disk");
    }

  private:
    fs::path path_;
    int number_;
};

// What root makes belongs to the owner of the folder that it lies in: a server that runs as that owner reads it.
void give_to_owner_of(const fs::path &folder, int made) {
    struct stat status = {};
    if (geteuid() == 0 && stat(folder.c_str(), &status) == 0 && fchown(made, status.st_uid, status.st_gid) != 0)
        fail(folder, "what was made in it cannot be given to its owner");
}

void sync_folder(const fs::path &folder) {
    const int number = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool synced = number >= 0 && fsync(number) == 0;
    const int error = errno;
    if (number >= 0)
        close(number);
    if (!synced)
        fail(folder, "cannot be written to the disk", error);
}

} // namespace

StateFolder::StateFolder(const fs::path &node) : folder_(node / "server") {}

fs::path StateFolder::path_of(std::string_view name) const {
    return folder_ / name;
}

void StateFolder::make() const {
    if (mkdir(folder_.c_str(), folder_mode) == 0) {
        const OpenFile made(folder_, O_RDONLY | O_DIRECTORY);
        made.check_open();
        give_to_owner_of(folder_.parent_path(), made.number());
        sync_folder(folder_.parent_path());
    } else if (errno != EEXIST)
        fail(folder_, "cannot be made");
    struct stat status = {};
    if (lstat(folder_.c_str(), &status) != 0)
        fail(folder_, "cannot be looked at");
    if (!S_ISDIR(status.st_mode) || (status.st_mode & others_rights) != 0)
        throw StateError(fmt::format("{}: mode {:04o}, expected a folder that its owner alone may enter (0700)",
                                     folder_.string(), status.st_mode & 07777));
}

std::optional<std::string> StateFolder::read(std::string_view name) const {
    const OpenFile file(path_of(name), O_RDONLY);
    if (file.number() < 0 && errno == ENOENT)
        return std::nullopt;
    file.check_open();
    file.check_owner_only();
    return file.read_all();
}

fs::path StateFolder::write_temporary(std::string_view name, std::string_view content) const {
    static std::atomic<unsigned> count{0};
    make();
    const fs::path path = folder_ / fmt::format("{}.new-{}-{}", name, getpid(), count++);
    unlink(path.c_str()); // of a process that had this number and was killed
    const OpenFile file(path, O_WRONLY | O_CREAT | O_EXCL);
    file.check_open();
    try {
        give_to_owner_of(folder_, file.number());
        file.write_all(content);
    } catch (...) {
        unlink(path.c_str());
        throw;
    }
    return path;
}

void StateFolder::write(std::string_view name, std::string_view content) const {
    const fs::path temporary = write_temporary(name, content);
    if (rename(temporary.c_str(), path_of(name).c_str()) != 0) {
        const int error = errno;
        unlink(temporary.c_str());
        fail(path_of(name), "cannot be made", error);
    }
    sync_folder(folder_);
}

bool StateFolder::write_new(std::string_view name, std::string_view content) const {
    const fs::path temporary = write_temporary(name, content);
    const bool made = link(temporary.c_str(), path_of(name).c_str()) == 0;
    const int error = errno;
    unlink(temporary.c_str());
    if (!made && error != EEXIST)
        fail(path_of(name), "cannot be made", error);
    sync_folder(folder_);
    return made;
}

bool StateFolder::remove(std::string_view name) const {
    if (unlink(path_of(name).c_str()) != 0) {
        if (errno == ENOENT)
            return false;
        fail(path_of(name), "cannot be removed");
    }
    sync_folder(folder_);
    return true;
}

StateFolder::Hold::Hold(const StateFolder &folder, std::string_view word, bool wait) {
    folder.make();
    const fs::path path = folder.path_of(std::string(word) + ".lock");
    OpenFile file(path, O_RDWR | O_CREAT);
    file.check_open();
    give_to_owner_of(folder.folder_, file.number());
    while (flock(file.number(), LOCK_EX | (wait ? 0 : LOCK_NB)) != 0) {
        if (errno == EINTR)
            continue;
        if (errno == EWOULDBLOCK)
            throw StateError(fmt::format("{}: held by another process", path.string()));
        fail(path, "cannot be locked");
    }
    descriptor_ = file.release();
}

StateFolder::Hold::~Hold() {
    close(descriptor_); // and with it its lock
}

} // namespace ocamp::server
