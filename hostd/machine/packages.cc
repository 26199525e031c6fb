#include "hostd/machine/packages.h"

#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <utility>

#include "contracts/host.h"
#include "hostd/source/pseudo_file.h"
#include "hostd/source/text_lines.h"
#include "hostd/table/row_text.h"
#include "tn/sources.h"

namespace hostd {

namespace packages = contracts::packages;

// Paragraphs of lines such as "Package: bash", with an empty line between them. A line that begins with a blank
// continues the one before it.
std::vector<Package> parsePackages(std::string_view status) {
    std::vector<Package> all;
    std::string_view name, architecture, version, section;
    bool isInstalled = false;
    const auto finish = [&] {
        const bool isSystem = section == "kernel" || section.ends_with("/kernel");
        if (isInstalled && !name.empty())
            all.push_back({std::string(name) + ":" + std::string(architecture), std::string(version), isSystem});
        name = architecture = version = section = {};
        isInstalled = false;
    };
    while (!status.empty()) {
        const std::string_view line = takeLine(status);
        if (line.empty()) finish();
        const size_t colon = line.find(": ");
        if (colon == std::string_view::npos) continue;
        const std::string_view field = line.substr(0, colon);
        const std::string_view value = line.substr(colon + 2);
        if (field == "Package") name = value;
        if (field == "Architecture") architecture = value;
        if (field == "Version") version = value;
        if (field == "Section") section = value;
        if (field == "Status") isInstalled = value.ends_with(" installed");
    }
    finish();
    return all;
}

class PackageReader {
  public:
    explicit PackageReader(std::string folder) : folder_(std::move(folder)) {}

    Reading<Package> read() {
        const uint64_t now = tn::getMilliseconds();
        struct stat file {};
        if (::stat((folder_ + "/status").c_str(), &file) != 0) return {"no " + folder_ + "/status", {}};
        const Stamp stamp{file.st_ino, file.st_mtim.tv_sec, file.st_mtim.tv_nsec, file.st_size};
        if (stamp != stamp_) {
            std::vector<Package> latest = parsePackages(readFile(folder_ + "/status"));
            for (Package& package : latest) package.installed = timeOf(package.key);
            if (stamp_ != Stamp() && latest != packages_) changed = now;
            packages_ = std::move(latest);
            stamp_ = stamp;
        }
        checked = now;
        return {"", packages_};
    }

    std::atomic<uint64_t> changed{0};  ///< as contracts::packages::Changed
    std::atomic<uint64_t> checked{0};  ///< as contracts::packages::Checked

  private:
    /// Identifies a state of the file: inode, time of the last change, size.
    struct Stamp {
        ino_t inode = 0;
        time_t seconds = 0;
        long nanoseconds = 0;
        off_t size = 0;
        friend bool operator==(const Stamp&, const Stamp&) = default;
    };
    /// When a package was installed: dpkg writes the list of its files then.
    [[nodiscard]] uint64_t timeOf(const std::string& key) const {
        // The list of a package that can be installed for several architectures has that of this one in its name.
        for (const std::string& name : {key.substr(0, key.find(':')), key}) {
            struct stat file {};
            if (::stat((folder_ + "/info/" + name + ".list").c_str(), &file) == 0)
                return static_cast<uint64_t>(file.st_mtim.tv_sec);
        }
        return 0;
    }

    std::string folder_;
    Stamp stamp_;  ///< of the file that packages_ was made from
    std::vector<Package> packages_;
};

std::shared_ptr<PackageReader> Packages::makeReader(const std::string& folder) {
    return std::make_shared<PackageReader>(folder);
}

Packages::Packages(const std::shared_ptr<PackageReader>& reader)
    : WatchedTable(
          "packages", [reader] { return reader->read(); }, kMaxAge, kIds, FirstReading::OnRequest),
      reader_(reader) {}

tn::message Packages::getObject(uint32_t) {
    (void)getObjectCount();  // a reading
    tn::message reply;
    reply.insert_u64(packages::Changed, reader_->changed);
    reply.insert_u64(packages::Checked, reader_->checked);
    return reply;
}

void Packages::writeEntry(const Package& package, tn::message& item) const {
    const size_t colon = package.key.find(':');
    insertText(item, packages::Name,
               package.key.substr(0, colon) + "_" + package.version + "_" + package.key.substr(colon + 1));
    if (package.isSystem) item.insert_bool(packages::System, true);
    if (package.installed != 0) item.insert_u64(packages::Installed, package.installed);
}

}  // namespace hostd
