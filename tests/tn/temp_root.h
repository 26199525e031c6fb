#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

#include "tn/paths.h"

namespace tn {

/// A root of its own for one test, gone with it.
class TempRoot {
  public:
    TempRoot() {
        std::string name = (std::filesystem::temp_directory_path() / "tn-test-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) std::abort();
        folder_ = name;
        setRoot(folder_);
    }
    ~TempRoot() {
        setRoot(before_);
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }
    TempRoot(const TempRoot&) = delete;
    TempRoot& operator=(const TempRoot&) = delete;

    [[nodiscard]] const std::string& folder() const { return folder_; }

  private:
    std::string before_ = root();
    std::string folder_;
};

}  // namespace tn
