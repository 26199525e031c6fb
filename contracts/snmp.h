#pragma once

#include <array>
#include <cstdint>

#include "tn/fields.h"

/// The SNMP agent: its settings {34}, its access entries {34, 1} and its trap generators {34, 2}.
/// contracts/snmp_settings.h has the names of the settings and the form of their values.
namespace contracts::snmp {

/// Answers cmd::Get and cmd::Set, with the fields of `setting`, and trap::kSend. Subscribers get cmd::Changed with the
/// request of each Set.
inline constexpr std::array<uint32_t, 1> kSettingsPath = {tn::number::Snmp};
/// A tn::AMap of access entries with the fields of `community`. Reading needs right::Write, since entries contain
/// passwords.
inline constexpr std::array<uint32_t, 2> kCommunitiesPath = {tn::number::Snmp, 1};
/// Answers trap::kListGenerators.
inline constexpr std::array<uint32_t, 2> kTrapsPath = {tn::number::Snmp, 2};

/// Fields of {34}. A Set changes only the settings in the request, except that enabling the service resets EngineBoots.
namespace setting {
inline constexpr tn::bool_id Enabled{1};        ///< the UDP service is on
inline constexpr tn::string_id Contact{2};      ///< sysContact
inline constexpr tn::string_id Location{3};     ///< sysLocation
inline constexpr tn::string_id Community{4};    ///< stored and reported, not used (compat: 89)
inline constexpr tn::string_id EngineId{10};    ///< the administrator's part of snmpEngineID
inline constexpr tn::u32_id EngineBoots{13};    ///< snmpEngineBoots (RFC 3414, 2.2)
inline constexpr tn::addr6_id Target6{14};      ///< IPv6 address in an element of TrapTargets
inline constexpr tn::be32_id Target4{16};       ///< IPv4 address in an element of TrapTargets
inline constexpr tn::u32_id TrapCommunity{17};  ///< id of the access entry that traps are sent as; kNoId: none
inline constexpr tn::u32_id TrapVersion{18};    ///< one of trap_version
inline constexpr tn::u32_id TrapKind{29};       ///< one of trap_kind. Inform is refused with trap_version::V1
/// Ids of the trap generators that are on, see trap::kListGenerators.
inline constexpr tn::u32_array_id TrapGenerators{19};
/// Filter of link traps, elements {Interface}. Absent without a filter.
inline constexpr tn::message_array_id Interfaces{24};
inline constexpr tn::u32_id Interface{25};  ///< in an element of Interfaces: an id of {20, 0}, or 0 for all
/// Trap receivers, elements {Target6 or Target4, TargetPort}. In a Set without it, such fields at top level add one
/// receiver.
inline constexpr tn::message_array_id TrapTargets{26};
inline constexpr tn::u32_id TargetPort{28};  ///< UDP port, 1 to 65535. Absent: the agent's option --trap-port
/// Plug-ins that the agent doesn't load when it starts, by the names of their files without ".so". Absent without any.
inline constexpr tn::string_array_id DisabledPlugins{40};
}  // namespace setting

/// Fields of an access entry, which is a community of SNMPv1 and v2c and also a user of SNMPv3. Entry 0, the default
/// entry (field::IsDefault), can't be removed.
namespace community {
inline constexpr tn::string_id Name{5};                     ///< community string and user name, unique
inline constexpr tn::bool_id ReadAccess{6};                 ///< may Get
inline constexpr tn::bool_id WriteAccess{7};                ///< may Set
inline constexpr tn::be32_id Address4{8};                   ///< in an element of Addresses, or at top level
inline constexpr tn::be32_id Netmask4{9};                   ///< mask of Address4, possibly non-contiguous
inline constexpr tn::string_id AuthenticationPassword{11};  ///< in the clear
inline constexpr tn::string_id EncryptionPassword{12};      ///< in the clear
inline constexpr tn::u32_id Security{15};                   ///< minimum level, one of security
inline constexpr tn::u32_id AuthenticationProtocol{20};     ///< one of authentication
inline constexpr tn::u32_id EncryptionProtocol{21};         ///< one of encryption
inline constexpr tn::addr6_id Address6{22};                 ///< in an element of Addresses, or at top level
inline constexpr tn::u32_id PrefixLength6{23};              ///< prefix length of Address6
/// Accepted sources, elements {Address6, PrefixLength6} or {Address4, Netmask4}.
inline constexpr tn::message_array_id Addresses{27};
/// Visible part of the tree, elements {Subtree} and {Subtree, Excluded} (RFC 3415, 4): the longest subtree that a name
/// is in decides. Absent or empty: everything.
inline constexpr tn::message_array_id Views{28};
inline constexpr tn::u32_array_id Subtree{29};  ///< OID of its root; absent: the whole tree
inline constexpr tn::bool_id Excluded{30};      ///< left out of the view
}  // namespace community

/// Settings and access entries that change together.
namespace change {
/// Command to {34}: applies the settings in the request as a Set does, and Entries and Removed. All of it or nothing
/// takes effect, also if the agent is killed meanwhile, and it is one undo record.
inline constexpr uint32_t kApply = 2;
/// Access entries with all their fields and field::ObjectId. Each replaces the entry with that id, or is added. An
/// entry with an empty list of addresses accepts no source until it is edited or the agent restarts.
inline constexpr tn::message_array_id Entries{1011};
inline constexpr tn::u32_array_id Removed{1012};  ///< ids of access entries
}  // namespace change

/// Records in the agent's store of settings, /tern/store/snmpd. The access entries are in /tern/store/snmp-communities,
/// each under its id.
namespace store {
inline constexpr char kSettings[] = "/tern/store/snmpd";
inline constexpr char kEntries[] = "/tern/store/snmp-communities";
inline constexpr uint32_t kCurrent = 0;  ///< the settings
/// A request of change::kApply that isn't complete. The agent completes it when it starts. `tnctl import` writes it
/// while no agent runs.
inline constexpr uint32_t kPending = 1;
}  // namespace store

/// Values of community::Security, the security levels of RFC 3411, 3.4.3. Each includes those before it.
namespace security {
inline constexpr uint32_t None = 0;
inline constexpr uint32_t Authorized = 1;  ///< authNoPriv
inline constexpr uint32_t Private = 2;     ///< authPriv
}  // namespace security

/// Values of community::AuthenticationProtocol.
namespace authentication {
inline constexpr uint32_t Md5 = 0;     ///< HMAC-MD5-96 (RFC 3414, 6)
inline constexpr uint32_t Sha1 = 1;    ///< HMAC-SHA-96 (RFC 3414, 7)
inline constexpr uint32_t Sha224 = 2;  ///< HMAC-128-SHA-224 (RFC 7860, 4)
inline constexpr uint32_t Sha256 = 3;  ///< HMAC-192-SHA-256
inline constexpr uint32_t Sha384 = 4;  ///< HMAC-256-SHA-384
inline constexpr uint32_t Sha512 = 5;  ///< HMAC-384-SHA-512
}  // namespace authentication

/// Values of community::EncryptionProtocol.
namespace encryption {
inline constexpr uint32_t Des = 0;     ///< CBC-DES (RFC 3414, 8)
inline constexpr uint32_t Aes128 = 1;  ///< CFB128-AES-128 (RFC 3826)
inline constexpr uint32_t Aes192 = 2;  ///< the same with 192 bits, key extended by draft-blumenthal-aes-usm-04
inline constexpr uint32_t Aes256 = 3;  ///< the same with 256 bits
}  // namespace encryption

/// Values of setting::TrapVersion: the version number in SNMP messages.
namespace trap_version {
inline constexpr uint32_t V1 = 0;
inline constexpr uint32_t V2c = 1;
inline constexpr uint32_t V3 = 3;
}  // namespace trap_version

/// Values of setting::TrapKind.
namespace trap_kind {
inline constexpr uint32_t Trap = 0;
inline constexpr uint32_t Inform = 1;  ///< repeated until the target acknowledges it (RFC 3416, 4.2.7)
}  // namespace trap_kind

/// Commands and fields about traps.
namespace trap {
/// Command to {34, 2}: lists the generators in field::Objects, each with field::ObjectId, the id in
/// setting::TrapGenerators, and field::Name. Needs only the right to read.
inline constexpr uint32_t kListGenerators = 100;
inline constexpr uint32_t kStartTrap = 0xabc0001;  ///< id of the generator "start-trap", for the trap at agent start
inline constexpr uint32_t kInterfaces = 0;         ///< id of the generator "interfaces", for traps of links
/// Command to {34}: sends a trap to all targets. The trap has one varbind if the request has Oid, Type and Value (Value
/// isn't needed for trap_type::Null), else none. The reply is empty, whether or not the trap could be sent.
inline constexpr uint32_t kSend = 1;
inline constexpr tn::string_id Oid{1001};    ///< name of the varbind as dotted text
inline constexpr tn::u32_id Type{1002};      ///< one of trap_type
inline constexpr tn::string_id Value{1003};  ///< value of the varbind as text
}  // namespace trap

/// Values of trap::Type: the BER tags (RFC 2578, 7.1) of the types that the agent can parse from text.
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
