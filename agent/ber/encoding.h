#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

// Sizes and octets of the pieces that BER values are made of (X.690, 8). Each put function writes as many octets as the
// size function beside it says, and the caller has made room for them.
namespace snmp {

/// Octets of a definite length in its shortest form.
inline size_t lenOctets(size_t n) { return n < 0x80 ? 1 : n < 0x100 ? 2 : 3; }

/// @return after the last octet written
inline uint8_t* putLen(uint8_t* at, size_t n) {
    if (n >= 0x100) {
        *at++ = 0x82;
        *at++ = static_cast<uint8_t>(n >> 8);  // compat: 44, longer ones are cut to 16 bits
    } else if (n >= 0x80) {
        *at++ = 0x81;
    }
    *at++ = static_cast<uint8_t>(n);
    return at;
}

/// Octets of a number in two's complement with the sign bit clear.
inline size_t numberOctets(uint64_t value) { return static_cast<size_t>(std::bit_width(value)) / 8 + 1; }

/// The low octets of a number, the most significant of them first.
inline void putNumber(uint8_t* at, size_t octets, uint64_t value) {
    for (size_t i = octets; i-- > 0; value >>= 8) at[i] = static_cast<uint8_t>(value);
}

/// Octets of a sub-identifier in base 128.
inline size_t subIdOctets(unsigned int id) { return id < 0x80 ? 1 : static_cast<size_t>(std::bit_width(id) + 6) / 7; }

/// @return after the last octet written
inline uint8_t* putSubId(uint8_t* at, unsigned int id) {
    if (id >= 0x80) {
        for (size_t more = subIdOctets(id) - 1; more > 0; --more) *at++ = static_cast<uint8_t>(0x80 | id >> (7 * more));
    }
    *at++ = id & 0x7F;
    return at;
}

}  // namespace snmp
