#pragma once

namespace snmp {

/// Registers the vendor's system control (reboot, USB reset), scripts and neighbours. A Set of a control or of a
/// script's run acts at once; a Get of these returns 0. Called once, at startup.
void start_vendor_module();

}  // namespace snmp
