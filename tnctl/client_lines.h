#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tn/message.h"

namespace tnctl {

/// How clients reach the agent.
struct Service {
    uint32_t port = 161;   ///< UDP
    bool standard = true;  ///< runs with --standard; without it, a GetBulk is limited to 50 repetitions
    bool enabled = true;
};

/// The configuration of one client.
struct ClientLines {
    std::string_view client;         ///< name, for JSON: "telegraf"
    std::string_view title;          ///< for people, with the file or form that the lines are for
    std::vector<std::string> lines;  ///< at least one
};

/// What to type into Debian's snmpwalk, the Prometheus exporter, Zabbix, Telegraf and LibreNMS to query the agent as
/// this entry: with SNMPv3 at its level, or with v2c if it has none. The agent's address is HOST.
/// @param entry    fields of contracts::snmp::community
/// @param secrets  false: passwords are replaced by AUTHENTICATION-PASSWORD and ENCRYPTION-PASSWORD
[[nodiscard]] std::vector<ClientLines> clientLines(const tn::message& entry, const Service& service, bool secrets);

}  // namespace tnctl
