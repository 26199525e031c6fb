#pragma once

#include <cstddef>

#include "tn/ids.h"

/// The detailed counters in the rows of {20, 0} (contracts/interfaces.h): 65 consecutive fields, with the names of
/// their columns in the vendor's MIB. docs/interface-counters.md explains them.
///
/// Sources: "rmon" and "eth-..." are groups of the driver's standard statistics (ethtool netlink); any other word is a
/// member of the kernel's rtnl_link_stats64. A counter that no source counts is absent, and so is a value of
/// rtnl_link_stats64 that is 0.
namespace contracts::interface_counters {

// Fields: what is counted; source

inline constexpr tn::u64_id RxBroadcast{1100};      ///< broadcast frames received; eth-mac 22_RX_BCAST
inline constexpr tn::u64_id RxMulticast{1101};      ///< multicast frames received; eth-mac 21_RX_MCAST, else multicast
inline constexpr tn::u64_id HostRxMulticast{1102};  ///< multicast packets received; multicast
inline constexpr tn::u64_id RxFcsErrors{1103};  ///< frame check sequence errors; eth-mac 6_FCS_ERR, else rx_crc_errors
inline constexpr tn::u64_id RxAlignErrors{1104};  ///< alignment errors; eth-mac 7_ALIGN_ERR, else rx_frame_errors
inline constexpr tn::u64_id RxUndersize{1105};    ///< undersize frames received; rmon UNDERSIZE
inline constexpr tn::u64_id RxFragments{1106};    ///< fragments received; rmon FRAG
inline constexpr tn::u64_id Rx64{1107};           ///< frames received of up to 64 octets; rmon rx histogram
inline constexpr tn::u64_id Rx65To127{1108};      ///< frames received of 65 to 127 octets; rmon rx histogram
inline constexpr tn::u64_id Rx128To255{1109};     ///< frames received of 128 to 255 octets; rmon rx histogram
inline constexpr tn::u64_id Rx256To511{1110};     ///< frames received of 256 to 511 octets; rmon rx histogram
inline constexpr tn::u64_id Rx512To1023{1111};    ///< frames received of 512 to 1023 octets; rmon rx histogram
inline constexpr tn::u64_id Rx1024To1518{1112};   ///< frames received of 1024 to about 1518 octets; rmon rx histogram
inline constexpr tn::u64_id Rx1519Up{1113};       ///< frames received of more than 1518 octets; rmon rx histogram
inline constexpr tn::u64_id RxOversize{1114};     ///< oversize frames received; rmon OVERSIZE
inline constexpr tn::u64_id RxJabbers{1115};      ///< jabbers received; rmon JABBER
inline constexpr tn::u64_id RxOctets{1116};       ///< octets received; eth-mac 14_RX_BYTES, else rx_bytes
inline constexpr tn::u64_id TxBroadcast{1117};    ///< broadcast frames sent; eth-mac 19_TX_BCAST
inline constexpr tn::u64_id TxMulticast{1118};    ///< multicast frames sent; eth-mac 18_TX_MCAST
inline constexpr tn::u64_id TxControl{1119};      ///< MAC control frames sent; eth-ctrl 3_TX
inline constexpr tn::u64_id TxFifoErrors{1120};   ///< transmit FIFO underruns; tx_fifo_errors
inline constexpr tn::u64_id Tx64{1121};           ///< frames sent of up to 64 octets; rmon tx histogram
inline constexpr tn::u64_id Tx65To127{1122};      ///< frames sent of 65 to 127 octets; rmon tx histogram
inline constexpr tn::u64_id Tx128To255{1123};     ///< frames sent of 128 to 255 octets; rmon tx histogram
inline constexpr tn::u64_id Tx256To511{1124};     ///< frames sent of 256 to 511 octets; rmon tx histogram
inline constexpr tn::u64_id Tx512To1023{1125};    ///< frames sent of 512 to 1023 octets; rmon tx histogram
inline constexpr tn::u64_id Tx1024To1518{1126};   ///< frames sent of 1024 to about 1518 octets; rmon tx histogram
inline constexpr tn::u64_id Tx1519Up{1127};       ///< frames sent of more than 1518 octets; rmon tx histogram
inline constexpr tn::u64_id TxDrops{1128};        ///< packets dropped before they were sent; tx_dropped
inline constexpr tn::u64_id TxOctets{1129};       ///< octets sent; eth-mac 8_TX_BYTES, else tx_bytes
inline constexpr tn::u64_id TxCollisions{1130};   ///< collisions; collisions
inline constexpr tn::u64_id TxSingleCollision{1131};    ///< frames sent after one collision; eth-mac 3_SINGLE_COL
inline constexpr tn::u64_id TxMultipleCollision{1132};  ///< frames sent after several collisions; eth-mac 4_MULTI_COL
inline constexpr tn::u64_id TxLateCollisions{1133};     ///< late collisions; eth-mac 10_LATE_COL, else tx_window_errors
inline constexpr tn::u64_id TxExcessCollisions{1134};   ///< frames given up; eth-mac 11_XS_COL, else tx_aborted_errors
inline constexpr tn::u64_id TxDeferred{1135};           ///< deferred frames; eth-mac 9_TX_DEFER
inline constexpr tn::u64_id TxExcessDeferral{1136};     ///< frames deferred too long; eth-mac 20_XS_DEFER
inline constexpr tn::u64_id RxLengthErrors{1137};       ///< receive errors: length; rx_length_errors
inline constexpr tn::u64_id RxCrcErrors{1138};          ///< receive errors: check sequence; rx_crc_errors
inline constexpr tn::u64_id RxFrameErrors{1139};        ///< receive errors: alignment; rx_frame_errors
inline constexpr tn::u64_id RxFifoErrors{1140};         ///< receive errors: FIFO overrun; rx_fifo_errors
inline constexpr tn::u64_id RxMissedErrors{1141};       ///< packets missed for lack of buffers; rx_missed_errors
inline constexpr tn::u64_id RxNoHandler{1142};          ///< packets that no protocol accepted; rx_nohandler
inline constexpr tn::u64_id RxOtherHost{1143};          ///< packets for another host, dropped; rx_otherhost_dropped
inline constexpr tn::u64_id RxFrames{1144};             ///< frames received; eth-mac 5_RX_PKT, else rx_packets
inline constexpr tn::u64_id RxInRangeErrors{1145};      ///< in-range length errors; eth-mac 23_IR_LEN_ERR
inline constexpr tn::u64_id RxOutOfRange{1146};         ///< out-of-range length fields; eth-mac 24_OOR_LEN
inline constexpr tn::u64_id RxTooLong{1147};            ///< frames received that were too long; eth-mac 25_TOO_LONG_ERR
inline constexpr tn::u64_id RxInternalErrors{1148};     ///< frames lost inside the device; eth-mac 15_RX_INT_ERR
inline constexpr tn::u64_id RxSymbolErrors{1149};       ///< symbol errors during carrier; eth-phy 5_SYM_ERR
inline constexpr tn::u64_id RxControl{1150};            ///< MAC control frames received; eth-ctrl 4_RX
inline constexpr tn::u64_id RxUnknownOpcodes{1151};  ///< unsupported MAC control opcodes received; eth-ctrl 5_RX_UNSUP
inline constexpr tn::u64_id TxFrames{1152};          ///< frames sent; eth-mac 2_TX_PKT, else tx_packets
inline constexpr tn::u64_id TxInternalErrors{1153};  ///< frames to send lost inside the device; eth-mac 12_TX_INT_ERR
inline constexpr tn::u64_id TxCarrierSense{1154};   ///< carrier sense errors; eth-mac 13_CS_ERR, else tx_carrier_errors
inline constexpr tn::u64_id TxAborted{1155};        ///< send errors: aborted; tx_aborted_errors
inline constexpr tn::u64_id TxCarrierErrors{1156};  ///< send errors: carrier; tx_carrier_errors
inline constexpr tn::u64_id TxHeartbeatErrors{1157};  ///< send errors: heartbeat; tx_heartbeat_errors
inline constexpr tn::u64_id TxWindowErrors{1158};     ///< send errors: late collision window; tx_window_errors
inline constexpr tn::u64_id TxErrors{1159};           ///< send errors; tx_errors
inline constexpr tn::u64_id TxCompressed{1160};       ///< compressed packets sent; tx_compressed
inline constexpr tn::u64_id HostRxPackets{1161};      ///< packets received; rx_packets
inline constexpr tn::u64_id HostRxOctets{1162};       ///< octets received; rx_bytes
inline constexpr tn::u64_id HostTxPackets{1163};      ///< packets sent; tx_packets
inline constexpr tn::u64_id HostTxOctets{1164};       ///< octets sent; tx_bytes

inline constexpr tn::u64_id kFirst = RxBroadcast;
inline constexpr tn::u64_id kLast = HostTxOctets;
inline constexpr size_t kCount = kLast.number - kFirst.number + 1;

/// Index of a counter among them, from 0.
[[nodiscard]] constexpr size_t indexOf(tn::u64_id counter) { return counter.number - kFirst.number; }
/// The counter with that index.
[[nodiscard]] constexpr tn::u64_id at(size_t index) { return tn::u64_id(kFirst.number + static_cast<uint32_t>(index)); }

}  // namespace contracts::interface_counters
