#include "tnctl/status_command.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <ostream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "contracts/readings.h"
#include "contracts/snmp_status.h"
#include "tn/log.h"
#include "tnctl/client.h"
#include "tnctl/failure.h"
#include "tnctl/listing.h"
#include "tnctl/owner_probes.h"

namespace tnctl {

namespace readings = contracts::readings;
namespace snmp_status = contracts::snmp_status;

namespace {

/// The status at one time.
struct Snapshot {
    tn::message agent;  ///< fields of contracts::snmp_status
    std::vector<Json> owners;
    std::optional<std::vector<tn::message>> readings;  ///< fields of contracts::readings; nothing after an error
    std::string readingsError;
    std::chrono::steady_clock::time_point when;
};

struct GroupTitle {
    uint32_t group;         ///< one of contracts::snmp_status::group
    std::string_view name;  ///< with --json
    std::string_view title;
};

constexpr GroupTitle kGroups[] = {
    {snmp_status::group::Requests, "requests", "REQUESTS"},
    {snmp_status::group::Results, "results", "RESULTS"},
    {snmp_status::group::Refusals, "refusals", "REFUSED"},
    {snmp_status::group::Traps, "traps", "TRAPS"},
};

Snapshot takeSnapshot(const Session& session) {
    Snapshot now;
    try {
        now.agent = Client(session.options.timeout).ask(snmp_status::kPath, tn::cmd::Get);
    } catch (const Failure& failure) {
        throw Failure(failure.code, std::string("the agent doesn't answer: ") + failure.what());
    }
    now.when = std::chrono::steady_clock::now();
    now.owners = probeOwners(now.agent.get_message_array(snmp_status::Owners), session.options.timeout);
    try {
        now.readings = Client(session.options.timeout).list(readings::kPath);
    } catch (const Failure& failure) {
        now.readingsError = failure.what();
    }
    return now;
}

Json textOf(const tn::message& element) {
    return element.has(snmp_status::Text) ? Json(element.get_string(snmp_status::Text)) : Json();
}

std::vector<Json> sourceRows(const std::vector<tn::message>& sources) {
    std::vector<Json> rows;
    for (const tn::message& source : sources)
        rows.push_back({{"address", source.get_addr6(snmp_status::Address).str()},
                        {"requests", source.get_u64(snmp_status::Requests)},
                        {"refused", source.get_u64(snmp_status::Refused)},
                        {"age", source.get_u64(snmp_status::Age)},
                        {"last-refusal", textOf(source)}});
    return rows;
}

std::vector<Json> pluginRows(const tn::message& agent) {
    std::vector<Json> rows;
    for (const tn::message& plugin : agent.get_message_array(snmp_status::Plugins))
        rows.push_back({{"file", plugin.get_string(tn::field::Name)}, {"fault", textOf(plugin)}});
    return rows;
}

/// For each source {name, age-ms, problem}: age-ms is null before the first reading, and problem if it isn't failing.
Json readingRows(const std::vector<tn::message>& sources) {
    Json rows = Json::array();
    for (const tn::message& source : sources)
        rows.push_back(
            {{"name", source.get_string(tn::field::Name)},
             {"age-ms", source.has(readings::Age) ? Json(source.get_u64(readings::Age)) : Json()},
             {"problem", source.get_bool(readings::Failing) ? Json(source.get_string(readings::Text)) : Json()}});
    return rows;
}

Json statusJson(const Snapshot& now) {
    const tn::message& agent = now.agent;
    Json all{{"service",
              {{"enabled", agent.get_bool(snmp_status::Enabled)},
               {"open", agent.get_bool(snmp_status::Open)},
               {"port", agent.get_u32(snmp_status::Port)},
               {"standard", agent.get_bool(snmp_status::Standard)},
               {"uptime", agent.get_u64(snmp_status::Uptime)}}}};
    for (const GroupTitle& group : kGroups) {
        Json& counts = all[std::string(group.name)] = Json::object();
        for (const tn::message& counter : agent.get_message_array(snmp_status::Counters))
            if (counter.get_u32(snmp_status::Group) == group.group)
                counts[counter.get_string(tn::field::Name)] = counter.get_u64(snmp_status::Count);
    }
    all["sources"] = {{"last", sourceRows(agent.get_message_array(snmp_status::LastSources))},
                      {"busiest", sourceRows(agent.get_message_array(snmp_status::BusiestSources))}};
    all["owners"] = now.owners;
    all["readings"] = now.readings ? readingRows(*now.readings) : Json();
    all["readings-error"] = now.readings ? Json() : Json(now.readingsError);
    all["plugins"] = pluginRows(agent);
    return all;
}

std::string serviceText(const tn::message& agent) {
    const std::string port = "UDP port " + std::to_string(agent.get_u32(snmp_status::Port));
    const std::string uptime = std::string(agent.get_bool(snmp_status::Standard) ? ", --standard" : "") +
                               ", agent up " + ageText(agent.get_u64(snmp_status::Uptime));
    if (agent.get_bool(snmp_status::Open)) return "SNMP service: on, " + port + uptime;
    if (agent.get_bool(snmp_status::Enabled))
        return "SNMP service: enabled, but " + port + " isn't open (see the agent's log)" + uptime;
    return "SNMP service: off (tnctl snmp set enabled=yes)" + uptime;
}

uint64_t countOf(const tn::message& agent, const std::string& name) {
    for (const tn::message& counter : agent.get_message_array(snmp_status::Counters))
        if (counter.get_string(tn::field::Name) == name) return counter.get_u64(snmp_status::Count);
    return 0;
}

/// Events a second since the earlier status; null if the agent has restarted since.
Json rateOf(uint64_t count, uint64_t earlier, double seconds) {
    if (count < earlier) return {};
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", static_cast<double>(count - earlier) / seconds);
    return std::string(text);
}

/// Prints a table after an empty line; nothing if it has no rows.
void printTable(const Session& session, const std::vector<Column>& columns, const std::vector<Json>& rows) {
    if (rows.empty()) return;
    session.console.out << '\n';
    printList(session, columns, rows);
}

void printCounters(const Session& session, const GroupTitle& group, const Snapshot& now, const Snapshot* before) {
    std::vector<Json> rows;
    for (const tn::message& counter : now.agent.get_message_array(snmp_status::Counters)) {
        const uint64_t count = counter.get_u64(snmp_status::Count);
        if (counter.get_u32(snmp_status::Group) != group.group || count == 0) continue;
        Json& row = rows.emplace_back(Json{{"text", textOf(counter)}, {"count", count}});
        if (before == nullptr) continue;
        const std::chrono::duration<double> passed = now.when - before->when;
        row["rate"] = rateOf(count, countOf(before->agent, counter.get_string(tn::field::Name)), passed.count());
    }
    if (group.group == snmp_status::group::Refusals)
        std::ranges::stable_sort(rows, std::greater<uint64_t>(),
                                 [](const Json& row) { return row["count"].get<uint64_t>(); });
    std::vector<Column> columns{{group.title, "text"}, {"COUNT", "count"}};
    if (before != nullptr) columns.push_back({"PER SECOND", "rate"});
    printTable(session, columns, rows);
}

/// The last sources and the busiest ones, each once, busiest first.
void printSources(const Session& session, const tn::message& agent) {
    std::vector<Json> rows = sourceRows(agent.get_message_array(snmp_status::BusiestSources));
    for (Json& source : sourceRows(agent.get_message_array(snmp_status::LastSources)))
        if (std::ranges::none_of(rows, [&](const Json& row) { return row["address"] == source["address"]; }))
            rows.push_back(std::move(source));
    std::ranges::stable_sort(rows, std::greater<uint64_t>(),
                             [](const Json& row) { return row["requests"].get<uint64_t>(); });
    for (Json& row : rows) row["age"] = ageText(row["age"].get<uint64_t>()) + " ago";
    printTable(session,
               {{"SOURCE", "address"},
                {"REQUESTS", "requests"},
                {"REFUSED", "refused"},
                {"LAST", "age"},
                {"LAST REFUSAL", "last-refusal"}},
               rows);
}

void printOwners(const Session& session, std::vector<Json> rows) {
    for (Json& row : rows) {
        row["reply"] = row["reply-ms"].is_null() ? row["reply-error"] : Json(row["reply-ms"].dump() + " ms");
        if (row["answered"].is_number()) row["answered"] = ageText(row["answered"].get<uint64_t>()) + " ago";
    }
    printTable(session,
               {{"OWNER", "name"},
                {"PATH", "path"},
                {"ANSWERS", "answers"},
                {"ERRORS", "errors"},
                {"TIMED OUT", "timed-out"},
                {"ABSENT", "absent"},
                {"LAST REPLY", "answered"},
                {"REPLIES NOW", "reply"}},
               rows);
}

void printReadings(const Session& session, const Snapshot& now) {
    if (!now.readings) {
        session.console.out << "\ntarnix-hostd doesn't report the age of its data: " << tn::escaped(now.readingsError)
                            << '\n';
        return;
    }
    std::vector<Json> rows = readingRows(*now.readings);
    for (Json& row : rows) {
        if (row["problem"].is_null()) row["problem"] = row["age-ms"].is_null() ? "not read yet" : "ok";
        if (row["age-ms"].is_number()) row["age"] = ageText(row["age-ms"].get<uint64_t>() / 1000);
    }
    printTable(session, {{"DATA", "name"}, {"AGE", "age"}, {"STATE", "problem"}}, rows);
}

void printPlugins(const Session& session, std::vector<Json> rows) {
    for (Json& row : rows)
        if (row["fault"].is_null()) row["fault"] = "loaded";
    printTable(session, {{"PLUG-IN", "file"}, {"STATE", "fault"}}, rows);
}

}  // namespace

void showStatus(const Session& session, std::optional<double> interval) {
    std::ostream& out = session.console.out;
    for (std::optional<Snapshot> before;;) {
        Snapshot now = takeSnapshot(session);
        if (session.options.json) {
            out << jsonText(statusJson(now), interval ? -1 : 2) << '\n';
        } else {
            out << (before ? "\n" : "") << serviceText(now.agent) << '\n';
            for (const GroupTitle& group : kGroups) printCounters(session, group, now, before ? &*before : nullptr);
            printSources(session, now.agent);
            printOwners(session, now.owners);
            printReadings(session, now);
            printPlugins(session, pluginRows(now.agent));
        }
        if (!interval || !out.flush()) return;
        std::this_thread::sleep_for(std::chrono::duration<double>(*interval));
        before = std::move(now);
    }
}

}  // namespace tnctl
