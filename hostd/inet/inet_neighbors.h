#pragma once

#include <cstdint>

#include "hostd/inet/inet_address.h"
#include "hostd/netlink/kernel_table.h"

namespace hostd {

/// A neighbour on an interface.
struct InetNeighborKey {
    uint32_t ifindex = 0;
    InetAddress address;  ///< without a zone: the interface is part of the key
    friend auto operator<=>(const InetNeighborKey&,
                            const InetNeighborKey&) = default;  // NOLINT(modernize-use-nullptr): a false alarm
    [[nodiscard]] RowKey row() const { return KeyComposer().u32(ifindex).address(address).key(); }
    static InetNeighborKey least(const RowKey& row) { return {row.u32(0), addressAt(row, 4)}; }
    [[nodiscard]] bool sharesRow(const InetNeighborKey& other) const { return *this == other; }
};

struct InetNeighbor {
    static constexpr size_t kMaxAddress = 32;  ///< octets: MAX_ADDR_LEN
    uint32_t state = 0;                        ///< NUD_*
    uint32_t changed = 0;                      ///< 1/100 s since boot
    uint8_t size = 0;                          ///< octets of the link address
    std::array<uint8_t, kMaxAddress> linkAddress{};
};

/// {24, 1043}: the neighbours of IPv4 and IPv6 (rtnetlink(7), RTM_GETNEIGH). contracts/inet.h has the fields. Multicast
/// addresses and proxy entries have no row.
class InetNeighbors : public KernelTable<InetNeighborKey, InetNeighbor> {
  public:
    explicit InetNeighbors(FirstReading first = FirstReading::OnRequest);
    void apply(const nlmsghdr& message, std::chrono::milliseconds now) override;

  private:
    void writeEntry(const InetNeighborKey& key, const InetNeighbor& entry, tn::message& item) const override;
};

}  // namespace hostd
