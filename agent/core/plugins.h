#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace snmp {

/// Time in which the agent waits for the trials of its plug-ins before it starts without those that are late.
inline constexpr std::chrono::milliseconds kPluginTime{500};

/// Begins the trials of the plug-ins in a directory and its subdirectories: every file named *.so, in the order of
/// their names. A child process loads and starts each plug-in, all at the same time. If it ends or doesn't finish
/// within 10 s, the plug-in is refused. Call it while this process has one thread: a lock that another one holds would
/// never be released in the child.
///
/// Names that begin with a dot are skipped. A directory whose path is longer than 128 octets isn't searched, which ends
/// loops of symlinks. At most 200 directories are searched. A file that stat() fails on ends the search of its
/// directory (compat: 92).
/// @param disabled  setting::DisabledPlugins: they are recorded but not loaded
/// @param before    called in the child process first: registers the objects that plug-ins extend
void tryPlugins(const std::string& directory, const std::vector<std::string>& disabled = {},
                const std::function<void()>& before = {});

/// Waits for the trials, and loads the plug-ins in the order in which they were found. Calls each plug-in's `autorun`
/// (agent/core/autorun.h). A loaded object stays loaded until the process ends.
///
/// `statistics` records the plug-ins, with the prefixes that each has registered. A fault in one is reported on
/// standard error and affects only that plug-in: it can't be loaded, was built for another version, has no `autorun`,
/// throws, ends the process or hangs, or users other than root and the agent's own can write it. A directory that such
/// users can write isn't searched, even if it is sticky, because they could replace the files in it. Both rules hold
/// for the target of a symlink as well.
/// @param until  as of tn::sinceBoot; plug-ins whose trial takes longer are left to loadLatePlugins()
void loadPlugins(std::chrono::milliseconds until);

/// Loads or refuses those of the late plug-ins whose trial is over. Their generators get the numbers in `scribers` that
/// they would have if they hadn't been late. @return whether others remain
[[nodiscard]] bool loadLatePlugins();

/// Whether the name of a plug-in, its file's without ".so", is in a list.
[[nodiscard]] bool isDisabled(const std::string& file, const std::vector<std::string>& disabled);

}  // namespace snmp
