#include "hostd/links/driver_names.h"

#include <linux/ethtool_netlink.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <string>
#include <vector>

namespace hostd {

namespace {

using enum DriverGroup;

constexpr uint32_t kNoCounter = UINT32_MAX;

/// A counter name after its direction ("rx", "in"; "tx", "out"), in lower case and without separators.
struct Name {
    std::string_view name;
    DriverGroup group;
    uint32_t received;  // number of the counter of received frames; kNoCounter if there is none
    uint32_t sent;      // number of the counter of sent frames; kNoCounter if there is none
};

constexpr Name both(std::string_view name, uint32_t received, uint32_t sent) { return {name, Mac, received, sent}; }
constexpr Name received(std::string_view name, DriverGroup group, uint32_t number) {
    return {name, group, number, kNoCounter};
}
constexpr Name sent(std::string_view name, uint32_t number) { return {name, Mac, kNoCounter, number}; }

constexpr auto kNames = std::to_array<Name>({
    both("bytes", ETHTOOL_A_STATS_ETH_MAC_14_RX_BYTES, ETHTOOL_A_STATS_ETH_MAC_8_TX_BYTES),
    both("octets", ETHTOOL_A_STATS_ETH_MAC_14_RX_BYTES, ETHTOOL_A_STATS_ETH_MAC_8_TX_BYTES),
    both("goodoctets", ETHTOOL_A_STATS_ETH_MAC_14_RX_BYTES, ETHTOOL_A_STATS_ETH_MAC_8_TX_BYTES),
    both("frames", ETHTOOL_A_STATS_ETH_MAC_5_RX_PKT, ETHTOOL_A_STATS_ETH_MAC_2_TX_PKT),
    both("packets", ETHTOOL_A_STATS_ETH_MAC_5_RX_PKT, ETHTOOL_A_STATS_ETH_MAC_2_TX_PKT),
    both("bcast", ETHTOOL_A_STATS_ETH_MAC_22_RX_BCAST, ETHTOOL_A_STATS_ETH_MAC_19_TX_BCAST),
    both("bcastframes", ETHTOOL_A_STATS_ETH_MAC_22_RX_BCAST, ETHTOOL_A_STATS_ETH_MAC_19_TX_BCAST),
    both("bcastpackets", ETHTOOL_A_STATS_ETH_MAC_22_RX_BCAST, ETHTOOL_A_STATS_ETH_MAC_19_TX_BCAST),
    both("broad", ETHTOOL_A_STATS_ETH_MAC_22_RX_BCAST, ETHTOOL_A_STATS_ETH_MAC_19_TX_BCAST),
    both("broadcast", ETHTOOL_A_STATS_ETH_MAC_22_RX_BCAST, ETHTOOL_A_STATS_ETH_MAC_19_TX_BCAST),
    both("broadcastframes", ETHTOOL_A_STATS_ETH_MAC_22_RX_BCAST, ETHTOOL_A_STATS_ETH_MAC_19_TX_BCAST),
    both("broadcastpackets", ETHTOOL_A_STATS_ETH_MAC_22_RX_BCAST, ETHTOOL_A_STATS_ETH_MAC_19_TX_BCAST),
    both("broadcastpkts", ETHTOOL_A_STATS_ETH_MAC_22_RX_BCAST, ETHTOOL_A_STATS_ETH_MAC_19_TX_BCAST),
    both("broadcasts", ETHTOOL_A_STATS_ETH_MAC_22_RX_BCAST, ETHTOOL_A_STATS_ETH_MAC_19_TX_BCAST),
    both("mcast", ETHTOOL_A_STATS_ETH_MAC_21_RX_MCAST, ETHTOOL_A_STATS_ETH_MAC_18_TX_MCAST),
    both("mcastframes", ETHTOOL_A_STATS_ETH_MAC_21_RX_MCAST, ETHTOOL_A_STATS_ETH_MAC_18_TX_MCAST),
    both("mcastpackets", ETHTOOL_A_STATS_ETH_MAC_21_RX_MCAST, ETHTOOL_A_STATS_ETH_MAC_18_TX_MCAST),
    both("multi", ETHTOOL_A_STATS_ETH_MAC_21_RX_MCAST, ETHTOOL_A_STATS_ETH_MAC_18_TX_MCAST),
    both("multicast", ETHTOOL_A_STATS_ETH_MAC_21_RX_MCAST, ETHTOOL_A_STATS_ETH_MAC_18_TX_MCAST),
    both("multicastframes", ETHTOOL_A_STATS_ETH_MAC_21_RX_MCAST, ETHTOOL_A_STATS_ETH_MAC_18_TX_MCAST),
    both("multicastpackets", ETHTOOL_A_STATS_ETH_MAC_21_RX_MCAST, ETHTOOL_A_STATS_ETH_MAC_18_TX_MCAST),
    both("multicastpkts", ETHTOOL_A_STATS_ETH_MAC_21_RX_MCAST, ETHTOOL_A_STATS_ETH_MAC_18_TX_MCAST),
    both("multicasts", ETHTOOL_A_STATS_ETH_MAC_21_RX_MCAST, ETHTOOL_A_STATS_ETH_MAC_18_TX_MCAST),

    received("crcerr", Mac, ETHTOOL_A_STATS_ETH_MAC_6_FCS_ERR),
    received("crcerrors", Mac, ETHTOOL_A_STATS_ETH_MAC_6_FCS_ERR),
    received("fcserr", Mac, ETHTOOL_A_STATS_ETH_MAC_6_FCS_ERR),
    received("fcserror", Mac, ETHTOOL_A_STATS_ETH_MAC_6_FCS_ERR),
    received("fcserrors", Mac, ETHTOOL_A_STATS_ETH_MAC_6_FCS_ERR),
    received("fcserrs", Mac, ETHTOOL_A_STATS_ETH_MAC_6_FCS_ERR),
    received("framechecksequenceerrors", Mac, ETHTOOL_A_STATS_ETH_MAC_6_FCS_ERR),
    received("alignerr", Mac, ETHTOOL_A_STATS_ETH_MAC_7_ALIGN_ERR),
    received("alignerrors", Mac, ETHTOOL_A_STATS_ETH_MAC_7_ALIGN_ERR),
    received("alignmenterrors", Mac, ETHTOOL_A_STATS_ETH_MAC_7_ALIGN_ERR),
    received("alignmenterrs", Mac, ETHTOOL_A_STATS_ETH_MAC_7_ALIGN_ERR),
    received("inlengtherrors", Mac, ETHTOOL_A_STATS_ETH_MAC_23_IR_LEN_ERR),
    received("outlengtherrors", Mac, ETHTOOL_A_STATS_ETH_MAC_24_OOR_LEN),
    received("frametoolongerrors", Mac, ETHTOOL_A_STATS_ETH_MAC_25_TOO_LONG_ERR),
    received("toolong", Mac, ETHTOOL_A_STATS_ETH_MAC_25_TOO_LONG_ERR),
    received("runt", Rmon, ETHTOOL_A_STATS_RMON_UNDERSIZE),
    received("shortlengtherrors", Rmon, ETHTOOL_A_STATS_RMON_UNDERSIZE),
    received("undersize", Rmon, ETHTOOL_A_STATS_RMON_UNDERSIZE),
    received("undersizedframes", Rmon, ETHTOOL_A_STATS_RMON_UNDERSIZE),
    received("undersizeerr", Rmon, ETHTOOL_A_STATS_RMON_UNDERSIZE),
    received("undersizepackets", Rmon, ETHTOOL_A_STATS_RMON_UNDERSIZE),
    received("undersizepkts", Rmon, ETHTOOL_A_STATS_RMON_UNDERSIZE),
    received("longlengtherrors", Rmon, ETHTOOL_A_STATS_RMON_OVERSIZE),
    received("oversize", Rmon, ETHTOOL_A_STATS_RMON_OVERSIZE),
    received("oversizeframes", Rmon, ETHTOOL_A_STATS_RMON_OVERSIZE),
    received("oversizepackets", Rmon, ETHTOOL_A_STATS_RMON_OVERSIZE),
    received("oversizepkts", Rmon, ETHTOOL_A_STATS_RMON_OVERSIZE),
    received("overszerr", Rmon, ETHTOOL_A_STATS_RMON_OVERSIZE),
    received("fragerr", Rmon, ETHTOOL_A_STATS_RMON_FRAG),
    received("fragment", Rmon, ETHTOOL_A_STATS_RMON_FRAG),
    received("fragments", Rmon, ETHTOOL_A_STATS_RMON_FRAG),
    received("jabber", Rmon, ETHTOOL_A_STATS_RMON_JABBER),
    received("jabbererr", Rmon, ETHTOOL_A_STATS_RMON_JABBER),
    received("jabbers", Rmon, ETHTOOL_A_STATS_RMON_JABBER),
    received("symbolerr", Phy, ETHTOOL_A_STATS_ETH_PHY_5_SYM_ERR),
    received("symbolerrors", Phy, ETHTOOL_A_STATS_ETH_PHY_5_SYM_ERR),
    received("macctrl", Control, ETHTOOL_A_STATS_ETH_CTRL_4_RX),
    received("macctrlframes", Control, ETHTOOL_A_STATS_ETH_CTRL_4_RX),
    received("macctrlrcvd", Control, ETHTOOL_A_STATS_ETH_CTRL_4_RX),

    sent("singlecol", ETHTOOL_A_STATS_ETH_MAC_3_SINGLE_COL),
    sent("singlecollisionframes", ETHTOOL_A_STATS_ETH_MAC_3_SINGLE_COL),
    sent("singlecollision", ETHTOOL_A_STATS_ETH_MAC_3_SINGLE_COL),
    sent("singlecollisions", ETHTOOL_A_STATS_ETH_MAC_3_SINGLE_COL),
    sent("singlecollok", ETHTOOL_A_STATS_ETH_MAC_3_SINGLE_COL),
    sent("multcol", ETHTOOL_A_STATS_ETH_MAC_4_MULTI_COL),
    sent("multcollisions", ETHTOOL_A_STATS_ETH_MAC_4_MULTI_COL),
    sent("multicol", ETHTOOL_A_STATS_ETH_MAC_4_MULTI_COL),
    sent("multicollisions", ETHTOOL_A_STATS_ETH_MAC_4_MULTI_COL),
    sent("multicollok", ETHTOOL_A_STATS_ETH_MAC_4_MULTI_COL),
    sent("multiplecollision", ETHTOOL_A_STATS_ETH_MAC_4_MULTI_COL),
    sent("multiplecollisionframes", ETHTOOL_A_STATS_ETH_MAC_4_MULTI_COL),
    sent("defer", ETHTOOL_A_STATS_ETH_MAC_9_TX_DEFER),
    sent("deferred", ETHTOOL_A_STATS_ETH_MAC_9_TX_DEFER),
    sent("deferredframes", ETHTOOL_A_STATS_ETH_MAC_9_TX_DEFER),
    sent("deferredok", ETHTOOL_A_STATS_ETH_MAC_9_TX_DEFER),
    sent("abortlatecoll", ETHTOOL_A_STATS_ETH_MAC_10_LATE_COL),
    sent("latecol", ETHTOOL_A_STATS_ETH_MAC_10_LATE_COL),
    sent("latecollision", ETHTOOL_A_STATS_ETH_MAC_10_LATE_COL),
    sent("latecollisions", ETHTOOL_A_STATS_ETH_MAC_10_LATE_COL),
    sent("exccol", ETHTOOL_A_STATS_ETH_MAC_11_XS_COL),
    sent("excesscollisions", ETHTOOL_A_STATS_ETH_MAC_11_XS_COL),
    sent("excessivecollision", ETHTOOL_A_STATS_ETH_MAC_11_XS_COL),
    sent("excessivecollisions", ETHTOOL_A_STATS_ETH_MAC_11_XS_COL),
    sent("carriersenseerrors", ETHTOOL_A_STATS_ETH_MAC_13_CS_ERR),
});

/// Counter names without a direction. The drivers r8169 and mv88e6xxx have them.
struct PlainName {
    std::string_view name;
    uint32_t number;  ///< of DriverGroup::Mac
};
constexpr auto kPlainNames = std::to_array<PlainName>({
    {"alignerrors", ETHTOOL_A_STATS_ETH_MAC_7_ALIGN_ERR},
    {"broadcast", ETHTOOL_A_STATS_ETH_MAC_22_RX_BCAST},
    {"multicast", ETHTOOL_A_STATS_ETH_MAC_21_RX_MCAST},
    {"deferred", ETHTOOL_A_STATS_ETH_MAC_9_TX_DEFER},
    {"excessive", ETHTOOL_A_STATS_ETH_MAC_11_XS_COL},
    {"late", ETHTOOL_A_STATS_ETH_MAC_10_LATE_COL},
    {"multiple", ETHTOOL_A_STATS_ETH_MAC_4_MULTI_COL},
    {"single", ETHTOOL_A_STATS_ETH_MAC_3_SINGLE_COL},
});

/// How a counter name gives its range of frame sizes.
enum class Range { None, FromTo, UpTo, Above };
Range rangeOf(std::string_view shape) {
    constexpr auto kFromTo = std::to_array<std::string_view>(
        {"##", "##byteframes", "#to#bytepackets", "#to#octetpackets", "pkts#to#octets", "pktsz#to#"});
    constexpr auto kUpTo = std::to_array<std::string_view>({"#byteframes", "#bytepackets", "#octetpackets", "#orless",
                                                            "#orlessoctetpackets", "pkts#octets", "pktsz#", "size#"});
    if (std::ranges::find(kFromTo, shape) != kFromTo.end()) return Range::FromTo;
    if (std::ranges::find(kUpTo, shape) != kUpTo.end()) return Range::UpTo;
    return shape == "greaterthan#byteframes" ? Range::Above : Range::None;
}

/// A counter name split into its shape and its numbers: "rx_64_to_127_bytes" is "rx#to#bytes" with 64 and 127.
struct Shape {
    std::string text;  // letters in lower case, '#' for each number; separators are dropped
    std::vector<uint32_t> numbers;

