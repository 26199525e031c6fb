#include <sys/mman.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "child.h"
#include "echo_server.h"
#include "peers.h"
#include "tn/idle_exit.h"
#include "tn/sources.h"

namespace tn {
namespace {

class LeaveTest : public ClientTest {};

/// In a new process: takes the socket of {24} over from its holder, as a spawner's child does.
void takeOver(const BusListener& held) { receiveSocket(held.socket.get(), "24"); }

Peer::Setup leavesAfter(std::chrono::milliseconds idleTime) {
    return [idleTime](Looper& looper) {
        serve(looper);
        looper.setupLeave(idleTime);
    };
}

BusListener hold() {
    std::string why;
    BusListener held = openBusListener(24, why);
    EXPECT_TRUE(held.socket) << why;
    return held;
}

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

TEST_F(LeaveTest, ProcessThatNobodyWouldStartAgainStays) {
    Peer peer({24}, leavesAfter(10ms));
    for (int i = 0; i < 10; ++i) looper_.runOnce(10ms);
    EXPECT_EQ(errorOf(exchange(ask(kEcho))), 0U);
}

TEST_F(LeaveTest, IdleProcessLeavesAndABusyOneStays) {
    BusListener held = hold();
    Peer peer({24}, leavesAfter(60ms), [&] { takeOver(held); });
    EXPECT_EQ(peerOf(dialBus(24, 1s).get(), getegid()).pid, peer.pid()) << "not who made the socket";
    const auto end = sinceBoot() + 200ms;
    while (sinceBoot() < end) ASSERT_EQ(errorOf(exchange(ask(kEcho))), 0U);
    EXPECT_TRUE(peer.ended());
    held.withdraw(24);
    EXPECT_EQ(errorOf(exchange(ask(kEcho))), error::Unreachable);
}

TEST_F(LeaveTest, SubscriberKeepsAProcessFromLeavingUntilItGoes) {
    BusListener held = hold();
    Peer peer({24}, leavesAfter(30ms), [&] { takeOver(held); });
    const std::vector<uint32_t> path = {24, 2};
    client_.subscribe(path, kNote, {});
    for (int i = 0; i < 10; ++i) looper_.runOnce(10ms);
    EXPECT_EQ(waitpid(peer.pid(), nullptr, WNOHANG), 0) << "left its subscriber";
    client_.unsubscribe(path, kNote, {});
    EXPECT_TRUE(peer.ended());
}

TEST_F(LeaveTest, NoRequestIsLostWhileTheOwnerLeavesAndIsStartedAgain) {
    BusListener held = hold();
    void* shared = mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    std::atomic<int>& starts = *new (shared) std::atomic<int>;
    // Starts the owner again whenever a message waits at the held socket. A process rather than a thread: what forks
    // beside a busy thread may inherit an allocator locked for good (ASan's has no fork handlers).
    const Child spawner([&] {
        alarm(60);
        while (isReadable(held.socket.get(), -1)) {
            ++starts;
            if (!Peer({24}, leavesAfter(1ms), [&] { takeOver(held); }).ended()) break;
        }
        return 1;
    });
    for (int i = 0; i < 1000 && starts < 30; ++i) {
        EXPECT_EQ(errorOf(exchange(ask(kEcho), 3s)), 0U);
        std::this_thread::sleep_for(std::chrono::microseconds(1200 + i % 20 * 100));  // about when it leaves
    }
    EXPECT_EQ(starts, 30);
    held.withdraw(24);
}

}  // namespace
}  // namespace tn
