#pragma once

#include <libmnl/libmnl.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tn/address.h"

namespace hostd {

inline std::string dotted(uint32_t address) { return tn::IPAddr6::ofIPv4(address).str(); }

/// A message of the kernel's rtnetlink under construction, at most 1,024 octets.
/// @tparam Header  its fixed header, such as ifaddrmsg
template <class Header>
class NetlinkMessage {
  public:
    NetlinkMessage(uint16_t type, const Header& header) : bytes_(kRoom) {
        mnl_nlmsg_put_header(bytes_.data())->nlmsg_type = type;
        *static_cast<Header*>(mnl_nlmsg_put_extra_header(raw(), sizeof(Header))) = header;
    }
    NetlinkMessage& octets(uint16_t type, const std::vector<uint8_t>& value) {
        mnl_attr_put(raw(), type, value.size(), value.data());
        return *this;
    }
    NetlinkMessage& text(uint16_t type, const std::string& value) {
        mnl_attr_put_strz(raw(), type, value.c_str());
        return *this;
    }
    template <class Value>
    NetlinkMessage& value(uint16_t type, const Value& value) {
        mnl_attr_put(raw(), type, sizeof value, &value);
        return *this;
    }
    /// Appends a nested attribute. @param fill  appends the attributes in it to this message
    template <class Fill>
    NetlinkMessage& nest(uint16_t type, const Fill& fill) {
        nlattr* start = mnl_attr_nest_start(raw(), type);
        fill(*this);
        mnl_attr_nest_end(raw(), start);
        return *this;
    }

    [[nodiscard]] nlmsghdr* raw() { return reinterpret_cast<nlmsghdr*>(bytes_.data()); }
    [[nodiscard]] const nlmsghdr& message() const { return *reinterpret_cast<const nlmsghdr*>(bytes_.data()); }

  private:
    static constexpr size_t kRoom = 1024;
    std::vector<uint8_t> bytes_;
};

}  // namespace hostd
