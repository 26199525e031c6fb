#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "contracts/snmp.h"
#include "tn/address.h"
#include "tn/message.h"

namespace snmp {

using tn::IPAddr6;

namespace setting = contracts::snmp::setting;

/// A receiver of traps.
struct TrapTarget {
    IPAddr6 address;
    uint16_t port = 0;  ///< UDP; 0 for the agent's default

    /// ADDRESS, ADDRESS:PORT or [ADDRESS]:PORT.
    [[nodiscard]] std::string str() const;

    friend auto operator<=>(const TrapTarget&,
                            const TrapTarget&) = default;  // NOLINT(modernize-use-nullptr): a false alarm
};

/// The agent's settings: the handler {34} gets and sets them, and /tern/store/snmpd contains them under id 0. The table
/// in contracts/snmp_settings.h lists them with their forms; this class handles them by that table.
class Settings {
  public:
    /// The defaults.
    Settings();
    /// The settings in a stored record. A setting that isn't in the record has its default, except setting::Community,
    /// which is empty.
    [[nodiscard]] static Settings read(const tn::message& record);

    /// Applies the fields of a set message and leaves the other settings as they are. Values aren't checked
    /// (compat: 86). Lists are brought into the normal form of their contracts::snmp::Form. Enabling the service sets
    /// engine boots to 0 (compat: 60).
    void apply(const tn::message& changes);
    void setEngineBoots(uint32_t boots) { values_.insert_u32(setting::EngineBoots, boots); }

    /// All settings, as they are reported and stored. setting::Interfaces is absent if there is no filter. Valid until
    /// the settings change.
    [[nodiscard]] const tn::message& getConfig() const { return values_; }
    /// The fields of a set message that restores these settings after `change` was applied to them.
    [[nodiscard]] tn::message undoOf(const tn::message& change) const;
    /// The defaults of the settings that an administrator can change.
    [[nodiscard]] static tn::message defaults();

    // One setting, by its field.
    [[nodiscard]] bool get(tn::bool_id field) const { return values_.get_bool(field); }
    [[nodiscard]] uint32_t get(tn::u32_id field) const { return values_.get_u32(field); }
    [[nodiscard]] std::string get(tn::string_id field) const { return values_.get_string(field); }
    [[nodiscard]] const std::vector<uint32_t>& get(tn::u32_array_id field) const {
        return values_.get_u32_array(field);
    }
    [[nodiscard]] const std::vector<std::string>& get(tn::string_array_id field) const {
        return values_.get_string_array(field);
    }

    /// The whole engine id (RFC 3411, SnmpEngineID), binary: enterprise, format, then the administrator's part. Empty
    /// until the settings are read from a record or an engine id is set.
    [[nodiscard]] const std::string& engineId() const { return engineId_; }
    /// Whether notifications are informs. Version 1 has none.
    [[nodiscard]] bool sendsInforms() const;
    [[nodiscard]] std::vector<TrapTarget> trapTargets() const;  ///< in the order in which they were set
    [[nodiscard]] std::set<uint32_t> interfaceFilter() const;   ///< ids of {20, 0}; all if it is empty or contains 0

    bool operator==(const Settings&) const = default;

  private:
    void applyFields(const tn::message& from);

    tn::message values_;    ///< every setting in its normal form
    std::string engineId_;  ///< the prefix, then setting::EngineId
};

}  // namespace snmp
