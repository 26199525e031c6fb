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

/// The agent's settings: what the handler {34} gets and sets, and what /tern/store/snmpd holds under id 0. Which
/// settings there are, and of which form, is the table in contracts/snmp_settings.h; nothing here names them all.
class Settings {
  public:
    /// The defaults.
    Settings();
    /// The settings of a stored record; defaults for what it lacks, and an empty text for setting::Community.
    [[nodiscard]] static Settings read(const tn::message& record);

    /// Applies the fields of a Set request and keeps the settings that it doesn't carry. Values aren't checked; lists
    /// are brought into the normal form of their contracts::snmp::Form. Switching the service on resets engine boots.
    void apply(const tn::message& changes);
    void setEngineBoots(uint32_t boots) { values_.insert_u32(setting::EngineBoots, boots); }

    /// All settings, as they are reported and stored. setting::Interfaces is absent without a filter.
    [[nodiscard]] const tn::message& getConfig() const { return values_; }
    /// The fields of a Set request that restores these settings after `change` was applied.
    [[nodiscard]] tn::message undoOf(const tn::message& change) const;
    /// The defaults of the settings that have one and that a user may change.
    [[nodiscard]] static tn::message defaults();

    // One setting, by its field.
    [[nodiscard]] bool get(tn::bool_id field) const { return values_.get_bool(field); }
    [[nodiscard]] uint32_t get(tn::u32_id field) const { return values_.get_u32(field); }
    [[nodiscard]] std::string get(tn::string_id field) const { return values_.get_string(field); }
    [[nodiscard]] const std::vector<uint32_t>& get(tn::u32_array_id field) const {
        return values_.get_u32_array(field);
    }

    /// The whole engine id (RFC 3411, SnmpEngineID): enterprise, format, then the administrator's part. Empty until the
    /// settings have been read from a record or given an engine id.
    [[nodiscard]] const std::string& engineId() const { return engineId_; }
    [[nodiscard]] std::vector<IPAddr6> trapTargets() const;    ///< in the order in which they were set
    [[nodiscard]] std::set<uint32_t> interfaceFilter() const;  ///< ids of {20, 0}; empty, or with 0 in it: all

    bool operator==(const Settings&) const = default;

  private:
    void applyFields(const tn::message& from);

    tn::message values_;  ///< every setting in its normal form
    std::string engineId_;
};

}  // namespace snmp
