#pragma once

namespace snmp {

/// Registers the vendor's system control (reboot, USB reset), scripts and neighbours. A Set there acts at once; reading
/// a control gives 0. Called once, at startup.
void start_vendor_module();

}  // namespace snmp
