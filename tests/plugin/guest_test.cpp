// The plug-in as a guest in a process that is not its own: it comes and goes without a trace, does nothing until it is
// called, keeps to its own functions beside a library with the same names, and says at once what it misses.
#include <dirent.h>
#include <dlfcn.h>
#include <elf.h>
#include <link.h>
#include <malloc.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>

#include "null_platform.h"
#include "tree.h"
#include "yfw_platform.h"

namespace {

using Walker = cerrno (*)(yfw_map_ctx, const yfw_datatree *, yfw_datatree *);

// A library for as long as this lives.
class Library {
  public:
    Library(const char *file, int mode) : handle_(dlopen(file, mode)) {
        if (handle_ == nullptr)
            ADD_FAILURE() << dlerror();
    }
    ~Library() { dlclose(handle_); }
    Library(const Library &) = delete;
    Library &operator=(const Library &) = delete;

    template <class Function>
    Function function(const char *name) const {
        return reinterpret_cast<Function>(dlsym(handle_, name));
    }

    const link_map &map() const {
        link_map *found = nullptr;
        EXPECT_EQ(dlinfo(handle_, RTLD_DI_LINKMAP, &found), 0);
        return *found;
    }
    // Tags of the dynamic section, but for those of the list that may stand more than once.
    bool has(ElfW(Sxword) tag) const { return entry(tag) != nullptr; }
    ElfW(Xword) value(ElfW(Sxword) tag) const { return has(tag) ? entry(tag)->d_un.d_val : 0; }
    // The program header of a type; all zero when there is none.
    ElfW(Phdr) segment(ElfW(Word) type) const {
        struct Search {
            ElfW(Addr) base;
            ElfW(Word) type;
            ElfW(Phdr) found;
        } search{map().l_addr, type, {}};
        dl_iterate_phdr(
            [](dl_phdr_info *info, size_t, void *data) {
                auto &wanted = *static_cast<Search *>(data);
                if (info->dlpi_addr == wanted.base)
                    for (ElfW(Half) i = 0; i < info->dlpi_phnum; ++i)
                        if (info->dlpi_phdr[i].p_type == wanted.type)
                            wanted.found = info->dlpi_phdr[i];
                return 0;
            },
            &search);
        return search.found;
    }

  private:
    const ElfW(Dyn) * entry(ElfW(Sxword) tag) const {
        for (const ElfW(Dyn) *each = map().l_ld; each->d_tag != DT_NULL; ++each)
            if (each->d_tag == tag)
                return each;
        return nullptr;
    }

