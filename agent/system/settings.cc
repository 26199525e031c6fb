#include "agent/system/settings.h"

#include <algorithm>
#include <optional>

namespace snmp {

namespace {

// RFC 3411, SnmpEngineID: enterprise 49999 with the top bit set, then format 4, text chosen by the administrator.
constexpr std::string_view kEngineIdPrefix("\x80\x00\xC3\x4F\x04", 5);

std::optional<IPAddr6> takeTarget(const tn::message& m) {
    if (m.has(setting::Target6)) return m.get_addr6(setting::Target6);
    if (m.has(setting::Target4)) return IPAddr6::ofIPv4(m.get_be32(setting::Target4));
    return std::nullopt;
}

void applyTargets(std::vector<IPAddr6>& targets, const tn::message& changes) {
    if (!changes.has(setting::TrapTargets)) {
        if (const auto single = takeTarget(changes)) targets.push_back(*single);
        return;
    }
    targets.clear();
    for (const tn::message& entry : changes.get_message_array(setting::TrapTargets)) {
        if (const auto target = takeTarget(entry)) targets.push_back(*target);
    }
}

std::vector<uint32_t> withoutRepeats(const std::vector<uint32_t>& values) {
    std::vector<uint32_t> kept;
    for (const uint32_t value : values) {
        if (std::find(kept.begin(), kept.end(), value) == kept.end()) kept.push_back(value);
    }
    return kept;
}

}  // namespace

Settings Settings::read(const tn::message& record) {
    Settings settings;
    settings.community.clear();
    settings.engineId = kEngineIdPrefix;
    settings.apply(record);
    settings.engineBoots = record.get_u32(setting::EngineBoots);  // a service found on isn't being switched on
    return settings;
}

void Settings::apply(const tn::message& changes) {
    community = changes.get_string(setting::Community, community);
    contact = changes.get_string(setting::Contact, contact);
    location = changes.get_string(setting::Location, location);
    applyTargets(trapTargets, changes);
    trapCommunity = changes.get_u32(setting::TrapCommunity, trapCommunity);
    trapVersion = changes.get_u32(setting::TrapVersion, trapVersion);
    if (changes.has(setting::TrapKinds)) trapKinds = withoutRepeats(changes.get_u32_array(setting::TrapKinds));
    engineBoots = changes.get_u32(setting::EngineBoots, engineBoots);
    if (changes.has(setting::EngineId)) {
        engineId = std::string(kEngineIdPrefix) + changes.get_string(setting::EngineId);
    }
    if (changes.has(setting::Interfaces)) {
        interfaceFilter.clear();
        for (const tn::message& entry : changes.get_message_array(setting::Interfaces))
            interfaceFilter.insert(entry.get_u32(setting::Interface, tn::kNoId));
    }
    if (changes.has(setting::Enabled)) {
        const bool wasEnabled = enabled;
        enabled = changes.get_bool(setting::Enabled);
        if (enabled && !wasEnabled) engineBoots = 0;
    }
}

tn::message Settings::getConfig() const {
    tn::message m;
    m.insert_string(setting::Community, community);
    m.insert_string(setting::Contact, contact);
    m.insert_string(setting::Location, location);
    m.insert_string(setting::EngineId, engineId.substr(std::min(engineId.size(), kEngineIdPrefix.size())));
    std::vector<tn::message>& targets = m.get_message_array_ref(setting::TrapTargets);
    for (const IPAddr6& target : trapTargets) {
        tn::message& entry = targets.emplace_back();
        if (target.isIPv4()) {
            entry.insert_be32(setting::Target4, target.getIPv4());
        } else {
            entry.insert_addr6(setting::Target6, target);
        }
    }
    m.insert_u32(setting::TrapVersion, trapVersion);
    m.insert_u32(setting::TrapCommunity, trapCommunity);
    m.insert_u32_array(setting::TrapKinds, trapKinds);
    m.insert_u32(setting::EngineBoots, engineBoots);
    m.insert_bool(setting::Enabled, enabled);
    if (interfaceFilter.empty()) return m;
    std::vector<tn::message>& interfaces = m.get_message_array_ref(setting::Interfaces);
    for (const uint32_t id : interfaceFilter) interfaces.emplace_back().insert_u32(setting::Interface, id);
    return m;
}

tn::message Settings::undoOf(const tn::message& change) const {
    tn::message old = getConfig();
    // An absent list of interfaces leaves the list as it is; taking a new one back needs an empty one.
    if (interfaceFilter.empty()) old.insert_message_array(setting::Interfaces, {});
    // Engine boots never go back for anything else's sake (RFC 3414, 2.3).
    if (!change.has(setting::EngineBoots)) old.remove(setting::EngineBoots);
    // The subscriptions are restarted only for a change that touched them.
    if (!change.has(setting::TrapKinds)) old.remove(setting::TrapKinds);
    return old;
}

tn::message Settings::defaults() {
    tn::message m;
    m.insert_string(setting::Contact, "");
    m.insert_string(setting::Location, "");
    m.insert_string(setting::EngineId, "");
    m.insert_message_array(setting::TrapTargets, {});
    m.insert_u32(setting::TrapVersion, 0);
    m.insert_u32(setting::TrapCommunity, kNoCommunity);
    m.insert_u32_array(setting::TrapKinds, {});
    m.insert_bool(setting::Enabled, false);
    return m;
}

}  // namespace snmp
