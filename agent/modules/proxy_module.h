#pragma once

namespace snmp {

/// Registers the scalars of the web proxy. Called once, by start_ip_module.
void startWebProxy();

}  // namespace snmp
