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
/// Creates a folder under the root with this mode, and missing ones between it and the root with mode 0755, whatever
/// the umask. Existing ones stay as they are. False, errno set, when that fails.
bool makeFolder(const std::string& path, unsigned mode);
/// Whether the platform's folders that exist belong to root or to us and only their owner can write to them, so that
/// nobody else can replace files there. The root may belong to anyone, but not be world-writable unless sticky.
/// @param why  one line when that isn't so
[[nodiscard]] bool isRootSafe(std::string& why);

}  // namespace tn
