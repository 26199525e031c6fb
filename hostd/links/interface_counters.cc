#include "hostd/links/interface_counters.h"

#include <linux/ethtool_netlink.h>

#include <algorithm>

namespace hostd {

namespace counters = contracts::interface_counters;

namespace {

/// The sources of an interface's counter.
struct InterfaceCounter {
    tn::u64_id field;
    __u64 rtnl_link_stats64::*kernel;  ///< nullptr: only drivers have it
    DriverGroup group;                 ///< None: only the kernel has it
    unsigned number;                   ///< within the group
};

/// A counter that only the kernel has.
constexpr InterfaceCounter kernel(tn::u64_id field, __u64 rtnl_link_stats64::*place) {
    return {field, place, DriverGroup::None, 0};
}
/// A counter that drivers have.
/// @param equal  the kernel's equivalent, for drivers that lack the counter; nullptr if there is none
constexpr InterfaceCounter driver(tn::u64_id field, DriverGroup group, unsigned number,
                                  __u64 rtnl_link_stats64::*equal = nullptr) {
    return {field, equal, group, number};
}

/// Every counter, in ascending order of its field. docs/interface-counters.md lists them by column.
constexpr std::array kCounters = {
    driver(counters::RxBroadcast, DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_22_RX_BCAST),
    driver(counters::RxMulticast, DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_21_RX_MCAST, &rtnl_link_stats64::multicast),
    kernel(counters::HostRxMulticast, &rtnl_link_stats64::multicast),
    driver(counters::RxFcsErrors, DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_6_FCS_ERR,
           &rtnl_link_stats64::rx_crc_errors),
    driver(counters::RxAlignErrors, DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_7_ALIGN_ERR,
           &rtnl_link_stats64::rx_frame_errors),
    driver(counters::RxUndersize, DriverGroup::Rmon, ETHTOOL_A_STATS_RMON_UNDERSIZE),
    driver(counters::RxFragments, DriverGroup::Rmon, ETHTOOL_A_STATS_RMON_FRAG),
    driver(counters::Rx64, DriverGroup::RxSizes, 0),
    driver(counters::Rx65To127, DriverGroup::RxSizes, 1),
    driver(counters::Rx128To255, DriverGroup::RxSizes, 2),
    driver(counters::Rx256To511, DriverGroup::RxSizes, 3),
    driver(counters::Rx512To1023, DriverGroup::RxSizes, 4),
    driver(counters::Rx1024To1518, DriverGroup::RxSizes, 5),
    driver(counters::Rx1519Up, DriverGroup::RxSizes, 6),
    driver(counters::RxOversize, DriverGroup::Rmon, ETHTOOL_A_STATS_RMON_OVERSIZE),
    driver(counters::RxJabbers, DriverGroup::Rmon, ETHTOOL_A_STATS_RMON_JABBER),
    driver(counters::RxOctets, DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_14_RX_BYTES, &rtnl_link_stats64::rx_bytes),
    driver(counters::TxBroadcast, DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_19_TX_BCAST),
    driver(counters::TxMulticast, DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_18_TX_MCAST),
    driver(counters::TxControl, DriverGroup::Control, ETHTOOL_A_STATS_ETH_CTRL_3_TX),
    kernel(counters::TxFifoErrors, &rtnl_link_stats64::tx_fifo_errors),
    driver(counters::Tx64, DriverGroup::TxSizes, 0),
    driver(counters::Tx65To127, DriverGroup::TxSizes, 1),
    driver(counters::Tx128To255, DriverGroup::TxSizes, 2),
    driver(counters::Tx256To511, DriverGroup::TxSizes, 3),
    driver(counters::Tx512To1023, DriverGroup::TxSizes, 4),
    driver(counters::Tx1024To1518, DriverGroup::TxSizes, 5),
    driver(counters::Tx1519Up, DriverGroup::TxSizes, 6),
    kernel(counters::TxDrops, &rtnl_link_stats64::tx_dropped),
    driver(counters::TxOctets, DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_8_TX_BYTES, &rtnl_link_stats64::tx_bytes),
    kernel(counters::TxCollisions, &rtnl_link_stats64::collisions),
    driver(counters::TxSingleCollision, DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_3_SINGLE_COL),
    driver(counters::TxMultipleCollision, DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_4_MULTI_COL),
    driver(counters::TxLateCollisions, DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_10_LATE_COL,
           &rtnl_link_stats64::tx_window_errors),
    driver(counters::TxExcessCollisions, DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_11_XS_COL,
           &rtnl_link_stats64::tx_aborted_errors),
    driver(counters::TxDeferred, DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_9_TX_DEFER),
    driver(counters::TxExcessDeferral, DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_20_XS_DEFER),
    kernel(counters::RxLengthErrors, &rtnl_link_stats64::rx_length_errors),
    kernel(counters::RxCrcErrors, &rtnl_link_stats64::rx_crc_errors),
    kernel(counters::RxFrameErrors, &rtnl_link_stats64::rx_frame_errors),
    kernel(counters::RxFifoErrors, &rtnl_link_stats64::rx_fifo_errors),
    kernel(counters::RxMissedErrors, &rtnl_link_stats64::rx_missed_errors),
    kernel(counters::RxNoHandler, &rtnl_link_stats64::rx_nohandler),
    kernel(counters::RxOtherHost, &rtnl_link_stats64::rx_otherhost_dropped),
    driver(counters::RxFrames, DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_5_RX_PKT, &rtnl_link_stats64::rx_packets),
    driver(counters::RxInRangeErrors, DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_23_IR_LEN_ERR),
    driver(counters::RxOutOfRange, DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_24_OOR_LEN),
    driver(counters::RxTooLong, DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_25_TOO_LONG_ERR),
    driver(counters::RxInternalErrors, DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_15_RX_INT_ERR),
    driver(counters::RxSymbolErrors, DriverGroup::Phy, ETHTOOL_A_STATS_ETH_PHY_5_SYM_ERR),
    driver(counters::RxControl, DriverGroup::Control, ETHTOOL_A_STATS_ETH_CTRL_4_RX),
    driver(counters::RxUnknownOpcodes, DriverGroup::Control, ETHTOOL_A_STATS_ETH_CTRL_5_RX_UNSUP),
    driver(counters::TxFrames, DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_2_TX_PKT, &rtnl_link_stats64::tx_packets),
    driver(counters::TxInternalErrors, DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_12_TX_INT_ERR),
    driver(counters::TxCarrierSense, DriverGroup::Mac, ETHTOOL_A_STATS_ETH_MAC_13_CS_ERR,
           &rtnl_link_stats64::tx_carrier_errors),
    kernel(counters::TxAborted, &rtnl_link_stats64::tx_aborted_errors),
    kernel(counters::TxCarrierErrors, &rtnl_link_stats64::tx_carrier_errors),
    kernel(counters::TxHeartbeatErrors, &rtnl_link_stats64::tx_heartbeat_errors),
    kernel(counters::TxWindowErrors, &rtnl_link_stats64::tx_window_errors),
    kernel(counters::TxErrors, &rtnl_link_stats64::tx_errors),
    kernel(counters::TxCompressed, &rtnl_link_stats64::tx_compressed),
    kernel(counters::HostRxPackets, &rtnl_link_stats64::rx_packets),
    kernel(counters::HostRxOctets, &rtnl_link_stats64::rx_bytes),
    kernel(counters::HostTxPackets, &rtnl_link_stats64::tx_packets),
    kernel(counters::HostTxOctets, &rtnl_link_stats64::tx_bytes),
};

consteval bool areInOrder() {
    for (size_t i = 0; i < kCounters.size(); ++i)
        if (counters::indexOf(kCounters[i].field) != i) return false;
    return true;
}
static_assert(kCounters.size() == counters::kCount && areInOrder());

}  // namespace

void DriverCounters::add(DriverGroup group, uint32_t number, uint64_t value) {
    const auto counter = std::ranges::find_if(
        kCounters, [&](const InterfaceCounter& known) { return known.group == group && known.number == number; });
    if (counter == kCounters.end() || group == DriverGroup::None) return;
    const auto at = static_cast<size_t>(counter - kCounters.begin());
    const bool isRange = group == DriverGroup::RxSizes || group == DriverGroup::TxSizes;
    if (isSet_[at] && !isRange) return;
    values_[at] += value;
    isSet_[at] = true;
}

void DriverCounters::retainFrom(const DriverCounters& before) {
    for (size_t at = 0; at < values_.size(); ++at)
        if (!isSet_[at]) values_[at] = before.values_[at];
    isSet_ |= before.isSet_;
}

uint32_t sizeClass(uint32_t lowerBound) {
    constexpr std::array kLowest = {0U, 65U, 128U, 256U, 512U, 1024U, 1025U};
    static_assert(kLowest.size() == kSizeClasses);
    return static_cast<uint32_t>(std::ranges::upper_bound(kLowest, lowerBound) - kLowest.begin() - 1);
}

void insertCounters(tn::message& row, const WantedFields& wanted, const rtnl_link_stats64& kernel,
                    const DriverCounters* driver) {
    // ifTable wants none of them: looking up each one would be a third of the cost of its rows.
    if (!wanted.hasAnyOf(counters::kFirst.number, counters::kLast.number)) return;
    for (size_t i = 0; i < kCounters.size(); ++i) {
        const InterfaceCounter& counter = kCounters[i];
        if (!wanted.has(counter.field)) continue;
        const bool isKernels = counter.group == DriverGroup::None;
        if (!isKernels && driver == nullptr) continue;
        if (!isKernels && driver->has(i))
            row.insert_u64(counter.field, driver->value(i));
        else if (counter.kernel != nullptr && kernel.*counter.kernel != 0)
            row.insert_u64(counter.field, kernel.*counter.kernel);
    }
}

}  // namespace hostd
