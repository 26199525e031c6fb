#pragma once

#include <functional>
#include <string>

#include "hostd/links/link_table.h"
#include "hostd/table/id_table.h"

namespace hostd {

/// {24, 1046}, {24, 1047}: how the interfaces use IPv4 or IPv6. contracts/inet.h has the fields. The settings of an
/// interface are read only for a row that is requested. An interface without settings for this version has no row.
class IpInterfaces : public IdTable {
  public:
    /// @param proc   the kernel's process tree
    /// @param links  called once for each request; returns the current links, which outlive this
    IpInterfaces(const std::string& proc, bool isIPv6, std::function<const LinkTable&()> links);
    /// Forwarding and HopLimit of the host, whatever the id.
    tn::message getObject(uint32_t id) override;

  protected:
    void refresh() override;
    [[nodiscard]] uint32_t rowCount() const override;
    [[nodiscard]] std::optional<uint32_t> firstFrom(uint32_t id) const override;
    void writeRow(uint32_t id, tn::message& row) const override;

  private:
    /// A setting, as a number; 0 if it isn't there.
    [[nodiscard]] uint32_t setting(const std::string& kind, const std::string& interface, const char* name) const;

    std::string settings_;  ///< the folder of this version's settings
    bool isIPv6_;
    std::function<const LinkTable&()> getLinks_;
    const LinkTable* links_ = nullptr;
};

}  // namespace hostd
