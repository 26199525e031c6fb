// A packet of netlink messages about links, and drivers' counter names: whatever it contains, the table stays in order
// and in bounds.
#include <linux/ethtool.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "contracts/interfaces.h"
#include "hostd/links/ethtool.h"
#include "hostd/links/link_table.h"
#include "hostd/netlink/attributes.h"

namespace {

constexpr uint32_t kStatusBits = contracts::interfaces::status::Up | contracts::interfaces::status::Operational;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<uint32_t> packet(size / 4 + 1);  // aligned like the kernel's
    if (size > 0) std::memcpy(packet.data(), data, size);
    hostd::LinkTable links([](const std::string& name) { return name.size() % 2 == 1; },
                           [](const hostd::Link& link, uint32_t before, uint32_t status) {
                               if (link.name.empty() || before == status || (status & ~kStatusBits) != 0) std::abort();
                           });
    hostd::DriverReading driver;
    hostd::LinkModes modes;
    const std::span bytes(reinterpret_cast<const uint8_t*>(packet.data()), size);
    hostd::forEachMessage(bytes, [&](const nlmsghdr& message) {
        links.apply(message, std::chrono::milliseconds(1));
        hostd::readDriverAnswer(message, driver);
        hostd::readLinkMode(message, modes);
    });
    // The same octets as counter names.
    const std::vector<uint64_t> values(size / ETH_GSTRING_LEN, 1);
    hostd::readNamedCounters({reinterpret_cast<const char*>(packet.data()), values.size() * ETH_GSTRING_LEN}, values,
                             driver.counters);
    uint32_t last = 0;
    for (const auto* link = links.firstFrom(0); link != nullptr; link = links.firstFrom(last + 1)) {
        if (link->index <= last || links.find(link->index) != link || link->address.size() > 32) std::abort();
        last = link->index;
    }
    return 0;
}
