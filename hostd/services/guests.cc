#include "hostd/services/guests.h"

#include <libvirt/libvirt.h>

#include "contracts/guests.h"
#include "hostd/table/row_text.h"

namespace hostd {

namespace podhost_guests = contracts::podhost_guests;
namespace virtual_machines = contracts::virtual_machines;

uint32_t stateOfMachine(int state, int reason) {
    using namespace virtual_machines::state;
    switch (state) {
        case VIR_DOMAIN_RUNNING:
        case VIR_DOMAIN_BLOCKED:
            return Running;
        case VIR_DOMAIN_PAUSED:
            switch (reason) {
                case VIR_DOMAIN_PAUSED_STARTING_UP:
                    return Starting;
                case VIR_DOMAIN_PAUSED_SHUTTING_DOWN:
                    return Stopping;
                case VIR_DOMAIN_PAUSED_IOERROR:
                case VIR_DOMAIN_PAUSED_CRASHED:
                    return Failed;
                default:
                    return Stopped;
            }
        case VIR_DOMAIN_SHUTDOWN:
            return Stopping;
        case VIR_DOMAIN_SHUTOFF:
            return reason == VIR_DOMAIN_SHUTOFF_CRASHED || reason == VIR_DOMAIN_SHUTOFF_FAILED ? Failed : Stopped;
        case VIR_DOMAIN_CRASHED:
            return Failed;
        case VIR_DOMAIN_PMSUSPENDED:
            return Stopped;
        default:
            return Invalid;
    }
}

uint32_t stateOfPodhost(int state, int reason) {
    switch (stateOfMachine(state, reason)) {
        case virtual_machines::state::Stopping:
            return podhost_guests::state::ShuttingDown;
        case virtual_machines::state::Stopped:
        case virtual_machines::state::Failed:
            return podhost_guests::state::Stopped;  // the MIB has no value for a failed guest
        case virtual_machines::state::Starting:
            return podhost_guests::state::Booting;
        case virtual_machines::state::Running:
            return podhost_guests::state::Running;
        default:
            return podhost_guests::state::Unknown;
    }
}

void VirtualMachines::writeEntry(const Guest& guest, tn::message& item) const {
    insertText(item, tn::field::Name, guest.name);
    insertText(item, tn::field::Comment, guest.config.comment);
    insertText(item, virtual_machines::Disk, guest.config.disk);
    insertText(item, virtual_machines::Kernel, guest.config.kernel);
    insertText(item, virtual_machines::Initrd, guest.config.initrd);
    item.insert_u32(virtual_machines::State, stateOfMachine(guest.state, guest.reason));
    item.insert_u32(virtual_machines::Processors, guest.processors);
    item.insert_u32(virtual_machines::Memory, guest.memory);
    item.insert_bool(virtual_machines::HasSnapshot, guest.hasSnapshot);
}

void PodhostGuests::writeEntry(const Guest& guest, tn::message& item) const {
    insertText(item, tn::field::Name, guest.name);
    insertText(item, tn::field::Comment, guest.config.comment);
    if (guest.memory > 0) item.insert_u32(podhost_guests::Memory, guest.memory);
    item.insert_u32(podhost_guests::State, stateOfPodhost(guest.state, guest.reason));
}

}  // namespace hostd
