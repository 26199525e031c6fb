#pragma once

namespace snmp {

/// Serves entPhysicalTable (RFC 4133): the chassis, and every PCI and USB device in it. Alias and asset id of the
/// chassis can be written and are kept in the store /tern/store/snmp_entity. Called once, at start.
void start_entity_module();

}  // namespace snmp
