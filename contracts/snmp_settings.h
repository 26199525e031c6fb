#pragma once

#include <cstdint>
#include <string_view>

#include "contracts/snmp.h"
#include "tn/message.h"

/// The agent's settings, one row each. The agent uses this table to read, apply, store, report and undo settings;
/// `tnctl snmp` uses it to show and set them. To add a setting, add its id to contracts/snmp.h, a row here and a
/// paragraph to docs/man/tnctl.1. The agent's code then reads it with Settings::get.
namespace contracts::snmp {

/// The form of a setting's values: their kind in messages, their normal form in the agent and their text in tnctl. The
/// agent stores any value of the right kind; tnctl checks ranges and lengths.
enum class Form {
    YesNo,        ///< bool
    Text,         ///< string, at most 255 octets as in a DisplayString (RFC 2579)
    EngineId,     ///< string, at most 27 octets: with a prefix of 5 they make an SnmpEngineID of 32 (RFC 3411)
    Number,       ///< u32
    TrapVersion,  ///< u32, one of trap_version
    TrapKind,     ///< u32, one of trap_kind
    Community,    ///< u32, id of an access entry or tn::kNoId
    Generators,   ///< u32 array of distinct ids
    Targets,      ///< message array of addresses: {Target6 or Target4, TargetPort}
    Interfaces,   ///< message array of ids: {Interface}, in ascending order. Reported only if it isn't empty
    Plugins,      ///< string array of distinct names, in ascending order. Reported only if it isn't empty
};

struct Setting {
    uint32_t field;         ///< number and kind (field_id::full)
    std::string_view name;  ///< word of `tnctl snmp set`; empty: tnctl neither shows nor sets it
    Form form;
    std::string_view help;     ///< meaning, for `tnctl snmp set --help`
    uint32_t initial = 0;      ///< default of a u32. Other defaults are false and empty, but "common" for Community
    bool settable = true;      ///< false: the agent maintains it; tnctl only shows it
    bool alwaysUndone = true;  ///< false: the undo of a change restores it only if the change contained it
};

/// In the order in which they are shown. Three settings aren't restored by the undo of another one: trap generators,
/// since each change that contains them restarts their subscriptions; engine boots, which must not decrease by accident
/// (RFC 3414, 2.3); and plug-ins, whose change takes effect only later.
inline constexpr Setting kSettings[] = {
    {setting::Enabled.full(), "enabled", Form::YesNo, "answer requests and send traps"},
    {setting::Contact.full(), "contact", Form::Text, "sysContact"},
    {setting::Location.full(), "location", Form::Text, "sysLocation"},
    {setting::Community.full(), "", Form::Text, ""},
    {setting::EngineId.full(), "engine-id", Form::EngineId,
     "administrator's part of the engine id, required for SNMPv3"},
    {setting::EngineBoots.full(), "engine-boots", Form::Number, "snmpEngineBoots", 0, /*settable=*/false,
     /*alwaysUndone=*/false},
    {setting::TrapVersion.full(), "trap-version", Form::TrapVersion, "SNMP version of traps"},
    {setting::TrapCommunity.full(), "trap-community", Form::Community,
     "community or SNMPv3 user that traps are sent as", tn::kNoId},
    {setting::TrapKind.full(), "trap-kind", Form::TrapKind,
     "informs are repeated until their target acknowledges them; not with trap-version=1"},
    {setting::TrapTargets.full(), "trap-targets", Form::Targets, "trap receivers"},
    {setting::TrapGenerators.full(), "trap-generators", Form::Generators,
     "enabled trap generators, see tnctl snmp trap list", 0, /*settable=*/true, /*alwaysUndone=*/false},
    {setting::Interfaces.full(), "interfaces", Form::Interfaces,
     "interfaces whose links cause traps; none, like all, means every interface"},
    {setting::DisabledPlugins.full(), "plugins-off", Form::Plugins,
     "plug-ins that the agent doesn't load when it starts, see tnctl plugin", 0, /*settable=*/true,
     /*alwaysUndone=*/false},
};

constexpr tn::Kind kindOf(Form form) {
    switch (form) {
        case Form::YesNo:
            return tn::Kind::Bool;
        case Form::Text:
        case Form::EngineId:
            return tn::Kind::String;
        case Form::Number:
        case Form::TrapVersion:
        case Form::TrapKind:
        case Form::Community:
            return tn::Kind::U32;
        case Form::Generators:
            return tn::Kind::U32Array;
        case Form::Plugins:
            return tn::Kind::StringArray;
        case Form::Targets:
        case Form::Interfaces:
            break;
    }
    return tn::Kind::MessageArray;
}

/// Sets a setting to its default. An empty filter of interfaces and an empty list of plug-ins are absent ones.
inline void insertDefault(const Setting& row, tn::message& values) {
    switch (kindOf(row.form)) {
        case tn::Kind::Bool:
            return values.insert_bool(tn::bool_id(row.field), false);
        case tn::Kind::String:
            return values.insert_string(tn::string_id(row.field), {});
        case tn::Kind::U32:
            return values.insert_u32(tn::u32_id(row.field), row.initial);
        case tn::Kind::U32Array:
            return values.insert_u32_array(tn::u32_array_id(row.field), {});
        default:
            if (row.form == Form::Targets) values.insert_message_array(tn::message_array_id(row.field), {});
    }
}

constexpr bool hasKindOfItsForm(const Setting& row) {
    return (row.field & ~tn::kFieldNumberMask) == static_cast<uint32_t>(kindOf(row.form));
}
static_assert([] {
    for (const Setting& row : kSettings)
        if (!hasKindOfItsForm(row)) return false;
    return true;
}());

}  // namespace contracts::snmp
