#include "tn/thin_runner.h"

#include <gtest/gtest.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <string>
#include <thread>

#include "eventually.h"

using namespace std::chrono_literals;

namespace tn {
namespace {

class ThinRunnerTest : public testing::Test {
  protected:
    void SetUp() override { ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends_), 0); }
    void TearDown() override {
        runner_.removeSocket(ends_[0]);
        close(ends_[0]);
        close(ends_[1]);
    }
    bool watch(int fd, ThinRunner::SocketCallback callback) {
        return runner_.addSocket(fd, std::move(callback), EPOLLIN);
    }
    void poke() { ASSERT_EQ(write(ends_[1], "x", 1), 1); }

    ThinRunner runner_;
    int ends_[2] = {};
};

TEST_F(ThinRunnerTest, CallbackMayRemoveItselfOthersAndPutNewOnesInPlace) {
    int other[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, other), 0);
    ASSERT_EQ(write(other[1], "x", 1), 1);
    poke();
    // Both are ready in the same round; the first to run removes both and itself, so the second must not run.
    int calls = 0;
    const std::string witness = "the callback's own captures outlive its removal";
    const auto callback = [&, witness](int, unsigned) {
        ++calls;
        runner_.removeSocket(ends_[0]);
        runner_.removeSocket(other[0]);
        EXPECT_EQ(witness.size(), 47U);
    };
    ASSERT_TRUE(watch(ends_[0], callback) && watch(other[0], callback));
    for (int i = 0; i < 5; ++i) runner_.runOnce(0ms);
    EXPECT_EQ(calls, 1);

    int replaced = 0;
    ASSERT_TRUE(watch(ends_[0], [&](int fd, unsigned) { watch(fd, [&](int, unsigned) { ++replaced; }); }));
    EXPECT_TRUE(eventually([&] { return replaced > 0; }, &runner_));
    for (const int fd : other) close(fd);
}

TEST_F(ThinRunnerTest, RefusedDescriptorIsReportedNotFatal) {
    const int closed = dup(STDOUT_FILENO);
    close(closed);
    for (const int fd : {-1, closed}) EXPECT_FALSE(watch(fd, [](int, unsigned) {}));
    runner_.removeSocket(closed);
}

TEST_F(ThinRunnerTest, TimersFireOnceInOrderAndCanBeRemovedFromCallbacks) {
    std::string order;
    EXPECT_EQ(runner_.sleepTime(), std::chrono::milliseconds::max());
    const ThinRunner::TimerId removed = runner_.addTimer([&] { order += 'x'; }, 30ms);
    runner_.addTimer([&] { order += 'b'; }, 20ms);
    runner_.addTimer([&] { order += 'a', runner_.removeTimer(removed); }, 5ms);
    EXPECT_NE(removed, 0U);
    EXPECT_LE(runner_.sleepTime(), 5ms);
    EXPECT_TRUE(eventually([&] { return order == "ab"; }, &runner_));
    runner_.removeTimer(removed);
    bool last = false;
    runner_.addTimer([&] { last = true; }, 40ms);
    EXPECT_TRUE(eventually([&] { return last; }, &runner_));
    EXPECT_EQ(order, "ab");

    runner_.addTimer([] { FAIL() << "a timer of ages fired at once"; }, std::chrono::milliseconds::max());
    EXPECT_FALSE(runner_.runOnce(5ms));
}

TEST_F(ThinRunnerTest, DeferredRunBeforeWaitingAndDoNotStarveSockets) {
    bool socketSeen = false;
    poke();
    ASSERT_TRUE(watch(ends_[0], [&](int, unsigned) { socketSeen = true; }));
    std::function<void()> again = [&] { runner_.defer(again); };
    runner_.defer(again);
    EXPECT_TRUE(eventually([&] { return socketSeen; }, &runner_));
}

TEST_F(ThinRunnerTest, PostedFromThreadsRunOnTheLoopsThread) {
    const auto loop = std::this_thread::get_id();
    int ran = 0;
    std::thread helper([&] {
        for (int i = 0; i < 1000; ++i) {
            runner_.post([&] {
                EXPECT_EQ(std::this_thread::get_id(), loop);
                if (++ran == 1000) runner_.shutdown();
            });
        }
    });
    EXPECT_EQ(runner_.run(), 0);
    helper.join();
    EXPECT_EQ(ran, 1000);
}

TEST_F(ThinRunnerTest, SignalInAnyThreadOrShutdownEndsOneRunEvenFromBefore) {
    for (const int number : {SIGTERM, SIGINT}) {
        runner_.defer([number] { std::thread([number] { raise(number); }).join(); });
        EXPECT_EQ(runner_.run(), 0);
    }
    runner_.shutdown();
    EXPECT_EQ(runner_.run(), 0);
    runner_.addTimer([&] { runner_.shutdown(); }, 1ms);
    EXPECT_EQ(runner_.run(), 0);
}

TEST_F(ThinRunnerTest, IdleLoopDoesNotWakeUp) {
    rusage before = {}, after = {};
    getrusage(RUSAGE_THREAD, &before);
    EXPECT_FALSE(runner_.runOnce(300ms));
    getrusage(RUSAGE_THREAD, &after);
    EXPECT_LE(after.ru_nvcsw - before.ru_nvcsw, 3);
}

}  // namespace
}  // namespace tn
