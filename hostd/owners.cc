#include "hostd/owners.h"

#include <unistd.h>

#include <set>

#include "contracts/activity.h"
#include "contracts/addresses.h"
#include "contracts/bridge.h"
#include "contracts/devices.h"
#include "contracts/disks.h"
#include "contracts/extend.h"
#include "contracts/file_systems.h"
#include "contracts/first_bridge.h"
#include "contracts/guests.h"
#include "contracts/health.h"
#include "contracts/host.h"
#include "contracts/inet.h"
#include "contracts/interface_stack.h"
#include "contracts/interfaces.h"
#include "contracts/ip_counters.h"
#include "contracts/lldp_systems.h"
#include "contracts/memory.h"
#include "contracts/neighbors.h"
#include "contracts/proxy.h"
#include "contracts/queues.h"
#include "contracts/readings.h"
#include "contracts/routes.h"
#include "contracts/scripts.h"
#include "contracts/sensors.h"
#include "contracts/sockets.h"
#include "contracts/supervisor.h"
#include "contracts/system.h"
#include "hostd/inet/addresses.h"
#include "hostd/inet/arp_entries.h"
#include "hostd/inet/forwarding.h"
#include "hostd/inet/inet_addresses.h"
#include "hostd/inet/inet_neighbors.h"
#include "hostd/inet/inet_routes.h"
#include "hostd/inet/ip_counters.h"
#include "hostd/inet/ip_interfaces.h"
#include "hostd/inet/ip_statistics.h"
#include "hostd/inet/routes.h"
#include "hostd/inet/sockets.h"
#include "hostd/links/bridge_tables.h"
#include "hostd/links/interfaces.h"
#include "hostd/links/link_stack.h"
#include "hostd/links/lldp_tables.h"
#include "hostd/links/neighbors.h"
#include "hostd/links/queues.h"
#include "hostd/machine/activity.h"
#include "hostd/machine/disk_activity.h"
#include "hostd/machine/disk_table.h"
#include "hostd/machine/file_systems.h"
#include "hostd/machine/hardware.h"
#include "hostd/machine/host_facts.h"
#include "hostd/machine/memory_sizes.h"
#include "hostd/machine/packages.h"
#include "hostd/machine/pci.h"
#include "hostd/machine/processes.h"
#include "hostd/machine/system.h"
#include "hostd/machine/usb.h"
#include "hostd/machine/usb_reset.h"
#include "hostd/sensors/health.h"
#include "hostd/sensors/sensor_table.h"
#include "hostd/services/extend.h"
#include "hostd/services/guests.h"
#include "hostd/services/machined.h"
#include "hostd/services/proxy.h"
#include "hostd/services/scripts.h"
#include "hostd/source/readings.h"
#include "hostd/supervisor/supervisor.h"
#include "hostd/supervisor/undo_journal.h"
#include "tn/paths.h"

namespace hostd {

namespace {

void addSensor(CLI::App& app, const std::string& option, std::string& choice, const std::string& what) {
    app.add_option(option, choice, "Sensor for " + what + ", named as in the output of sensors(1), or none")
        ->check(checkChoice)
        ->option_text("CHIP/FEATURE");
}

/// What owners of plug-ins' data may share with the agent's own.
struct Shared {
    const Options& options;
    Interfaces& interfaces;
    Routes& routes;
    std::shared_ptr<Disks> disks;
    std::shared_ptr<FirstBridge> bridge = watchFirstBridge();
    std::shared_ptr<LldpSource> lldp = std::make_shared<LldpSource>();
    std::shared_ptr<SocketWatch> sockets = watchSockets(options.proc);
    std::shared_ptr<ExtendRuns> commands = std::make_shared<ExtendRuns>(tn::rooted("/etc/tarnix-snmp/extend.conf"));
    std::shared_ptr<Ipv6Routes> ipv6Routes = std::make_shared<Ipv6Routes>(FirstReading::OnRequest);
    std::shared_ptr<Hardware> hardware = std::make_shared<Hardware>(options.proc, options.sysfs);

