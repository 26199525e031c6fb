#pragma once

/// What makes a shared object a plug-in: it includes this header in one source and defines `autorun`.
extern "C" {

/// Called once, on the loop's thread, when the agent's own modules have registered what they serve and before the first
/// request. What it registers lives as long as the process (`snmp::keep`).
[[gnu::visibility("default")]] void autorun();

/// The version whose headers the plug-in was built with. The agent starts no plug-in that was built for another one:
/// classes are laid out as in its own version only. Weak, so that each plug-in has its own, however many of its sources
/// include this.
[[gnu::visibility("default"), gnu::weak]] const char* tarnixPluginVersion() { return TARNIX_VERSION; }
}
