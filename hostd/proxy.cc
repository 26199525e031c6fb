#include "hostd/proxy.h"

#include <optional>
#include <utility>

#include "hostd/sizes.h"
#include "tn/sources.h"

namespace hostd {

namespace {

void insertCounter(tn::message& m, tn::u32_id field, std::optional<uint64_t> value) {
    if (value) m.insert_u32(field, static_cast<uint32_t>(*value));
}

void insertSize(tn::message& m, tn::u32_id field, std::optional<uint64_t> value) {
    if (value) m.insert_u32(field, saturated(*value));
}

}  // namespace

Proxy::Proxy(std::function<SquidReading()> read) : background_("proxy", std::move(read), kMaxAge, kPatience) {}

void Proxy::refresh(uint64_t now) {
    // A reading that was just waited for is younger than `now`.
    const auto isOlder = [&](const auto& reading, uint64_t age) { return !reading || reading->at + age <= now; };
    auto latest = background_.latest(now);
    if (isOlder(latest, kMaxAge) && (!waitedAt_ || now - *waitedAt_ >= kMaxAge)) {
        waitedAt_ = now;
        background_.readFirst(now, std::chrono::milliseconds(kWait));
        latest = background_.latest(now);
    }
    if (isOlder(latest, kTooOld)) latest = nullptr;
    if (latest && latest->problem != problem_) {
        problem_ = latest->problem;
        hostLog << "proxy: " << (problem_.empty() ? "squid answers" : problem_);
    }
    taken_ = std::move(latest);
}

tn::message Proxy::cmdGet(const tn::message&) {
    refresh(tn::getMilliseconds());
    tn::message reply;
    if (!taken_) return reply;
    const SquidFigures& figures = taken_->figures;
    if (figures.startedAt) reply.insert_u32(proxy::StartedAt, *figures.startedAt);
    insertCounter(reply, proxy::ServerRequests, figures.serverRequests);
    insertCounter(reply, proxy::Hits, figures.hits);
    insertSize(reply, proxy::Storage, figures.storage);
    insertSize(reply, proxy::Memory, figures.memory);
    insertCounter(reply, proxy::ServerIn, figures.serverIn);
    insertCounter(reply, proxy::ServerOut, figures.serverOut);
    insertCounter(reply, proxy::ClientOut, figures.clientOut);
    return reply;
}

}  // namespace hostd
