#pragma once

#include <chrono>
#include <thread>

#include "tn/thin_runner.h"

namespace tn {

/// Polls a condition until it is true. False if it isn't within 30 s.
/// @param loop  runs meanwhile; may be nullptr
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
