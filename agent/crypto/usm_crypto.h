#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "agent/crypto/usm_protocols.h"

namespace snmp {

using Octets = std::vector<uint8_t>;

/// The keys that sign and encrypt one user's messages, localised to the agent's engine. A missing key is empty.
struct UserKeys {
    uint32_t method = digest_method::Md5;
    uint32_t cipher = crypt_method::Des;
    Octets digest;  ///< HMAC pads
    Octets crypt;   ///< at least PrivacyProtocol::keySize octets; the rest isn't used
};

/// The key made from a password (RFC 3414, A.2): the digest of 1 MiB of repetitions of it. It isn't localised yet.
/// @return the method's whole digest; no octets for an empty password or an unknown method
[[nodiscard]] Octets passwordToAKey(std::string_view password, uint32_t method);
/// The key localised to an engine (RFC 3414, 2.6). With an empty `key`, the result is the digest of the engine id
/// alone, which anyone can compute (compat: 59).
/// @return the method's whole digest; no octets for an unknown method
[[nodiscard]] Octets aKeyToBKey(std::span<const uint8_t> key, std::string_view engineId, uint32_t method);
/// The HMAC pads of a localised key (RFC 2104): two blocks of the method. The key must not be longer than one block.
/// @return no octets for an unknown method
[[nodiscard]] Octets bKeyToDKey(std::span<const uint8_t> key, uint32_t method);
/// The privacy key of a localised key, which is extended if the cipher needs a longer one: the digest of all its octets
/// is appended (draft-blumenthal-aes-usm-04, 3.1.2.1).
/// @return no octets for an unknown cipher or method
[[nodiscard]] Octets bKeyToCKey(Octets key, uint32_t cipher, uint32_t method);

/// The HMAC of a message, not truncated, computed as if the `length` octets at `position` were zero.
/// @return the method's whole digest; no octets if the method is unknown, `pads` isn't of this method, or the `length`
///         octets aren't inside the message
[[nodiscard]] Octets digestMessage(std::span<const uint8_t> message, std::span<const uint8_t> pads, size_t position,
                                   size_t length, uint32_t method);

/// The parts of a message's security parameters that encryption depends on.
struct CryptParameters {
    uint32_t engineBoots;
    uint32_t engineTime;
    std::string salt;  ///< msgPrivacyParameters
};

/// Encrypts or decrypts in place, with the user's privacy protocol.
/// @return false, with `text` unchanged, if the protocol is unknown, the key is too short, or the salt or the size of
///         `text` doesn't fit the protocol
[[nodiscard]] bool cryptMessage(const UserKeys& keys, const CryptParameters& parameters, std::span<uint8_t> text,
                                bool encrypt);

/// cryptMessage with DES in CBC mode (RFC 3414, 8.1.1).
/// @return false, with `text` unchanged, if the salt has fewer than 8 octets, the key fewer than 16, or the size of
///         `text` isn't a multiple of 8
[[nodiscard]] bool cryptMessageDES(std::string_view salt, std::span<const uint8_t> key, std::span<uint8_t> text,
                                   bool encrypt);
/// cryptMessage with AES in CFB mode (RFC 3826).
/// @return false, with `text` unchanged, if the cipher isn't AES, the salt doesn't have 8 octets, or the key is too
/// short
[[nodiscard]] bool cryptMessageAES(uint32_t cipher, const CryptParameters& parameters, std::span<const uint8_t> key,
                                   std::span<uint8_t> text, bool encrypt);

}  // namespace snmp
