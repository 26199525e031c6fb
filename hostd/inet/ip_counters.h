#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "hostd/source/pseudo_file.h"
#include "tn/handler.h"

namespace hostd {

/// Counters by the kernel's names: the group, then the name in it, as "IpInReceives". Negative numbers are in two's
/// complement.
using KernelCounters = std::map<std::string, uint64_t, std::less<>>;

/// Adds the counters of PROC/net/snmp or PROC/net/netstat: pairs of lines, "Ip: InReceives InHdrErrors ..." and
/// "Ip: 17 0 ...". Ignores lines that aren't of this form.
void addPairedCounters(std::string_view text, KernelCounters& all);
/// Adds the counters of PROC/net/snmp6 or PROC/net/dev_snmp6/LINK: lines "Ip6InReceives 17". Ignores others.
void addListedCounters(std::string_view text, KernelCounters& all);
/// The counter of this name; 0 if the kernel doesn't have it.
[[nodiscard]] uint64_t valueOf(const KernelCounters& all, std::string_view name);

/// {24, 1030}: the counters of IP, ICMP, TCP and UDP. contracts/ip_counters.h has the fields.
class IpCounters : public tn::Handler {
  public:
    /// @param proc  the kernel's process tree
    explicit IpCounters(const std::string& proc);
    /// All of them, whatever the id.
    tn::message getObject(uint32_t id) override;

  private:
    PseudoFile snmp_, snmp6_, fragmentTime_;
};

}  // namespace hostd
