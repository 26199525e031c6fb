#include "bridge.h"

#include "agent/core/autorun.h"
#include "agent/mib/providers/data_provider.h"
#include "contracts/object_class.h"
#include "tn/fields.h"

namespace bridge {

namespace {

namespace first_bridge = contracts::first_bridge;

class StateProvider : public snmp::GetProvider {
  public:
    explicit StateProvider(bool (*isServed)(const State&))
        : GetProvider(State::build, first_bridge::kPath, tn::cmd::Get, tn::cmd::Set, contracts::object_class::kWhole),
          isServed_(isServed) {}

  protected:
    std::unique_ptr<snmp::Data> getData() override {
        std::unique_ptr<snmp::Data> record = GetProvider::getData();
        const auto& state = static_cast<const State&>(*record);
        return state.ifindex != 0 && isServed_(state) ? std::move(record) : nullptr;
    }

  private:
    bool (*isServed_)(const State&);
};

}  // namespace

std::unique_ptr<snmp::Data> State::build(const tn::message& m) {
    auto record = std::make_unique<State>();
    record->ifindex = m.get_u32(first_bridge::Ifindex);
    record->ports = m.get_u32(first_bridge::Ports);
    record->rootId = m.get_raw(first_bridge::RootId);
    record->rootCost = m.get_u32(first_bridge::RootCost);
    record->rootPort = m.get_u32(first_bridge::RootPort);
    record->maxAge = m.get_u32(first_bridge::MaxAge);
    record->helloTime = m.get_u32(first_bridge::HelloTime);
    record->forwardDelay = m.get_u32(first_bridge::ForwardDelay);
    record->ageingTime = m.get_u32(first_bridge::AgeingTime) / 100;
    record->isRoot = m.get_bool(first_bridge::IsRoot);
    record->isVlanAware = m.get_bool(first_bridge::VlanAware);
    record->vlans = m.get_u32(first_bridge::Vlans);
    return record;
}

snmp::DataProvider* keepState(bool (*isServed)(const State&)) { return snmp::keep<StateProvider>(isServed); }

}  // namespace bridge

void autorun() {
    bridge::startBase();
    bridge::startStp();
    bridge::startVlans();
}
