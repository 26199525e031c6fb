#pragma once

#include <optional>

#include "wire/reader.h"

/// An SNMP codec for tests, fuzzers and benchmarks. It shares no code with the agent, so that an error of the agent's
/// codec isn't repeated here. The decoder is strict where the agent is lenient: it requires definite minimal lengths
/// and accepts no trailing octets.
namespace wire {

struct Binding {
    std::string name;  ///< OID as "1.3.6.1"
    uint8_t tag = 0;
    std::string value;  ///< a number in decimal, an OID as `name`, the octets of any other type
    friend bool operator==(const Binding&, const Binding&) = default;
};
std::ostream& operator<<(std::ostream& out, const Binding& b);

/// A message of SNMPv1 or v2c (RFC 1157, RFC 3416).
struct Message {
    uint32_t version = 1;  ///< number in the message: 0 for v1, 1 for v2c
    std::string community = "common";
    uint8_t pdu = 0;  ///< tag
    uint32_t requestId = 1;
    uint32_t errorStatus = 0;  ///< non-repeaters in a GetBulk
    uint32_t errorIndex = 0;   ///< max-repetitions in a GetBulk
    std::vector<Binding> bindings;
};

/// Encodes tag, length and content, which has at most 65,535 octets.
Bytes tlv(uint8_t tag, std::span<const uint8_t> content);
/// Throws std::invalid_argument or std::out_of_range if a name or value can't be encoded.
Bytes encode(const Message& message);
/// Decodes one message. nullopt if it is malformed.
/// @param why  set to the reason; empty on success
std::optional<Message> decode(std::span<const uint8_t> bytes, std::string& why);

/// A message of SNMPv3 and its security parameters, around a scoped PDU (RFC 3412, 6; RFC 3414, 2.4).
struct V3Message {
    uint32_t id = 7;
    uint32_t maxSize = 65507;
    std::string flags = std::string(1, '\4');
    uint32_t model = 3;
    std::string engineId;
    uint32_t boots = 0;
    uint32_t time = 0;
    std::string user;
    std::string auth;
    std::string priv;
    Bytes data;         ///< scoped PDU, or OCTET STRING with the encrypted one, with tag and length
    size_t authAt = 0;  ///< offset of `auth` in the message, set by encode and decodeV3
};

/// The part of an SNMPv3 message that is encrypted (RFC 3412, 6.8).
struct ScopedPdu {
    std::string contextEngineId;
    std::string contextName;
    Message body;  ///< version and community aren't used
};

Bytes encode(const ScopedPdu& scoped);
/// Encodes the message as it is, without encryption or digest, and sets its authAt.
Bytes encode(V3Message& message);
/// Decodes a message without decryption and without a check of its digest. nullopt, `why`: as decode.
std::optional<V3Message> decodeV3(std::span<const uint8_t> bytes, std::string& why);
/// Decodes a scoped PDU that isn't encrypted. nullopt, `why`: as decode.
/// @param padded  true if octets may follow, as after decryption
std::optional<ScopedPdu> decodeScopedPdu(std::span<const uint8_t> bytes, bool padded, std::string& why);

}  // namespace wire
