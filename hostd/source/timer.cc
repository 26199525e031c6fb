#include "hostd/source/timer.h"

#include <algorithm>
#include <utility>

#include "tn/looper.h"
#include "tn/sources.h"

namespace hostd {

std::chrono::milliseconds sinceBoot() { return std::chrono::milliseconds(tn::getMilliseconds()); }

void Timer::start(std::chrono::milliseconds delay, std::function<void()> callback) {
    stop();
    tn::Looper* looper = tn::getLooper();
    if (looper == nullptr) return;
    const auto call = [this, callback = std::move(callback)] {
        id_ = 0;
        callback();
    };
    id_ = looper->addTimer(call, static_cast<uint64_t>(std::max(delay.count(), int64_t{0})));
}

void Timer::stop() {
    if (tn::Looper* looper = tn::getLooper(); looper != nullptr && id_ != 0) looper->removeTimer(id_);
    id_ = 0;
}

}  // namespace hostd
