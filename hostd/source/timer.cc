#include "hostd/source/timer.h"

#include <algorithm>
#include <utility>

#include "tn/looper.h"

namespace hostd {

void Timer::start(std::chrono::milliseconds delay, std::function<void()> callback) {
    stop();
    tn::Looper* looper = tn::getLooper();
    if (looper == nullptr) return;
    const auto call = [this, callback = std::move(callback)] {
        id_ = 0;
        callback();
    };
    id_ = looper->addTimer(call, std::max(delay, std::chrono::milliseconds(0)));
}

void Timer::stop() {
    if (tn::Looper* looper = tn::getLooper(); looper != nullptr && id_ != 0) looper->removeTimer(id_);
    id_ = 0;
}

}  // namespace hostd
