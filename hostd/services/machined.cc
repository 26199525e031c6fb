#include "hostd/services/machined.h"

#include <libvirt/libvirt.h>
#include <systemd/sd-bus.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>
#include <type_traits>

namespace hostd {

namespace {

constexpr const char* kMachined = "org.freedesktop.machine1";
constexpr const char* kManager = "org.freedesktop.machine1.Manager";
constexpr const char* kManagerPath = "/org/freedesktop/machine1";
constexpr const char* kMachine = "org.freedesktop.machine1.Machine";
constexpr const char* kSystemd = "org.freedesktop.systemd1";
constexpr const char* kUnits = "/org/freedesktop/systemd1/unit";

constexpr uint64_t kMib = 1024 * 1024;

using Message = std::unique_ptr<sd_bus_message, decltype(&sd_bus_message_unref)>;

/// A D-Bus connection. After a timeout, or when the connection is lost or was never made, all calls fail at once.
class Bus {
  public:
    Bus(const std::string& address, std::chrono::microseconds timeout) {
        sd_bus* bus = nullptr;
        if (address.empty()) {
            failure_ = sd_bus_open_system(&bus);
            bus_.reset(bus);
        } else {
            failure_ = sd_bus_new(&bus);
            bus_.reset(bus);
            if (failure_ >= 0) failure_ = sd_bus_set_address(bus, address.c_str());
            if (failure_ >= 0) failure_ = sd_bus_set_bus_client(bus, 1);
            if (failure_ >= 0) failure_ = sd_bus_start(bus);
        }
        if (failure_ >= 0) sd_bus_set_method_call_timeout(bus, static_cast<uint64_t>(timeout.count()));
    }

    /// Calls a method and waits for the reply. A service that doesn't run isn't started.
    /// @param types  D-Bus types of the arguments: "ss"
    /// @param words  the arguments
    /// @return the reply; nullptr on failure
    template <class... Words>
    Message call(const char* service, const char* path, const char* interface, const char* member, const char* types,
                 Words... words) {
        Message nothing(nullptr, sd_bus_message_unref);
        if (failure_ < 0) return nothing;
        sd_bus_message* raw = nullptr;
        int result = sd_bus_message_new_method_call(bus_.get(), &raw, service, path, interface, member);
        const Message request(raw, sd_bus_message_unref);
        if (result >= 0) result = sd_bus_message_set_auto_start(raw, 0);
        if (result >= 0) result = sd_bus_message_append(raw, types, words...);
        sd_bus_message* reply = nullptr;
        if (result >= 0) result = sd_bus_call(bus_.get(), raw, 0, nullptr, &reply);
        if (result >= 0) return {reply, sd_bus_message_unref};
        refusal_ = result;
        if (result == -ETIMEDOUT || sd_bus_is_open(bus_.get()) <= 0) failure_ = result;
        return nothing;
    }

    /// Reads a property. False, with `value` unchanged, on failure.
    /// @param type  D-Bus type of the property, a basic one: "t"
    template <class Value>
    bool read(const char* service, const char* path, const char* interface, const char* name, const char* type,
              Value& value) {
        const Message reply = call(service, path, "org.freedesktop.DBus.Properties", "Get", "ss", interface, name);
        if constexpr (std::is_same_v<Value, std::string>) {
            const char* text = nullptr;
            if (!reply || sd_bus_message_read(reply.get(), "v", type, &text) <= 0) return false;
            value = text;
            return true;
        } else {
            return reply && sd_bus_message_read(reply.get(), "v", type, &value) > 0;
        }
    }

    /// True if the connection can't be used any more.
    [[nodiscard]] bool hasFailed() const { return failure_ < 0; }
    /// The reason of the last failure, as a line for people. Empty if the bus or the service doesn't run.
    [[nodiscard]] std::string problem() const {
        const int reason = failure_ < 0 ? -failure_ : -refusal_;
        const bool isAbsent = reason == ENOENT || reason == ECONNREFUSED ||  // the bus
                              reason == ENXIO || reason == EHOSTUNREACH;     // the service
        return isAbsent || reason == 0 ? "" : std::string("systemd-machined: ") + std::strerror(reason);
    }

