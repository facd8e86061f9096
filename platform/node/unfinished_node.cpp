// How the names of an unfinished node are kept.
#include "node/unfinished_node.h"

#include <algorithm>
#include <array>
#include <climits>
#include <string_view>

#include <unistd.h>

namespace ocamp::unfinished_node {

namespace {

/// A path with its NUL; empty for none.
class KeptPath {
  public:
    void keep(std::string_view path, std::string_view suffix = "") noexcept {
        forget();
        if (path.size() + suffix.size() < text_.size())
            *std::copy(suffix.begin(), suffix.end(), std::copy(path.begin(), path.end(), text_.begin())) = '\0';
    }
    void forget() noexcept { text_.front() = '\0'; }

    /// Calls `remove`, which is unlink or rmdir, and forgets the path.
    void remove_with(int (*remove)(const char *)) noexcept {
        if (text_.front() != '\0')
            remove(text_.data());
        forget();
    }

  private:
    std::array<char, PATH_MAX> text_;
};

thread_local KeptPath folder_made, file_made, journal_made;

} // namespace

void folder_is_made(const std::filesystem::path &folder) noexcept {
    folder_made.keep(folder.native());
}

void file_is_made(const std::filesystem::path &file) noexcept {
    file_made.keep(file.native());
    journal_made.keep(file.native(), "-journal");
}

void file_is_finished() noexcept {
    file_made.forget();
    journal_made.forget();
}

void remove_file() noexcept {
    // The journal first: without its file nobody would find it again.
    journal_made.remove_with(unlink);
    file_made.remove_with(unlink);
}

void remove_folder() noexcept {
    folder_made.remove_with(rmdir);
}

} // namespace ocamp::unfinished_node
