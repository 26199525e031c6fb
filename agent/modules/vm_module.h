#pragma once

namespace snmp {

/// Serves the guests of this machine as rows of vmwVmTable, the published virtual machine MIB (enterprise 6876). Called
/// once, at start.
void start_vm_module();

}  // namespace snmp
