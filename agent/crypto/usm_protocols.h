#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>

namespace snmp {

/// Authentication protocols, by their number in an access entry. Any other number gives empty keys.
namespace digest_method {
constexpr uint32_t Md5 = 0;
constexpr uint32_t Sha1 = 1;
constexpr uint32_t Sha224 = 2;
constexpr uint32_t Sha256 = 3;
constexpr uint32_t Sha384 = 4;
constexpr uint32_t Sha512 = 5;
}  // namespace digest_method

/// Privacy protocols, by their number in an access entry. Any other number gives an empty privacy key.
namespace crypt_method {
constexpr uint32_t Des = 0;
constexpr uint32_t Aes128 = 1;
constexpr uint32_t Aes192 = 2;
constexpr uint32_t Aes256 = 3;
}  // namespace crypt_method

struct AuthenticationProtocol {
    const char* digest;  ///< its name in libcrypto
    size_t blockSize;    ///< octets of one HMAC pad (RFC 2104)
    size_t sentSize;     ///< octets of the digest that a message carries
    bool takesAnySize;   ///< unless the agent is strict, messages with another number of octets are checked, too
};

/// Indexed by digest_method.
inline constexpr AuthenticationProtocol kAuthenticationProtocols[] = {
    {"MD5", 64, 12, true},         // HMAC-MD5-96 (RFC 3414, 6); compat: 48
    {"SHA1", 64, 12, true},        // HMAC-SHA-96 (RFC 3414, 7); compat: 48
    {"SHA2-224", 64, 16, false},   // HMAC-128-SHA-224 (RFC 7860, 4)
    {"SHA2-256", 64, 24, false},   // HMAC-192-SHA-256
    {"SHA2-384", 128, 32, false},  // HMAC-256-SHA-384
    {"SHA2-512", 128, 48, false},  // HMAC-384-SHA-512
};

struct PrivacyProtocol {
    const char* cipher;  ///< its name in libcrypto; nullptr for DES, see usm_des.cc
    size_t keySize;      ///< octets of the localised key that are used
    size_t blockSize;    ///< the plaintext is padded to a multiple of this many octets
};

/// Indexed by crypt_method.
inline constexpr PrivacyProtocol kPrivacyProtocols[] = {
    {nullptr, 16, 8},        // CBC-DES (RFC 3414, 8): 8 octets of key, 8 of pre-IV
    {"AES-128-CFB", 16, 1},  // RFC 3826
    {"AES-192-CFB", 24, 1},  // draft-blumenthal-aes-usm-04, and RFC 3826 otherwise
    {"AES-256-CFB", 32, 1},
};

static_assert(std::size(kAuthenticationProtocols) == digest_method::Sha512 + 1 &&
              std::size(kPrivacyProtocols) == crypt_method::Aes256 + 1);

/// The protocol with this number; nullptr if there is none.
constexpr const AuthenticationProtocol* authenticationProtocol(uint32_t method) {
    return method < std::size(kAuthenticationProtocols) ? &kAuthenticationProtocols[method] : nullptr;
}
constexpr const PrivacyProtocol* privacyProtocol(uint32_t cipher) {
    return cipher < std::size(kPrivacyProtocols) ? &kPrivacyProtocols[cipher] : nullptr;
}

/// Octets of the digest in messages of this protocol; 0 for an unknown one.
constexpr size_t sentDigestSize(uint32_t method) {
    const AuthenticationProtocol* const protocol = authenticationProtocol(method);
    return protocol != nullptr ? protocol->sentSize : 0;
}

}  // namespace snmp
