// A guest's XML description from libvirt: whatever it contains, the guest's row fits in a message and survives the trip
// through it.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "contracts/guests.h"
#include "hostd/services/guests.h"
#include "hostd/table/row_text.h"

namespace {

void require(bool condition) {
    if (!condition) std::abort();
}

class Machines : public hostd::VirtualMachines {
  public:
    Machines() : VirtualMachines([] { return hostd::Reading<hostd::Guest>(); }) {}
    using VirtualMachines::writeEntry;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const Machines machines;
    hostd::Guest guest;
    guest.config = hostd::parseGuest({reinterpret_cast<const char*>(data), size});
    tn::message row;
    machines.writeEntry(guest, row);
    for (const tn::string_id text : {tn::field::Comment, contracts::virtual_machines::Disk,
                                     contracts::virtual_machines::Kernel, contracts::virtual_machines::Initrd}) {
        const size_t length = row.get_string(text).size();
        require(length <= hostd::kMaxText && row.has(text) == (length > 0));
    }
    tn::message read;
    require(tn::message::unflatten(row.flatten(), read) && read == row);
    return 0;
}
