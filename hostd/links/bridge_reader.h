#pragma once

#include <linux/netlink.h>

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "contracts/first_bridge.h"

namespace hostd {

using BridgeId = std::array<uint8_t, 8>;  ///< priority and MAC address

/// A port of a bridge; contracts::bridge_ports has units and sources.
struct BridgePort {
    uint32_t ifindex = 0, mtu = 0;
    contracts::bridge_ports::PortState state = contracts::bridge_ports::PortState::Disabled;
    uint32_t id = 0, cost = 0, designatedCost = 0, designatedPort = 0;
    BridgeId root{}, designatedBridge{};
    bool isEnabled = false;
    uint64_t inFrames = 0, outFrames = 0, inDiscards = 0;
    uint32_t pvid = 0;  ///< 0 for none
};

/// A VLAN of a bridge. The lists have a bit for each port number (PortList, RFC 4363), and one size in all VLANs.
struct BridgeVlan {
    std::vector<uint8_t> egress, untagged;
    uint32_t learned = 0;  ///< forwarding entries
};

/// A forwarding entry of a bridge.
struct BridgeHost {
    std::array<uint8_t, 6> mac{};
    uint16_t vlan = 0;  ///< 0 for none
    uint32_t port = 0;  ///< number; 0 for the bridge itself
    contracts::bridge_hosts::HostStatus status = contracts::bridge_hosts::HostStatus::Learned;
};

/// A bridge, or none if `ifindex` is 0; contracts::first_bridge has units and sources.
struct Bridge {
    uint32_t ifindex = 0;
    BridgeId id{}, rootId{};
    uint32_t rootCost = 0, rootPort = 0, maxAge = 0, helloTime = 0, forwardDelay = 0, ageingTime = 0;
    bool isVlanAware = false;
    std::map<uint32_t, BridgePort> ports;  ///< by number
    std::map<uint32_t, BridgeVlan> vlans;  ///< by VLAN id
    std::vector<BridgeHost> byMac;         ///< one for each address, ascending
    std::vector<BridgeHost> byVlan;        ///< those in VLANs, by VLAN and address
};

/// Makes a Bridge of the kernel's messages (rtnetlink(7)): first all links, then all ports, VLANs and forwarding
/// entries. Messages about other links and malformed ones are ignored.
class BridgeParser {
  public:
    /// RTM_NEWLINK about a bridge. The one with the lowest ifindex counts.
    void addBridge(const nlmsghdr& message);
    /// RTM_NEWLINK about a port.
    void addPort(const nlmsghdr& message);
    /// RTM_NEWLINK of AF_BRIDGE about a port or the bridge, with ranges of VLANs (RTEXT_FILTER_BRVLAN_COMPRESSED).
    void addVlans(const nlmsghdr& message);
    /// RTM_NEWNEIGH of AF_BRIDGE.
    void addHost(const nlmsghdr& message);

    [[nodiscard]] const Bridge& bridge() const { return bridge_; }
    /// Sorts the entries. Called once, at the end.
    [[nodiscard]] Bridge finish();

  private:
    /// The number of the port with this ifindex; 0 for the bridge itself; nothing for other links.
    [[nodiscard]] std::optional<uint32_t> numberOf(uint32_t ifindex) const;
    void addVlan(uint32_t vlan, uint16_t flags, uint32_t port);

    Bridge bridge_;
    std::map<uint32_t, uint32_t> numbers_;  ///< of ports, by ifindex
    std::vector<BridgeHost> hosts_;
};

/// Reads the bridge with the lowest ifindex, if there is one. Nothing when the kernel doesn't report it, or it changed
/// during the reading. Can block: a dump waits for other processes that change the network configuration.
[[nodiscard]] std::optional<Bridge> readFirstBridge();

}  // namespace hostd
