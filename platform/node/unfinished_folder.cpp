// How folders are made under another name. Knows nothing of what they hold.
#include "node/unfinished_folder.h"

#include "node/files.h"
#include "node/node.h"

#include <cerrno>
#include <cstdio>
#include <memory>
#include <system_error>

#include <unistd.h>

#include <fmt/format.h>

namespace ocamp {

namespace fs = std::filesystem;

namespace {

[[noreturn]] void fail_on(const fs::path &path) {
    throw std::system_error(errno != 0 ? errno : EIO, std::generic_category(),
                            fmt::format("{}: cannot be written", path.string()));
}

[[noreturn]] void refuse_taken(const fs::path &folder) {
    throw NodeError(fmt::format("{}: is there already, expected a new or empty folder", folder.string()));
}

fs::path without_slash(const fs::path &folder) {
    const fs::path target = fs::absolute(folder).lexically_normal();
    return target.has_filename() ? target : target.parent_path();
}

} // namespace

UnfinishedFolder::UnfinishedFolder(const fs::path &folder)
    : final_name_(without_slash(folder)), path_(final_name_.string() + fmt::format(".new-{}", getpid())) {
    std::error_code error;
    if (fs::exists(fs::symlink_status(final_name_, error)) && !fs::is_empty(final_name_, error))
        refuse_taken(folder);
    if (!fs::create_directory(path_, error))
        throw NodeError(fmt::format("{}: {}, expected a folder that can be made", folder.string(),
                                    error ? error.message() : "is being written"));
}

UnfinishedFolder::~UnfinishedFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

void UnfinishedFolder::write_file(const fs::path &name, std::string_view text) const {
    struct Close {
        void operator()(std::FILE *file) const noexcept { static_cast<void>(std::fclose(file)); }
    };
    const fs::path file_name = path_ / name;
    errno = 0;
    std::unique_ptr<std::FILE, Close> file(std::fopen(file_name.c_str(), "wxe"));
    if (file == nullptr || std::fwrite(text.data(), 1, text.size(), file.get()) != text.size() ||
        std::fflush(file.get()) != 0 || fsync(fileno(file.get())) != 0)
        fail_on(file_name);
}

void UnfinishedFolder::finish() {
    for (const fs::directory_entry &entry : fs::directory_iterator(path_))
        if (entry.is_directory())
            sync(entry.path());
    sync(path_);
    if (std::rename(path_.c_str(), final_name_.c_str()) != 0) {
        if (errno == ENOTEMPTY || errno == EEXIST || errno == ENOTDIR)
            refuse_taken(final_name_);
        fail_on(final_name_);
    }
    sync(final_name_.parent_path());
}

} // namespace ocamp