    void *handle_;
};

// One request of that kind: the plug-in's `walker` over `walked`. The error path is given back.
cerrno serve(const Library &plugin, const char *walker, uint32_t kind, Tree &request, yfw_datatree *walked) {
    yfw_map_request state{};
    state.request_kind = &kind;
    state.reg_dup_datatree = *request.root();
    state.node_data = request.root()->children;
    state.node_data_count = 1;
    yfw_map_ctx_s context{};
    context.req_ctx = &state;
    yfw_datatree out{};
    const cerrno result = plugin.function<Walker>(walker)(&context, walked, &out);
    xos_named_free(state.error_path);
    return result;
}

// An answer that takes the plug-in through its text helpers, look-ups, names and the system database.
cerrno walk_a_history(const Library &plugin) {
    const Node instance =
        container("optics-second30-optics-time-line-instance",
                  {leaf("number", "1").key(), container("opr", {leaf("minimum", " 1 "), leaf("average", " 2 ")})});
    const Node histories = container(
        "optics-second30-optics-histories",
        {container("optics-second30-optics-history",
                   {leaf("number", "1").key(), container("optics-second30-optics-time-line-instances", {instance})})});
    const Node port = container("optics-port-history",
                                {leaf("name", "Ots0/1/0/0").key(), container("optics-second30-history", {histories})});
    Tree answer(
        container("performance-management-history",
                  {container("global",
                             {container("periodic",
                                        {container("optics-history", {container("optics-port-histories", {port})})})})})
            .in(ns::pmengine_oper));
    Tree request(container("", {container("optical-amplifier")}));
    return serve(plugin, "ymap_xo_oc_opt_amp_korvexpmengineoper_lvla_performancemanagementhistory", YFW_KIND_GET,
                 request, answer.root());
}

// A request about one amplifier.
cerrno walk_a_request(const Library &plugin, uint32_t kind, const Node &part) {
    Tree request(container(
        "",
        {container("optical-amplifier",
                   {container("amplifiers", {container("amplifier", {leaf("name", "0/1-AMP-PRE").key(), part})})})}));
    return serve(plugin, "ymap_ox_oc_opt_ampli_openconfigopticalamplifier_lvla_opticalamplifier", kind, request,
                 request.at({0}));
}

// All that a process has of it: a read, the answer, and an edit that is refused, of whose node it keeps a copy.
void use(const Library &plugin) {
    EXPECT_EQ(walk_a_request(plugin, YFW_KIND_GET, container("state", {leaf("name"), leaf("enabled")})), CERR_SUCCESS);
    EXPECT_EQ(walk_a_history(plugin), CERR_SUCCESS);
    EXPECT_EQ(walk_a_request(plugin, YFW_KIND_EDIT, container("unknown")), YMAP_RC_UNSUPPORTED);
}

size_t entries_of(const char *folder) {
    size_t entries = 0;
    DIR *open = opendir(folder);
    while (readdir(open) != nullptr)
        ++entries;
    closedir(open);
    return entries;
}

// ---- It comes and goes -------------------------------------------------------------------------------------------

#ifndef OCAMP_SANITIZE
size_t lines_of(const char *file) {
    std::ifstream lines(file);
    return static_cast<size_t>(std::count(std::istreambuf_iterator<char>(lines), {}, '\n'));
}

TEST(Guest, LeavesNothingBehindWhenItIsUnloaded) {
    struct Traces {
        size_t heap_bytes, mappings, descriptors;
    };
    const auto traces = [] {
        return Traces{mallinfo2().uordblks, lines_of("/proc/self/maps"), entries_of("/proc/self/fd")};
    };
    const auto visit = [] { use(Library(PLUGIN_FILE, RTLD_NOW | RTLD_LOCAL)); };
    for (int i = 0; i < 10; ++i) // what loader and C library keep for themselves
        visit();
    const Traces before = traces();
    constexpr size_t visits = 1000;
    for (size_t i = 0; i < visits; ++i)
        visit();
    const Traces after = traces();
    // The smallest block takes 32 bytes; what the C library keeps free for later goes up and down a little.
    EXPECT_LT(after.heap_bytes, before.heap_bytes + visits * 16);
    EXPECT_EQ(after.mappings, before.mappings);
    EXPECT_EQ(after.descriptors, before.descriptors);
    EXPECT_EQ(dlopen(PLUGIN_FILE, RTLD_NOW | RTLD_NOLOAD), nullptr) << "still loaded";
}
#endif

TEST(Guest, StartsNoThread) {
    const size_t threads = entries_of("/proc/self/task");
    const Library plugin(PLUGIN_FILE, RTLD_NOW | RTLD_LOCAL);
    use(plugin);
    EXPECT_EQ(entries_of("/proc/self/task"), threads);
}

// Sanitizers and coverage bring constructors and calls of their own.
#if !defined(OCAMP_SANITIZE) && !defined(OCAMP_COVERAGE)
TEST(Guest, DoesNothingWhenItIsLoadedAndUnloaded) {
    const Library plugin(PLUGIN_FILE, RTLD_NOW | RTLD_LOCAL);
    for (const auto tag : {DT_INIT, DT_FINI, DT_INIT_ARRAY, DT_FINI_ARRAY, DT_PREINIT_ARRAY})
        EXPECT_FALSE(plugin.has(tag)) << "tag " << tag;
}

// ---- It is hardened ----------------------------------------------------------------------------------------------

TEST(Guest, BindsWhatItCallsBeforeItRunsAndThenWriteProtectsIt) {
    const Library plugin(PLUGIN_FILE, RTLD_LAZY | RTLD_LOCAL);
    EXPECT_TRUE((plugin.value(DT_FLAGS) & DF_BIND_NOW) != 0 || (plugin.value(DT_FLAGS_1) & DF_1_NOW) != 0);
    EXPECT_NE(plugin.segment(PT_GNU_RELRO).p_memsz, 0U);
}

TEST(Guest, HasNoStackThatCanBeExecutedAndNoCodeThatIsWritten) {
    const Library plugin(PLUGIN_FILE, RTLD_NOW | RTLD_LOCAL);
    EXPECT_EQ(plugin.segment(PT_GNU_STACK).p_type, static_cast<ElfW(Word)>(PT_GNU_STACK));
    EXPECT_EQ(plugin.segment(PT_GNU_STACK).p_flags & PF_X, 0U);
    EXPECT_FALSE(plugin.has(DT_TEXTREL));
    EXPECT_EQ(plugin.value(DT_FLAGS) & DF_TEXTREL, 0U);
}

// The names in the file's table of dynamic symbols: there is no call to __stack_chk_fail without guarded functions.
bool names(const std::string &symbol) {
    std::ifstream file(PLUGIN_FILE, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    std::string whole(1, '\0');
    whole.append(symbol).push_back('\0');
    return bytes.find(whole) != std::string::npos;
}

TEST(Guest, GuardsItsStack) {
    EXPECT_TRUE(names("__stack_chk_fail"));
}

#ifdef OCAMP_OPTIMIZED
TEST(Guest, CallsTheCheckedFunctionsOfTheCLibrary) {
    EXPECT_TRUE(names("__snprintf_chk"));
    EXPECT_FALSE(names("snprintf"));
}
#endif

// ---- It says what it misses --------------------------------------------------------------------------------------

TEST(Guest, IsNotLoadedWhereThePlatformIsMissingAndSaysWhatIs) {
    // A namespace without this program and its platform.
    void *const loaded = dlmopen(LM_ID_NEWLM, PLUGIN_FILE, RTLD_LAZY);
    EXPECT_EQ(loaded, nullptr);
    const char *const why = dlerror();
    ASSERT_NE(why, nullptr);
    const std::string text = why;
    EXPECT_TRUE(text.starts_with(PLUGIN_FILE)) << text;
    const auto at = text.find("undefined symbol: ");
    ASSERT_NE(at, std::string::npos) << text;
    const std::string symbol = text.substr(at + std::strlen("undefined symbol: "));
    EXPECT_NE(dlsym(RTLD_DEFAULT, symbol.c_str()), nullptr) << symbol << " is no function of the platform's";
}
#endif

// ---- It keeps to itself ------------------------------------------------------------------------------------------

// What all can see is asked before a library's own names, and what is bound late is asked for last of all: but for how
// the plug-in is linked, it would find the other library's functions.
void expect_no_calls_of(const Library &namesake, const Library &plugin) {
    const auto calls = namesake.function<int (*)()>("namesake_calls");
    const int before = calls();
    use(plugin);
    EXPECT_EQ(calls(), before) << "the plug-in calls the other library";
}

TEST(Guest, CallsItsOwnWhenALibraryWithTheSameNamesCameFirstForAll) {
    const Library namesake(NAMESAKE_FILE, RTLD_NOW | RTLD_GLOBAL);
    const Library plugin(PLUGIN_FILE, RTLD_NOW | RTLD_LOCAL);
    expect_no_calls_of(namesake, plugin);
}

TEST(Guest, CallsItsOwnWhenALibraryWithTheSameNamesComesLaterForAll) {
    const Library plugin(PLUGIN_FILE, RTLD_LAZY | RTLD_LOCAL);
    const Library namesake(NAMESAKE_FILE, RTLD_NOW | RTLD_GLOBAL);
    expect_no_calls_of(namesake, plugin);
}

} // namespace
