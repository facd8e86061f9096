// The built plug-in as its framework meets it: a shared library whose functions are found by name.
#pragma once

#include <memory>
#include <string>

#include "yfw_platform.h"

using Handler = cerrno (*)(yfw_map_ctx, const yfw_datatree *, yfw_datatree *);
using ContainerHandler = cerrno (*)(yfw_map_ctx, const yfw_datatree *, unsigned int, yfw_datatree *);
using TextConverter = const char *(*)(yfw_map_ctx, const yfw_datatree *, yfw_datatree *);

class PluginUnderTest {
  public:
    explicit PluginUnderTest(const std::string &path);
    ~PluginUnderTest();
    PluginUnderTest(const PluginUnderTest &) = delete;
    PluginUnderTest &operator=(const PluginUnderTest &) = delete;

    /// Address of an exported name. An unknown name ends the test process with a line that says so.
    void *symbol(const std::string &name) const;

    template <class Function>
    Function function(const std::string &name) const {
        return reinterpret_cast<Function>(symbol(name));
    }
    Handler handler(const std::string &name) const { return function<Handler>(name); }
    ContainerHandler container_handler(const std::string &name) const { return function<ContainerHandler>(name); }
    TextConverter text_converter(const std::string &name) const { return function<TextConverter>(name); }

    static std::string built_path();

  private:
    void *library_;
};

/// The one that all tests share.
const PluginUnderTest &plugin();

/// A second copy whose module-wide state is as after loading.
std::unique_ptr<PluginUnderTest> fresh_plugin();
