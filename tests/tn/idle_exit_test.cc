#include "tn/idle_exit.h"

#include <gtest/gtest.h>

#include "eventually.h"
#include "tn/sources.h"

using namespace std::chrono_literals;

namespace tn {
namespace {

// Exits of whole processes are in leave_test.cc.
TEST(IdleExit, IdleTimeStartsAgainWhenRequestsHaveArrived) {
    ThinRunner runner;
    int requests = 2;
    IdleExit exit{runner, {.canLeave = [] { return true; }, .hasRequests = [&] { return requests-- > 0; }}};
    const auto start = sinceBoot();
    exit.setup(20ms);
    EXPECT_EQ(runner.run(), 0);
    EXPECT_EQ(requests, -1);
    EXPECT_GE(sinceBoot() - start, 55ms);
}

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
