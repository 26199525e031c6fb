#pragma once

#include <chrono>
#include <thread>

#include "tn/thin_runner.h"

namespace tn {

/// Polls the condition until it holds once, running the loop meanwhile when there is one; false when it doesn't within
/// 30 s.
template <class Condition>
bool eventually(Condition condition, ThinRunner* loop = nullptr) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= end) return false;
        if (loop != nullptr) {
            loop->runOnce(std::chrono::milliseconds(10));
        } else {
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    }
    return true;
}

}  // namespace tn
