#include "agent/traps/remote_engine.h"

namespace snmp {

namespace {

constexpr uint32_t kTimeWindow = 150;        // s (RFC 3414, 2.2.3)
constexpr size_t kMinId = 5, kMaxId = 32;    // octets of an SnmpEngineID (RFC 3411)
constexpr uint32_t kLatched = 0x7FFF'FFFFU;  // boots of an engine that can't authenticate any more (RFC 3414, 2.2.2)

}  // namespace

uint32_t RemoteEngine::time(std::chrono::milliseconds now) const {
    if (!isSynchronized_) return 0;
    return latestTime_ + static_cast<uint32_t>(std::chrono::floor<std::chrono::seconds>(now - synchronized_).count());
}

bool RemoteEngine::discover(const std::string& id, size_t maxSize) {
    if (id.size() < kMinId || id.size() > kMaxId) return false;
    if (id != id_) *this = {};
    id_ = id;
    maxSize_ = maxSize;
    return true;
}

bool RemoteEngine::synchronize(uint32_t boots, uint32_t time, std::chrono::milliseconds now) {
    if (boots >= kLatched) return false;
    if (!isSynchronized_ || boots > boots_ || (boots == boots_ && time > latestTime_)) {
        boots_ = boots;
        latestTime_ = time;
        synchronized_ = now;
        isSynchronized_ = true;
    }
    return boots == boots_ && time + uint64_t{kTimeWindow} >= this->time(now);
}

}  // namespace snmp