  private:
    std::unique_ptr<sd_bus, decltype(&sd_bus_close_unref)> bus_{nullptr, sd_bus_close_unref};
    int failure_ = 0;  ///< negative errno: why the connection can't be used; 0 or more while it can
    int refusal_ = 0;  ///< negative errno of the last call that failed
};

/// The memory limit of a systemd unit in MiB; 0 when it has none or the query fails.
uint32_t memoryOf(Bus& bus, const std::string& unit) {
    char* path = nullptr;
    if (sd_bus_path_encode(kUnits, unit.c_str(), &path) < 0) return 0;
    const std::unique_ptr<char, decltype(&std::free)> owner(path, std::free);
    const std::string interface = std::string(kSystemd) + (unit.ends_with(".scope") ? ".Scope" : ".Service");
    uint64_t octets = UINT64_MAX;
    const bool isLimited = bus.read(kSystemd, path, interface.c_str(), "MemoryMax", "t", octets) && octets < UINT64_MAX;
    return isLimited ? static_cast<uint32_t>(std::min<uint64_t>(octets / kMib, UINT32_MAX)) : 0;
}

std::string osOf(Bus& bus, const std::string& name) {
    const Message reply = bus.call(kMachined, kManagerPath, kManager, "GetMachineOSRelease", "s", name.c_str());
    if (!reply || sd_bus_message_enter_container(reply.get(), 'a', "{ss}") <= 0) return {};
    const char* key = nullptr;
    const char* value = nullptr;
    while (sd_bus_message_read(reply.get(), "{ss}", &key, &value) > 0)
        if (std::string_view(key) == "PRETTY_NAME") return value;
    return {};
}

/// Sets a guest's state, converted from machined's into libvirt's.
void setState(Guest& guest, const std::string& state) {
    guest.state = state == "running"   ? VIR_DOMAIN_RUNNING
                  : state == "opening" ? VIR_DOMAIN_PAUSED
                  : state == "closing" ? VIR_DOMAIN_SHUTDOWN
                                       : VIR_DOMAIN_NOSTATE;
    if (guest.state == VIR_DOMAIN_PAUSED) guest.reason = VIR_DOMAIN_PAUSED_STARTING_UP;
}

}  // namespace

Reading<Guest> Machined::read(size_t most) {
    Bus bus(address_, timeout_);
    const Message machines = bus.call(kMachined, kManagerPath, kManager, "ListMachines", "");
    if (!machines || sd_bus_message_enter_container(machines.get(), 'a', "(ssso)") <= 0) return {bus.problem(), {}};
    Reading<Guest> reading;
    std::map<std::string, ContainerOs> os;
    const char *name = nullptr, *kind = nullptr, *service = nullptr, *path = nullptr;
    while (sd_bus_message_read(machines.get(), "(ssso)", &name, &kind, &service, &path) > 0) {
        if (std::string_view(kind) != "container" || std::string_view(service) == "libvirt-lxc") continue;
        if (reading.rows.size() >= most) {
            reading.problem = "systemd-machined: above the limit of " + std::to_string(most);
            break;
        }
        Guest guest;
        guest.key = guest.name = name;
        std::string state, unit;
        uint64_t started = 0;
        if (!bus.read(kMachined, path, kMachine, "State", "s", state)) {
            if (bus.hasFailed()) return {bus.problem(), {}};
            continue;  // it no longer exists
        }
        setState(guest, state);
        if (bus.read(kMachined, path, kMachine, "Unit", "s", unit)) guest.memory = memoryOf(bus, unit);
        bus.read(kMachined, path, kMachine, "Timestamp", "t", started);
        if (const auto before = lastOs_.find(name); before != lastOs_.end() && before->second.started == started)
            os[name] = before->second;
        else if (state == "running")
            os[name] = {started, osOf(bus, name)};
        if (bus.hasFailed()) return {bus.problem(), {}};
        guest.config.comment = os[name].os;
        reading.rows.push_back(std::move(guest));
    }
    lastOs_ = std::move(os);
    return reading;
}

Reading<Guest> readContainers(const std::string& uri, Machined& machined) {
    Reading<Guest> reading = readGuests(uri);
    if (reading.problem.empty() || !reading.rows.empty()) return reading;
    Reading<Guest> machines = machined.read();
    reading.rows = std::move(machines.rows);
    if (!machines.problem.empty()) reading.problem += ", " + machines.problem;
    return reading;
}

}  // namespace hostd
