#pragma once

#include <string>
#include <string_view>

namespace hostd {

/// What this machine runs, for people: "Debian GNU/Linux 12 (bookworm), Linux 6.1.0-18-amd64 x86_64".
/// @param osRelease  text of os-release(5); without PRETTY_NAME in it only the kernel is named (uname(2))
[[nodiscard]] std::string versionText(std::string_view osRelease);

/// The value of PRETTY_NAME in the text of os-release(5), without its quotes; empty when it isn't there.
[[nodiscard]] std::string prettyName(std::string_view osRelease);

}  // namespace hostd
