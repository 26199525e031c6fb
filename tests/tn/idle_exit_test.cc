#include "tn/idle_exit.h"

#include <gtest/gtest.h>

#include "eventually.h"

using namespace std::chrono_literals;

namespace tn {
namespace {

// When a process exits is in leave_test.cc.
TEST(IdleExit, ProcessThatMayNotLeaveAndOneThatIsSwitchedOffNeedNoTimer) {
    ThinRunner runner;
    IdleExit exit{runner, {.canLeave = [] { return false; }, .hasRequests = [] { return false; }}};
    const auto hasNoTimer = [&] { return runner.sleepTime() == std::chrono::milliseconds::max(); };
    exit.setup(10ms);
    EXPECT_FALSE(hasNoTimer());
    EXPECT_TRUE(eventually(hasNoTimer, &runner));
    exit.touch();
    EXPECT_LE(runner.sleepTime(), 10ms);
    exit.setup(0ms);
    exit.touch();
    EXPECT_TRUE(hasNoTimer());
}

}  // namespace
}  // namespace tn
