#pragma once

#include <functional>
#include <string>
#include <vector>

#include "hostd/links/driver_watch.h"
#include "hostd/links/link_monitor.h"
#include "hostd/links/link_status_debouncer.h"
#include "hostd/table/id_table.h"

namespace hostd {

/// Brings a link up or down; returns why that failed, or an empty string.
using LinkSwitch = std::function<std::string(uint32_t index, bool isUp)>;

/// Changes IFF_UP of a link (RTM_NEWLINK, rtnetlink(7)); needs CAP_NET_ADMIN.
[[nodiscard]] std::string switchLink(uint32_t index, bool isUp);

/// {20, 0}: the network interfaces, known by their ifindex. See the contract below.
///
/// They come, change and go by the kernel's notifications; what waits of these is taken in before each answer. A row's
/// counters are read anew when they are older than kMaxAge and it is shown, so a single one costs the same however many
/// interfaces there are, and a walk reads each once.
class Interfaces : public IdTable {
  public:
    static constexpr uint64_t kMaxAge = 250;  ///< ms, of the kernel's counters

    /// @param sysfs  the kernel's tree of devices ("/sys"): tells which of them are radios
    /// @param switcher  empty when link changes aren't allowed
    /// @param drivers   for tests
    explicit Interfaces(const std::string& sysfs, LinkSwitch switcher = {}, DriverSource drivers = readDrivers);
    ~Interfaces() override;

    void loadPermData() override;
    tn::message cmdUnknown(const tn::message& request, uint32_t command) override;
    /// A filter's Status must have the bit interface::kStatusChanges, and the interface none of its Flags; what the
    /// filter doesn't name doesn't matter.
    bool shouldNotify(const tn::message& filter, const tn::message& notification) override;

    /// Takes a message of the kernel in, as if it had come by itself.
    void take(const nlmsghdr& message);

  protected:
    void refresh() override;
    void refreshIds(std::span<const uint32_t> ids) override;
    [[nodiscard]] uint32_t rowCount() const override { return static_cast<uint32_t>(links_.size()); }
    [[nodiscard]] std::optional<uint32_t> firstFrom(uint32_t id) const override;
    void listRow(uint32_t id, tn::message& row) const override;
    void briefRow(uint32_t id, tn::message& row) const override;
    /// A get-all with Kind lists links of that kind only.
    [[nodiscard]] bool isIdWanted(uint32_t id, const tn::message& request) const override;
    tn::message setRow(uint32_t id, const tn::message& request) override;

  private:
    void tell(uint32_t id, const std::string& name, uint32_t status);
    void tellLastingLater();
    tn::message speedOf(const tn::message& request);
    void watchDrivers();

    LinkSwitch switch_;
    StatusNews news_;
    tn::ThinRunner::TimerId timer_ = 0;  ///< for the news that have to last
    LinkTable links_;
    LinkMonitor monitor_;
    DriverWatch drivers_;
    uint64_t driversVersion_ = 0;  ///< of links_, when the drivers to watch were chosen
};

/// The contract of {20, 0}. A get-all with Kind lists links of that kind only. A set with field::Disabled brings a link
/// down (true) or up; error::Refused unless the command line allows that, or when it fails. Any other set is accepted
/// and changes nothing. Counters wrap as the kernel's do; those that are u32 are its lower half.
namespace interface {
constexpr uint32_t kList = 1;                 // command: ObjectId, Flags and Status of each; pages like get-all
constexpr uint32_t kSpeed = 0x10001;          // command: SpeedClass of ObjectId
constexpr uint32_t kStatusChanged = 0x10004;  // notification: ObjectId, Flags, Status, Name, once for each change of
                                              // Status (see StatusNews); of one that has gone with Status 0
constexpr uint32_t kStatusChanges = 128;      // in a filter's Status: changes of status are wanted

//                                             unit            source
constexpr tn::u32_id Priority{2};           // of a bridge      IFLA_BR_PRIORITY
constexpr tn::u32_id Parent{2002};          // of a VLAN        IFLA_LINK
constexpr tn::u32_id Kind{0x10001};         // link_kind        IFLA_INFO_KIND, ifi_type
constexpr tn::u32_id Flags{0x10002};        //                  always 0: every interface gives notifications
constexpr tn::u32_id Status{0x10003};       // link_status      ifi_flags: IFF_UP with IFF_LOWER_UP, IFF_RUNNING
constexpr tn::string_id Name{0x10006};      //                  IFLA_IFNAME
constexpr tn::bool_id Running{0x1000e};     //                  IFF_RUNNING; absent when not
constexpr tn::u32_id Mtu{0x10064};          // octets           IFLA_MTU
constexpr tn::u32_id InDiscards{0x100f8};   // packets          rx_dropped, rx_missed_errors (rtnl_link_stats64)
constexpr tn::u32_id OutDiscards{0x100f9};  // packets         tx_dropped
constexpr tn::u32_id InErrors{0x100fa};     // packets          rx_errors
constexpr tn::u32_id OutErrors{0x100fb};    // packets          tx_errors
constexpr tn::u64_id InOctets{0x100fc};     // octets           rx_bytes
constexpr tn::u64_id OutOctets{0x100fd};    // octets           tx_bytes
constexpr tn::u64_id InUnicast{0x100fe};    // packets          rx_packets, multicast and broadcast included
constexpr tn::u64_id OutUnicast{0x100ff};   // packets          tx_packets, the same
constexpr tn::raw_id Mac{1001};             //                  IFLA_ADDRESS; absent when it is none
// 1100 to 1164, u64                                           interface_counters.h
// field::Comment                                              IFLA_IFALIAS; absent when empty
// field::Disabled                                             not IFF_UP; absent when enabled
constexpr tn::u32_id SpeedClass{1102};  // 1, 2, 3: 10, 100, 1000 Mbit/s; absent for other speeds, when it isn't
                                        // known, and for links without a driver under them (veth, tunnels)
}  // namespace interface

}  // namespace hostd
