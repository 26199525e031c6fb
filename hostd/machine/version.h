#pragma once

#include <string>
#include <string_view>

namespace hostd {

/// Operating system and kernel of this machine, for people: "Debian GNU/Linux 12 (bookworm), Linux 6.1.0-18-amd64
/// x86_64".
/// @param osRelease  text of os-release(5); without PRETTY_NAME only the kernel is named (uname(2))
[[nodiscard]] std::string versionText(std::string_view osRelease);

/// The value of PRETTY_NAME in the text of os-release(5), without its quotes; empty when there is none.
[[nodiscard]] std::string prettyName(std::string_view osRelease);

}  // namespace hostd
