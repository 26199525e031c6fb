#include "agent/traps/interface_traps.h"

#include <vector>

#include "agent/system/scribers.h"
#include "tn/looper.h"

namespace snmp {

std::map<uint32_t, uint32_t> ifStateMap;

namespace {
const std::vector<uint32_t> kInterfaces = {20, 0};
constexpr uint32_t kStatusChanged = 0x10004;
}  // namespace

void interfaceSubscribe() { tn::getLooper()->subscribe(kInterfaces, kStatusChanged, notifyFilterMsg()); }

void interfaceUnSubscribe() { tn::getLooper()->unsubscribe(kInterfaces, kStatusChanged, notifyFilterMsg()); }

}  // namespace snmp
