#pragma once

#include <functional>
#include <string>
#include <vector>

#include "hostd/inet/ip_counters.h"
#include "hostd/links/link_table.h"
#include "hostd/table/owner_table.h"
#include "hostd/table/position_table.h"

namespace hostd {

/// {24, 1044}: the counters of IPv4 and of IPv6. contracts/inet.h has the fields.
class IpStatistics : public OwnerTable<uint32_t> {
  public:
    /// @param proc  the kernel's process tree
    explicit IpStatistics(const std::string& proc);

  protected:
    void refresh() override;
    [[nodiscard]] uint32_t rowCount() const override { return 2; }
    [[nodiscard]] std::optional<uint32_t> lowerBound(const RowKey& key) const override;
    [[nodiscard]] std::optional<uint32_t> after(uint32_t version) const override;
    [[nodiscard]] RowKey keyOf(uint32_t version) const override { return RowKey::ofId(version); }
    void writeRow(uint32_t version, tn::message& item) const override;

  private:
    PseudoFile snmp_, netstat_, snmp6_;
    KernelCounters all_;
};

/// {24, 1045}: the counters of IPv6 by interface. contracts/inet.h has the fields. A file is read only for a row that
/// is requested.
class IpInterfaceStatistics : public PositionTable {
  public:
    /// @param links  called once for each request; returns the current links, which outlive this
    IpInterfaceStatistics(std::string proc, std::function<const LinkTable&()> links);

  protected:
    void refresh() override;
    [[nodiscard]] uint32_t rowCount() const override { return static_cast<uint32_t>(rows_.size()); }
    [[nodiscard]] RowKey keyOf(size_t row) const override;
    void writeRow(size_t row, tn::message& item) const override;

  private:
    struct Row {
        uint32_t ifindex;
        std::string file;
    };
    std::string proc_;
    std::function<const LinkTable&()> links_;
    std::vector<Row> rows_;            ///< interfaces with IPv6, ascending
    std::optional<uint64_t> version_;  ///< of the links that rows_ was made from
};

/// {24, 1053}: messages of ICMP and ICMPv6 by their type. contracts/inet.h has the fields.
class IcmpMessages : public OwnerTable<size_t> {
  public:
    /// @param proc  the kernel's process tree
    explicit IcmpMessages(const std::string& proc);

  protected:
    void refresh() override;
    [[nodiscard]] uint32_t rowCount() const override { return static_cast<uint32_t>(rows_.size()); }
    [[nodiscard]] std::optional<size_t> lowerBound(const RowKey& key) const override;
    [[nodiscard]] std::optional<size_t> after(size_t row) const override {
        return row + 1 < rows_.size() ? std::optional(row + 1) : std::nullopt;
    }
    [[nodiscard]] RowKey keyOf(size_t row) const override;
    void writeRow(size_t row, tn::message& item) const override;

  private:
    struct Row {
        uint32_t version, type;
        uint64_t received, sent;
    };
    PseudoFile snmp_, snmp6_;
    std::vector<Row> rows_;  ///< in the order of their keys
};

}  // namespace hostd
