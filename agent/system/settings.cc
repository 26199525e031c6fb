#include "agent/system/settings.h"

#include <algorithm>
#include <optional>

#include "contracts/snmp_settings.h"

namespace snmp {

namespace {

using contracts::snmp::Form;
using contracts::snmp::insertDefault;
using contracts::snmp::kSettings;
using contracts::snmp::Setting;

/// RFC 3411, SnmpEngineID: enterprise 49999 with the top bit set, then format 4 (text assigned by the administrator).
constexpr std::string_view kEngineIdPrefix("\x80\x00\xC3\x4F\x04", 5);

std::optional<TrapTarget> targetOf(const tn::message& m) {
    const uint32_t port = m.get_u32(setting::TargetPort);
    TrapTarget target{.address = {}, .port = static_cast<uint16_t>(port <= UINT16_MAX ? port : 0)};
    if (m.has(setting::Target6)) {
        target.address = m.get_addr6(setting::Target6);
    } else if (m.has(setting::Target4)) {
        target.address = IPAddr6::ofIPv4(m.get_be32(setting::Target4));
    } else {
        return std::nullopt;
    }
    return target;
}

tn::message elementOf(const TrapTarget& target) {
    tn::message element;
    if (target.address.isIPv4()) {
        element.insert_be32(setting::Target4, target.address.getIPv4());
    } else {
        element.insert_addr6(setting::Target6, target.address);
    }
    if (target.port != 0) element.insert_u32(setting::TargetPort, target.port);
    return element;
}

/// Replaces the list of targets. Elements without an address are skipped. Without a list, a target at top level is
/// added to the current one: older front ends send it so.
void applyTargets(const tn::message& from, tn::message& values, tn::message_array_id field) {
    std::vector<tn::message>& targets = values.get_message_array_ref(field);
    if (!from.has(field)) {
        if (const auto single = targetOf(from)) targets.push_back(elementOf(*single));  // compat: 88
        return;
    }
    targets.clear();
    for (const tn::message& element : from.get_message_array(field)) {
        if (const auto target = targetOf(element)) targets.push_back(elementOf(*target));
    }
}

std::set<uint32_t> idsIn(const std::vector<tn::message>& elements) {
    std::set<uint32_t> ids;
    for (const tn::message& element : elements) ids.insert(element.get_u32(setting::Interface, tn::kNoId));
    return ids;
}

void applyInterfaces(const tn::message& from, tn::message& values, tn::message_array_id field) {
    if (!from.has(field)) return;
    std::vector<tn::message> elements;
    for (const uint32_t id : idsIn(from.get_message_array(field)))
        elements.emplace_back().insert_u32(setting::Interface, id);
    if (elements.empty()) {
        values.remove(field);
    } else {
        values.insert_message_array(field, std::move(elements));
    }
}

void applyPlugins(const tn::message& from, tn::message& values, tn::string_array_id field) {
    if (!from.has(field)) return;
    const auto& names = from.get_string_array(field);
    const std::set<std::string> sorted(names.begin(), names.end());
    if (sorted.empty()) {
        values.remove(field);
    } else {
        values.insert_string_array(field, {sorted.begin(), sorted.end()});
    }
}

std::vector<uint32_t> withoutRepetitions(const std::vector<uint32_t>& values) {
    std::vector<uint32_t> unique;
    for (const uint32_t value : values) {
        if (std::ranges::find(unique, value) == unique.end()) unique.push_back(value);
    }
    return unique;
}

/// Copies the setting of this row from `from` into `values`, if it is there.
void applyField(const Setting& row, const tn::message& from, tn::message& values) {
    const uint32_t field = row.field;
    switch (row.form) {
        case Form::YesNo:
            if (const tn::bool_id id(field); from.has(id)) values.insert_bool(id, from.get_bool(id));
            break;
        case Form::Text:
        case Form::EngineId:
            if (const tn::string_id id(field); from.has(id)) values.insert_string(id, from.get_string(id));
            break;
        case Form::Number:
        case Form::TrapVersion:
        case Form::TrapKind:
        case Form::Community:
            if (const tn::u32_id id(field); from.has(id)) values.insert_u32(id, from.get_u32(id));
            break;
        case Form::Generators:
            if (const tn::u32_array_id id(field); from.has(id))
                values.insert_u32_array(id, withoutRepetitions(from.get_u32_array(id)));
            break;
        case Form::Targets:
            applyTargets(from, values, tn::message_array_id(field));
            break;
        case Form::Interfaces:
            applyInterfaces(from, values, tn::message_array_id(field));
            break;
        case Form::Plugins:
            applyPlugins(from, values, tn::string_array_id(field));
            break;
    }
}

bool carries(const tn::message& m, const Setting& row) {
    return std::ranges::any_of(m.fields(), [&](const tn::message::Field& field) { return field.id == row.field; });
}

}  // namespace

std::string TrapTarget::str() const {
    if (port == 0) return address.str();
    return (address.isIPv4() ? address.str() : "[" + address.str() + "]") + ":" + std::to_string(port);
}

Settings::Settings() {
    for (const Setting& row : kSettings) insertDefault(row, values_);
    values_.insert_string(setting::Community, "common");
}

Settings Settings::read(const tn::message& record) {
    Settings settings;
    settings.values_.insert_string(setting::Community, {});
    settings.applyFields(record);
    settings.engineId_ = std::string(kEngineIdPrefix) + settings.get(setting::EngineId);
    return settings;
}

void Settings::apply(const tn::message& changes) {
    const bool wasEnabled = get(setting::Enabled);
    applyFields(changes);
    if (get(setting::Enabled) && !wasEnabled) setEngineBoots(0);  // compat: 60
}

void Settings::applyFields(const tn::message& from) {
    for (const Setting& row : kSettings) applyField(row, from, values_);  // compat: 86
    if (from.has(setting::EngineId)) engineId_ = std::string(kEngineIdPrefix) + get(setting::EngineId);
}

tn::message Settings::undoOf(const tn::message& change) const {
    tn::message old;
    for (const Setting& row : kSettings) {
        if (row.alwaysUndone || carries(change, row)) applyField(row, values_, old);
    }
    // Without these fields, the set message would leave the new filter and the new list in place.
    if (!old.has(setting::Interfaces)) old.insert_message_array(setting::Interfaces, {});
    if (change.has(setting::DisabledPlugins) && !old.has(setting::DisabledPlugins))
        old.insert_string_array(setting::DisabledPlugins, {});
    return old;
}

tn::message Settings::defaults() {
    tn::message m;
    for (const Setting& row : kSettings) {
        if (row.settable && !row.name.empty()) insertDefault(row, m);
    }
    return m;
}

bool Settings::sendsInforms() const {
    return get(setting::TrapKind) == contracts::snmp::trap_kind::Inform &&
           get(setting::TrapVersion) != contracts::snmp::trap_version::V1;
}

std::vector<TrapTarget> Settings::trapTargets() const {
    std::vector<TrapTarget> targets;
    for (const tn::message& element : values_.get_message_array(setting::TrapTargets)) {
        if (const auto target = targetOf(element)) targets.push_back(*target);
    }
    return targets;
}

std::set<uint32_t> Settings::interfaceFilter() const { return idsIn(values_.get_message_array(setting::Interfaces)); }

}  // namespace snmp
