#pragma once

namespace snmp {

/// Registers entPhysicalTable (RFC 4133): the chassis, and every PCI and USB device in it. Alias and asset id of the
/// chassis are writable and stored in /tern/store/snmp_entity. If they can't be stored, that is logged, and the Set
/// succeeds all the same. Called once, at startup.
void start_entity_module();

}  // namespace snmp
