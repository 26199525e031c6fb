#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "hostd/source/watched_table.h"

namespace hostd {

/// An installed package.
struct Package {
    std::string key;  ///< "bash:amd64"
    std::string version;
    bool isSystem = false;   ///< in the section of kernels
    uint64_t installed = 0;  ///< s since 1970; 0 if not known

    [[nodiscard]] uint32_t preferredId() const { return preferredIdOf(key); }
    friend bool operator==(const Package&, const Package&) = default;
};

/// Parses the text of dpkg's status file (dpkg-query(1)). Returns the installed packages in its order, without the time
/// of installation.
[[nodiscard]] std::vector<Package> parsePackages(std::string_view status);

/// Reads dpkg's data, and when it changed. For one thread at a time; the times may be read by others.
class PackageReader;

/// {24, 1024}: the installed packages. contracts/host.h has the fields. The file, of some megabytes, is read on a
/// helper thread, from the first request on, and only if it has changed.
class Packages : public WatchedTable<Package> {
  public:
    static constexpr std::chrono::seconds kMaxAge{60};
    static constexpr IdRange kIds{1, 0x10000};

    /// @param folder  dpkg's data ("/var/lib/dpkg")
    explicit Packages(const std::string& folder) : Packages(makeReader(folder)) {}
    /// Changed and Checked, whatever the id.
    tn::message getObject(uint32_t id) override;

  protected:
    void writeEntry(const Package& package, tn::message& item) const override;

  private:
    static std::shared_ptr<PackageReader> makeReader(const std::string& folder);
    explicit Packages(const std::shared_ptr<PackageReader>& reader);

    std::shared_ptr<PackageReader> reader_;
};

}  // namespace hostd
