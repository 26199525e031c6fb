#include "hostd/machine/version.h"

#include <sys/utsname.h>

#include <algorithm>

namespace hostd {

namespace {

/// Removes a value's quotes, as a shell does. Within double quotes, a backslash escapes the next character.
std::string unquoted(std::string_view value) {
    if (value.empty() || (value.front() != '"' && value.front() != '\'')) return std::string(value);
    const char quote = value.front();
    std::string plain;
    for (size_t i = 1; i < value.size() && value[i] != quote; ++i) {
        if (quote == '"' && value[i] == '\\' && i + 1 < value.size()) ++i;
        plain += value[i];
    }
    return plain;
}

}  // namespace

std::string prettyName(std::string_view osRelease) {
    constexpr std::string_view kName = "PRETTY_NAME=";
    while (!osRelease.empty()) {
        const size_t end = std::min(osRelease.find('\n'), osRelease.size());
        const std::string_view line = osRelease.substr(0, end);
        if (line.starts_with(kName)) return unquoted(line.substr(kName.size()));
        osRelease.remove_prefix(std::min(end + 1, osRelease.size()));
    }
    return {};
}

std::string versionText(std::string_view osRelease) {
    utsname kernel{};
    ::uname(&kernel);
    const std::string distribution = prettyName(osRelease);
    return distribution + (distribution.empty() ? "" : ", ") + kernel.sysname + " " + kernel.release + " " +
           kernel.machine;
}

}  // namespace hostd
