#pragma once

#include <string>
#include <string_view>

namespace tn {

/// The folder under which every platform path lies: --root, else the environment's TERN_ROOT, else "/".
void setRoot(std::string_view root);
[[nodiscard]] const std::string& root();
/// A platform path ("/tern/store/snmpd") under the root.
[[nodiscard]] std::string rooted(std::string_view path);
[[nodiscard]] std::string busFolder();
/// Makes the folder and those above it, with this mode for the last one. False, errno set, when that fails.
bool makeFolder(const std::string& path, unsigned mode);

}  // namespace tn
