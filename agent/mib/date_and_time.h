#pragma once

#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <vector>

namespace snmp {

/// The DateAndTime (RFC 2579) of a time in the local time zone: 11 octets.
/// @param offset  of the time zone from UTC, in seconds
[[nodiscard]] inline std::vector<unsigned char> dateAndTime(const tm& local, int32_t offset) {
    const auto year = static_cast<unsigned>(local.tm_year + 1900);
    const auto distance = static_cast<unsigned>(std::abs(offset));
    const unsigned octets[] = {year >> 8,
                               year & 0xff,
                               static_cast<unsigned>(local.tm_mon + 1),
                               static_cast<unsigned>(local.tm_mday),
                               static_cast<unsigned>(local.tm_hour),
                               static_cast<unsigned>(local.tm_min),
                               static_cast<unsigned>(local.tm_sec),
                               0,  // deci-seconds
                               static_cast<unsigned>(offset < 0 ? '-' : '+'),
                               distance / 3600,
                               distance / 60 % 60};
    std::vector<unsigned char> result;
    for (const unsigned octet : octets) result.push_back(static_cast<unsigned char>(octet));
    return result;
}

}  // namespace snmp
