#include "agent/crypto/usm_crypto.h"

#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string>

namespace snmp {

namespace {

constexpr size_t kHashed = 1 << 20;  // octets to which a password is repeated
constexpr size_t kPiece = 4096;      // minimum octets hashed at a time

/// Null for an unknown method. The methods are fetched once: a look-up by name costs more than hashing a message.
const EVP_MD* methodOf(uint32_t method) {
    static const auto methods = [] {
        std::array<const EVP_MD*, std::size(kAuthenticationProtocols)> fetched{};
        std::ranges::transform(kAuthenticationProtocols, fetched.begin(), [](const AuthenticationProtocol& protocol) {
            return EVP_MD_fetch(nullptr, protocol.digest, nullptr);
        });
        return fetched;
    }();
    return method < methods.size() ? methods[method] : nullptr;
}

/// A digest being computed. After a failure, and without a method, end() returns no octets.
class Hash {
  public:
    explicit Hash(const EVP_MD* method)
        : context_(EVP_MD_CTX_new()), good_(method != nullptr && EVP_DigestInit_ex2(context_.get(), method, nullptr)) {}

    Hash& add(std::span<const uint8_t> octets) {
        good_ = good_ && EVP_DigestUpdate(context_.get(), octets.data(), octets.size());
        return *this;
    }
    Hash& add(std::string_view text) { return add({reinterpret_cast<const uint8_t*>(text.data()), text.size()}); }

    Octets end() {
        Octets digest(EVP_MAX_MD_SIZE);
        unsigned size = 0;
        if (!good_ || !EVP_DigestFinal_ex(context_.get(), digest.data(), &size)) size = 0;
        digest.resize(size);
        return digest;
    }

  private:
    struct Free {
        void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
    };
    std::unique_ptr<EVP_MD_CTX, Free> context_;
    bool good_;
};

}  // namespace

Octets passwordToAKey(std::string_view password, uint32_t method) {
    if (password.empty()) return {};  // compat: 59
    std::string piece;                // whole repetitions, so that each piece continues where the last one ended
    while (piece.size() < kPiece) piece += password;
    Hash hash(methodOf(method));
    for (size_t left = kHashed; left > 0;) {
        const size_t n = std::min(left, piece.size());
        hash.add(std::string_view(piece).substr(0, n));
        left -= n;
    }
    return hash.end();
}

Octets aKeyToBKey(std::span<const uint8_t> key, std::string_view engineId, uint32_t method) {
    return Hash(methodOf(method)).add(key).add(engineId).add(key).end();
}

Octets bKeyToDKey(std::span<const uint8_t> key, uint32_t method) {
    const AuthenticationProtocol* const protocol = authenticationProtocol(method);
    if (protocol == nullptr) return {};
    const size_t block = protocol->blockSize;
    Octets pads(2 * block);
    for (size_t i = 0; i < block; ++i) {
        const uint8_t octet = i < key.size() ? key[i] : uint8_t{0};
        pads[i] = octet ^ 0x36;
        pads[block + i] = octet ^ 0x5C;
    }
    return pads;
}

Octets bKeyToCKey(Octets key, uint32_t cipher, uint32_t method) {
    const PrivacyProtocol* const protocol = privacyProtocol(cipher);
    if (protocol == nullptr) return {};
    while (key.size() < protocol->keySize) {
        const Octets more = Hash(methodOf(method)).add(key).end();
        if (more.empty()) return {};
        key.insert(key.end(), more.begin(), more.end());
    }
    return key;
}

Octets digestMessage(std::span<const uint8_t> message, std::span<const uint8_t> pads, size_t position, size_t length,
                     uint32_t method) {
    const AuthenticationProtocol* const protocol = authenticationProtocol(method);
    if (protocol == nullptr || pads.size() != 2 * protocol->blockSize) return {};
    if (position > message.size() || length > message.size() - position) return {};
    const size_t block = protocol->blockSize;
    const EVP_MD* const md = methodOf(method);
    const Octets zeros(length);
    const Octets inner = Hash(md)
                             .add(pads.first(block))
                             .add(message.first(position))
                             .add(zeros)
                             .add(message.subspan(position + length))
                             .end();
    if (inner.empty()) return {};
    return Hash(md).add(pads.last(block)).add(inner).end();
}

bool cryptMessage(const UserKeys& keys, const CryptParameters& parameters, std::span<uint8_t> text, bool encrypt) {
    return keys.cipher == crypt_method::Des ? cryptMessageDES(parameters.salt, keys.crypt, text, encrypt)
                                            : cryptMessageAES(keys.cipher, parameters, keys.crypt, text, encrypt);
}

}  // namespace snmp