    /// Returns the current links, once it is called.
    [[nodiscard]] std::function<const LinkTable&()> links() const {
        return [&from = interfaces]() -> const LinkTable& { return from.currentLinks(); };
    }
};

struct PluginOwner {
    std::span<const uint32_t> path;
    std::unique_ptr<tn::Handler> (*make)(const Shared&);
};

/// Makes an owner that needs only the path of the kernel's process tree.
template <class Owner>
std::unique_ptr<tn::Handler> makeFrom(const Shared& shared) {
    return std::make_unique<Owner>(shared.options.proc);
}

template <class Owner>
std::unique_ptr<tn::Handler> makeAlone(const Shared&) {
    return std::make_unique<Owner>();
}

/// The owners of data that only plug-ins show, by the plug-in that needs them. They exist whether or not it is loaded,
/// so they must read nothing before the first request, and hold nothing that costs memory.
constexpr PluginOwner kPluginOwners[] = {
    // bridge: {24, 1080} to {24, 1089}
    {contracts::first_bridge::kPath,
     [](const Shared& shared) -> std::unique_ptr<tn::Handler> { return std::make_unique<BridgeState>(shared.bridge); }},
    {contracts::bridge_ports::kPath,
     [](const Shared& shared) -> std::unique_ptr<tn::Handler> { return std::make_unique<BridgePorts>(shared.bridge); }},
    {contracts::bridge_vlans::kPath,
     [](const Shared& shared) -> std::unique_ptr<tn::Handler> { return std::make_unique<BridgeVlans>(shared.bridge); }},
    {contracts::bridge_hosts::kByMacPath,
     [](const Shared& shared) -> std::unique_ptr<tn::Handler> {
         return std::make_unique<BridgeHosts>(shared.bridge, BridgeHosts::Order::ByMac);
     }},
    {contracts::bridge_hosts::kByVlanPath,
     [](const Shared& shared) -> std::unique_ptr<tn::Handler> {
         return std::make_unique<BridgeHosts>(shared.bridge, BridgeHosts::Order::ByVlan);
     }},

    // etherlike: {24, 1090} to {24, 1099}

    // extend: {24, 1100} to {24, 1109}
    {contracts::extend::kPath,
     [](const Shared& shared) -> std::unique_ptr<tn::Handler> {
         return std::make_unique<ExtendCommands>(shared.commands);
     }},
    {contracts::extend_lines::kPath,
     [](const Shared& shared) -> std::unique_ptr<tn::Handler> {
         return std::make_unique<ExtendLines>(shared.commands);
     }},

    // host: {24, 1020} to {24, 1029}
    {contracts::host_facts::kPath,
     [](const Shared& shared) -> std::unique_ptr<tn::Handler> {
         return std::make_unique<HostFacts>(shared.options.proc, "/run/utmp");
     }},
    {contracts::hardware::kPath,
     [](const Shared& shared) -> std::unique_ptr<tn::Handler> {
         return std::make_unique<Devices>(shared.hardware, shared.links());
     }},
    {contracts::partitions::kPath,
     [](const Shared& shared) -> std::unique_ptr<tn::Handler> {
         return std::make_unique<Partitions>(shared.hardware);
     }},
    {contracts::processes::kPath, makeFrom<Processes>},
    {contracts::packages::kPath,
     [](const Shared&) -> std::unique_ptr<tn::Handler> { return std::make_unique<Packages>("/var/lib/dpkg"); }},

    // ifx: {24, 1000} to {24, 1009}
    {contracts::interface_stack::kPath,
     [](const Shared& shared) -> std::unique_ptr<tn::Handler> { return std::make_unique<LinkStack>(shared.links()); }},

    // ip-mib: {24, 1040} to {24, 1059}
    {contracts::inet_addresses::kPath, makeAlone<InetAddresses>},
    {contracts::inet_prefixes::kPath, makeAlone<InetPrefixes>},
    {contracts::inet_neighbors::kPath, makeAlone<InetNeighbors>},
    {contracts::ip_statistics::kSystemPath, makeFrom<IpStatistics>},
    {contracts::ip_statistics::kInterfacesPath,
     [](const Shared& shared) -> std::unique_ptr<tn::Handler> {
         return std::make_unique<IpInterfaceStatistics>(shared.options.proc, shared.links());
     }},
    {contracts::icmp_messages::kPath, makeFrom<IcmpMessages>},
    {contracts::ip_interfaces::kIPv4Path,
     [](const Shared& shared) -> std::unique_ptr<tn::Handler> {
         return std::make_unique<IpInterfaces>(shared.options.proc, /*isIPv6=*/false, shared.links());
     }},
    {contracts::ip_interfaces::kIPv6Path,
     [](const Shared& shared) -> std::unique_ptr<tn::Handler> {
         return std::make_unique<IpInterfaces>(shared.options.proc, /*isIPv6=*/true, shared.links());
     }},
    {contracts::inet_routes::kPath,
     [](const Shared& shared) -> std::unique_ptr<tn::Handler> {
         return std::make_unique<InetRoutes>(shared.routes, shared.ipv6Routes);
     }},
    {contracts::default_routers::kPath,
     [](const Shared& shared) -> std::unique_ptr<tn::Handler> {
         return std::make_unique<DefaultRouters>(shared.routes, shared.ipv6Routes);
     }},
    {contracts::sockets::kConnectionsPath, [](const Shared& shared) { return makeConnections(shared.sockets); }},
    {contracts::sockets::kListenersPath, [](const Shared& shared) { return makeListeners(shared.sockets); }},
    {contracts::sockets::kEndpointsPath, [](const Shared& shared) { return makeEndpoints(shared.sockets); }},

    // lldp: {24, 1060} to {24, 1069}
    {contracts::lldp_systems::kLocalPath,
     [](const Shared& shared) -> std::unique_ptr<tn::Handler> { return std::make_unique<LldpLocal>(shared.lldp); }},
    {contracts::lldp_ports::kPath,
     [](const Shared& shared) -> std::unique_ptr<tn::Handler> { return std::make_unique<LldpPorts>(shared.lldp); }},
    {contracts::lldp_addresses::kLocalPath,
     [](const Shared& shared) -> std::unique_ptr<tn::Handler> {
         return std::make_unique<LldpLocalAddresses>(shared.lldp);
     }},
    {contracts::lldp_systems::kRemotePath,
     [](const Shared& shared) -> std::unique_ptr<tn::Handler> { return std::make_unique<LldpRemotes>(shared.lldp); }},
    {contracts::lldp_addresses::kRemotePath,
     [](const Shared& shared)
         -> std::unique_ptr<tn::Handler> { return std::make_unique<LldpRemoteAddresses>(shared.lldp); }},

    // mib2: {24, 1030} to {24, 1039}
    {contracts::ip_counters::kPath,
     [](const Shared& shared)
         -> std::unique_ptr<tn::Handler> { return std::make_unique<IpCounters>(shared.options.proc); }},
    {contracts::sockets::kTcpIPv4Path, [](const Shared& shared) { return makeTcpIPv4(shared.sockets); }},
    {contracts::sockets::kUdpIPv4Path, [](const Shared& shared) { return makeUdpIPv4(shared.sockets); }},

    // sensors: {24, 1070} to {24, 1079}
    {contracts::sensors::kPath,
     [](const Shared& shared) -> std::
                                  unique_ptr<tn::Handler> {
                                      return std::make_unique<SensorTable>(
                                          [sysfs = shared.options.sysfs] { return readAllSensors(sysfs); });
                                  }},

    // ucd: {24, 1010} to {24, 1019}
    {contracts::file_systems::kPath, makeFrom<FileSystems>},
    {contracts::memory::kPath, makeFrom<MemorySizes>},
    {contracts::activity::kPath, makeFrom<Activity>},
    {contracts::load_averages::kPath, makeFrom<LoadAverages>},
    {contracts::disk_activity::kPath, makeFrom<DiskActivity>},
};

}  // namespace

void addOptions(CLI::App& app, Options& options) {
    app.add_option("--proc", options.proc, "Read process and memory data from this tree (for tests)")
        ->check(CLI::ExistingDirectory)
        ->option_text("DIR [/proc]");
    app.add_option("--sysfs", options.sysfs, "Read device data from this tree (for tests)")
        ->check(CLI::ExistingDirectory)
        ->option_text("DIR [/sys]");
    addSensor(app, "--voltage-sensor", options.sensors[kVoltage], "the supply voltage");
    addSensor(app, "--board-sensor", options.sensors[kBoardTemperature], "the board temperature");
    addSensor(app, "--cpu-sensor", options.sensors[kCpuTemperature], "the processor temperature");
    app.add_option("--guests-uri", options.guestsUri, "libvirt URI for virtual machines")
        ->option_text("URI [qemu:///system]");
    app.add_option("--podhost-uri", options.podhostUri, "libvirt URI for containers")
        ->option_text("URI [lxc:///system]");
    app.add_option("--proxy-url", options.proxyUrl, "URL of the squid that provides the web proxy counters")
        ->option_text("URL [http://127.0.0.1:3128]");
    app.add_flag("--allow-reboot", options.allowReboot,
                 "Allow bus clients and communities with write access to reboot this machine");
    app.add_flag("--allow-usb-reset", options.allowUsbReset,
                 "Allow bus clients and communities with write access to power-cycle USB ports");
    app.add_flag("--allow-link-changes", options.allowLinkChanges,
                 "Allow bus clients and communities with write access to bring network interfaces up and down");
}

Owners::Owners(const Options& options) {
    auto journal = std::make_unique<UndoJournal>();
    auto supervisor = std::make_unique<Supervisor>(options.proc, *journal);
    supervisor_ = supervisor.get();
    const SystemInfo::Paths paths{.proc = options.proc, .sysfs = options.sysfs};
    const auto own = [this](std::span<const uint32_t> path, std::unique_ptr<tn::Handler> handler) {
        owners_.push_back({{path.begin(), path.end()}, std::move(handler)});
    };

    own(contracts::supervisor::kPath, std::move(supervisor));
    own(contracts::undo_journal::kPath, std::move(journal));
    own(contracts::readings::kPath, std::make_unique<Readings>());
    own(contracts::system::kPath, std::make_unique<System>(options.allowReboot ? rebootMachine : Reboot()));
    own(contracts::system_time::kPath, std::make_unique<SystemTime>());
    own(contracts::identity::kPath, std::make_unique<Identity>());
    const auto disks = watchDisks(options.proc);
    own(contracts::system_info::kPath, std::make_unique<SystemInfo>(paths, disks));
    own(contracts::pci_devices::kPath, std::make_unique<PciDevices>(options.sysfs));
    own(contracts::usb_devices::kPath, std::make_unique<UsbDevices>(options.sysfs));
    own(contracts::neighbors::kPath, std::make_unique<Neighbors>());
    own(contracts::health::kPath,
        std::make_unique<Health>([options] { return readHealth(options.sysfs, options.sensors); }));
    own(contracts::bridge::kForwardingPath, std::make_unique<Forwarding>());
    auto links = std::make_unique<Interfaces>(options.sysfs, options.allowLinkChanges ? switchLink : LinkSwitch());
    auto routes = std::make_unique<Routes>();
    const Shared shared{options, *links, *routes, disks};
    own(contracts::interfaces::kPath, std::move(links));
    own(contracts::addresses::kPath, std::make_unique<Addresses>());
    own(contracts::arp::kPath, std::make_unique<ArpEntries>());
    const auto queues = watchQueues();
    own(contracts::queues::kInterfacesPath, std::make_unique<InterfaceQueues>(queues));
    own(contracts::queues::kTreePath, std::make_unique<QueueTree>(queues));
    own(contracts::routes::kPath, std::move(routes));
    own(contracts::scripts::kPath, std::make_unique<Scripts>(tn::rooted("/tern/scripts")));
    own(contracts::disks::kPath, std::make_unique<DiskTable>(disks));
    own(contracts::proxy::kPath, std::make_unique<Proxy>([url = options.proxyUrl] { return readSquid(url); }));
    own(contracts::usb_reset::kPath, std::make_unique<UsbReset>(options.sysfs, options.allowUsbReset));
    own(contracts::podhost_guests::kPath,
        std::make_unique<PodhostGuests>([uri = options.podhostUri, machined = std::make_shared<Machined>()] {
            return readContainers(uri, *machined);
        }));
    own(contracts::virtual_machines::kPath,
        std::make_unique<VirtualMachines>([uri = options.guestsUri] { return readGuests(uri); }));
    for (const PluginOwner& owner : kPluginOwners) own(owner.path, owner.make(shared));
}

Owners::~Owners() = default;

std::vector<uint32_t> Owners::numbers() const {
    std::set<uint32_t> all;
    for (const Owner& owner : owners_) all.insert(owner.path.front());
    return {all.begin(), all.end()};
}

void Owners::addTo(tn::Looper& looper) {
    for (const Owner& owner : owners_) {
        looper.addHandler(owner.path, owner.handler.get());
        supervisor_->announce(static_cast<uint32_t>(::getpid()), owner.path.front());
    }
}

}  // namespace hostd
