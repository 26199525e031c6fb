#include "agent/core/status_handler.h"

#include <string>
#include <vector>

#include "agent/core/plugins.h"
#include "agent/core/snmp_looper.h"
#include "agent/status/statistics.h"

namespace snmp {

namespace {

uint64_t secondsSince(std::chrono::milliseconds then) {
    return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::seconds>(tn::sinceBoot() - then).count());
}

std::vector<tn::message> allCounters() {
    std::vector<tn::message> all;
    for (const CounterRow& row : kCounters) {
        tn::message& one = all.emplace_back();
        one.insert_string(tn::field::Name, std::string(row.name));
        one.insert_u32(snmp_status::Group, row.group);
        one.insert_string(snmp_status::Text, std::string(row.text));
        one.insert_u64(snmp_status::Count, statistics.counters[row.counter]);
    }
    return all;
}

std::vector<tn::message> listOf(const SourceList& sources) {
    std::vector<tn::message> all;
    for (const Source& source : sources.sorted()) {
        tn::message& one = all.emplace_back();
        one.insert_addr6(snmp_status::Address, source.address);
        one.insert_u64(snmp_status::Requests, source.requests);
        one.insert_u64(snmp_status::Refused, source.refused);
        one.insert_u64(snmp_status::Age, secondsSince(source.lastSeen));
        if (source.lastRefusal != Counter::None)
            one.insert_string(snmp_status::Text, std::string(rowOf(source.lastRefusal).text));
    }
    return all;
}

std::vector<tn::message> allOwners() {
    std::vector<tn::message> all;
    for (const auto& [path, counts] : statistics.owners) {
        tn::message& one = all.emplace_back();
        one.insert_u32_array(snmp_status::Path, path);
        one.insert_u64(snmp_status::Answers, counts.answers);
        one.insert_u64(snmp_status::Errors, counts.errors);
        one.insert_u64(snmp_status::TimedOut, counts.timedOut);
        one.insert_u64(snmp_status::Absent, counts.absent);
        if (counts.lastReply) one.insert_u64(snmp_status::Answered, secondsSince(*counts.lastReply));
        if (!counts.lastError.empty()) one.insert_string(snmp_status::Text, counts.lastError);
    }
    return all;
}

/// @param disabled  setting::DisabledPlugins
std::vector<tn::message> allPlugins(const std::vector<std::string>& disabled) {
    std::vector<tn::message> all;
    for (const PluginState& plugin : statistics.plugins) {
        tn::message& one = all.emplace_back();
        one.insert_string(tn::field::Name, plugin.file);
        if (!plugin.fault.empty()) one.insert_string(snmp_status::Text, plugin.fault);
        if (!plugin.serves.empty()) one.insert_string_array(snmp_status::Serves, plugin.serves);
        if (isDisabled(plugin.file, disabled)) one.insert_bool(tn::field::Disabled, true);
    }
    return all;
}

}  // namespace

tn::message StatusHandler::getObject(uint32_t) {
    tn::message reply;
    reply.insert_u64(snmp_status::Uptime, secondsSince(started_));
    reply.insert_bool(snmp_status::Enabled, agent_.settings().get(setting::Enabled));
    reply.insert_bool(snmp_status::Open, agent_.isEnabled());
    reply.insert_u32(snmp_status::Port, port_);
    reply.insert_bool(snmp_status::Standard, agent_.isStandard());
    reply.insert_message_array(snmp_status::Counters, allCounters());
    reply.insert_message_array(snmp_status::LastSources, listOf(statistics.lastSources));
    reply.insert_message_array(snmp_status::BusiestSources, listOf(statistics.busiestSources));
    reply.insert_message_array(snmp_status::Owners, allOwners());
    reply.insert_message_array(snmp_status::Plugins, allPlugins(agent_.settings().get(setting::DisabledPlugins)));
    return reply;
}

}  // namespace snmp
