#include "tn/idle_exit.h"

#include <gtest/gtest.h>

#include "tn/sources.h"

using namespace std::chrono_literals;

namespace tn {
namespace {

class IdleExitTest : public testing::Test {
  protected:
    /// Runs the loop. @return how long it took to end; a second at most
    std::chrono::milliseconds timeToEnd() {
        const auto start = sinceBoot();
        const ThinRunner::TimerId limit = runner.addTimer([this] { runner.shutdown(); }, 1s);
        runner.run();
        runner.removeTimer(limit);
        return sinceBoot() - start;
    }

    ThinRunner runner;
    bool canLeave = true;
    int requests = 0;  ///< so many times requests have arrived
    IdleExit exit{runner, {.canLeave = [this] { return canLeave; }, .hasRequests = [this] { return requests-- > 0; }}};
};

TEST_F(IdleExitTest, LoopEndsAfterTheIdleTimeAndStartsAgainWithUseOrRequests) {
    exit.setup(50ms);
    runner.addTimer([this] { exit.touch(); }, 30ms);
    const auto touched = timeToEnd();
    EXPECT_GE(touched, 75ms);
    EXPECT_LT(touched, 1s);
    requests = 2;
    exit.setup(50ms);
    EXPECT_GE(timeToEnd(), 145ms);
}

TEST_F(IdleExitTest, ProcessThatMayNotLeaveWaitsForTheNextUseWithoutATimer) {
    canLeave = false;
    exit.setup(10ms);
    runner.addTimer([this] { canLeave = true; }, 50ms);
    EXPECT_GE(timeToEnd(), 1s);
    exit.touch();
    EXPECT_LT(timeToEnd(), 1s);
    exit.setup(10ms);
    exit.setup(0ms);
    EXPECT_EQ(runner.sleepTime(), std::chrono::milliseconds::max());
}

}  // namespace
}  // namespace tn
