#pragma once

#include "agent/mib/columns.h"
#include "contracts/first_bridge.h"

/// The bridge with the lowest ifindex (BRIDGE-MIB, Q-BRIDGE-MIB). Ports are numbered as the bridge does it, not by
/// ifindex as in the agent's own dot1dTpFdbTable, which this plug-in replaces.
namespace bridge {

constexpr auto kDot1dBridge = snmp::under(snmp::kMib2, 17);

/// The bridge itself.
struct State : snmp::Data {
    unsigned int ifindex = 0, ports = 0, rootCost = 0, rootPort = 0, vlans = 0;
    unsigned int maxAge = 0, helloTime = 0, forwardDelay = 0;  // hundredths of a second
    unsigned int ageingTime = 0;                               // s
    std::vector<unsigned char> rootId;
    bool isRoot = false, isVlanAware = false;
    static std::unique_ptr<snmp::Data> build(const tn::message& m);
};
/// Provides the bridge. Without one, or if `isServed` returns false, its objects aren't served.
snmp::DataProvider* keepState(bool (*isServed)(const State&));

// Each is called once, from autorun().
void startBase();   ///< dot1dBase, dot1dTp
void startStp();    ///< dot1dStp
void startVlans();  ///< Q-BRIDGE-MIB

}  // namespace bridge
