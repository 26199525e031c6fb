#pragma once

#include <dlfcn.h>

#include <string>

namespace hostd {

/// A library that is loaded where it is used, since most machines haven't got it. It stays loaded once it was found. A
/// derived class looks its functions up.
class SharedLibrary {
  public:
    /// The library and every function that was looked up are there.
    [[nodiscard]] bool isWhole() const { return isWhole_; }

  protected:
    explicit SharedLibrary(const char* name)
        : handle_(::dlopen(name, RTLD_NOW | RTLD_LOCAL)), isWhole_(handle_ != nullptr) {}

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
