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

/// An access entry: a community (v1, v2c) and a user (v3) at the same time.
///
/// Its configuration, as messages carry it:
///
///     field         kind            attribute
///     5             string          name: community string and user name
///     6, 7          bool            read access, write access
///     11, 12        string          authentication and encryption password
///     15            u32             security: 0 none, 1 authorized, 2 private
///     20            u32             authentication protocol: 0 MD5, 1 SHA1
///     21            u32             encryption protocol: 0 DES
///     27            message array   addresses: {8 be32 address, 9 be32 netmask} or {22 addr6 address, 23 u32 length}
///     0xfe000d      bool            this is the default entry (id 0)
///     0xfe001d      message         the default entry's defaults, when asked for
///
/// A single address may also stand at top level, as 8 and 9 or 22 and 23.
class Item : public tn::Object {
  public:
    std::string name;
    bool readAccess = true;
    bool writeAccess = false;
    uint32_t security = security_level::None;
    uint32_t authenticationProtocol = digest_method::Md5;
    uint32_t encryptionProtocol = 0;
    std::string authenticationPassword;
    std::string encryptionPassword;
    /// Sources the entry is accepted from, in order. Empty only in the default entry as first made, which therefore
    /// refuses everyone until it is edited.
    std::vector<IPPrefix6> addresses;

    void getConfig(tn::message& out, uint32_t flags) const override;
    /// What the message doesn't carry stays as it is; an empty address list becomes 0.0.0.0/0.
    void setConfig(const tn::message& in) override;
    [[nodiscard]] bool accepts(const IPAddr6& source) const;

    /// The user's keys for this engine, none while the engine id is empty. The privacy key is made with the
    /// authentication protocol's hash, too. Making them takes milliseconds for each password, and is done when they
    /// are first asked for after passwords or protocol have changed; another engine id takes microseconds.
    [[nodiscard]] const UserKeys& keys(const std::string& engineId) const;
    [[nodiscard]] bool hasKeys(const std::string& engineId) const;  ///< asking for them takes no time

  private:
    /// The key of a password before it is localised, with what it was made from.
    struct PasswordKey {
        std::string password;
        uint32_t method = digest_method::Md5;
        Octets key;

        [[nodiscard]] bool isOf(const std::string& from, uint32_t with) const;
        void make(const std::string& from, uint32_t with);
    };

    mutable PasswordKey authenticationKey_, encryptionKey_;
    mutable std::string keysEngine_;  ///< for which keys_ were made
    mutable UserKeys keys_;
};

}  // namespace snmp
