#pragma once

namespace snmp {

/// Registers vmwVmTable (enterprise 6876), with one row per guest of this machine. Called once, at startup.
void start_vm_module();

}  // namespace snmp
