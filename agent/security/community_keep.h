#pragma once

#include <string>
#include <string_view>

#include "agent/security/item.h"

namespace snmp {

/// The agent's one list of communities and users, at the bus path {34, ID_COMMUNITIES}, kept in
/// /tern/store/snmp-communities. Names are unique; the default entry, id 0, can't be removed.
class CommunityKeep : public tn::Map<Item> {
  public:
    CommunityKeep();

    /// Loads the list; a new store gets the default entry "common".
    void init();

    /// The entry with this object id, or nullptr.
    [[nodiscard]] const Item* findId(uint32_t id) const;
    /// The entry of exactly this name, or nullptr.
    [[nodiscard]] const Item* find(std::string_view name) const;

    /// Takes the agent's engine id, to which all keys are localised.
    void setEngineId(const std::string& engineId);
    /// Makes the keys of all entries that lack them, one entry a turn of the loop so that requests needn't wait for
    /// all. Nothing while the engine id is empty.
    void regenerateKeys();
    /// An entry's keys, made at once when it wasn't its turn yet.
    [[nodiscard]] const UserKeys& keysOf(const Item& item) const { return item.keys(engineId_); }
    /// Whether any entry is for authenticated requests only.
    [[nodiscard]] bool hasUsers() const;

  protected:
    tn::message doAdd(Item* added) override;
    tn::message doSet(Item* current, Item* changed) override;
    tn::message doRemove(Item* removed) override;

  private:
    void makeNextKeys();

    std::string engineId_;
    bool makingKeys_ = false;  ///< makeNextKeys is to be called
};

constexpr uint32_t ID_COMMUNITIES = 1;

}  // namespace snmp
