#include "wire/manager.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <algorithm>
#include <map>
#include <tuple>

namespace wire {

namespace {

const EVP_MD* methodOf(const Manager& m) {
    const EVP_MD* const methods[] = {EVP_md5(), EVP_sha1(), EVP_sha224(), EVP_sha256(), EVP_sha384(), EVP_sha512()};
    return methods[m.auth];
}

size_t authSizeOf(const Manager& m) {
    constexpr size_t kSizes[] = {12, 12, 16, 24, 32, 48};
    return m.authSize.value_or(kSizes[m.auth]);
}

std::string hashed(const std::string& text, const EVP_MD* method) {
    std::string digest(EVP_MAX_MD_SIZE, '\0');
    unsigned size = 0;
    EVP_Digest(text.data(), text.size(), reinterpret_cast<uint8_t*>(digest.data()), &size, method, nullptr);
    digest.resize(size);
    return digest;
}

Bytes crypted(const EVP_CIPHER* cipher, const Bytes& key, const Bytes& vector, std::span<const uint8_t> text,
              bool encrypt) {
    Bytes out(text.size());
    int size = 0;
    EVP_CIPHER_CTX* const context = EVP_CIPHER_CTX_new();
    EVP_CipherInit_ex(context, cipher, nullptr, key.data(), vector.data(), encrypt ? 1 : 0);
    EVP_CIPHER_CTX_set_padding(context, 0);
    EVP_CipherUpdate(context, out.data(), &size, text.data(), static_cast<int>(text.size()));
    EVP_CIPHER_CTX_free(context);
    return out;
}

/// Single DES, computed as triple DES with the same key three times, since libcrypto has single DES only as legacy.
Bytes des(const Bytes& key, const std::string& salt, std::span<const uint8_t> text, bool encrypt) {
    Bytes thrice, vector;
    for (int i = 0; i < 3; ++i) thrice.insert(thrice.end(), key.begin(), key.begin() + 8);
    for (size_t i = 0; i < 8; ++i) vector.push_back(key[8 + i] ^ static_cast<uint8_t>(salt.at(i)));
    return crypted(EVP_des_ede3_cbc(), thrice, vector, text, encrypt);
}

/// @param header  supplies boots, time and salt
Bytes crypted(const Manager& m, const V3Message& header, std::span<const uint8_t> text, bool encrypt) {
    Bytes key = m.key(m.privPassword);
    if (m.priv == 0) return des(key, header.priv, text, encrypt);
    const EVP_CIPHER* const ciphers[] = {EVP_aes_128_cfb128(), EVP_aes_192_cfb128(), EVP_aes_256_cfb128()};
    // draft-blumenthal-aes-usm-04. A key has 16 octets at least, so this makes all that are needed.
    const std::string more = hashed({key.begin(), key.end()}, methodOf(m));
    key.insert(key.end(), more.begin(), more.end());
    Bytes vector;
    for (const uint32_t number : {header.boots, header.time})
        for (const int shift : {24, 16, 8, 0}) vector.push_back(static_cast<uint8_t>(number >> shift));
    vector.insert(vector.end(), header.priv.begin(), header.priv.end());
    vector.resize(16);
    return crypted(ciphers[m.priv - 1], key, vector, text, encrypt);
}

Bytes hmac(const Manager& m, std::span<const uint8_t> message) {
    const Bytes key = m.key(m.authPassword);
    Bytes digest(EVP_MAX_MD_SIZE);
    unsigned size = 0;
    HMAC(methodOf(m), key.data(), static_cast<int>(key.size()), message.data(), message.size(), digest.data(), &size);
    digest.resize(size);
    return digest;
}

}  // namespace

Bytes Manager::key(const std::string& password) const {
    static std::map<std::tuple<std::string, uint32_t>, std::string> stretched;  // a MiB of hashing each
    std::string& key = stretched[{password, auth}];
    if (key.empty() && !password.empty()) {
        std::string mebibyte;
        while (mebibyte.size() < 1 << 20) mebibyte += password;
        mebibyte.resize(1 << 20);
        key = hashed(mebibyte, methodOf(*this));
    }
    const std::string local = hashed(key + engineId + key, methodOf(*this));
    return {local.begin(), local.end()};
}

V3Message Manager::header() const {
    V3Message m;
    m.flags[0] = static_cast<char>(4 | (level > 0 ? 1 : 0) | (level > 1 ? 2 : 0));
    m.engineId = engineId;
    m.boots = boots;
    m.time = time;
    m.user = user;
    if (level > 0) m.auth.assign(authSizeOf(*this), '\0');
    if (level > 1) m.priv = "saltsalt";
    return m;
}

Bytes Manager::request(const Message& body) const { return seal(header(), encode(ScopedPdu{engineId, "", body})); }

Bytes Manager::seal(V3Message header, const Bytes& scoped) const {
    header.data = scoped;
    if (level > 1) {
        if (priv == 0) header.data.resize((scoped.size() + 7) / 8 * 8);
        header.data = tlv(0x04, crypted(*this, header, header.data, true));
    }
    Bytes message = encode(header);
    if (level == 0) return message;
    const Bytes digest = hmac(*this, message);
    std::copy_n(digest.begin(), std::min(digest.size(), header.auth.size()),
                message.begin() + static_cast<std::ptrdiff_t>(header.authAt));
    return message;
}

std::optional<Manager::Reply> Manager::open(std::span<const uint8_t> reply, std::string& why) const {
    auto header = decodeV3(reply, why);
    if (!header) return std::nullopt;
    why = "flags that no message has";
    if (header->flags.size() != 1 || (header->flags[0] & 3) == 2) return std::nullopt;
    const bool isSigned = (header->flags[0] & 1) != 0;
    const bool isEncrypted = (header->flags[0] & 2) != 0;
    if (isSigned) {
        why = "a digest of another size";
        if (auth > 1 && header->auth.size() != authSizeOf(*this)) return std::nullopt;
        why = "not signed";
        Bytes message(reply.begin(), reply.end());
        const auto field = message.begin() + static_cast<std::ptrdiff_t>(header->authAt);
        std::fill_n(field, header->auth.size(), uint8_t{0});
        const Bytes digest = hmac(*this, message);
        const size_t n = std::min(digest.size(), header->auth.size());
        if (!std::equal(digest.begin(), digest.begin() + static_cast<std::ptrdiff_t>(n),
                        reinterpret_cast<const uint8_t*>(header->auth.data()))) {
            return std::nullopt;
        }
    }
    Bytes plain = header->data;
    if (isEncrypted) {
        why = "not encrypted";
        const size_t head = plain.size() < 2 || plain[1] < 0x80 ? 2 : 2 + (plain[1] & 0x7fU);
        if (plain.size() < head || plain[0] != 0x04 || header->priv.size() != 8) return std::nullopt;
        const auto sealed = std::span(plain).subspan(head);
        if (priv == 0 && sealed.size() % 8 != 0) return std::nullopt;
        plain = crypted(*this, *header, sealed, false);
    }
    auto scoped = decodeScopedPdu(plain, isEncrypted && priv == 0, why);
    if (!scoped) return std::nullopt;
    return Reply{*header, plain, *scoped};
}

}  // namespace wire
