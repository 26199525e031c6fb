#include "hostd/inet/ip_interfaces.h"

#include <unistd.h>

#include <charconv>
#include <utility>

#include "contracts/inet.h"
#include "hostd/source/pseudo_file.h"

namespace hostd {

namespace ip_interfaces = contracts::ip_interfaces;

namespace {

/// The interface identifier that an Ethernet address makes (RFC 4291, appendix A); empty for another address.
std::vector<uint8_t> identifierOf(const std::vector<uint8_t>& mac) {
    if (mac.size() != 6) return {};
    constexpr uint8_t kUniversal = 2;
    return {static_cast<uint8_t>(mac[0] ^ kUniversal), mac[1], mac[2], 0xff, 0xfe, mac[3], mac[4], mac[5]};
}

}  // namespace

IpInterfaces::IpInterfaces(const std::string& proc, bool isIPv6, std::function<const LinkTable&()> links)
    : settings_(proc + (isIPv6 ? "/sys/net/ipv6/" : "/sys/net/ipv4/")), isIPv6_(isIPv6), getLinks_(std::move(links)) {}

uint32_t IpInterfaces::setting(const std::string& kind, const std::string& interface, const char* name) const {
    const std::string text = readFile(settings_ + kind + "/" + interface + "/" + name);
    uint32_t value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

tn::message IpInterfaces::getObject(uint32_t) {
    tn::message reply;
    if (setting("conf", "all", "forwarding") != 0) reply.insert_bool(ip_interfaces::Forwarding, true);
    reply.insert_u32(ip_interfaces::HopLimit, setting("conf", "default", "hop_limit"));
    return reply;
}

void IpInterfaces::refresh() { links_ = &getLinks_(); }

uint32_t IpInterfaces::rowCount() const {
    uint32_t rows = 0;
    for (auto id = firstFrom(0); id; id = firstFrom(*id + 1)) ++rows;
    return rows;
}

std::optional<uint32_t> IpInterfaces::firstFrom(uint32_t id) const {
    for (const Link* link = links_->firstFrom(id); link != nullptr; link = links_->firstFrom(link->index + 1))
        if (::access((settings_ + "conf/" + link->name).c_str(), F_OK) == 0) return link->index;
    return {};
}

void IpInterfaces::writeRow(uint32_t id, tn::message& row) const {
    const Link& link = *links_->find(id);
    const bool isDisabled = isIPv6_ && setting("conf", link.name, "disable_ipv6") != 0;
    if (link.isEnabled() && !isDisabled) row.insert_bool(ip_interfaces::Enabled, true);
    if (setting("conf", link.name, "forwarding") != 0) row.insert_bool(ip_interfaces::Forwarding, true);
    row.insert_u32(ip_interfaces::Reachable, setting("neigh", link.name, "base_reachable_time_ms"));
    row.insert_u32(ip_interfaces::Retransmit, setting("neigh", link.name, "retrans_time_ms"));
    if (isIPv6_) row.insert_raw(ip_interfaces::Identifier, identifierOf(link.address));
}

}  // namespace hostd
