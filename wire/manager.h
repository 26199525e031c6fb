#pragma once

#include "wire/codec.h"

namespace wire {

/// A manager of version 3 with one user (RFC 3414), made of libcrypto's ready-made HMAC and ciphers, so that the
/// agent's own use of it isn't its own judge.
struct Manager {
    std::string user;
    uint32_t level = 0;  ///< 0 to 2
    bool sha = false;
    std::string authPassword;
    std::string privPassword;
    std::string engineId;  ///< whole
    uint32_t boots = 0;
    uint32_t time = 0;
    size_t authSize = 12;  ///< octets of the digest sent

    /// The level's flags, the engine, the user and a digest field of zeros.
    [[nodiscard]] V3Message header() const;
    /// The request as octets to send: encrypted when the level says so, and signed.
    [[nodiscard]] Bytes request(const Message& body) const;
    /// The same with a header and a scoped PDU of the caller's making.
    [[nodiscard]] Bytes seal(V3Message header, const Bytes& scoped) const;

    struct Reply {
        V3Message header;
        Bytes data;  ///< the scoped PDU's octets and, when they were encrypted, padding
        ScopedPdu scoped;
    };
    /// Nothing when the reply isn't well formed, or at a level that its flags claim isn't signed or encrypted right.
    [[nodiscard]] std::optional<Reply> open(std::span<const uint8_t> reply, std::string& why) const;

    [[nodiscard]] Bytes key(const std::string& password) const;  ///< localised (RFC 3414, A.2)
};

}  // namespace wire
