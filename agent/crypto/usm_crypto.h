#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace snmp {

using Octets = std::vector<uint8_t>;

/// Authentication protocols by their number in an access entry. Whatever else stands there has no keys.
namespace digest_method {
constexpr uint32_t Md5 = 0;   ///< HMAC-MD5-96
constexpr uint32_t Sha1 = 1;  ///< HMAC-SHA-96
}  // namespace digest_method

constexpr size_t kPadsSize = 128;  ///< of a digest key: the two HMAC pads of 64 octets

/// What messages of one user are signed and encrypted with; empty where there is no key.
struct UserKeys {
    uint32_t method = digest_method::Md5;
    Octets digest;  ///< HMAC pads
    Octets crypt;   ///< DES key, then what the initial vector is made with, 8 octets each; what follows isn't used
};

/// A password as key: the digest of a MiB of its repetitions, 16 (MD5) or 20 (SHA-1) octets (RFC 3414, A.2). An empty
/// password and an unknown method give no octets.
[[nodiscard]] Octets passwordToAKey(std::string_view password, uint32_t method);
/// The key localised to an engine (RFC 3414, 2.6). An empty key makes it the digest of the engine id alone, which
/// anybody can compute.
[[nodiscard]] Octets aKeyToBKey(std::span<const uint8_t> key, std::string_view engineId, uint32_t method);
/// The HMAC pads of a localised key (RFC 2104); of its first 64 octets when it is longer.
[[nodiscard]] Octets bKeyToDKey(std::span<const uint8_t> key);

/// The whole HMAC of a message, computed as if the `length` octets at `position` were zero.
/// @return 16 or 20 octets; none without pads, with an unknown method or a field that isn't inside the message
[[nodiscard]] Octets digestMessage(std::span<const uint8_t> message, std::span<const uint8_t> pads, size_t position,
                                   size_t length, uint32_t method);

/// DES in CBC mode, in place (RFC 3414, 8.1.1).
/// @return false, and nothing is changed, when the salt has fewer than 8 octets, the key fewer than 16, or the text
///         isn't whole blocks of 8
[[nodiscard]] bool cryptMessageDES(std::string_view salt, std::span<const uint8_t> key, std::span<uint8_t> text,
                                   bool encrypt);

}  // namespace snmp
