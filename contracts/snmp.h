#pragma once

#include <array>
#include <cstdint>

#include "tn/fields.h"

/// The SNMP agent: its settings {34}, its access entries {34, 1} and its trap generators {34, 2}. What each setting is
/// called and how its values look stands in contracts/snmp_settings.h.
namespace contracts::snmp {

/// cmd::Get and cmd::Set with the fields of `setting`, and trap::kSend. Subscribers get cmd::Changed with the request
/// of each Set.
inline constexpr std::array<uint32_t, 1> kSettingsPath = {tn::number::Snmp};
/// A tn::AMap of access entries with the fields of `community`. Reading takes the right to write: entries hold
/// passwords.
inline constexpr std::array<uint32_t, 2> kCommunitiesPath = {tn::number::Snmp, 1};
/// trap::kListGenerators.
inline constexpr std::array<uint32_t, 2> kTrapsPath = {tn::number::Snmp, 2};

/// Fields of {34}. A Set changes the fields that it carries and keeps the others.
namespace setting {
inline constexpr tn::bool_id Enabled{1};        ///< the UDP service is on
inline constexpr tn::string_id Contact{2};      ///< sysContact
inline constexpr tn::string_id Location{3};     ///< sysLocation
inline constexpr tn::string_id Community{4};    ///< stored and reported, not used (compat: 89)
inline constexpr tn::string_id EngineId{10};    ///< the administrator's part of the engine id
inline constexpr tn::u32_id EngineBoots{13};    ///< snmpEngineBoots (RFC 3414, 2.2)
inline constexpr tn::addr6_id Target6{14};      ///< in an element of TrapTargets: an IPv6 address
inline constexpr tn::be32_id Target4{16};       ///< in an element of TrapTargets: an IPv4 address
inline constexpr tn::u32_id TrapCommunity{17};  ///< id of the access entry that traps are sent as; kNoId: none
inline constexpr tn::u32_id TrapVersion{18};    ///< one of trap_version
inline constexpr tn::u32_array_id TrapGenerators{
    19};  ///< ids of the trap generators that are on, see trap::kListGenerators
inline constexpr tn::message_array_id Interfaces{24};  ///< filter of link traps: {Interface}, absent without a filter
inline constexpr tn::u32_id Interface{25};             ///< in an element of Interfaces: an id of {20, 0}, or 0 for all
inline constexpr tn::message_array_id TrapTargets{
    26};  ///< {Target6} or {Target4}. One at top level adds a single target
}  // namespace setting

/// Fields of an access entry, which is a community of SNMPv1 and v2c and a user of SNMPv3 at the same time. Entry 0,
/// the default one (field::IsDefault), can't be removed.
namespace community {
inline constexpr tn::string_id Name{5};                     ///< community string and user name, unique
inline constexpr tn::bool_id ReadAccess{6};                 ///< may Get
inline constexpr tn::bool_id WriteAccess{7};                ///< may Set
inline constexpr tn::be32_id Address4{8};                   ///< in an element of Addresses, or alone at top level
inline constexpr tn::be32_id Netmask4{9};                   ///< mask of Address4, possibly with holes
inline constexpr tn::string_id AuthenticationPassword{11};  ///< in the clear
inline constexpr tn::string_id EncryptionPassword{12};      ///< in the clear
inline constexpr tn::u32_id Security{15};                   ///< minimum level, one of security
inline constexpr tn::u32_id AuthenticationProtocol{20};     ///< one of authentication
inline constexpr tn::u32_id EncryptionProtocol{21};         ///< one of encryption
inline constexpr tn::addr6_id Address6{22};                 ///< in an element of Addresses, or alone at top level
inline constexpr tn::u32_id PrefixLength6{23};              ///< bits of Address6
inline constexpr tn::message_array_id Addresses{
    27};  ///< accepted sources: {Address6, PrefixLength6} or {Address4, Netmask4}
}  // namespace community

/// Values of community::Security: each level includes those before it (RFC 3414, 1.4).
namespace security {
inline constexpr uint32_t None = 0;
inline constexpr uint32_t Authorized = 1;  ///< authenticated
inline constexpr uint32_t Private = 2;     ///< and encrypted
}  // namespace security

/// Values of community::AuthenticationProtocol.
namespace authentication {
inline constexpr uint32_t Md5 = 0;   ///< HMAC-MD5-96 (RFC 3414, 6)
inline constexpr uint32_t Sha1 = 1;  ///< HMAC-SHA-96 (RFC 3414, 7)
}  // namespace authentication

/// Values of community::EncryptionProtocol.
namespace encryption {
inline constexpr uint32_t Des = 0;  ///< CBC-DES (RFC 3414, 8)
}

/// Values of setting::TrapVersion, as they stand in the message.
namespace trap_version {
inline constexpr uint32_t V1 = 0;
inline constexpr uint32_t V2c = 1;
inline constexpr uint32_t V3 = 3;
}  // namespace trap_version

/// Trap generators, and a request for one trap.
namespace trap {
/// To {34, 2}: lists the generators in field::Objects, each with field::ObjectId, as setting::TrapGenerators names it,
/// and field::Name. Readers may send it.
inline constexpr uint32_t kListGenerators = 100;
inline constexpr uint32_t kStartTrap = 0xabc0001;  ///< id of the generator "start-trap": the trap of the agent's start
/// To {34}: sends a trap to all targets, with at most one varbind. It has one when Oid and Type are there, and Value
/// too unless Type is trap_type::Null. The reply is empty, whether or not the trap could be sent.
inline constexpr uint32_t kSend = 1;
inline constexpr tn::string_id Oid{1001};    ///< name of the varbind, dotted
inline constexpr tn::u32_id Type{1002};      ///< one of trap_type
inline constexpr tn::string_id Value{1003};  ///< the value as text
}  // namespace trap

/// Values of trap::Type: BER tags (RFC 2578, 7.1) of the values that the agent can make from text.
namespace trap_type {
inline constexpr uint32_t Integer = 0x02;
inline constexpr uint32_t OctetString = 0x04;
inline constexpr uint32_t Null = 0x05;
inline constexpr uint32_t ObjectIdentifier = 0x06;
inline constexpr uint32_t IpAddress = 0x40;
inline constexpr uint32_t Counter32 = 0x41;
inline constexpr uint32_t TimeTicks = 0x43;
}  // namespace trap_type

}  // namespace contracts::snmp
