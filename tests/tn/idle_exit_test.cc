#include "tn/idle_exit.h"

#include <gtest/gtest.h>

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

}  // namespace
}  // namespace tn
