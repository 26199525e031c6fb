#pragma once

#include <dlfcn.h>

#include <string>

namespace hostd {

/// A library that most machines don't have: it is loaded where it is used (dlopen(3)), not linked. It is never
/// unloaded, since its threads may still run when this object is destroyed. Constructing a second object is cheap.
///
/// A derived class has a function pointer for each function that it uses. Its constructor sets them with find().
class SharedLibrary {
  public:
    /// True if the library and all functions passed to find() were found. If not, no function may be called.
    [[nodiscard]] bool isWhole() const { return isWhole_; }

  protected:
    /// Loads the library. A failure isn't logged: isWhole() is then false, and the caller reports that.
    /// @param name  soname: "libpci.so.3"
    explicit SharedLibrary(const char* name)
        : handle_(::dlopen(name, RTLD_NOW | RTLD_LOCAL)), isWhole_(handle_ != nullptr) {}

    /// Sets `function` to the library's function of this name (dlsym(3)), or to nullptr if the library lacks it.
    /// Without a library, `function` stays as it is.
    /// @tparam Function  pointer type; it isn't checked against the library, so declare it with decltype(&::name)
    template <class Function>
    void find(const char* name, Function& function) {
        if (handle_ != nullptr) function = reinterpret_cast<Function>(::dlsym(handle_, name));
        isWhole_ = isWhole_ && function != nullptr;
    }

  private:
    void* handle_;  ///< of dlopen; nullptr when the library wasn't found; never closed
    bool isWhole_;
};

}  // namespace hostd
