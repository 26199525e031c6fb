#pragma once

#include <cctype>
#include <cstdint>
#include <cstdio>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace snmp {

/// The octets of hexadecimal text such as "02 01 FF".
inline std::vector<uint8_t> octets(std::string_view hex) {
    std::vector<uint8_t> out;
    std::string pair;
    for (const char c : hex) {
        if (std::isxdigit(static_cast<unsigned char>(c)) != 0) pair += c;
        if (pair.size() < 2) continue;
        out.push_back(static_cast<uint8_t>(std::stoul(pair, nullptr, 16)));
        pair.clear();
    }
    return out;
}

/// Octets as such text, so that a failing test prints what was on the wire.
inline std::string hex(std::span<const uint8_t> in) {
    std::string out;
    for (const uint8_t octet : in) {
        char pair[4];
        std::snprintf(pair, sizeof pair, "%02X ", octet);
        out += pair;
    }
    if (!out.empty()) out.pop_back();
    return out;
}

}  // namespace snmp
