#include "agent/mib/request_writes.h"

#include <utility>
#include <vector>

namespace snmp {

namespace {
bool isAnswering = false;
std::vector<std::function<bool()>> waiting;
}  // namespace

RequestWrites::RequestWrites() { isAnswering = true; }

RequestWrites::~RequestWrites() {
    isAnswering = false;
    writeNow();
}

void RequestWrites::atEnd(std::function<bool()> write) {
    if (!isAnswering) {
        write();
        return;
    }
    waiting.push_back(std::move(write));
}

bool RequestWrites::writeNow() {
    bool isWritten = true;
    for (const auto& write : std::exchange(waiting, {})) isWritten = write() && isWritten;
    return isWritten;
}

void WriteOnce::set(tn::message change) {
    const bool isFirst = !change_;
    change_ = std::move(change);
    if (!isFirst) return;
    RequestWrites::atEnd([this] {
        const bool isWritten = write_(*change_);
        change_.reset();
        return isWritten;
    });
}

}  // namespace snmp
