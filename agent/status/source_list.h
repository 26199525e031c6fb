#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "agent/status/counters.h"
#include "tn/address.h"

namespace snmp {

/// A sender of datagrams.
struct Source {
    tn::IPAddr6 address;
    uint64_t requests = 0;                 ///< datagrams since the source entered the list
    uint64_t refused = 0;                  ///< number of these that were refused
    Counter lastRefusal = Counter::None;   ///< cause of the last refusal
    std::chrono::milliseconds lastSeen{};  ///< as tn::sinceBoot
    uint64_t rank = 0;                     ///< the least one is replaced first
};

/// At most 32 sources. Adding to it allocates nothing and compares at most 32 addresses: an attacker who forges source
/// addresses can change the list, but not its size.
class SourceList {
  public:
    static constexpr size_t kMax = 32;
    /// What decides which sources stay when the list is full: the time of their last datagram, or the number of their
    /// datagrams. By number, a new source inherits the number of the one it replaces as its rank (the space-saving
    /// algorithm of Metwally, Agrawal and El Abbadi): a source with more than a 32nd of all datagrams is always listed.
    enum class Keep { Last, Busiest };

    explicit SourceList(Keep keep) : keep_(keep) {}
    /// @param refusal  None if the datagram wasn't refused
    void add(const tn::IPAddr6& address, Counter refusal, std::chrono::milliseconds now);
    /// All of them, that with the greatest rank first.
    [[nodiscard]] std::vector<Source> sorted() const;

  private:
    Source& entryOf(const tn::IPAddr6& address);

    Keep keep_;
    std::array<Source, kMax> sources_;
    size_t used_ = 0;
    uint64_t datagrams_ = 0;
};

}  // namespace snmp
