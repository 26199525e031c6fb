#pragma once

/// Every plug-in includes this header and defines `autorun`.
extern "C" {

/// Called once, on the loop's thread: after the agent's own modules have registered their objects, before the first
/// request. Before that, a child process without owners and without the agent's files, sockets and output calls it
/// once, to find out whether it crashes or hangs. Branches, tables and providers that it registers must live as long as
/// the process (`snmp::keep`). If it throws, that is logged, and what it has registered so far remains.
[[gnu::visibility("default")]] void autorun();

/// The version of the agent whose headers the plug-in was built with. The agent doesn't call `autorun` of a plug-in for
/// another version, because the layout of its classes may differ. The function is weak: several sources of a plug-in
/// may include this header.
[[gnu::visibility("default"), gnu::weak]] const char* tarnixPluginVersion() { return TARNIX_VERSION; }
}
