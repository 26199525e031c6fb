#pragma once

#include "wire/codec.h"

namespace wire {

/// An SNMPv3 manager with one user (RFC 3414, RFC 3826, RFC 7860). It calls libcrypto's HMAC and ciphers independently
/// of the agent, so that an error of the agent's isn't repeated here.
struct Manager {
    std::string user;
    uint32_t level = 0;  ///< 0 noAuthNoPriv, 1 authNoPriv, 2 authPriv
    uint32_t auth = 0;   ///< 0 MD5, 1 SHA-1 (RFC 3414), 2 SHA-224, 3 SHA-256, 4 SHA-384, 5 SHA-512 (RFC 7860)
    uint32_t priv = 0;   ///< 0 DES (RFC 3414), 1 AES-128 (RFC 3826), 2 AES-192, 3 AES-256
    std::string authPassword;
    std::string privPassword;
    std::string engineId;  ///< snmpEngineID of the agent
    uint32_t boots = 0;
    uint32_t time = 0;
    std::optional<size_t> authSize = {};  ///< octets of the digest sent, if not those of the protocol

    /// The header of a request: the flags of `level`, the engine and the user; digest of zeros, no data.
    [[nodiscard]] V3Message header() const;
    /// The octets of a request, encrypted and authenticated as `level` requires.
    [[nodiscard]] Bytes request(const Message& body) const;
    /// The same for a given header and encoded scoped PDU.
    [[nodiscard]] Bytes seal(V3Message header, const Bytes& scoped) const;

    struct Reply {
        V3Message header;
        Bytes data;  ///< the decrypted scoped PDU, possibly with padding
        ScopedPdu scoped;
    };
    /// Decodes and decrypts a reply. nullopt, with the reason in `why`, if it is malformed, or if it isn't correctly
    /// authenticated or encrypted as its flags claim. The caller compares the flags with `level`.
    [[nodiscard]] std::optional<Reply> open(std::span<const uint8_t> reply, std::string& why) const;

    /// The localised key of a password (RFC 3414, A.2).
    [[nodiscard]] Bytes key(const std::string& password) const;
};

}  // namespace wire
