#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "contracts/snmp.h"
#include "tn/message.h"
#include "tnctl/client.h"
#include "tnctl/id_names.h"
#include "tnctl/session.h"
#include "tnctl/words.h"

namespace tnctl {

/// What `tnctl export` writes: everything persistent that tnctl can change.
struct Configuration {
    tn::message settings;              ///< of {34}
    std::vector<tn::message> entries;  ///< of {34, 1}, each with all fields and its id
};

/// That of a new agent: the service is off, and the default entry has no addresses.
[[nodiscard]] Configuration defaultConfiguration();
/// An access entry as the agent makes it before it applies the fields of a request.
[[nodiscard]] tn::message newEntry();
/// Whether two entries have the same fields, passwords included.
[[nodiscard]] bool isSameEntry(const tn::message& a, const tn::message& b);
[[nodiscard]] uint32_t idOf(const tn::message& entry);
/// The entry with this id; nullptr if there is none. It is in the list.
[[nodiscard]] const tn::message* entryWithId(const std::vector<tn::message>& entries, uint32_t id);

/// The fields of contracts::snmp::change::kApply that turn one configuration into another; empty if they are equal.
[[nodiscard]] tn::message changeBetween(const Configuration& before, const Configuration& after);

/// Names for the ids in settings. A name that isn't known is shown as its id.
struct ReferenceNames {
    IdNames communities, generators, interfaces;
};
/// Those of the owners or, if they aren't running, the built-in generators and the interfaces of this machine.
[[nodiscard]] ReferenceNames referenceNames(const Client& client, const std::vector<tn::message>& entries);

// References as typed, see value_types.h.
inline constexpr tn::string_id kCommunityReference{contracts::snmp::setting::TrapCommunity.number};
inline constexpr tn::string_array_id kGeneratorReferences{contracts::snmp::setting::TrapGenerators.number};
inline constexpr tn::string_array_id kInterfaceReferences{contracts::snmp::setting::Interfaces.number};
/// Replaces references as typed with ids. Throws Failure (kFailed) for an unknown name.
void resolveReferences(const std::vector<tn::message>& entries, const ReferenceNames& names, tn::message& change);

/// The value of a setting, as text for people or for a command line: names instead of ids, lists with commas, "none"
/// for an empty one.
[[nodiscard]] std::string settingText(const Word& word, const tn::message& settings, const ReferenceNames& names);
/// The value of a word that has no references.
[[nodiscard]] std::string valueText(const Word& word, const tn::message& in);

enum class WithoutStores { Refuse, UseDefaults };

/// The agent's configuration: over the bus or, while no agent runs, in its stores.
class AgentAccess {
  public:
    /// Reads the configuration. Throws Failure if neither an agent replies nor its stores can be read. Root acts as the
    /// owner of the stores from here on: files that root creates there couldn't be opened by the agent.
    /// @param without  whether missing stores are those of a new agent
    AgentAccess(const Session& session, WithoutStores without);

    [[nodiscard]] bool isRunning() const { return isRunning_; }
    /// As it is, or as it will be when the agent starts.
    [[nodiscard]] const Configuration& configuration() const { return current_; }
    [[nodiscard]] const ReferenceNames& names() const { return names_; }

    /// Makes this the configuration, as one change that can be undone. While no agent runs, the agent makes it when it
    /// starts. Throws Failure, with nothing changed.
    void apply(const Configuration& next) const;

  private:
    void readStores();

    Client client_;
    bool isRunning_ = false;
    Configuration stored_;   ///< the basis of changes
    Configuration current_;  ///< with the pending change that is in the store
    ReferenceNames names_;
};

}  // namespace tnctl
