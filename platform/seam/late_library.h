// A shared library of the system that few commands need. Knows none.
#pragma once

namespace ocamp {

/// Loads a library when it is made, and never lets it go. To load one with the program takes a hundredth of a small
/// read, whether it is needed or not.
class LateLibrary {
  public:
    /// `file`: its name as programs are linked with it. Throws std::runtime_error when the system has none.
    explicit LateLibrary(const char *file);

    /// The library's function of that name: `find<decltype(&name)>("name")`. Throws std::runtime_error.
    template <class Function>
    Function find(const char *name) const {
        return reinterpret_cast<Function>(address_of(name));
    }

  private:
    void *address_of(const char *name) const;

    void *library_;
};

} // namespace ocamp
