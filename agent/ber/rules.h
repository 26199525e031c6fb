#pragma once

#include <cstdint>

namespace snmp {

/// Where the agent's answers differ from the RFCs, and --standard makes them agree. One value for the process, chosen
/// at start. The operations consult its fields; none asks for the option itself.
struct Rules {
    bool hasExceptions;             ///< Get: a missing object is an exception, under the name as sent (RFC 3416, 4.2.1)
    bool isListAnsweredAtOnce;      ///< GetNext, GetBulk and Set: an operation sees all names, not one after the other
    bool doWalksContinue;           ///< after a column or row that a table doesn't have, with the next object
    bool doErrorsRepeatList;        ///< an error response has the varbinds of the request, and the index
    bool areRefusalsReported;       ///< a Set that an owner refuses gives commitFailed
    bool isEmptyBulkRefused;        ///< a GetBulk that requests nothing gives badValue
    bool isBulkServedInV1;          ///< otherwise it is dropped: v1 has no such PDU
    uint32_t maxRepetitions;        ///< a GetBulk with more gives tooBig
    uint32_t timeWindow;            ///< seconds by which the time of a v3 message may differ (RFC 3414, 2.2.3)
    bool isWindowInBothDirections;  ///< also for a time ahead of the agent's
    bool isMaxSizeRespected;        ///< a v3 reply is at most msgMaxSize octets long (RFC 3412, 7.1)
    /// The flags, the security model and msgMaxSize of a v3 message are checked, and a reply has the agent's own
    /// msgMaxSize and no reportable flag (RFC 3412, 7).
    bool isHeaderStandard;
    /// Checks are made, and Reports are sent, as RFC 3414, 3.2 requires. Includes --strict-usm.
    bool isUsmStandard;
    bool isContextChecked;  ///< the agent has one context, "" (RFC 3412, 4.2.2.1; RFC 3413, 3.2)

    bool trapTimeIsSysUpTime;         ///< of traps: the value that a Get returns, else time since the agent's start
    bool linkTrapsNameInstances;      ///< ifIndex.N and so on (RFC 2863), else without N
    bool linkTrapsHaveIfAdminStatus;  ///< the value that a Get returns, else whether there is carrier
    bool v1TrapsAreTranslated;        ///< enterprise, generic and specific by RFC 3584, 3.2, else as their makers say
};

/// How Tarnix routers have always answered: see docs/compatibility.md.
constexpr Rules kFixedRules = {
    .hasExceptions = false,         // compat: 2, 22, 23, 24
    .isListAnsweredAtOnce = false,  // compat: 3, 4, 7, 11, 12, 32
    .doWalksContinue = false,       // compat: 5, 6
    .doErrorsRepeatList = false,    // compat: 14, 15, 16
    .areRefusalsReported = false,   // compat: 27
    .isEmptyBulkRefused = true,     // compat: 9
    .isBulkServedInV1 = true,       // compat: 10
    .maxRepetitions = 50,           // compat: 8
    .timeWindow = 15,               // compat: 52
    .isWindowInBothDirections = false,
    .isMaxSizeRespected = false,          // compat: 13
    .isHeaderStandard = false,            // compat: 54, 55
    .isUsmStandard = false,               // compat: 48, 49, 50, 51, 53
    .isContextChecked = false,            // compat: 56
    .trapTimeIsSysUpTime = false,         // compat: 82
    .linkTrapsNameInstances = false,      // compat: 79
    .linkTrapsHaveIfAdminStatus = false,  // compat: 80
    .v1TrapsAreTranslated = false,        // compat: 83
};

/// --standard: RFC 3416, RFC 3412 and RFC 3414; v1 as RFC 1157 and RFC 3584 require.
constexpr Rules kStandardRules = {
    .hasExceptions = true,
    .isListAnsweredAtOnce = true,
    .doWalksContinue = true,
    .doErrorsRepeatList = true,
    .areRefusalsReported = true,
    .isEmptyBulkRefused = false,
    .isBulkServedInV1 = false,
    .maxRepetitions = UINT32_MAX,
    .timeWindow = 150,
    .isWindowInBothDirections = true,
    .isMaxSizeRespected = true,
    .isHeaderStandard = true,
    .isUsmStandard = true,
    .isContextChecked = true,
    .trapTimeIsSysUpTime = true,
    .linkTrapsNameInstances = true,
    .linkTrapsHaveIfAdminStatus = true,
    .v1TrapsAreTranslated = true,
};

}  // namespace snmp
