#pragma once

#include "tn/fields.h"
#include "tn/ids.h"

/// What travels to and from the agent's settings {34} and its communities {34, 1}. The agent's own headers name the
/// same numbers: this program knows the bus and nothing behind it.
namespace tnctl {

namespace setting {
constexpr tn::bool_id Enabled{1};
constexpr tn::string_id Contact{2};
constexpr tn::string_id Location{3};
constexpr tn::string_id EngineId{10};  // the administrator's part
constexpr tn::u32_id EngineBoots{13};
constexpr tn::addr6_id Target6{14};      // in an element of Targets
constexpr tn::be32_id Target4{16};       // in an element of Targets
constexpr tn::u32_id TrapCommunity{17};  // object id; tn::kNoId for none
constexpr tn::u32_id TrapVersion{18};    // as in the message: 0 is SNMPv1, 1 is v2c, 3 is v3
constexpr tn::u32_array_id Generators{19};
constexpr tn::message_array_id Interfaces{24};
constexpr tn::u32_id Interface{25};  // in an element of Interfaces; 0 stands for all
constexpr tn::message_array_id Targets{26};
constexpr uint32_t kTrapV3 = 3;  // TrapVersion
}  // namespace setting

namespace community {
constexpr tn::string_id Name{5};
constexpr tn::bool_id ReadAccess{6};
constexpr tn::bool_id WriteAccess{7};
constexpr tn::be32_id Address4{8};  // in an element of Addresses
constexpr tn::be32_id Mask4{9};     // in an element of Addresses
constexpr tn::string_id AuthenticationPassword{11};
constexpr tn::string_id EncryptionPassword{12};
constexpr tn::u32_id Security{15};  // 0 none, 1 authorized, 2 private
constexpr tn::u32_id AuthenticationProtocol{20};
constexpr tn::u32_id EncryptionProtocol{21};
constexpr tn::addr6_id Address6{22};  // in an element of Addresses
constexpr tn::u32_id Length6{23};     // in an element of Addresses
constexpr tn::message_array_id Addresses{27};
}  // namespace community

constexpr uint32_t kAuthorized = 1;
constexpr uint32_t kPrivate = 2;

/// A request to {34} for a trap, with at most one varbind.
namespace trap {
constexpr uint32_t kSend = 1;
constexpr tn::string_id Oid{1001};
constexpr tn::u32_id Type{1002};  // BER tag
constexpr tn::string_id Value{1003};
}  // namespace trap

/// A request to {34, 2} for the trap generators: a list of ids and names.
constexpr uint32_t kListGenerators = 100;

/// Types of a trap's varbind (RFC 2578): those that the agent writes from text.
namespace tag {
constexpr uint32_t Integer = 0x02;
constexpr uint32_t OctetString = 0x04;
constexpr uint32_t Null = 0x05;
constexpr uint32_t ObjectIdentifier = 0x06;
constexpr uint32_t IpAddress = 0x40;
constexpr uint32_t Counter32 = 0x41;
constexpr uint32_t TimeTicks = 0x43;
}  // namespace tag

}  // namespace tnctl
