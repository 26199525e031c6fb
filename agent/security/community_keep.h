#pragma once

#include <string>
#include <string_view>

#include "agent/security/item.h"
#include "contracts/snmp.h"

namespace snmp {

/// The agent's access entries, at the bus path {34, ID_COMMUNITIES} (contracts::snmp::community), stored in
/// /tern/store/snmp-communities. Names are unique. The default entry, id 0, can't be removed. Commands that return
/// entries, and subscriptions, need the right to write, because entries contain passwords.
class CommunityKeep : public tn::Map<Item> {
  public:
    CommunityKeep();

    /// Loads the entries. If there are none, adds the default entry "common", which has no addresses and therefore
    /// accepts no source. If the store can't be read, the list is empty and rejects changes.
    void init();

    // The list owns the entries. The pointers are valid until an entry is changed, added or removed.

    /// The entry with this object id, or nullptr.
    [[nodiscard]] const Item* findId(uint32_t id) const;
    /// The entry with exactly this name, or nullptr.
    [[nodiscard]] const Item* find(std::string_view name) const;

    /// Sets the engine id to which all keys are localised.
    void setEngineId(const std::string& engineId) { engineId_ = engineId; }
    /// The keys of an entry, derived now if they are missing. They aren't derived in advance: for 200 users that takes
    /// half a second. Valid until the entry or the engine id changes.
    [[nodiscard]] const UserKeys& keysOf(const Item& item) const { return item.keys(engineId_); }
    /// Whether any entry requires authentication.
    [[nodiscard]] bool hasUsers() const;

    /// Checks the entries of a contracts::snmp::change request.
    /// @return empty; error::Refused for entries without an id and for what single changes refuse
    [[nodiscard]] tn::message check(const tn::message& request) const;
    /// The entries that undo such a change, as a change request without settings.
    [[nodiscard]] tn::message undoOf(const tn::message& request) const;
    /// Applies the entries of a checked request. @return empty; error::StoreFailed, with nothing changed
    [[nodiscard]] tn::message apply(const tn::message& request);

  protected:
    // Adding and changing refuse a name that another entry has; removing refuses the default entry. The reply is then
    // error::Refused with the reason.
    tn::message doAdd(Item* added) override;
    tn::message doSet(Item* current, Item* changed) override;
    tn::message doRemove(Item* removed) override;

  private:
    std::string engineId_;
};

/// Last element of the list's path. (This name is fixed.)
constexpr uint32_t ID_COMMUNITIES = contracts::snmp::kCommunitiesPath[1];

}  // namespace snmp
