#include "hostd/links/ethtool.h"

#include <linux/ethtool.h>
#include <linux/ethtool_netlink.h>
#include <linux/genetlink.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <sys/ioctl.h>

#include <cerrno>
#include <memory>
#include <vector>

#include "contracts/interfaces.h"
#include "hostd/links/driver_names.h"
#include "hostd/netlink/netlink.h"

namespace hostd {

namespace {

constexpr uint32_t kSpeedUnknown = UINT32_MAX;  // SPEED_UNKNOWN
constexpr uint32_t kCounterGroups =
    1U << ETHTOOL_STATS_ETH_PHY | 1U << ETHTOOL_STATS_ETH_MAC | 1U << ETHTOOL_STATS_ETH_CTRL | 1U << ETHTOOL_STATS_RMON;

constexpr size_t kModesAtOnce = 32;  // requests in one packet: all replies must fit into a socket's default buffer

constexpr size_t kMaxNamed = 8192;  // counters that one driver may have under its own names

DriverGroup groupOf(uint32_t id) {
    switch (id) {
        case ETHTOOL_STATS_ETH_PHY:
            return DriverGroup::Phy;
        case ETHTOOL_STATS_ETH_MAC:
            return DriverGroup::Mac;
        case ETHTOOL_STATS_ETH_CTRL:
            return DriverGroup::Control;
        case ETHTOOL_STATS_RMON:
            return DriverGroup::Rmon;
        default:
            return DriverGroup::None;
    }
}

uint64_t u64Of(const nlattr& attribute) {
    uint64_t value = 0;
    if (mnl_attr_get_payload_len(&attribute) == sizeof value)
        std::memcpy(&value, mnl_attr_get_payload(&attribute), sizeof value);
    return value;
}

void readSizes(const nlattr& range, DriverGroup group, DriverCounters& counters) {
    const Attributes<ETHTOOL_A_STATS_GRP_MAX> attributes(&range);
    const auto low = attributes.number<uint32_t>(ETHTOOL_A_STATS_GRP_HIST_BKT_LOW);
    const auto value = attributes.number<uint64_t>(ETHTOOL_A_STATS_GRP_HIST_VAL);
    if (low && value) counters.add(group, sizeClass(*low), *value);
}

void readGroup(const nlattr& group, DriverCounters& counters) {
    const auto id = Attributes<ETHTOOL_A_STATS_GRP_MAX>(&group).number<uint32_t>(ETHTOOL_A_STATS_GRP_ID);
    if (!id) return;
    forEachAttribute(octetsOf(&group), [&](const nlattr& member) {
        switch (mnl_attr_get_type(&member)) {
            case ETHTOOL_A_STATS_GRP_STAT:
                forEachAttribute(octetsOf(&member), [&](const nlattr& counter) {
                    counters.add(groupOf(*id), mnl_attr_get_type(&counter), u64Of(counter));
                });
                break;
            case ETHTOOL_A_STATS_GRP_HIST_RX:
                readSizes(member, DriverGroup::RxSizes, counters);
                break;
            case ETHTOOL_A_STATS_GRP_HIST_TX:
                readSizes(member, DriverGroup::TxSizes, counters);
                break;
            default:
                break;
        }
    });
}

/// The number of the generic netlink family "ethtool". 0 if the kernel doesn't have it, as before Linux 5.6. Nothing if
/// the kernel doesn't reply.
std::optional<uint16_t> findFamily(NetlinkSocket& socket) {
    NetlinkRequests requests;
    auto& header = requests.add<genlmsghdr>(GENL_ID_CTRL, NLM_F_ACK);
    header.cmd = CTRL_CMD_GETFAMILY;
    header.version = 1;
    mnl_attr_put_strz(requests.current(), CTRL_ATTR_FAMILY_NAME, ETHTOOL_GENL_NAME);
    requests.finish();
    uint16_t family = 0;
    if (!socket.send(requests)) return {};
    const bool isAnswered = socket.receiveReply([&](const nlmsghdr& message) {
        const Attributes<CTRL_ATTR_MAX> attributes(message, sizeof(genlmsghdr));
        family = attributes.number<uint16_t>(CTRL_ATTR_FAMILY_ID).value_or(0);
    });
    return isAnswered || errno == ENOENT ? std::optional(family) : std::nullopt;
}

/// Queries a driver over netlink. True if it answered, even if only with EOPNOTSUPP.
/// @param command  ETHTOOL_MSG_STATS_GET or ETHTOOL_MSG_LINKMODES_GET
bool query(NetlinkSocket& socket, uint16_t family, uint8_t command, uint32_t index, DriverReading& reading) {
    const bool isStats = command == ETHTOOL_MSG_STATS_GET;
    NetlinkRequests requests;
    auto& header = requests.add<genlmsghdr>(family, NLM_F_ACK);
    header.cmd = command;
    header.version = ETHTOOL_GENL_VERSION;
    nlmsghdr* request = requests.current();
    nlattr* device =
        mnl_attr_nest_start(request, isStats ? uint16_t{ETHTOOL_A_STATS_HEADER} : uint16_t{ETHTOOL_A_LINKMODES_HEADER});
    mnl_attr_put_u32(request, ETHTOOL_A_HEADER_DEV_INDEX, index);
    mnl_attr_nest_end(request, device);
    if (isStats) {
        nlattr* groups = mnl_attr_nest_start(request, ETHTOOL_A_STATS_GROUPS);
        mnl_attr_put(request, ETHTOOL_A_BITSET_NOMASK, 0, "");
        mnl_attr_put_u32(request, ETHTOOL_A_BITSET_SIZE, __ETHTOOL_STATS_CNT);
        mnl_attr_put_u32(request, ETHTOOL_A_BITSET_VALUE, kCounterGroups);
        mnl_attr_nest_end(request, groups);
    }
    requests.finish();
    if (!socket.send(requests)) return false;
    return socket.receiveReply([&](const nlmsghdr& message) { readDriverAnswer(message, reading); }) ||
           errno == EOPNOTSUPP;
}

/// Queries a driver through ioctl(2), the older interface. False, errno set, on failure.
/// @param request  one of the structures of <linux/ethtool.h>, which begin with the command
bool query(int fd, ifreq& device, void* request) {
    device.ifr_data = static_cast<char*>(request);
    return ::ioctl(fd, SIOCETHTOOL, &device) == 0;
}

/// Queries a driver for the counters that have names of its own. True if it answered, even if it has none.
bool queryNamed(int fd, uint32_t index, DriverCounters& counters) {
    ifreq device{};
    device.ifr_ifindex = static_cast<int>(index);
    if (::ioctl(fd, SIOCGIFNAME, &device) != 0) return false;
    ethtool_drvinfo info{};
    info.cmd = ETHTOOL_GDRVINFO;
    if (!query(fd, device, &info)) return errno == EOPNOTSUPP;
    const size_t count = info.n_stats;
    if (count == 0 || count > kMaxNamed) return true;

    // The kernel ignores the buffer's size and writes all counters: more than `count` if queues were added meanwhile.
    const size_t room = 2 * count + 1024;
    std::vector<uint64_t> strings((sizeof(ethtool_gstrings) + room * ETH_GSTRING_LEN) / sizeof(uint64_t) + 1);
    std::vector<uint64_t> numbers(sizeof(ethtool_stats) / sizeof(uint64_t) + room);
    auto* names = reinterpret_cast<ethtool_gstrings*>(strings.data());
    names->cmd = ETHTOOL_GSTRINGS;
    names->string_set = ETH_SS_STATS;
    names->len = info.n_stats;
    auto* values = reinterpret_cast<ethtool_stats*>(numbers.data());
    values->cmd = ETHTOOL_GSTATS;
    values->n_stats = info.n_stats;
    if (!query(fd, device, names) || !query(fd, device, values)) return false;
    if (names->len != count || values->n_stats != count) return false;
    readNamedCounters({reinterpret_cast<const char*>(names + 1), count * ETH_GSTRING_LEN},
                      {reinterpret_cast<const uint64_t*>(values + 1), count}, counters);
    return true;
}

void requestMode(NetlinkRequests& requests, uint16_t family, uint32_t index) {
    auto& header = requests.add<genlmsghdr>(family, 0);
    header.cmd = ETHTOOL_MSG_LINKMODES_GET;
    header.version = ETHTOOL_GENL_VERSION;
    nlattr* device = mnl_attr_nest_start(requests.current(), ETHTOOL_A_LINKMODES_HEADER);
    mnl_attr_put_u32(requests.current(), ETHTOOL_A_HEADER_DEV_INDEX, index);
    mnl_attr_put_u32(requests.current(), ETHTOOL_A_HEADER_FLAGS, ETHTOOL_FLAG_COMPACT_BITSETS);  // a shorter reply
    mnl_attr_nest_end(requests.current(), device);
    requests.finish();
}

}  // namespace

std::optional<LinkModes> readLinkModes() {
    NetlinkSocket socket;
    if (!socket.open(NETLINK_GENERIC, 0)) return {};
    const std::optional<uint16_t> family = findFamily(socket);
    if (!family) return {};
    LinkModes modes;
    const std::unique_ptr<struct if_nameindex, void (*)(struct if_nameindex*)> links(::if_nameindex(),
                                                                                     ::if_freenameindex);
    if (!links) return {};
    // Not a dump: a driver that fails, as some do while the link is down, would end it.
    const struct if_nameindex* link = *family == 0 ? nullptr : links.get();
    while (link != nullptr && link->if_index != 0) {
        NetlinkRequests requests;
        for (size_t i = 0; i < kModesAtOnce && link->if_index != 0; ++i, ++link)
            requestMode(requests, *family, link->if_index);
        // The kernel answers or refuses each request within send(): all replies are queued now.
        if (!socket.send(requests)) return {};
        (void)socket.receive(SIZE_MAX, [&](const nlmsghdr& message) { readLinkMode(message, modes); });
    }
    return modes;
}

void readLinkMode(const nlmsghdr& message, LinkModes& modes) {
    const auto* header = payload<genlmsghdr>(message);
    if (message.nlmsg_type < NLMSG_MIN_TYPE || header == nullptr || header->cmd != ETHTOOL_MSG_LINKMODES_GET_REPLY)
        return;
    const Attributes<ETHTOOL_A_LINKMODES_MAX> attributes(message, sizeof *header);
    const Attributes<ETHTOOL_A_HEADER_MAX> device(attributes[ETHTOOL_A_LINKMODES_HEADER]);
    const auto index = device.number<uint32_t>(ETHTOOL_A_HEADER_DEV_INDEX);
    if (!index) return;
    const uint32_t speed = attributes.number<uint32_t>(ETHTOOL_A_LINKMODES_SPEED).value_or(kSpeedUnknown);
    LinkMode& mode = modes[*index];
    mode.speed = speed == kSpeedUnknown ? 0 : speed;
    const auto duplex = attributes.number<uint8_t>(ETHTOOL_A_LINKMODES_DUPLEX);
    if (duplex == DUPLEX_HALF) mode.duplex = contracts::interfaces::duplex::Half;
    if (duplex == DUPLEX_FULL) mode.duplex = contracts::interfaces::duplex::Full;
}

DriverReadings readDrivers(std::span<const uint32_t> indexes) {
    DriverReadings readings;
    for (const uint32_t index : indexes) readings[index] = {};
    NetlinkSocket socket;
    if (!socket.open(NETLINK_GENERIC, 0)) return readings;
    const std::optional<uint16_t> family = findFamily(socket);
    if (!family) return readings;
    for (auto& [index, reading] : readings) {
        if (*family != 0) (void)query(socket, *family, ETHTOOL_MSG_LINKMODES_GET, index, reading);
        reading.areCounted = *family == 0 || query(socket, *family, ETHTOOL_MSG_STATS_GET, index, reading);
        if (reading.areCounted && reading.counters.count() == 0)
            reading.areCounted = queryNamed(socket.fd(), index, reading.counters);
    }
    return readings;
}

void readNamedCounters(std::span<const char> names, std::span<const uint64_t> values, DriverCounters& counters) {
    for (const uint64_t value : values) {
        const char* name = names.data();
        const auto counter = counterNamed({name, ::strnlen(name, ETH_GSTRING_LEN)});
        names = names.subspan(ETH_GSTRING_LEN);
        if (counter) counters.add(counter->group, counter->number, value);
    }
}

void readDriverAnswer(const nlmsghdr& message, DriverReading& reading) {
    const auto* header = payload<genlmsghdr>(message);
    if (header == nullptr) return;
    if (header->cmd == ETHTOOL_MSG_LINKMODES_GET_REPLY) {
        const Attributes<ETHTOOL_A_LINKMODES_MAX> attributes(message, sizeof *header);
        const auto speed = attributes.number<uint32_t>(ETHTOOL_A_LINKMODES_SPEED);
        if (speed && *speed != 0 && *speed != kSpeedUnknown) reading.speed = speed;
    } else if (header->cmd == ETHTOOL_MSG_STATS_GET_REPLY) {
        forEachAttribute(attributesOf(message, sizeof *header), [&](const nlattr& attribute) {
            if (mnl_attr_get_type(&attribute) == ETHTOOL_A_STATS_GRP) readGroup(attribute, reading.counters);
        });
    }
}

}  // namespace hostd
