// OpenSSL 3 has single DES in these deprecated functions and in its provider "legacy". That would be loaded at run
// time, and some installations lack it. This file calls no other deprecated function.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/des.h>

#include <algorithm>

#include "agent/crypto/usm_crypto.h"

namespace snmp {

bool cryptMessageDES(std::string_view salt, std::span<const uint8_t> key, std::span<uint8_t> text, bool encrypt) {
    constexpr size_t kBlock = sizeof(DES_cblock);
    if (salt.size() < kBlock || key.size() < 2 * kBlock || text.size() % kBlock != 0) return false;
    DES_cblock secret, vector;
    std::copy_n(key.begin(), kBlock, secret);
    for (size_t i = 0; i < kBlock; ++i) vector[i] = key[kBlock + i] ^ static_cast<uint8_t>(salt[i]);
    DES_key_schedule schedule;
    DES_set_key_unchecked(&secret, &schedule);  // unchecked: the key is part of a digest, without parity bits
    DES_ncbc_encrypt(text.data(), text.data(), static_cast<long>(text.size()), &schedule, &vector,
                     encrypt ? DES_ENCRYPT : DES_DECRYPT);
    return true;
}

}  // namespace snmp
