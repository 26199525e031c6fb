// Load averages: scalars whose record is built on each request.

#include <array>
#include <cstdlib>

#include "agent/mib/providers/data_provider.h"
#include "example.h"

namespace example {

namespace {

struct Load : snmp::Data {
    unsigned int last1 = 0, last5 = 0, last15 = 0;  // hundredths of a process, over that many minutes

    static std::unique_ptr<snmp::Data> make() {
        std::array<double, 3> averages{};
        if (getloadavg(averages.data(), averages.size()) != 3) return nullptr;  // the objects don't exist then
        auto record = std::make_unique<Load>();
        record->last1 = static_cast<unsigned int>(averages[0] * 100);
        record->last5 = static_cast<unsigned int>(averages[1] * 100);
        record->last15 = static_cast<unsigned int>(averages[2] * 100);
        return record;
    }
};

constexpr auto kLoad = snmp::under(kExample, 1);
constexpr snmp::Column<Load> kLoadObjects[] = {
    {1, "exampleLoad1", snmp::tag::Gauge32, &Load::last1},
    {2, "exampleLoad5", snmp::tag::Gauge32, &Load::last5},
    {3, "exampleLoad15", snmp::tag::Gauge32, &Load::last15},
};
static_assert(snmp::ascending(kLoadObjects));

}  // namespace

void startLoad() { snmp::addScalars(kLoad, kLoadObjects, snmp::keep<snmp::ProxyDataProvider>(Load::make)); }

}  // namespace example
