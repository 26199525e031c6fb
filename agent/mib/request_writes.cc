#include "agent/mib/request_writes.h"

#include <utility>
#include <vector>

namespace snmp {

namespace {
bool isAnswering = false;
std::vector<std::function<void()>> waiting;
}  // namespace

RequestWrites::RequestWrites() { isAnswering = true; }

RequestWrites::~RequestWrites() {
    isAnswering = false;
    writeNow();
}

void RequestWrites::atEnd(std::function<void()> write) {
    if (!isAnswering) return write();
    waiting.push_back(std::move(write));
}

void RequestWrites::writeNow() {
    for (const auto& write : std::exchange(waiting, {})) write();
}

void WriteOnce::set(tn::message change) {
    const bool isFirst = !change_;
    change_ = std::move(change);
    if (!isFirst) return;
    RequestWrites::atEnd([this] {
        write_(*change_);
        change_.reset();
    });
}

}  // namespace snmp
