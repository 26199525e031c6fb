#pragma once

#include <linux/ethtool_netlink.h>
#include <linux/if_link.h>

#include <array>
#include <bitset>
#include <cstdint>

#include "tn/message.h"

namespace hostd {

/// The groups of counters that drivers keep by common names (ETHTOOL_MSG_STATS_GET). The two of frame sizes are by
/// class: up to 64, 127, 255, 511, 1023, about 1518 octets, and above.
enum class DriverGroup : uint8_t { None, Mac, Phy, Control, Rmon, RxSizes, TxSizes };
constexpr size_t kSizeClasses = 7;

/// Where a counter of an interface comes from.
struct InterfaceCounter {
    uint16_t field;
    const char* name;
    __u64 rtnl_link_stats64::*kernel;  ///< nullptr: only the driver counts it
    DriverGroup group;                 ///< None: only the kernel counts it
    unsigned number;                   ///< within the group
};

constexpr InterfaceCounter kernel(uint16_t field, const char* name, __u64 rtnl_link_stats64::*place) {
    return {field, name, place, DriverGroup::None, 0};
}
/// @param equal  the kernel's equivalent, for drivers that don't keep the counter
constexpr InterfaceCounter driver(uint16_t field, const char* name, DriverGroup group, unsigned number,
                                  __u64 rtnl_link_stats64::*equal = nullptr) {
    return {field, name, equal, group, number};
}

constexpr uint16_t kFirstCounter = 1100;

/// Every counter, in ascending order of its field. docs/interface-counters.md says the same by column.
constexpr std::array kCounters = {
    driver(1100, "broadcast frames received", DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_22_RX_BCAST),
    driver(1101, "multicast frames received", DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_21_RX_MCAST,
           &rtnl_link_stats64::multicast),
    kernel(1102, "multicast packets received, by the kernel's count", &rtnl_link_stats64::multicast),
    driver(1103, "frame check sequence errors", DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_6_FCS_ERR,
           &rtnl_link_stats64::rx_crc_errors),
    driver(1104, "alignment errors", DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_7_ALIGN_ERR,
           &rtnl_link_stats64::rx_frame_errors),
    driver(1105, "undersize frames received", DriverGroup::Rmon, ETHTOOL_A_STATS_RMON_UNDERSIZE),
    driver(1106, "fragments received", DriverGroup::Rmon, ETHTOOL_A_STATS_RMON_FRAG),
    driver(1107, "frames received of up to 64 octets", DriverGroup::RxSizes, 0),
    driver(1108, "frames received of 65 to 127 octets", DriverGroup::RxSizes, 1),
    driver(1109, "frames received of 128 to 255 octets", DriverGroup::RxSizes, 2),
    driver(1110, "frames received of 256 to 511 octets", DriverGroup::RxSizes, 3),
    driver(1111, "frames received of 512 to 1023 octets", DriverGroup::RxSizes, 4),
    driver(1112, "frames received of 1024 to about 1518 octets", DriverGroup::RxSizes, 5),
    driver(1113, "frames received of more octets", DriverGroup::RxSizes, 6),
    driver(1114, "oversize frames received", DriverGroup::Rmon, ETHTOOL_A_STATS_RMON_OVERSIZE),
    driver(1115, "jabbers received", DriverGroup::Rmon, ETHTOOL_A_STATS_RMON_JABBER),
    driver(1116, "octets received", DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_14_RX_BYTES,
           &rtnl_link_stats64::rx_bytes),
    driver(1117, "broadcast frames sent", DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_19_TX_BCAST),
    driver(1118, "multicast frames sent", DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_18_TX_MCAST),
    driver(1119, "MAC control frames sent", DriverGroup::Control, ETHTOOL_A_STATS_ETH_CTRL_3_TX),
    kernel(1120, "transmit FIFO underruns", &rtnl_link_stats64::tx_fifo_errors),
    driver(1121, "frames sent of up to 64 octets", DriverGroup::TxSizes, 0),
    driver(1122, "frames sent of 65 to 127 octets", DriverGroup::TxSizes, 1),
    driver(1123, "frames sent of 128 to 255 octets", DriverGroup::TxSizes, 2),
    driver(1124, "frames sent of 256 to 511 octets", DriverGroup::TxSizes, 3),
    driver(1125, "frames sent of 512 to 1023 octets", DriverGroup::TxSizes, 4),
    driver(1126, "frames sent of 1024 to about 1518 octets", DriverGroup::TxSizes, 5),
    driver(1127, "frames sent of more octets", DriverGroup::TxSizes, 6),
    kernel(1128, "packets dropped before they were sent", &rtnl_link_stats64::tx_dropped),
    driver(1129, "octets sent", DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_8_TX_BYTES, &rtnl_link_stats64::tx_bytes),
    kernel(1130, "collisions", &rtnl_link_stats64::collisions),
    driver(1131, "frames sent after one collision", DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_3_SINGLE_COL),
    driver(1132, "frames sent after several collisions", DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_4_MULTI_COL),
    driver(1133, "late collisions", DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_10_LATE_COL,
           &rtnl_link_stats64::tx_window_errors),
    driver(1134, "frames given up after too many collisions", DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_11_XS_COL,
           &rtnl_link_stats64::tx_aborted_errors),
    driver(1135, "deferred frames", DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_9_TX_DEFER),
    driver(1136, "frames deferred too long", DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_20_XS_DEFER),
    kernel(1137, "receive errors: length", &rtnl_link_stats64::rx_length_errors),
    kernel(1138, "receive errors: check sequence", &rtnl_link_stats64::rx_crc_errors),
    kernel(1139, "receive errors: alignment", &rtnl_link_stats64::rx_frame_errors),
    kernel(1140, "receive errors: FIFO overrun", &rtnl_link_stats64::rx_fifo_errors),
    kernel(1141, "packets missed for want of buffers", &rtnl_link_stats64::rx_missed_errors),
    kernel(1142, "packets nobody wanted", &rtnl_link_stats64::rx_nohandler),
    kernel(1143, "packets dropped as meant for another host", &rtnl_link_stats64::rx_otherhost_dropped),
    driver(1144, "frames received", DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_5_RX_PKT, &rtnl_link_stats64::rx_packets),
    driver(1145, "in-range length errors", DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_23_IR_LEN_ERR),
    driver(1146, "out-of-range length fields", DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_24_OOR_LEN),
    driver(1147, "frames received that were too long", DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_25_TOO_LONG_ERR),
    driver(1148, "frames lost inside the device on receipt", DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_15_RX_INT_ERR),
    driver(1149, "symbol errors during carrier", DriverGroup::Phy, ETHTOOL_A_STATS_ETH_PHY_5_SYM_ERR),
    driver(1150, "MAC control frames received", DriverGroup::Control, ETHTOOL_A_STATS_ETH_CTRL_4_RX),
    driver(1151, "unsupported MAC control opcodes received", DriverGroup::Control, ETHTOOL_A_STATS_ETH_CTRL_5_RX_UNSUP),
    driver(1152, "frames sent", DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_2_TX_PKT, &rtnl_link_stats64::tx_packets),
    driver(1153, "frames lost inside the device on sending", DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_12_TX_INT_ERR),
    driver(1154, "carrier sense errors", DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_13_CS_ERR,
           &rtnl_link_stats64::tx_carrier_errors),
    kernel(1155, "send errors: aborted", &rtnl_link_stats64::tx_aborted_errors),
    kernel(1156, "send errors: carrier", &rtnl_link_stats64::tx_carrier_errors),
    kernel(1157, "send errors: heartbeat", &rtnl_link_stats64::tx_heartbeat_errors),
    kernel(1158, "send errors: late collision window", &rtnl_link_stats64::tx_window_errors),
    kernel(1159, "send errors", &rtnl_link_stats64::tx_errors),
    kernel(1160, "compressed packets sent", &rtnl_link_stats64::tx_compressed),
    kernel(1161, "packets received, by the kernel's count", &rtnl_link_stats64::rx_packets),
    kernel(1162, "octets received, by the kernel's count", &rtnl_link_stats64::rx_bytes),
    kernel(1163, "packets sent, by the kernel's count", &rtnl_link_stats64::tx_packets),
    kernel(1164, "octets sent, by the kernel's count", &rtnl_link_stats64::tx_bytes),
};

consteval bool areConsecutive() {
    for (size_t i = 0; i < kCounters.size(); ++i)
        if (kCounters[i].field != kFirstCounter + i) return false;
    return true;
}
static_assert(kCounters.size() == 65 && areConsecutive());

/// What a driver has told of its counters.
class DriverCounters {
  public:
    /// Stores a counter: the first of several values, or the sum for frame sizes. Unknown numbers are ignored.
    void add(DriverGroup group, uint32_t number, uint64_t value);
    /// Adds the counters that these lack and an earlier reading had.
    void keepFrom(const DriverCounters& before);
    [[nodiscard]] size_t kept() const { return kept_.count(); }
    [[nodiscard]] bool isKept(size_t counter) const { return kept_[counter]; }
    [[nodiscard]] uint64_t value(size_t counter) const { return values_[counter]; }

  private:
    std::array<uint64_t, kCounters.size()> values_{};
    std::bitset<kCounters.size()> kept_;
};

/// The size class of a driver's range of frame sizes, by its lower bound in octets.
[[nodiscard]] uint32_t sizeClass(uint32_t lowerBound);

/// Puts the counters into a row: those that the driver keeps, else the kernel's that aren't 0.
/// @param driver  nullptr if it hasn't answered yet: its counters are then absent, since switching from the kernel's
///                equivalents to them later would look like a jump
void insertCounters(tn::message& row, const rtnl_link_stats64& kernel, const DriverCounters* driver);

}  // namespace hostd
