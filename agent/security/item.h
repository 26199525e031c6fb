#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "agent/ber/v3_info.h"
#include "agent/crypto/usm_crypto.h"
#include "tn/address.h"
#include "tn/amap.h"

namespace snmp {

using tn::IPAddr6;
using tn::IPPrefix6;

/// An access entry: a community (v1, v2c) and a user (v3) at the same time. Its fields in messages are those of
/// contracts::snmp::community.
class Item : public tn::Object {
  public:
    std::string name;
    bool readAccess = true;
    bool writeAccess = false;
    uint32_t security = security_level::None;              ///< minimum level of a request
    uint32_t authenticationProtocol = digest_method::Md5;  ///< hash of both keys
    uint32_t encryptionProtocol = 0;                       ///< DES, the only one
    std::string authenticationPassword;
    std::string encryptionPassword;
    /// Accepted sources. Empty only in the default entry as first made, which therefore refuses every source until it
    /// is edited.
    std::vector<IPPrefix6> addresses;

    /// Writes all fields.
    /// @param flags  tn::kTopLevelFirst repeats the first address at top level, tn::kWantDefaults adds field::Defaults
    /// to
    ///               the default entry
    void getConfig(tn::message& out, uint32_t flags) const override;
    /// Applies the fields that the message carries and keeps the others. Address elements without an address are
    /// skipped; an empty address list becomes 0.0.0.0/0, the change of another field included.
    void setConfig(const tn::message& in) override;
    /// Whether one of the prefixes contains the source.
    [[nodiscard]] bool accepts(const IPAddr6& source) const;

    /// The user's keys, localised to this engine id; empty keys while it is empty. The privacy key, too, is made with
    /// the hash of the authentication protocol. The first call after a change of passwords or protocol takes
    /// milliseconds per password, after a change of the engine id microseconds. The keys belong to the entry and are
    /// valid until the next call or change.
    [[nodiscard]] const UserKeys& keys(const std::string& engineId) const;
    [[nodiscard]] bool hasKeys(const std::string& engineId) const;  ///< keys() returns cached keys

  private:
    /// The key of a password before it is localised (RFC 3414, A.2), with its inputs.
    struct PasswordKey {
        std::string password;
        uint32_t method = digest_method::Md5;
        Octets key;

        [[nodiscard]] bool isOf(const std::string& from, uint32_t with) const;
        void make(const std::string& from, uint32_t with);
    };

    mutable PasswordKey authenticationKey_, encryptionKey_;
    mutable std::string keysEngine_;  ///< engine id of keys_
    mutable UserKeys keys_;
};

}  // namespace snmp
