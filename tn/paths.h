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
/// Makes a folder under the root and those above it, whatever the umask: those between the root and the last one with
/// mode 0755, the last one with this mode. What is there stays as it is. False, errno set, when that fails.
bool makeFolder(const std::string& path, unsigned mode);
/// Whether no other user can swap what lies in the platform's folders: those that exist belong to root or to us, and
/// only their owner may write them. The root itself may belong to anyone.
/// @param why  one line when it isn't so
[[nodiscard]] bool isRootSafe(std::string& why);

}  // namespace tn
