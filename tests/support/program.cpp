// How programs are started. Knows no program.
#include "program.h"

#include <array>
#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace support {

namespace {

[[noreturn]] void fail(int error, const std::string &what) {
    throw std::system_error(error, std::generic_category(), what);
}

// A file in memory.
class MemoryFile {
  public:
    explicit MemoryFile(const char *name) : descriptor_(memfd_create(name, MFD_CLOEXEC)) {
        if (descriptor_ < 0)
            fail(errno, "memfd_create");
    }
    ~MemoryFile() { close(descriptor_); }
    MemoryFile(const MemoryFile &) = delete;
    MemoryFile &operator=(const MemoryFile &) = delete;

    int descriptor() const noexcept { return descriptor_; }

    void fill(const std::string &text) const {
        for (std::size_t done = 0; done < text.size();) {
            const ssize_t written = pwrite(descriptor_, text.data() + done, text.size() - done, off_t(done));
            if (written < 0)
                fail(errno, "pwrite");
            done += static_cast<std::size_t>(written);
        }
    }

    std::string text() const {
        std::string text;
        std::array<char, 4096> part;
        for (ssize_t got; (got = pread(descriptor_, part.data(), part.size(), off_t(text.size()))) > 0;)
            text.append(part.data(), static_cast<std::size_t>(got));
        return text;
    }

  private:
    int descriptor_;
};

// What is done with the descriptors between the start of the new process and that of its program.
class Descriptors {
  public:
    Descriptors() { posix_spawn_file_actions_init(&actions_); }
    ~Descriptors() { posix_spawn_file_actions_destroy(&actions_); }
    Descriptors(const Descriptors &) = delete;
    Descriptors &operator=(const Descriptors &) = delete;

    void lead(int descriptor, const MemoryFile &to) {
        posix_spawn_file_actions_adddup2(&actions_, to.descriptor(), descriptor);
    }
    void lead(int descriptor, const std::filesystem::path &file) {
        const int flags = descriptor == STDIN_FILENO ? O_RDONLY : O_WRONLY | O_CREAT | O_TRUNC;
        if (file.empty())
            posix_spawn_file_actions_addclose(&actions_, descriptor);
        else
            posix_spawn_file_actions_addopen(&actions_, descriptor, file.c_str(), flags, 0600);
    }
    // Those that whoever runs the tests has left open: a program that is short of descriptors would miss them.
    void close_others() { posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1); }
    const posix_spawn_file_actions_t *get() const noexcept { return &actions_; }

  private:
    posix_spawn_file_actions_t actions_;
};

std::vector<char *> pointers(const std::vector<std::string> &texts) {
    std::vector<char *> result;
    for (const std::string &text : texts)
        result.push_back(const_cast<char *>(text.c_str()));
    return result;
}

int spawn(const Launch &launch, const MemoryFile &in, const MemoryFile &out, const MemoryFile &err) {
    in.fill(launch.input);
    Descriptors descriptors;
    const std::array<const MemoryFile *, 3> kept{&in, &out, &err};
    for (int i = STDIN_FILENO; i <= STDERR_FILENO; ++i) {
        if (const auto found = launch.redirected.find(i); found != launch.redirected.end())
            descriptors.lead(i, found->second);
        else
            descriptors.lead(i, *kept[std::size_t(i)]);
    }
    descriptors.close_others();
    std::vector<char *> words = pointers(launch.words);
    words.push_back(nullptr);
    std::vector<char *> environment = pointers(launch.environment);
    for (char **variable = environ; *variable != nullptr; ++variable)
        environment.push_back(*variable);
    environment.push_back(nullptr);
    pid_t child = 0;
    const int error = posix_spawn(&child, words.front(), descriptors.get(), nullptr, words.data(), environment.data());
    if (error != 0)
        fail(error, launch.words.front());
    return child;
}

} // namespace

int start(const Launch &launch) {
    return spawn(launch, MemoryFile("in"), MemoryFile("out"), MemoryFile("err"));
}

Outcome run(const Launch &launch) {
    const MemoryFile in("in"), out("out"), err("err");
    const int child = spawn(launch, in, out, err);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return {.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1,
            .out = out.text(),
            .err = err.text(),
            .signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0};
}

} // namespace support
