// Loads the plug-in. See plugin_under_test.h.
#include "plugin_under_test.h"

#include <dlfcn.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace {

[[noreturn]] void give_up(const std::string &why) {
    std::fprintf(stderr, "plug-in under test: %s\n", why.c_str());
    std::exit(1);
}

#ifdef OCAMP_COVERAGE
void *counted = nullptr;

// A failed assertion of the plug-in's aborts the process, in a death test a copy of this one, before its counters are
// written. Unloading writes them; on return the abort goes on, and nothing of the plug-in's runs any more.
void write_counters(int) {
    dlclose(counted);
}
#endif

} // namespace

PluginUnderTest::PluginUnderTest(const std::string &path) : library_(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) {
    if (library_ == nullptr)
        give_up(dlerror());
#ifdef OCAMP_COVERAGE
    if (counted == nullptr) {
        counted = library_;
        std::signal(SIGABRT, write_counters);
    }
#endif
}

PluginUnderTest::~PluginUnderTest() {
    dlclose(library_);
}

void *PluginUnderTest::symbol(const std::string &name) const {
    void *address = dlsym(library_, name.c_str());
    if (address == nullptr)
        give_up("does not export " + name);
    return address;
}

std::string PluginUnderTest::built_path() {
    return PLUGIN_PATH;
}

const PluginUnderTest &plugin() {
    static const PluginUnderTest the_plugin(PluginUnderTest::built_path());
    return the_plugin;
}

std::unique_ptr<PluginUnderTest> fresh_plugin() {
    namespace fs = std::filesystem;
    // The loader knows a library by its inode, so a copy is loaded anew. It may be unlinked once it is mapped.
    std::string name = (fs::temp_directory_path() / "plugin-copy-XXXXXX").string();
    const int file = mkstemp(name.data());
    if (file < 0)
        give_up("no place for a copy");
    close(file);
    fs::copy_file(PluginUnderTest::built_path(), name, fs::copy_options::overwrite_existing);
    auto copy = std::make_unique<PluginUnderTest>(name);
    fs::remove(name);
    return copy;
}
