#pragma once

#include <string>
#include <string_view>

#include "agent/security/item.h"
#include "contracts/snmp.h"

namespace snmp {

/// The agent's one list of access entries, at the bus path {34, ID_COMMUNITIES} (contracts::snmp::community), stored in
/// /tern/store/snmp-communities. Names are unique; the default entry, id 0, can't be removed. All commands that show
/// entries need the right to write, subscriptions too, because entries hold passwords.
class CommunityKeep : public tn::Map<Item> {
  public:
    CommunityKeep();

    /// Loads the list; an empty store gets the default entry "common", without addresses and so without access. A store
    /// that can't be read gives an empty list.
    void init();

    // Entries found belong to the list, and are valid until the next change of an entry.

    /// The entry with this object id, or nullptr.
    [[nodiscard]] const Item* findId(uint32_t id) const;
    /// The entry of exactly this name, or nullptr.
    [[nodiscard]] const Item* find(std::string_view name) const;

    /// Sets the engine id to which all keys are localised, and starts regenerateKeys().
    void setEngineId(const std::string& engineId);
    /// Makes the keys of all entries that lack them, one entry per turn of the loop so that requests needn't wait for
    /// all of them. Does nothing while the engine id is empty.
    void regenerateKeys();
    /// An entry's keys, made at once if they aren't yet. Valid until the next change of the entry or the engine id.
    [[nodiscard]] const UserKeys& keysOf(const Item& item) const { return item.keys(engineId_); }
    /// Whether any entry requires authentication.
    [[nodiscard]] bool hasUsers() const;

  protected:
    // Refuse a name that another entry has, and the removal of the default entry: error::Refused with the reason.
    tn::message doAdd(Item* added) override;
    tn::message doSet(Item* current, Item* changed) override;
    tn::message doRemove(Item* removed) override;

  private:
    void makeNextKeys();

    std::string engineId_;
    bool makingKeys_ = false;  ///< a call of makeNextKeys is pending
};

/// Last element of the list's path. (This name is fixed.)
constexpr uint32_t ID_COMMUNITIES = contracts::snmp::kCommunitiesPath[1];

}  // namespace snmp
