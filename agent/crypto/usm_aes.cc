#include <openssl/evp.h>

#include <algorithm>
#include <array>

#include "agent/crypto/usm_crypto.h"

namespace snmp {

namespace {

constexpr size_t kBlock = 16;
constexpr size_t kSaltSize = 8;

/// One context for each cipher, which every message gives its key; null for anything but AES. A new context for each
/// message would take half as long again. Only the loop's thread uses them.
EVP_CIPHER_CTX* contextOf(uint32_t cipher) {
    static const auto contexts = [] {
        std::array<EVP_CIPHER_CTX*, std::size(kPrivacyProtocols)> made{};
        std::ranges::transform(kPrivacyProtocols, made.begin(), [](const PrivacyProtocol& protocol) -> EVP_CIPHER_CTX* {
            if (protocol.cipher == nullptr) return nullptr;
            EVP_CIPHER_CTX* const context = EVP_CIPHER_CTX_new();
            const EVP_CIPHER* const aes = EVP_CIPHER_fetch(nullptr, protocol.cipher, nullptr);
            return EVP_CipherInit_ex2(context, aes, nullptr, nullptr, 1, nullptr) == 1 ? context : nullptr;
        });
        return made;
    }();
    return cipher < contexts.size() ? contexts[cipher] : nullptr;
}

/// The IV (RFC 3826, 3.1.2.1): boots, time, salt.
std::array<uint8_t, kBlock> vectorOf(const CryptParameters& parameters) {
    std::array<uint8_t, kBlock> vector{};
    for (size_t i = 0; i < 4; ++i) {
        const size_t shift = 24 - 8 * i;
        vector[i] = static_cast<uint8_t>(parameters.engineBoots >> shift);
        vector[4 + i] = static_cast<uint8_t>(parameters.engineTime >> shift);
    }
    std::copy_n(parameters.salt.begin(), kSaltSize, vector.begin() + kSaltSize);
    return vector;
}

}  // namespace

bool cryptMessageAES(uint32_t cipher, const CryptParameters& parameters, std::span<const uint8_t> key,
                     std::span<uint8_t> text, bool encrypt) {
    EVP_CIPHER_CTX* const context = contextOf(cipher);
    if (context == nullptr || parameters.salt.size() != kSaltSize || key.size() < privacyProtocol(cipher)->keySize) {
        return false;
    }
    const auto vector = vectorOf(parameters);
    int size = 0;
    return EVP_CipherInit_ex2(context, nullptr, key.data(), vector.data(), encrypt ? 1 : 0, nullptr) == 1 &&
           EVP_CipherUpdate(context, text.data(), &size, text.data(), static_cast<int>(text.size())) == 1;
}

}  // namespace snmp
