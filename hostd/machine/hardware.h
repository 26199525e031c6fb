#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "hostd/links/link_table.h"
#include "hostd/machine/block_disks.h"
#include "hostd/source/watch.h"
#include "hostd/table/id_table.h"
#include "hostd/table/position_table.h"

namespace hostd {

/// One reading of the processors and disks.
struct HardwareReading {
    std::map<uint32_t, std::string> processors;  ///< models by the kernel's number; empty where it isn't known
    std::vector<BlockDisk> disks;
    std::string loadDisk;  ///< name of the disk with the root file system; empty if there is none
};

/// Numbers and models of the processors in the text of /proc/cpuinfo (proc(5)). The models are those of the line "model
/// name"; architectures without it have none.
[[nodiscard]] std::map<uint32_t, std::string> parseCpuinfo(std::string_view text);

/// The processors and disks, with ids, for the two owners that show them. They are read on a helper thread from the
/// first request on.
class Hardware {
  public:
    static constexpr std::chrono::seconds kMaxAge{10};

    /// @param proc, sysfs  the kernel's trees ("/proc", "/sys")
    Hardware(const std::string& proc, const std::string& sysfs);

    /// Adopts the latest reading. The other functions return what it has, nothing if there is none.
    void refresh();
    [[nodiscard]] const std::map<uint32_t, std::string>& processors() const;
    /// By id, without contracts::hardware::kFirstDisk.
    [[nodiscard]] const std::map<uint32_t, BlockDisk>& disks() const { return disks_; }
    /// An id in disks().
    [[nodiscard]] std::optional<uint32_t> loadDisk() const;

  private:
    Watch<HardwareReading> watch_;
    std::shared_ptr<const HardwareReading> reading_;  ///< the one that disks_ was made from
    std::map<uint32_t, BlockDisk> disks_;
};

/// {24, 1021}: processors, disks and network interfaces. contracts/host.h has the fields.
class Devices : public IdTable {
  public:
    /// @param links  called once for each request; returns the current links, which outlive this
    Devices(std::shared_ptr<Hardware> hardware, std::function<const LinkTable&()> links)
        : hardware_(std::move(hardware)), source_(std::move(links)) {}

    /// LoadDevice, if the request has no row.
    tn::message cmdGet(const tn::message& request) override;

  protected:
    void refresh() override;
    [[nodiscard]] uint32_t rowCount() const override;
    [[nodiscard]] std::optional<uint32_t> firstFrom(uint32_t id) const override;
    void writeRow(uint32_t id, tn::message& item) const override;

  private:
    std::shared_ptr<Hardware> hardware_;
    std::function<const LinkTable&()> source_;
    const LinkTable* links_ = nullptr;  ///< those of the request being answered
};

/// {24, 1022}: the partitions. contracts/host.h has the fields.
class Partitions : public PositionTable {
  public:
    explicit Partitions(std::shared_ptr<Hardware> hardware);

  protected:
    void refresh() override;
    [[nodiscard]] uint32_t rowCount() const override { return static_cast<uint32_t>(rows_.size()); }
    [[nodiscard]] RowKey keyOf(size_t row) const override;
    void writeRow(size_t row, tn::message& item) const override;

  private:
    struct Row {
        uint32_t disk;               ///< its id, with kFirstDisk
        const Partition* partition;  ///< in hardware_
    };
    std::shared_ptr<Hardware> hardware_;
    std::vector<Row> rows_;  ///< ascending
};

}  // namespace hostd
