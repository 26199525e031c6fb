#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include "tn/paths.h"

namespace tn {

/// A folder of its own for one test, gone with it.
class TempTree {
  public:
    TempTree() {
        std::string name = std::filesystem::temp_directory_path() / "tn-test-XXXXXX";
        if (mkdtemp(name.data()) == nullptr) std::abort();
        path_ = std::filesystem::canonical(name);
    }
    ~TempTree() { remove(); }
    TempTree(const TempTree&) = delete;
    TempTree& operator=(const TempTree&) = delete;

    [[nodiscard]] const std::string& path() const { return path_; }
    [[nodiscard]] std::string path(std::string_view name) const { return path_ + "/" + std::string(name); }
    void write(std::string_view name, std::string_view content) const {
        const std::filesystem::path file = path(name);
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << content;
    }
    /// Removes the entry of this name, or the whole tree, recursively. Tests remove folders only through it: it aborts
    /// when the name leads elsewhere, through a link or not.
    void remove(std::string_view name = {}) const {
        std::error_code failed;
        const std::filesystem::path there = std::filesystem::weakly_canonical(path(name), failed);
        if (failed || !(there / "").string().starts_with(path_ + "/")) std::abort();
        std::filesystem::remove_all(there, failed);
    }

  private:
    std::string path_;
};

/// One that is the root as long as it lives.
class TempRoot : public TempTree {
  public:
    TempRoot() { setRoot(path()); }
    ~TempRoot() { setRoot(before_); }
    [[nodiscard]] const std::string& folder() const { return path(); }

  private:
    std::string before_ = root();
};

}  // namespace tn
