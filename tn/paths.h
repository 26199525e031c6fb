#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tn {

/// The folder that contains every platform path: --root, else the environment's TERN_ROOT, else "/".
void setRoot(std::string_view root);
[[nodiscard]] const std::string& root();
/// A platform path ("/tern/store/snmpd") under the root.
[[nodiscard]] std::string rooted(std::string_view path);
/// The folder of the bus's sockets and locks, /tern/run/bus under the root.
[[nodiscard]] std::string busFolder();

/// Creates a folder under the root with this mode, and missing ones between it and the root with mode 0755, whatever
/// the umask. Existing ones stay as they are. False, errno set, when that fails.
bool makeFolder(const std::string& path, unsigned mode);

/// What others than root and this process's user can change or swap, and why; empty when there is nothing.
struct Exposure {
    std::string part;
    std::string reason;  ///< "belongs to user 7", "writable by users other than its owner"
    explicit operator bool() const { return !part.empty(); }
};

/// All folders up to "/", for exposedPart.
inline constexpr size_t kToTheTop = static_cast<size_t>(-1);
/// The first part of a path that others own or may write: the path itself, a link or not, what it leads to, then so
/// many folders above that. Others may write a sticky folder above: there they replace only their own files. A missing
/// path isn't exposed.
[[nodiscard]] Exposure exposedPart(const std::string& path, size_t foldersAbove);

/// Whether no other user can swap files in the platform's folders: the root and those that exist belong to root or
/// to us, and only their owner may write them. Folders above the root aren't checked. The root may be sticky, and
/// may be written by our own primary group when it is ours: so a user with a private group and a umask of 002 makes
/// folders.
/// @param why  one line when it isn't so
[[nodiscard]] bool isRootSafe(std::string& why);

}  // namespace tn
