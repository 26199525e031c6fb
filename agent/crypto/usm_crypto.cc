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
constexpr size_t kBlock = 64;        // octets of a block, in both hashes

/// Null for an unknown method. The methods are fetched once: a look-up by name costs more than hashing a message.
const EVP_MD* methodOf(uint32_t method) {
    static const EVP_MD* const methods[] = {EVP_MD_fetch(nullptr, "MD5", nullptr),
                                            EVP_MD_fetch(nullptr, "SHA1", nullptr)};
    return method < std::size(methods) ? methods[method] : nullptr;
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

Octets bKeyToDKey(std::span<const uint8_t> key) {
    Octets pads(kPadsSize);
    for (size_t i = 0; i < kBlock; ++i) {
        const uint8_t octet = i < key.size() ? key[i] : uint8_t{0};
        pads[i] = octet ^ 0x36;
        pads[kBlock + i] = octet ^ 0x5C;
    }
    return pads;
}

Octets digestMessage(std::span<const uint8_t> message, std::span<const uint8_t> pads, size_t position, size_t length,
                     uint32_t method) {
    if (pads.size() != kPadsSize || position > message.size() || length > message.size() - position) return {};
    const EVP_MD* const md = methodOf(method);
    const Octets zeros(length);
    const Octets inner = Hash(md)
                             .add(pads.first(kBlock))
                             .add(message.first(position))
                             .add(zeros)
                             .add(message.subspan(position + length))
                             .end();
    if (inner.empty()) return {};
    return Hash(md).add(pads.last(kBlock)).add(inner).end();
}

}  // namespace snmp
