#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tn {

/// Sets the folder that contains every platform path (--root). Until then it is TERN_ROOT of the environment. If that
/// is unset or empty, too, no root is given: the folder is "/", and the build decides where the platform's folders are
/// (TARNIX_STORE_DIR and others in CMakeLists.txt).
void setRoot(std::string_view root);
[[nodiscard]] const std::string& root();
/// The file of a platform path ("/tern/store/snmpd"): the path below the root, or in the folder that the build set.
[[nodiscard]] std::string rooted(std::string_view path);
/// The folder of the bus's sockets and locks: /tern/run/bus, rooted.
[[nodiscard]] std::string busFolder();
/// The folders of plug-ins: /tern/lib/snmp under the root, or those that the build set.
[[nodiscard]] std::vector<std::string> pluginFolders();

/// Creates a folder below the root with this mode, and missing folders between them with mode 0755, whatever the umask.
/// A missing root is created, too, with a mode that the umask limits. Existing folders stay unchanged. False, with
/// errno set, on failure; folders created before it remain.
bool makeFolder(const std::string& path, unsigned mode);

/// A part of a path that can be changed or replaced by a user other than root and the process's own, and the reason.
/// Empty if there is none.
struct Exposure {
    std::string part;
    std::string reason;  ///< "belongs to user 7", "writable by users other than its owner", or why it can't be examined
    explicit operator bool() const { return !part.empty(); }
};

/// For exposedPart: all folders up to "/".
inline constexpr size_t kToTheTop = static_cast<size_t>(-1);
/// Checks the path itself, which may be a symbolic link, then its target, then the folders above the target. Sticky
/// folders above may be writable by others, since these can replace only their own files there. A missing path isn't
/// exposed.
/// @param foldersAbove  number of folders above the target to check
/// @return the first exposed part
[[nodiscard]] Exposure exposedPart(const std::string& path, size_t foldersAbove);

/// Whether no other user can replace files in the root and the platform's folders below it. Each that exists must
/// belong to root or to us and be writable only by its owner. Two exceptions for the root itself: if it is sticky,
/// anyone may write to it; if it belongs to us and to our primary group, that group may, as with private groups and a
/// umask of 002. Folders above the root aren't checked. If no root is given, all folders up to "/" are.
/// @param why  one line if the result is false
[[nodiscard]] bool isRootSafe(std::string& why);

}  // namespace tn
