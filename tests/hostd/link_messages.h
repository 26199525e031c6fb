#pragma once

#include <libmnl/libmnl.h>
#include <linux/if.h>
#include <linux/if_arp.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace hostd::test {

/// A message as the kernel's rtnetlink writes them about a link.
class LinkMessage {
  public:
    explicit LinkMessage(int index, const char* name = nullptr, unsigned flags = 0,
                         unsigned short hardware = ARPHRD_ETHER, uint16_t type = RTM_NEWLINK)
        : bytes_(kRoom) {
        nlmsghdr* header = mnl_nlmsg_put_header(bytes_.data());
        header->nlmsg_type = type;
        auto* about = static_cast<ifinfomsg*>(mnl_nlmsg_put_extra_header(header, sizeof(ifinfomsg)));
        about->ifi_index = index;
        about->ifi_flags = flags;
        about->ifi_type = hardware;
        if (name != nullptr) mnl_attr_put_strz(header, IFLA_IFNAME, name);
    }
    LinkMessage& family(unsigned char family) {
        static_cast<ifinfomsg*>(mnl_nlmsg_get_payload(raw()))->ifi_family = family;
        return *this;
    }
    LinkMessage& number(uint16_t type, uint32_t value) {
        mnl_attr_put_u32(raw(), type, value);
        return *this;
    }
    LinkMessage& text(uint16_t type, const char* value) {
        mnl_attr_put_strz(raw(), type, value);
        return *this;
    }
    LinkMessage& octets(uint16_t type, const std::vector<uint8_t>& value) {
        mnl_attr_put(raw(), type, value.size(), value.data());
        return *this;
    }
    LinkMessage& kind(const char* kind, int bridgePriority = -1) {
        nlattr* info = mnl_attr_nest_start(raw(), IFLA_LINKINFO);
        mnl_attr_put_strz(raw(), IFLA_INFO_KIND, kind);
        if (bridgePriority >= 0) {
            nlattr* data = mnl_attr_nest_start(raw(), IFLA_INFO_DATA);
            mnl_attr_put_u16(raw(), IFLA_BR_PRIORITY, static_cast<uint16_t>(bridgePriority));
            mnl_attr_nest_end(raw(), data);
        }
        mnl_attr_nest_end(raw(), info);
        return *this;
    }
    LinkMessage& counters(const rtnl_link_stats64& counters, size_t octets = sizeof(rtnl_link_stats64)) {
        mnl_attr_put(raw(), IFLA_STATS64, octets, &counters);
        return *this;
    }

    [[nodiscard]] nlmsghdr* raw() { return reinterpret_cast<nlmsghdr*>(bytes_.data()); }
    [[nodiscard]] const nlmsghdr& message() const { return *reinterpret_cast<const nlmsghdr*>(bytes_.data()); }

  private:
    static constexpr size_t kRoom = 4096;
    std::vector<uint8_t> bytes_;
};

}  // namespace hostd::test
