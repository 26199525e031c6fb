// The rest of hrSystem (RFC 2790). hrSystemUptime and hrSystemDate are the agent's.

#include "agent/mib/providers/data_provider.h"
#include "contracts/host.h"
#include "contracts/object_class.h"
#include "host.h"

namespace host {

namespace {

namespace facts = contracts::host_facts;
namespace hardware = contracts::hardware;
namespace processes = contracts::processes;
namespace tag = snmp::tag;
using contracts::object_class::kWhole;

struct Facts : snmp::Data {
    std::string bootParameters;
    unsigned int users = 0;
    static std::unique_ptr<snmp::Data> build(const tn::message& m) {
        auto record = std::make_unique<Facts>();
        record->bootParameters = m.get_string(facts::BootParameters).substr(0, kMaxText);
        record->users = m.get_u32(facts::Users);
        return record;
    }
};

struct Processes : snmp::Data {
    bool isKnown = false;  // the owner has counted them
    unsigned int count = 0, limit = 0;
    static std::unique_ptr<snmp::Data> build(const tn::message& m) {
        auto record = std::make_unique<Processes>();
        record->isKnown = m.has(processes::Count);
        record->count = m.get_u32(processes::Count);
        record->limit = m.get_u32(processes::Limit);
        return record;
    }
};

struct LoadDevice : snmp::Data {
    bool isKnown = false;    // there is one, unlike in a container or a diskless machine
    unsigned int index = 0;  // hrDeviceIndex
    static std::unique_ptr<snmp::Data> build(const tn::message& m) {
        auto record = std::make_unique<LoadDevice>();
        record->isKnown = m.has(hardware::LoadDevice);
        record->index = m.get_u32(hardware::LoadDevice);
        return record;
    }
};

/// Has no record that isn't known.
template <class Record>
class KnownProvider : public snmp::GetProvider {
  public:
    using GetProvider::GetProvider;

  protected:
    std::unique_ptr<snmp::Data> getData() override {
        auto record = GetProvider::getData();
        return static_cast<const Record&>(*record).isKnown ? std::move(record) : nullptr;
    }
};

constexpr auto kSystem = snmp::under(kHost, 1);
constexpr snmp::Column<LoadDevice> kLoadDevice[] = {{3, "hrSystemInitialLoadDevice", tag::Integer, &LoadDevice::index}};
constexpr snmp::Column<Facts> kFacts[] = {
    {4, "hrSystemInitialLoadParameters", tag::OctetString, &Facts::bootParameters},
    {5, "hrSystemNumUsers", tag::Gauge32, &Facts::users},
};
constexpr snmp::Column<Processes> kProcesses[] = {
    {6, "hrSystemProcesses", tag::Gauge32, &Processes::count},
    {7, "hrSystemMaxProcesses", tag::Integer, &Processes::limit},
};

template <class Provider, class Record, size_t N>
void add(const snmp::Column<Record> (&objects)[N], std::span<const unsigned int> path) {
    auto* provider = snmp::keep<Provider>(Record::build, path, tn::cmd::Get, tn::cmd::Set, kWhole);
    snmp::addScalars(kSystem, objects, provider);
}

}  // namespace

void startSystem() {
    add<KnownProvider<LoadDevice>>(kLoadDevice, hardware::kPath);
    add<snmp::GetProvider>(kFacts, facts::kPath);
    add<KnownProvider<Processes>>(kProcesses, processes::kPath);
}

}  // namespace host
