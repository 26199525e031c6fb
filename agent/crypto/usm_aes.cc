#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <memory>

#include "agent/crypto/usm_crypto.h"

namespace snmp {

namespace {

constexpr size_t kBlock = 16;
constexpr size_t kSaltSize = 8;

struct Free {
    void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};

/// Null for anything but AES. Fetched once: a look-up by name costs more than encrypting a message.
const EVP_CIPHER* cipherOf(uint32_t cipher) {
    static const auto ciphers = [] {
        std::array<const EVP_CIPHER*, std::size(kPrivacyProtocols)> fetched{};
        std::ranges::transform(kPrivacyProtocols, fetched.begin(), [](const PrivacyProtocol& protocol) {
            return protocol.cipher != nullptr ? EVP_CIPHER_fetch(nullptr, protocol.cipher, nullptr) : nullptr;
        });
        return fetched;
    }();
    return cipher < ciphers.size() ? ciphers[cipher] : nullptr;
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
    const EVP_CIPHER* const aes = cipherOf(cipher);
    if (aes == nullptr || parameters.salt.size() != kSaltSize || key.size() < privacyProtocol(cipher)->keySize) {
        return false;
    }
    const std::unique_ptr<EVP_CIPHER_CTX, Free> context(EVP_CIPHER_CTX_new());
    const auto vector = vectorOf(parameters);
    int size = 0;
    return EVP_CipherInit_ex2(context.get(), aes, key.data(), vector.data(), encrypt ? 1 : 0, nullptr) == 1 &&
           EVP_CipherUpdate(context.get(), text.data(), &size, text.data(), static_cast<int>(text.size())) == 1;
}

}  // namespace snmp
