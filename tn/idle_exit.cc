#include "tn/idle_exit.h"

#include "tn/sources.h"

namespace tn {

void IdleExit::setup(std::chrono::milliseconds idleTime) {
    idleTime_ = idleTime;
    runner_.removeTimer(timer_);
    timer_ = 0;
    touch();
}

void IdleExit::touch() {
    if (idleTime_.count() == 0) return;
    lastUse_ = sinceBoot();
    if (timer_ == 0) arm(idleTime_);
}

void IdleExit::arm(std::chrono::milliseconds delay) {
    timer_ = runner_.addTimer([this] { tryLeave(); }, delay);
}

void IdleExit::tryLeave() {
    timer_ = 0;
    const std::chrono::milliseconds idleFor = sinceBoot() - lastUse_;
    if (idleFor < idleTime_) return arm(idleTime_ - idleFor);
    if (!conditions_.canLeave()) return;
    if (conditions_.hasRequests()) return touch();
    runner_.shutdown();
}

}  // namespace tn
