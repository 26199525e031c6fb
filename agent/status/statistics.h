#pragma once

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "agent/status/counters.h"
#include "agent/status/refusal_log.h"
#include "agent/status/source_list.h"
#include "tn/message.h"

namespace snmp {

/// What became of the queries to one owner.
struct OwnerCounts {
    uint64_t answers = 0;  ///< error::NotFound included: an owner says so about a row that doesn't exist
    uint64_t errors = 0;
    uint64_t timedOut = 0;
    uint64_t absent = 0;                                 ///< no process served the path
    std::optional<std::chrono::milliseconds> lastReply;  ///< of any kind, as of tn::sinceBoot
    std::string lastError;                               ///< empty if there was none
};

/// A plug-in found at startup. @see loadPlugins
struct PluginState {
    std::string file;
    std::string fault;                ///< why it isn't in use; empty if it is
    std::vector<std::string> serves;  ///< prefixes of the objects that it has registered, as dotted text
};

/// What this process has done since it started, for operators: `tnctl status`.
struct Statistics {
    static constexpr size_t kMaxOwners = 64;
    static constexpr size_t kMaxPlugins = 256;

    /// Counts a datagram in the lists of sources, and its refusal, which it logs.
    /// @param refusal  cause; None if it wasn't refused
    /// @param user     for the log: name of the SNMPv3 user, or empty. Never a community
    void countDatagram(const tn::IPAddr6& source, Counter refusal, std::string_view user);
    /// Counts a reply of an owner. The owners beyond kMaxOwners aren't counted.
    void countReply(const std::vector<uint32_t>& path, const tn::message& reply);
    /// Records the state of a plug-in, in place of that recorded before. Those beyond kMaxPlugins aren't recorded.
    void setPlugin(const std::string& file, const std::string& fault, std::vector<std::string> serves = {});

    /// Counts the varbinds of a request that was answered without an error.
    void countVarbinds(bool isSet, uint64_t varbinds) { (isSet ? written : retrieved) += varbinds; }
    /// Counts a response with this error-status.
    void countError(uint8_t status) { errors[std::min<size_t>(status, errors.size() - 1)] += 1; }

    Tally counters;
    uint64_t retrieved = 0, written = 0;  ///< varbinds; snmpInTotalReqVars and snmpInTotalSetVars (RFC 3418)
    uint64_t forbiddenUses = 0;           ///< requests that their community didn't allow; snmpInBadCommunityUses
    std::array<uint64_t, 20> errors{};    ///< responses by error-status; the last one counts those that aren't defined
    SourceList lastSources{SourceList::Keep::Last};
    SourceList busiestSources{SourceList::Keep::Busiest};
    RefusalLog refusals;
    std::map<std::vector<uint32_t>, OwnerCounts> owners;  ///< by path
    std::vector<PluginState> plugins;
};

/// Those of this process. Used on the loop's thread only.
extern Statistics statistics;

}  // namespace snmp
