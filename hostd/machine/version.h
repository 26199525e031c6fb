#pragma once

#include <string>
#include <string_view>

namespace hostd {

/// A line for people with the operating system (os-release(5)) and the kernel (uname(2)) of this machine: "Debian
/// GNU/Linux 12 (bookworm), Linux 6.1.0-18-amd64 x86_64".
/// @param osRelease  text of os-release; without PRETTY_NAME in it, the line has the kernel only
[[nodiscard]] std::string versionText(std::string_view osRelease);

/// The value of PRETTY_NAME in the text of os-release(5), without quotes and escapes. Empty when there is none.
[[nodiscard]] std::string prettyName(std::string_view osRelease);

}  // namespace hostd
