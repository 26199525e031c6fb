#include "tnctl/prefixes.h"

#include "contracts/snmp.h"

namespace tnctl {

namespace snmp = contracts::snmp;
namespace community = snmp::community;

tn::message prefixMessage(const tn::IPPrefix6& prefix) {
    tn::message element;
    if (prefix.isIPv4()) {
        element.insert_be32(community::Address4, prefix.address().getIPv4());
        element.insert_be32(community::Netmask4, prefix.mask4());
    } else {
        element.insert_addr6(community::Address6, prefix.address());
        element.insert_u32(community::PrefixLength6, prefix.length());
    }
    return element;
}

std::vector<tn::IPPrefix6> prefixesOf(const std::vector<tn::message>& list) {
    std::vector<tn::IPPrefix6> prefixes;
    for (const tn::message& element : list) {
        if (element.has(community::Address6) && element.has(community::PrefixLength6))
            prefixes.push_back(tn::IPPrefix6::ofIPv6(element.get_addr6(community::Address6),
                                                     element.get_u32(community::PrefixLength6)));
        else if (element.has(community::Address4) && element.has(community::Netmask4))
            prefixes.push_back(
                tn::IPPrefix6::ofIPv4(element.get_be32(community::Address4), element.get_be32(community::Netmask4)));
    }
    return prefixes;
}

}  // namespace tnctl
