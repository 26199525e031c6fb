#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "tn/address.h"
#include "tn/message.h"

namespace snmp {

using tn::IPAddr6;

constexpr uint32_t kNoCommunity = 0xffffffff;

/// The agent's settings: what the handler {34} gets and sets, and what /tern/store/snmpd keeps under id 0.
///
///     field   kind            attribute
///     1       bool            enabled: the UDP service is on
///     2, 3    string          contact, location
///     4       string          community: kept and reported only
///     10      string          engine id: the administrator's part
///     13      u32             engine boots (RFC 3414, 2.2)
///     17      u32             trap community: object id of an access entry, all ones for none
///     18      u32             trap version: 0 v1, 1 v2c, 3 v3
///     19      u32 array       trap generators: indices into scribers, and 0xabc0001 for the start-up trap
///     24      message array   interfaces whose link changes give traps: {25 u32 id}
///     26      message array   trap targets: {14 addr6} or {16 be32}; a single 14 or 16 at top level is taken too
struct Settings {
    bool enabled = false;
    std::string contact;
    std::string location;
    std::string community = "common";
    std::string engineId;  ///< whole: enterprise, format, then the administrator's part. Empty until it is set
    uint32_t engineBoots = 0;
    uint32_t trapCommunity = kNoCommunity;
    uint32_t trapVersion = 0;
    std::vector<IPAddr6> trapTargets;
    std::vector<uint32_t> trapKinds;
    std::set<uint32_t> interfaceFilter;

    /// The settings of a stored record.
    [[nodiscard]] static Settings read(const tn::message& record);
    /// Takes over what the message carries and leaves the rest.
    void apply(const tn::message& changes);
    [[nodiscard]] tn::message getConfig() const;
    /// A request that brings these settings back after `change` was applied.
    [[nodiscard]] tn::message undoOf(const tn::message& change) const;
    [[nodiscard]] static tn::message defaults();
    bool operator==(const Settings&) const = default;
};

namespace setting {
constexpr tn::bool_id Enabled{1};
constexpr tn::string_id Contact{2};
constexpr tn::string_id Location{3};
constexpr tn::string_id Community{4};
constexpr tn::string_id EngineId{10};
constexpr tn::u32_id EngineBoots{13};
constexpr tn::addr6_id Target6{14};
constexpr tn::be32_id Target4{16};
constexpr tn::u32_id TrapCommunity{17};
constexpr tn::u32_id TrapVersion{18};
constexpr tn::u32_array_id TrapKinds{19};
constexpr tn::message_array_id Interfaces{24};
constexpr tn::u32_id Interface{25};
constexpr tn::message_array_id TrapTargets{26};
}  // namespace setting

}  // namespace snmp
