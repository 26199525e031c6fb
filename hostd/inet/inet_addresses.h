#pragma once

#include <cstdint>
#include <tuple>

#include "hostd/inet/inet_address.h"
#include "hostd/netlink/kernel_table.h"

namespace hostd {

/// An address of an interface, as RTM_NEWADDR and RTM_DELADDR report it.
struct InterfaceAddress {
    InetAddress address;
    InetAddress network;
    uint32_t ifindex = 0;
    uint32_t length = 0;  ///< of the network's prefix, in bits
    uint32_t flags = 0;   ///< IFA_F_*
    uint32_t origin = 0;  ///< contracts::inet_addresses::origin
    bool isAdvertised = false;
    uint32_t created = 0, changed = 0;                    ///< 1/100 s since boot
    uint32_t preferred = UINT32_MAX, valid = UINT32_MAX;  ///< lifetimes in s; the maximum is infinite
    /// Nothing if the message is about something else or malformed.
    static std::optional<InterfaceAddress> read(const nlmsghdr& message);
};

/// An address on one of the interfaces that have it.
struct InetAddressKey {
    InetAddress address;
    uint32_t ifindex = 0;
    uint32_t length = 0;
    friend auto operator<=>(const InetAddressKey&,
                            const InetAddressKey&) = default;  // NOLINT(modernize-use-nullptr): a false alarm
    [[nodiscard]] RowKey row() const { return KeyComposer().address(address).key(); }
    static InetAddressKey least(const RowKey& row) { return {.address = addressAt(row, 0)}; }
    [[nodiscard]] bool sharesRow(const InetAddressKey& other) const { return address == other.address; }
};

/// {24, 1041}: the addresses of this host. contracts/inet.h has the fields.
class InetAddresses : public KernelTable<InetAddressKey, InterfaceAddress> {
  public:
    explicit InetAddresses(FirstReading first = FirstReading::OnRequest);
    void apply(const nlmsghdr& message, std::chrono::milliseconds now) override;

  private:
    void writeEntry(const InetAddressKey& key, const InterfaceAddress& entry, tn::message& item) const override;
};

/// The network of an address on an interface.
struct InetPrefixKey {
    uint32_t ifindex = 0;
    InetAddress network;
    uint32_t length = 0;
    InetAddress address;
    friend auto operator<=>(const InetPrefixKey&,
                            const InetPrefixKey&) = default;  // NOLINT(modernize-use-nullptr): a false alarm
    [[nodiscard]] RowKey row() const { return KeyComposer().u32(ifindex).address(network).u32(length).key(); }
    static InetPrefixKey least(const RowKey& row) {
        return {row.u32(0), addressAt(row, 4), row.u32(4 + kAddressOctets), {}};
    }
    [[nodiscard]] bool sharesRow(const InetPrefixKey& other) const {
        return std::tie(ifindex, network, length) == std::tie(other.ifindex, other.network, other.length);
    }
};

/// {24, 1042}: the networks of this host's addresses. contracts/inet.h has the fields.
class InetPrefixes : public KernelTable<InetPrefixKey, InterfaceAddress> {
  public:
    explicit InetPrefixes(FirstReading first = FirstReading::OnRequest);
    void apply(const nlmsghdr& message, std::chrono::milliseconds now) override;

  private:
    void writeEntry(const InetPrefixKey& key, const InterfaceAddress& entry, tn::message& item) const override;
};

}  // namespace hostd
