#include "hostd/services/guests.h"

#include <libvirt/libvirt.h>

#include "hostd/table/row_text.h"

namespace hostd {

uint32_t stateOfMachine(int state, int reason) {
    using namespace virtual_machine;
    switch (state) {
        case VIR_DOMAIN_RUNNING:
        case VIR_DOMAIN_BLOCKED:
            return kRunning;
        case VIR_DOMAIN_PAUSED:
            switch (reason) {
                case VIR_DOMAIN_PAUSED_STARTING_UP:
                    return kStarting;
                case VIR_DOMAIN_PAUSED_SHUTTING_DOWN:
                    return kStopping;
                case VIR_DOMAIN_PAUSED_IOERROR:
                case VIR_DOMAIN_PAUSED_CRASHED:
                    return kFailed;
                default:
                    return kStopped;
            }
        case VIR_DOMAIN_SHUTDOWN:
            return kStopping;
        case VIR_DOMAIN_SHUTOFF:
            return reason == VIR_DOMAIN_SHUTOFF_CRASHED || reason == VIR_DOMAIN_SHUTOFF_FAILED ? kFailed : kStopped;
        case VIR_DOMAIN_CRASHED:
            return kFailed;
        case VIR_DOMAIN_PMSUSPENDED:
            return kStopped;
        default:
            return kInvalid;
    }
}

uint32_t stateOfPodhost(int state, int reason) {
    switch (stateOfMachine(state, reason)) {
        case virtual_machine::kStopping:
            return podhost::kShuttingDown;
        case virtual_machine::kStopped:
        case virtual_machine::kFailed:
            return podhost::kStopped;  // there is no number for the reason
        case virtual_machine::kStarting:
            return podhost::kBooting;
        case virtual_machine::kRunning:
            return podhost::kRunning;
        default:
            return podhost::kUnknown;
    }
}

void VirtualMachines::list(const Guest& guest, tn::message& item) const {
    insertText(item, tn::field::Name, guest.name);
    insertText(item, tn::field::Comment, guest.config.comment);
    insertText(item, virtual_machine::Disk, guest.config.disk);
    insertText(item, virtual_machine::Kernel, guest.config.kernel);
    insertText(item, virtual_machine::Initrd, guest.config.initrd);
    item.insert_u32(virtual_machine::State, stateOfMachine(guest.state, guest.reason));
    item.insert_u32(virtual_machine::Processors, guest.processors);
    item.insert_u32(virtual_machine::Memory, guest.memory);
    item.insert_bool(virtual_machine::HasSnapshot, guest.hasSnapshot);
}

void PodhostGuests::list(const Guest& guest, tn::message& item) const {
    insertText(item, tn::field::Name, guest.name);
    insertText(item, tn::field::Comment, guest.config.comment);
    if (guest.memory > 0) item.insert_u32(podhost::Memory, guest.memory);
    item.insert_u32(podhost::State, stateOfPodhost(guest.state, guest.reason));
}

}  // namespace hostd