    explicit Shape(std::string_view name) {
        while (!name.empty()) {
            uint32_t number = 0;
            const auto* end = std::from_chars(name.data(), name.data() + name.size(), number).ptr;
            const auto digits = static_cast<size_t>(end - name.data());
            const char first = static_cast<char>(name[0] | 0x20);
            if (digits > 0) {
                text += '#';
                numbers.push_back(number);
            } else if (first >= 'a' && first <= 'z') {
                text += first;
            }
            name.remove_prefix(std::max<size_t>(digits, 1));
        }
    }
};

std::optional<DriverCounter> sizesIn(bool isSent, Range range, const std::vector<uint32_t>& numbers) {
    constexpr std::array kHighest = {64U, 127U, 255U, 511U, 1023U, 1536U};
    const auto highest = std::ranges::lower_bound(kHighest, numbers[0]) - kHighest.begin();
    uint32_t size = static_cast<uint32_t>(highest);
    if (range == Range::FromTo) size = sizeClass(numbers[0]);
    if (range == Range::Above) size = sizeClass(numbers[0] + 1);
    return DriverCounter{isSent ? TxSizes : RxSizes, size};
}

}  // namespace

std::optional<DriverCounter> counterNamed(std::string_view name) {
    constexpr std::string_view kPort = "port.", kNic = ".nic";
    if (name.starts_with(kPort)) name.remove_prefix(kPort.size());
    if (name.ends_with(kNic)) name.remove_suffix(kNic.size());
    const Shape shape(name);
    std::string_view rest = shape.text;
    bool isSent = false;
    if (rest.starts_with("rx") || rest.starts_with("in")) {
        rest.remove_prefix(2);
    } else if (rest.starts_with("tx") || rest.starts_with("out")) {
        rest.remove_prefix(rest.starts_with("tx") ? 2 : 3);
        isSent = true;
    } else {
        const auto known = std::ranges::find(kPlainNames, rest, &PlainName::name);
        return known == kPlainNames.end() ? std::nullopt : std::optional(DriverCounter{Mac, known->number});
    }
    if (rest == "sizebig") return DriverCounter{isSent ? TxSizes : RxSizes, kSizeClasses - 1};
    if (const Range range = rangeOf(rest); range != Range::None) return sizesIn(isSent, range, shape.numbers);
    const auto known = std::ranges::find(kNames, rest, &Name::name);
    if (known == kNames.end()) return {};
    const uint32_t number = isSent ? known->sent : known->received;
    return number == kNoCounter ? std::nullopt : std::optional(DriverCounter{known->group, number});
}

}  // namespace hostd
