#pragma once

#include <string>

namespace snmp {

/// Loads every plug-in under the directory: each file called *.so, in subdirectories too, in the order in which they
/// are listed. Its function `autorun` (agent/core/autorun.h) registers what it serves; the object stays loaded until
/// the process ends.
///
/// Whatever is wrong with a plug-in costs that plug-in alone and is told on standard error: it can't be loaded, was
/// built for another version, has no `autorun`, throws, or may be written by others than root and the agent's own
/// user. A folder that they may write is left out whole, sticky or not: who may write it may swap what lies in it. The
/// same goes for the folder to which a symlink leads. Names that begin with a dot are left out. A directory whose path
/// is longer than 128 octets isn't searched: that ends a symlink to a directory above it.
void loadPlugins(const std::string& directory);

}  // namespace snmp
