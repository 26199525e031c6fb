#pragma once

#include <optional>

#include "wire/reader.h"

/// An SNMP codec for tests, fuzzers and benchmarks. It shares no code with the agent, whose codec would otherwise judge
/// itself, and is strict where the agent is lenient: definite minimal lengths, minimal integers, nothing left over.
namespace wire {

struct Binding {
    std::string name;  ///< dotted, no leading dot
    uint8_t tag = 0;
    std::string value;  ///< numbers in decimal, OIDs dotted, anything else the octets
    friend bool operator==(const Binding&, const Binding&) = default;
};
std::ostream& operator<<(std::ostream& out, const Binding& b);

struct Message {
    uint32_t version = 1;
    std::string community = "common";
    uint8_t pdu = 0;
    uint32_t requestId = 1;
    uint32_t errorStatus = 0;  ///< or non-repeaters
    uint32_t errorIndex = 0;   ///< or max-repetitions
    std::vector<Binding> bindings;
};

/// The octets of tag, length and content.
Bytes tlv(uint8_t tag, std::span<const uint8_t> content);
Bytes encode(const Message& message);
/// Nothing when a strict reader refuses the message; `why` tells the reason.
std::optional<Message> decode(std::span<const uint8_t> bytes, std::string& why);

/// A message of version 3 around its scoped PDU (RFC 3412, 6; RFC 3414, 2.4).
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
    Bytes data;         ///< tag, length and content of the scoped PDU, or of the octets it was encrypted to
    size_t authAt = 0;  ///< of a message that was encoded or decoded: where in it `auth` lies
};

struct ScopedPdu {
    std::string contextEngineId;
    std::string contextName;
    Message body;  ///< without version and community
};

Bytes encode(const ScopedPdu& scoped);
/// Sets authAt.
Bytes encode(V3Message& message);
std::optional<V3Message> decodeV3(std::span<const uint8_t> bytes, std::string& why);
/// @param padded  octets may follow, as decryption leaves them
std::optional<ScopedPdu> decodeScopedPdu(std::span<const uint8_t> bytes, bool padded, std::string& why);

}  // namespace wire
