#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace snmp {

/// error-status of a response PDU (RFC 3416, section 3), and the result of an operation on a request.
enum class ErrorStatus : uint32_t {
    NoError = 0,
    TooBig = 1,
    NoSuchName = 2,
    BadValue = 3,
    ReadOnly = 4,
    GenErr = 5,
    NoAccess = 6,
    WrongType = 7,
    WrongLength = 8,
    WrongEncoding = 9,
    WrongValue = 10,
    NoCreation = 11,
    InconsistentValue = 12,
    ResourceUnavailable = 13,
    CommitFailed = 14,
    UndoFailed = 15,
    AuthErr = 16,
    NotWritable = 17,
    InconsistentName = 18,
    Critical = 0xffffffff,  ///< never sent: the request is dropped
};

/// The texts by number, for the debug log.
constexpr std::array<std::string_view, 19> kErrorStatusText = {
    "no error",           "too big",
    "no such name",       "bad value",
    "read only",          "gen err",
    "no access",          "wrong type",
    "wrong length",       "wrong encoding",
    "wrong value",        "no creation",
    "inconsistent value", "resource unavailable",
    "commmit failed",  // compat: 93
    "undo failed",        "auth err",
    "not writable",       "inconsistent name",
};
static_assert(kErrorStatusText[static_cast<size_t>(ErrorStatus::InconsistentName)] == "inconsistent name");

/// The text of an error-status. For one that isn't in RFC 3416: "unknown error" and its number.
inline std::string errorStatusText(ErrorStatus status) {
    const auto number = static_cast<uint32_t>(status);
    if (number < kErrorStatusText.size()) return std::string(kErrorStatusText[number]);
    return "unknown error " + std::to_string(number);
}

}  // namespace snmp
