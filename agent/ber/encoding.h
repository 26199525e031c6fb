#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

// The pieces of BER values (X.690, 8): each has a function for its size in octets and one that writes it. A put
// function writes exactly that many octets. It checks no bounds: the caller provides the room.
namespace snmp {

/// Size of the definite length `n` in its shortest form, as putLen writes it: at most 3 octets.
inline size_t lenOctets(size_t n) { return n < 0x80 ? 1 : n < 0x100 ? 2 : 3; }

/// @return the position after the last octet written
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

/// Size of an unsigned number in two's complement: an octet of zeros comes first where the top bit would be set.
inline size_t numberOctets(uint64_t value) { return static_cast<size_t>(std::bit_width(value)) / 8 + 1; }

/// Writes the low `octets` octets of a number, most significant first.
inline void putNumber(uint8_t* at, size_t octets, uint64_t value) {
    for (size_t i = octets; i-- > 0; value >>= 8) at[i] = static_cast<uint8_t>(value);
}

/// Size of a sub-identifier in base 128: at most 5 octets.
inline size_t subIdOctets(unsigned int id) { return id < 0x80 ? 1 : static_cast<size_t>(std::bit_width(id) + 6) / 7; }

/// @return the position after the last octet written
inline uint8_t* putSubId(uint8_t* at, unsigned int id) {
    if (id >= 0x80) {
        for (size_t more = subIdOctets(id) - 1; more > 0; --more) *at++ = static_cast<uint8_t>(0x80 | id >> (7 * more));
    }
    *at++ = id & 0x7F;
    return at;
}

}  // namespace snmp
