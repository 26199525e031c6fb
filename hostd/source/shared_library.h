#pragma once

#include <dlfcn.h>

#include <string>

namespace hostd {

/// A library that is loaded where it is used, since most machines don't have it. Once loaded, it stays in the process:
/// its threads may still run. A derived class finds its functions in the constructor.
class SharedLibrary {
  public:
    /// True if the library and all its functions were found; otherwise no function may be called.
    [[nodiscard]] bool isWhole() const { return isWhole_; }

  protected:
    /// @param name  soname: "libpci.so.3"
    explicit SharedLibrary(const char* name)
        : handle_(::dlopen(name, RTLD_NOW | RTLD_LOCAL)), isWhole_(handle_ != nullptr) {}

    /// Sets `function`, a null pointer so far; it stays one if the library lacks it.
    template <class Function>
    void find(const char* name, Function& function) {
        if (handle_ != nullptr) function = reinterpret_cast<Function>(::dlsym(handle_, name));
        isWhole_ = isWhole_ && function != nullptr;
    }

  private:
    void* handle_;
    bool isWhole_;
};

}  // namespace hostd
