#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "agent/ber/v3_info.h"
#include "agent/ber/view.h"
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
    uint32_t encryptionProtocol = crypt_method::Des;
    std::string authenticationPassword;
    std::string encryptionPassword;
    /// Accepted sources. Only a default entry that was just created has none: it accepts no source. Its next setConfig,
    /// including that of a restart, opens it to every IPv4 source unless the message has addresses (compat: 90).
    std::vector<IPPrefix6> addresses;
    View view;  ///< of all requests of this entry

    /// Writes all fields.
    /// @param flags  tn::kTopLevelFirst: repeat the first address at top level. tn::kWantDefaults: add field::Defaults,
    ///               in the default entry only
    void getConfig(tn::message& out, uint32_t flags) const override;
    /// Applies the fields that are in the message and leaves the others as they are. Elements without an address are
    /// skipped. If the entry then has no addresses, it gets 0.0.0.0/0, even if the message changes another field only.
    void setConfig(const tn::message& in) override;
    /// Applies all fields of an entry, as getConfig writes them. In contrast to setConfig, an empty list of addresses
    /// stays empty.
    void restore(const tn::message& in);
    /// Whether one of the prefixes contains the source.
    [[nodiscard]] bool accepts(const IPAddr6& source) const;

    /// The user's keys, localised to this engine id; empty if the id is empty. The privacy key is made with the hash of
    /// the authentication protocol as well. A protocol with an unknown number has no key. The first call takes
    /// milliseconds for each password after a change of passwords or protocol, and microseconds after a change of the
    /// engine id. The entry owns the keys: they are valid until it changes or another engine id is passed.
    [[nodiscard]] const UserKeys& keys(const std::string& engineId) const;
    /// The same keys, localised to any engine id and not cached.
    [[nodiscard]] UserKeys keysFor(const std::string& engineId) const;
    [[nodiscard]] bool hasKeys(const std::string& engineId) const;  ///< whether keys() returns cached keys

  private:
    /// The key of a password, not localised (RFC 3414, A.2), with the inputs that it was made from.
    struct PasswordKey {
        std::string password;
        uint32_t method = digest_method::Md5;
        Octets key;

        [[nodiscard]] bool isOf(const std::string& from, uint32_t with) const;
        void make(const std::string& from, uint32_t with);
    };

    mutable PasswordKey authenticationKey_, encryptionKey_;
    mutable std::string keysEngine_;  ///< the engine id to which keys_ is localised
    mutable UserKeys keys_;
};

}  // namespace snmp
