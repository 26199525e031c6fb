#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace snmp {

using Octets = std::vector<uint8_t>;

/// Authentication protocols, by their number in an access entry. Any other number gives empty keys.
namespace digest_method {
constexpr uint32_t Md5 = 0;   ///< HMAC-MD5-96
constexpr uint32_t Sha1 = 1;  ///< HMAC-SHA-96
}  // namespace digest_method

constexpr size_t kPadsSize = 128;  ///< octets of a digest key: the two HMAC pads, 64 octets each

/// The keys that sign and encrypt one user's messages, localised to the agent's engine. A missing key is empty.
struct UserKeys {
    uint32_t method = digest_method::Md5;
    Octets digest;  ///< HMAC pads
    Octets crypt;   ///< 8 octets of DES key, 8 of pre-IV (RFC 3414, 8.1.1.1); the rest isn't used
};

/// The key made from a password (RFC 3414, A.2): the digest of 1 MiB of repetitions of it. It isn't localised yet.
/// @return 16 (MD5) or 20 (SHA-1) octets; none for an empty password or an unknown method
[[nodiscard]] Octets passwordToAKey(std::string_view password, uint32_t method);
/// The key localised to an engine (RFC 3414, 2.6). With an empty `key`, the result is the digest of the engine id
/// alone, which anyone can compute (compat: 59).
/// @return 16 or 20 octets; none for an unknown method
[[nodiscard]] Octets aKeyToBKey(std::span<const uint8_t> key, std::string_view engineId, uint32_t method);
/// The HMAC pads of a localised key (RFC 2104), kPadsSize octets. Only the first 64 octets of the key are used.
[[nodiscard]] Octets bKeyToDKey(std::span<const uint8_t> key);

/// The HMAC of a message, not truncated, computed as if the `length` octets at `position` were zero.
/// @return 16 or 20 octets; none if `pads` is empty, the method is unknown, or those octets aren't inside the message
[[nodiscard]] Octets digestMessage(std::span<const uint8_t> message, std::span<const uint8_t> pads, size_t position,
                                   size_t length, uint32_t method);

/// Encrypts or decrypts in place: DES in CBC mode (RFC 3414, 8.1.1).
/// @return false, with `text` unchanged, if the salt has fewer than 8 octets, the key fewer than 16, or the size of
///         `text` isn't a multiple of 8
[[nodiscard]] bool cryptMessageDES(std::string_view salt, std::span<const uint8_t> key, std::span<uint8_t> text,
                                   bool encrypt);

}  // namespace snmp
