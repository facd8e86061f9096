// Fails each allocation while a tree is copied, printed and stored, in a program without the net that ocamp has: the
// text is whole, or there is an error. Knows nothing of requests.
#include "node/native_data.h"
#include "node/node.h"
#include "yang/error.h"
#include "yang/models.h"

#include <fstream>
#include <functional>
#include <new>
#include <sstream>

#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace {

// Allocations until one fails; 0: none does.
std::uint64_t until_failure = 0;
std::uint64_t allocations = 0;

bool fails() noexcept {
    ++allocations;
    return until_failure != 0 && --until_failure == 0;
}

template <class Function>
Function *next(const char *name) noexcept {
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" {

void *malloc(std::size_t size) {
    static auto *const real = next<void *(std::size_t)>("malloc");
    return fails() ? nullptr : real(size);
}
void *calloc(std::size_t count, std::size_t size) {
    static auto *const real = next<void *(std::size_t, std::size_t)>("calloc");
    return fails() ? nullptr : real(count, size);
}
void *realloc(void *old, std::size_t size) {
    static auto *const real = next<void *(void *, std::size_t)>("realloc");
    return fails() ? nullptr : real(old, size);
}

} // extern "C"

namespace {

ocamp::YangTree running() {
    std::ifstream file(EXAMPLES "/node/native/running.json");
    std::ostringstream text;
    text << file.rdbuf();
    return ocamp::native_schema().parse(text.str(), LYD_JSON);
}

// How single failures ended.
struct Failures {
    std::uint64_t tried = 0, whole = 0, refused = 0, in_part = 0, crashed = 0;
};

enum : int { whole_status, refused_status, part_status };

// Runs `work` with its n-th allocation failing, in a process of its own. Gives what waitpid gives.
int fail_one(const std::function<std::string()> &work, std::uint64_t nth, const std::string &whole) {
    const pid_t child = fork();
    if (child == 0) {
        try {
            until_failure = nth;
            const std::string text = work();
            until_failure = 0;
            _exit(text == whole ? whole_status : part_status);
        } catch (const std::bad_alloc &) {
            _exit(refused_status);
        } catch (const ocamp::YangError &) {
            _exit(refused_status);
        }
    }
    int status = 0;
    waitpid(child, &status, 0);
    return status;
}

Failures fail_each(const char *what, const std::function<std::string()> &work) {
    const std::string whole = work();
    allocations = 0;
    EXPECT_EQ(work(), whole);
    Failures failures{.tried = allocations};
    for (std::uint64_t i = 1; i <= failures.tried; ++i) {
        const int status = fail_one(work, i, whole);
        if (WIFSIGNALED(status))
            ++failures.crashed;
        else
            ++(WEXITSTATUS(status) == whole_status     ? failures.whole
               : WEXITSTATUS(status) == refused_status ? failures.refused
                                                       : failures.in_part);
    }
    std::printf("%s: %llu allocations failed: %llu whole, %llu refused, %llu in part, %llu crashed in libyang\n", what,
                static_cast<unsigned long long>(failures.tried), static_cast<unsigned long long>(failures.whole),
                static_cast<unsigned long long>(failures.refused), static_cast<unsigned long long>(failures.in_part),
                static_cast<unsigned long long>(failures.crashed));
    return failures;
}

TEST(FailedAllocations, NeverGiveAPartOfADocument) {
    const ocamp::YangTree tree = running();
    const Failures failures = fail_each("print", [&] { return tree.print(LYD_JSON); });
    EXPECT_GT(failures.refused, 0U);
    EXPECT_EQ(failures.in_part, 0U);
    EXPECT_EQ(failures.crashed, 0U);
}

// To compare, the document is read back, and libyang's parser crashes for want of memory at places of its own: ocamp
// ends before it can, and this program has nothing that would. A crash gives nothing to be stored. What counts is that
// nothing but the whole document ever is.
TEST(FailedAllocations, NeverLetAPartOfADocumentBeStored) {
    const ocamp::YangTree tree = running();
    const Failures failures = fail_each("print to store", [&] { return tree.print_to_store(); });
    EXPECT_GT(failures.refused, 0U);
    EXPECT_EQ(failures.in_part, 0U);
}

lyd_node *first_entry(const ocamp::YangTree &tree) {
    for (lyd_node *root = tree.first(); root != nullptr; root = root->next) {
        for (lyd_node *child = lyd_child(root); child != nullptr; child = child->next) {
            if (child->schema->nodetype == LYS_LIST)
                return child;
        }
    }
    return nullptr;
}

TEST(PrintingToStore, RefusesWhatIsNoValidDocument) {
    ocamp::YangTree tree = running();
    EXPECT_EQ(ocamp::YangTree().print_to_store(), "{}");
    EXPECT_NO_THROW(tree.print_to_store());
    // An entry without its key.
    lyd_node *entry = first_entry(tree);
    ASSERT_NE(entry, nullptr);
    tree.remove(lyd_child(entry));
    EXPECT_THROW(tree.print_to_store(), ocamp::YangError);
}

} // namespace
