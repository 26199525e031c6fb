#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "hostd/background.h"
#include "hostd/disks.h"
#include "hostd/id_table.h"

namespace hostd {

/// {79, 2}: the mounted block file systems. They are read on a helper thread when somebody asks and the last reading is
/// older than kMaxAge. A disk keeps its id, from 1 and below kMostIds, as long as it is mounted there; while a disk
/// doesn't answer for kPatience there are none.
class DiskTable : public IdTable {
  public:
    static constexpr uint64_t kMaxAge = 5000;     ///< ms
    static constexpr uint64_t kPatience = 60000;  ///< ms
    static constexpr uint64_t kFirst = 200;       ///< ms to wait for the first reading, at the start
    static constexpr uint32_t kMostIds = 0x10000;

    /// @param proc    where the kernel's mount list is ("/proc")
    /// @param sizeOf  runs on the helper thread
    explicit DiskTable(const std::string& proc, const DiskSizer& sizeOf = sizeOfDisk);

  protected:
    void refresh() override;
    [[nodiscard]] uint32_t rowCount() const override { return static_cast<uint32_t>(disks_.size()); }
    [[nodiscard]] std::optional<uint32_t> firstFrom(uint32_t id) const override;
    void listRow(uint32_t id, tn::message& row) const override;

  private:
    struct Disk {
        Mount mount;
        DiskSize size;
    };
    using Reading = std::vector<Disk>;
    void take(const Reading& reading);

    Background<Reading> background_;
    std::shared_ptr<const Reading> taken_;
    std::map<uint32_t, Disk> disks_;
};

/// The contract of {79, 2}. Sizes that don't fit into 32 bits (4 TiB) stop there; Size less Free is then what is used
/// as far as that fits.
namespace disk {
//                                     unit  source
constexpr tn::string_id MountPoint{1};  //      PROC/self/mountinfo
constexpr tn::u32_id Size{5};           // KiB  statvfs(3), f_blocks
constexpr tn::u32_id Free{6};           // KiB  statvfs(3), f_bfree: the share kept for root included
}  // namespace disk

}  // namespace hostd
