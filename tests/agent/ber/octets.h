#pragma once

#include <cstdint>
#include <cstdio>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace snmp {

/// The octets of hexadecimal text such as "02 01 FF".
inline std::vector<uint8_t> octets(std::string_view hex) {
    std::string digits(hex);
    std::erase(digits, ' ');
    std::vector<uint8_t> out;
    for (size_t at = 0; at + 1 < digits.size(); at += 2)
        out.push_back(static_cast<uint8_t>(std::stoul(digits.substr(at, 2), nullptr, 16)));
    return out;
}

/// Octets as text of the same form, for the output of failing tests.
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
