#include "hostd/links/link_switch.h"

#include <net/if.h>  // before <linux/if.h>, which then leaves out what it defines

#include <linux/if.h>
#include <linux/rtnetlink.h>

#include <cerrno>
#include <cstring>

#include "hostd/netlink/netlink.h"

namespace hostd {

std::string switchLink(uint32_t index, bool isUp) {
    NetlinkSocket socket;
    if (!socket.open(NETLINK_ROUTE, 0)) return std::strerror(errno);
    NetlinkRequests requests;
    auto& link = requests.add<ifinfomsg>(RTM_NEWLINK, NLM_F_ACK);
    link.ifi_index = static_cast<int>(index);
    link.ifi_change = IFF_UP;
    link.ifi_flags = isUp ? IFF_UP : 0;
    requests.finish();
    const bool isDone = socket.send(requests) && socket.receiveReply([](const nlmsghdr&) {});
    return isDone ? "" : std::strerror(errno);
}

}  // namespace hostd
