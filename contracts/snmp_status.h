#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "tn/fields.h"

/// {34, 3}: what the agent has done since it started. agent/core/status_handler.h owns it. Answers cmd::Get with the
/// fields below; needs only the right to read. No field contains a community or a password.
namespace contracts::snmp_status {

inline constexpr std::array<uint32_t, 2> kPath = {tn::number::Snmp, 3};

inline constexpr tn::u64_id Uptime{1};    ///< s since the agent started
inline constexpr tn::bool_id Enabled{2};  ///< the setting
inline constexpr tn::bool_id Open{3};     ///< the UDP port is open
inline constexpr tn::u32_id Port{4};      ///< UDP port of the service

/// Every counter, elements {tn::field::Name, Group, Text, Count}, in the order in which they are shown. Names are
/// fixed: scripts select counters by them.
inline constexpr tn::message_array_id Counters{5};
inline constexpr tn::u32_id Group{6};    ///< one of group
inline constexpr tn::string_id Text{7};  ///< meaning, for people; in a source or owner its last refusal or error
inline constexpr tn::u64_id Count{8};    ///< events

/// Senders of datagrams, at most 32 each: the last ones, newest first; and the busiest ones, busiest first. Elements
/// {Address, Requests, Refused, Age} and, after a refusal, Text.
inline constexpr tn::message_array_id LastSources{9};
inline constexpr tn::message_array_id BusiestSources{10};
inline constexpr tn::addr6_id Address{11};
inline constexpr tn::u64_id Requests{12};  ///< datagrams since the source entered the list
inline constexpr tn::u64_id Refused{13};   ///< number of these that were refused
inline constexpr tn::u64_id Age{14};       ///< s since the last one

/// Owners that the agent has queried, at most 64, in the order of their paths. Elements {Path, Answers, Errors,
/// TimedOut, Absent}; after a reply, Answered; and after an error, Text.
inline constexpr tn::message_array_id Owners{15};
inline constexpr tn::u32_array_id Path{16};
inline constexpr tn::u64_id Answers{17};   ///< replies, tn::error::NotFound included
inline constexpr tn::u64_id Errors{18};    ///< other error replies
inline constexpr tn::u64_id TimedOut{19};  ///< queries without a reply in time
inline constexpr tn::u64_id Absent{20};    ///< queries while no process served the path

/// Plug-ins found at startup, at most 256, in the order of loading. Elements {tn::field::Name} with the file, Serves
/// and, if it isn't in use, Text: kDisabled if the settings excluded it. tn::field::Disabled: the settings exclude it
/// from the next start on.
inline constexpr tn::message_array_id Plugins{21};
inline constexpr tn::string_array_id Serves{22};  ///< prefixes of its objects, as dotted text
inline constexpr std::string_view kDisabled = "disabled";

inline constexpr tn::bool_id Standard{22};  ///< runs with --standard
inline constexpr tn::u64_id Answered{23};   ///< in an owner: s since its last reply; absent before the first one

/// Values of Group.
namespace group {
inline constexpr uint32_t Requests = 0;  ///< by version and type
inline constexpr uint32_t Results = 1;   ///< what became of them
inline constexpr uint32_t Refusals = 2;  ///< by cause. A refused request gets no reply, an error or a Report
inline constexpr uint32_t Traps = 3;
}  // namespace group

}  // namespace contracts::snmp_status
