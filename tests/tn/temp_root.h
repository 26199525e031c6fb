#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include "tn/paths.h"

namespace tn {

/// A temporary folder for one test. The destructor removes it.
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
    /// Writes a file in the folder, and creates missing folders for it.
    void write(std::string_view name, std::string_view content) const {
        const std::filesystem::path file = path(name);
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << content;
    }
    /// Removes a file or folder in the tree, or the whole tree, recursively. Tests remove folders only through this
    /// function: it aborts if the name leads out of the tree, also through a symbolic link.
    void remove(std::string_view name = {}) const {
        std::error_code failed;
        const std::filesystem::path there = std::filesystem::weakly_canonical(path(name), failed);
        if (failed || !(there / "").string().starts_with(path_ + "/")) std::abort();
        std::filesystem::remove_all(there, failed);
    }

  private:
    std::string path_;
};

/// A temporary folder that is the platform's root (tn::root) for the object's lifetime.
class TempRoot : public TempTree {
  public:
    TempRoot() { setRoot(path()); }
    ~TempRoot() { setRoot(before_); }
    [[nodiscard]] const std::string& folder() const { return path(); }

  private:
    std::string before_ = root();
};

}  // namespace tn
