#include "agent/ber/v3_info.h"

#include "tn/sources.h"

namespace snmp {

namespace {

void append32(std::string& out, uint32_t number) {
    for (int shift = 24; shift >= 0; shift -= 8) out += static_cast<char>(number >> shift);
}

}  // namespace

// The counter starts at a random number. Boots can go back to 0, and a salt must not be used twice with one key.
V3ServerInfo::V3ServerInfo() : startUptime(tn::getUptime()), salts_(tn::sources().random32()) {}

uint32_t V3ServerInfo::engineTime() const { return tn::getUptime() - startUptime; }

std::string V3ServerInfo::nextSalt() {
    std::string salt;
    append32(salt, engineBoots);
    append32(salt, salts_++);
    return salt;
}

}  // namespace snmp
